#include "description.h"

#include <cerrno>
#include <cmath>
#include <cstddef>
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

  // An integer may also be written as a real number without a fraction (200.0, 2e2), as a JSON
  // Schema "integer" may, so that the published schema and this loader accept the same texts.
  // Every range asked for lies within 64 bits, so a whole number beyond them is out of range.
  bool integerIn(const Value& value, const std::string& where, long long low, long long high,
                 long long& out) {
    bool inRange = false;
    if (value.isInteger()) {
      out = value.asInteger();
      inRange = out >= low && out <= high;
    } else if (value.isFloat() && std::isfinite(value.asFloat()) &&
               std::trunc(value.asFloat()) == value.asFloat()) {
      constexpr double kTwoTo63 = 9223372036854775808.0;
      const double number = value.asFloat();
      if (number >= -kTwoTo63 && number < kTwoTo63) {
        out = static_cast<long long>(number);
        inRange = out >= low && out <= high;
      }
    } else {
      return fail(where, "expected an integer");
    }
    if (!inRange) {
      return fail(
          where, "expected an integer from " + std::to_string(low) + " to " + std::to_string(high));
    }
    return true;
  }

  // Names that the plug-in never sends empty (application names, uris, task types).
  bool nonEmptyNames(const Value& object, const std::string& where, const char* what) {
    for (const auto& entry : object.asObject()) {
      if (entry.first.empty()) return fail(where, std::string("expected a non-empty ") + what);
    }
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
      if (!expectObject(requests, at) || !nonEmptyNames(requests, at, "uri")) return false;
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
      if (!expectObject(tasks, at) || !nonEmptyNames(tasks, at, "task type")) return false;
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
    if (!onlyMembers(root, "", {"$schema", "applications"})) return false;
    // "$schema" lets an editor find the published schema; the loader only checks its type.
    if (root.has("$schema") && !root.get("$schema").isString()) {
      return fail("$schema", "expected a string");
    }
    if (!root.has("applications")) return fail("applications", "required member missing");
    const Value& applications = root.get("applications");
    if (!expectObject(applications, "applications") ||
        !nonEmptyNames(applications, "applications", "application name")) {
      return false;
    }
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

bool isJsonSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// "<line>:<column>" of the byte at `position`, counted from `start` (behind a byte-order mark,
// which editors do not show). Lines end at "\n", "\r\n" or a lone "\r"; a column counts
// characters, i.e. the bytes that do not continue a UTF-8 sequence, as an editor shows them.
std::string lineAndColumn(const std::string& text, size_t start, size_t position) {
  size_t line = 1;
  size_t column = 1;
  for (size_t i = start; i < position; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
    if (byte == '\n' || byte == '\r') {
      ++line;
      column = 1;
    } else if ((byte & 0xC0) != 0x80) {
      ++column;
    }
  }
  return std::to_string(line) + ":" + std::to_string(column);
}

// Parses `text` as the JSON library's whole-text parse does (a leading byte-order mark or part
// of it skipped, nothing but whitespace after the value, a NUL ending the text), but reports a
// syntax error as "<source>:<line>:<column>: <message>" at the place where the parser stopped:
// the first byte it could not take, or the end of the text when the text ends too early.
bool parseJson(const std::string& text, const std::string& source, Value& root,
               std::string& error) {
  static const unsigned char kByteOrderMark[] = {0xEF, 0xBB, 0xBF};
  size_t start = 0;
  for (const unsigned char mark : kByteOrderMark) {
    if (start < text.size() && static_cast<unsigned char>(text[start]) == mark) ++start;
  }
  pocketjson::Parser parser;
  pocketjson::Parser::TextIterator iterator(text.cbegin() + static_cast<std::ptrdiff_t>(start),
                                            text.cend());
  const bool parsed = parser.parse_value(&root, nullptr, iterator, pocketjson::ParseOption());
  size_t position = static_cast<size_t>(iterator.current - text.cbegin());
  std::string message = parser.error();
  if (!parsed && message.empty()) {
    // The library's one silent failure; the parser stands behind the six bytes of the escape.
    message =
        "lone low surrogate escape: \\uDC00 to \\uDFFF must follow a high surrogate "
        "escape (\\uD800 to \\uDBFF)";
    if (position >= start + 6) position -= 6;
  } else if (parsed) {
    // The library ends an object that the text cuts off after its '{' or a ',' ("{\"a\":1,").
    size_t last = position;
    while (last > start && isJsonSpace(text[last - 1])) --last;
    if (root.isObject() && (last == start || text[last - 1] != '}')) {
      message = "the text ends before the top-level object is closed";
    }
    while (position < text.size() && isJsonSpace(text[position])) ++position;
    if (message.empty() && position < text.size() && text[position] != '\0') {
      message = "Gabage string exists after json string.";
    }
  }
  if (message.empty()) return true;
  error = source + ":" + lineAndColumn(text, start, position) + ": " + message;
  return false;
}

// The JSON library reads an integer literal beyond 64 bits as a real number only when a digit 8
// or 9 comes after its value passes the range; otherwise the value wraps around
// ("18446744073709551617" reads as 1). A ".0" behind the digits of every such literal makes it
// read as the real number it is. The text is known to parse, so a scan that skips strings finds
// every number (digits among stray bytes where a key is expected stay stray bytes).
bool widenLongIntegers(const std::string& text, std::string& widened) {
  static const std::string kLargest = "9223372036854775807";
  size_t copied = 0;
  size_t i = 0;
  while (i < text.size()) {
    const char c = text[i];
    if (c == '"') {
      for (++i; i < text.size() && text[i] != '"'; ++i) {
        if (text[i] == '\\') ++i;
      }
      ++i;
      continue;
    }
    if (c != '-' && (c < '0' || c > '9')) {
      ++i;
      continue;
    }
    if (c == '-') ++i;
    const size_t digits = i;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i;
    const size_t length = i - digits;
    const bool fraction = i < text.size() && text[i] == '.';
    if (!fraction && (length > kLargest.size() ||
                      (length == kLargest.size() && text.compare(digits, length, kLargest) > 0))) {
      widened.append(text, copied, i - copied).append(".0");
      copied = i;
    }
    // The rest of the number, so that exponent digits are not taken for a number of their own.
    while (i < text.size() && text[i] != '\0' && std::strchr("0123456789.eE+-", text[i])) ++i;
  }
  if (copied == 0) return false;
  widened.append(text, copied, std::string::npos);
  return true;
}

// The whole-text parse with positioned syntax errors and integers that do not wrap around.
bool parseText(const std::string& text, const std::string& source, Value& root,
               std::string& error) {
  if (!parseJson(text, source, root, error)) return false;
  std::string widened;
  if (!widenLongIntegers(text, widened)) return true;
  root = Value();
  return parseJson(widened, source, root, error);
}

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
  if (!parseText(text, source, root, error)) return false;
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
