#include "description.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <limits>

#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"
#include "pocketjson/value.h"

namespace zarvo_sim {

namespace {

using pocketjson::Value;

// Carries the first problem out of the nested checks; every check returns false after `fail`.
class Checker {
 public:
  explicit Checker(const std::string& source) : source_(source) {}

  bool fail(const std::string& where, const std::string& problem) {
    error_ = source_ + ": ";
    if (!where.empty()) error_ += where + ": ";
    error_ += problem;
    return false;
  }
  const std::string& error() const { return error_; }

  static std::string member(const std::string& where, const std::string& key) {
    return where.empty() ? key : where + "." + key;
  }
  static std::string element(const std::string& where, size_t index) {
    return where + "[" + std::to_string(index) + "]";
  }

  bool expectObject(const Value& value, const std::string& where) {
    return value.isObject() || fail(where, "expected an object");
  }

  // Fails on the first member whose key is not in `allowed`.
  bool onlyMembers(const Value& object, const std::string& where,
                   std::initializer_list<const char*> allowed) {
    for (const auto& entry : object.asObject()) {
      bool known = false;
      for (const char* key : allowed) known = known || entry.first == key;
      if (!known) return fail(member(where, entry.first), "unknown member");
    }
    return true;
  }

  bool integerIn(const Value& value, const std::string& where, long long low, long long high,
                 long long& out) {
    if (!value.isInteger()) return fail(where, "expected an integer");
    const long long number = value.asInteger();
    if (number < low || number > high) {
      return fail(
          where, "expected an integer from " + std::to_string(low) + " to " + std::to_string(high));
    }
    out = number;
    return true;
  }

  // The compact text of any JSON value; fails for numbers that JSON text cannot hold (the parser
  // turns out-of-range numbers into infinities).
  bool jsonText(const Value& value, const std::string& where, std::string& out) {
    out.clear();
    std::string error;
    if (!pocketjson::Serializer().serialize(out, value, pocketjson::Serializer::Attributes(), -1,
                                            &error)) {
      return fail(where, "holds a number too large for JSON text");
    }
    return true;
  }

  // "answer" (any JSON value) or "answerText" (sent verbatim), at most one of them.
  bool answer(const Value& object, const std::string& where, std::string& out) {
    const bool hasAnswer = object.has("answer");
    const bool hasText = object.has("answerText");
    if (hasAnswer && hasText) return fail(where, "give either answer or answerText, not both");
    if (hasText) {
      const Value& text = object.get("answerText");
      if (!text.isString()) return fail(member(where, "answerText"), "expected a string");
      out = text.asString();
      return true;
    }
    if (hasAnswer) return jsonText(object.get("answer"), member(where, "answer"), out);
    out = "null";
    return true;
  }

  bool request(const Value& value, const std::string& where, RequestAnswer& out) {
    if (!expectObject(value, where) ||
        !onlyMembers(value, where, {"status", "answer", "answerText"})) {
      return false;
    }
    if (value.has("status")) {
      long long status = 0;
      if (!integerIn(value.get("status"), member(where, "status"), std::numeric_limits<int>::min(),
                     std::numeric_limits<int>::max(), status)) {
        return false;
      }
      out.status = static_cast<int>(status);
    }
    return answer(value, where, out.answer);
  }

  bool task(const Value& value, const std::string& where, TaskAnswer& out) {
    if (!expectObject(value, where) ||
        !onlyMembers(value, where, {"type", "answer", "answerText"})) {
      return false;
    }
    if (value.has("type")) {
      const Value& type = value.get("type");
      if (!type.isString()) return fail(member(where, "type"), "expected a string");
      out.type = type.asString();
    }
    return answer(value, where, out.answer);
  }

  bool event(const Value& value, const std::string& where, EventSpec& out) {
    if (!expectObject(value, where) ||
        !onlyMembers(value, where, {"type", "payload", "payloads", "intervalMs", "count"})) {
      return false;
    }
    const Value& type = value.get("type");
    if (!value.has("type")) return fail(member(where, "type"), "required member missing");
    if (!type.isString() || type.asString().empty()) {
      return fail(member(where, "type"), "expected a non-empty string");
    }
    out.type = type.asString();
    const bool hasPayload = value.has("payload");
    const bool hasPayloads = value.has("payloads");
    if (hasPayload && hasPayloads) return fail(where, "give either payload or payloads, not both");
    if (hasPayloads) {
      const Value& payloads = value.get("payloads");
      const std::string at = member(where, "payloads");
      if (!payloads.isArray() || payloads.size() == 0) {
        return fail(at, "expected a non-empty array");
      }
      const Value::Array& items = payloads.asArray();
      for (size_t i = 0; i < items.size(); ++i) {
        std::string text;
        if (!jsonText(items[i], element(at, i), text)) return false;
        out.payloads.push_back(std::move(text));
      }
    } else {
      std::string text = "null";
      if (hasPayload && !jsonText(value.get("payload"), member(where, "payload"), text)) {
        return false;
      }
      out.payloads.push_back(std::move(text));
    }
    if (value.has("intervalMs") && !integerIn(value.get("intervalMs"), member(where, "intervalMs"),
                                              kMinIntervalMs, kMaxIntervalMs, out.intervalMs)) {
      return false;
    }
    if (value.has("count") && !integerIn(value.get("count"), member(where, "count"), kMinCount,
                                         std::numeric_limits<long long>::max(), out.count)) {
      return false;
    }
    return true;
  }

  bool application(const Value& value, const std::string& where, SimulatedApplication& out) {
    if (!expectObject(value, where) ||
        !onlyMembers(value, where, {"requests", "defaultRequest", "tasks", "events"})) {
      return false;
    }
    if (value.has("requests")) {
      const Value& requests = value.get("requests");
      const std::string at = member(where, "requests");
      if (!expectObject(requests, at)) return false;
      for (const auto& entry : requests.asObject()) {
        if (!request(entry.second, member(at, entry.first), out.requests[entry.first])) {
          return false;
        }
      }
    }
    if (value.has("defaultRequest")) {
      out.hasDefaultRequest = true;
      if (!request(value.get("defaultRequest"), member(where, "defaultRequest"),
                   out.defaultRequest)) {
        return false;
      }
    }
    if (value.has("tasks")) {
      const Value& tasks = value.get("tasks");
      const std::string at = member(where, "tasks");
      if (!expectObject(tasks, at)) return false;
      for (const auto& entry : tasks.asObject()) {
        if (!task(entry.second, member(at, entry.first), out.tasks[entry.first])) return false;
      }
    }
    if (value.has("events")) {
      const Value& events = value.get("events");
      const std::string at = member(where, "events");
      if (!events.isArray()) return fail(at, "expected an array");
      const Value::Array& items = events.asArray();
      for (size_t i = 0; i < items.size(); ++i) {
        out.events.emplace_back();
        if (!event(items[i], element(at, i), out.events.back())) return false;
      }
    }
    return true;
  }

  bool document(const Value& root, Description& out) {
    if (!root.isObject()) return fail("", "expected an object at the top level");
    if (!onlyMembers(root, "", {"applications"})) return false;
    if (!root.has("applications")) return fail("applications", "required member missing");
    const Value& applications = root.get("applications");
    if (!expectObject(applications, "applications")) return false;
    for (const auto& entry : applications.asObject()) {
      if (!application(entry.second, member("applications", entry.first),
                       out.applications[entry.first])) {
        return false;
      }
    }
    return true;
  }

 private:
  std::string source_;
  std::string error_;
};

std::string systemError(int code) {
  char buffer[256] = {};
  // The GNU strerror_r returns the message, which may or may not live in `buffer`.
  return strerror_r(code, buffer, sizeof buffer);
}

}  // namespace

bool parseDescription(const std::string& text, const std::string& source, Description& out,
                      std::string& error) {
  out = Description();
  Value root;
  pocketjson::Parser parser;
  if (!parser.tryParse(root, text)) {
    error = source + ": " + (parser.error().empty() ? "not valid JSON text" : parser.error());
    return false;
  }
  Checker checker(source);
  if (!checker.document(root, out)) {
    error = checker.error();
    return false;
  }
  error.clear();
  return true;
}

bool loadDescriptionFile(const std::string& path, Description& out, std::string& error) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    error = path + ": cannot be opened (" + systemError(errno) + ")";
    return false;
  }
  std::string text;
  char buffer[65536];
  for (;;) {
    const size_t got = std::fread(buffer, 1, sizeof buffer, file);
    text.append(buffer, got);
    if (got < sizeof buffer) break;
  }
  const bool failed = std::ferror(file) != 0;
  const int code = errno;
  std::fclose(file);
  if (failed) {
    error = path + ": cannot be read (" + systemError(code) + ")";
    return false;
  }
  return parseDescription(text, path, out, error);
}

}  // namespace zarvo_sim
