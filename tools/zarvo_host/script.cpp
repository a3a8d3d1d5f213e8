#include "script.h"

#include <algorithm>
#include <utility>

#include "host_core/json_text.h"

namespace zarvo_host {

using host_core::compactJson;
using host_core::kindName;
using host_core::parseJson;
using host_core::quoteJson;
namespace {

using pocketjson::Value;

const std::vector<std::string> kCallMembers = {
    "call",  "method",    "options", "optionsText", "parameters", "parametersText",
    "extra", "extraText", "body",    "bodyText",    "expect"};
const std::vector<std::string> kWaitMembers = {"waitEvents", "timeoutMs", "expect"};
const std::vector<std::string> kSleepMembers = {"sleepMs"};
const std::vector<std::string> kTearDownMembers = {"tearDown"};
const std::vector<std::string> kNoteMembers = {"note"};
const std::vector<std::string> kCallLogMembers = {"callLog", "expect"};
const std::vector<std::string> kRaiseMembers = {"raise", "app", "payload", "payloadText", "count"};
const std::vector<std::string> kLostMembers = {"lostConnection"};
const std::vector<std::string> kExpectMembers = {"status", "response", "text", "value"};

// "a, b and c" (or "a, b or c" with `last` " or ").
std::string joined(const std::vector<std::string>& words, const char* last = " and ") {
  std::string out;
  for (size_t i = 0; i < words.size(); ++i) {
    if (i > 0) out += i + 1 == words.size() ? last : ", ";
    out += words[i];
  }
  return out;
}

bool contains(const std::vector<std::string>& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// Every member of `object` must be one of `allowed`.
bool onlyMembers(const Value& object, const std::vector<std::string>& allowed,
                 const std::string& what, std::string* problem) {
  for (const auto& member : object.asObject()) {
    if (!contains(allowed, member.first)) {
      *problem = "unknown member " + quoteJson(member.first) + " in " + what +
                 " (allowed: " + joined(allowed) + ")";
      return false;
    }
  }
  return true;
}

// A whole number within [low, high].
bool readCount(const Value& object, const std::string& key, long long low, long long high,
               long long* out, std::string* problem) {
  const Value& v = object.get(key);
  if (!v.isInteger()) {
    *problem = quoteJson(key) + " must be a whole number, not " + std::string(kindName(v));
    return false;
  }
  if (v.asInteger() < low || v.asInteger() > high) {
    *problem = quoteJson(key) + " must be between " + std::to_string(low) + " and " +
               std::to_string(high) + ", not " + std::to_string(v.asInteger());
    return false;
  }
  *out = v.asInteger();
  return true;
}

// One request text: `key` as a JSON value written compactly, or `key`Text taken verbatim.
bool readRequestText(const Value& step, const std::string& key, const std::string& fallback,
                     std::string* out, std::string* problem) {
  const std::string textKey = key + "Text";
  const bool hasValue = step.has(key);
  const bool hasText = step.has(textKey);
  if (hasValue && hasText) {
    *problem = "give either " + quoteJson(key) + " or " + quoteJson(textKey) + ", not both";
    return false;
  }
  if (hasText) {
    const Value& text = step.get(textKey);
    if (!text.isString()) {
      *problem = quoteJson(textKey) + " must be a string (the text sent verbatim), not " +
                 std::string(kindName(text));
      return false;
    }
    *out = text.asString();
  } else if (hasValue) {
    *out = compactJson(step.get(key));
  } else {
    *out = fallback;
  }
  return true;
}

bool parseExpectation(const Value& expect, CallExpectation* out, std::string* problem) {
  if (!expect.isObject()) {
    *problem = "\"expect\" of a call must be an object with status, response, text or value";
    return false;
  }
  if (!onlyMembers(expect, kExpectMembers, "\"expect\" of a call", problem)) return false;
  if (expect.has("status")) {
    if (!readCount(expect, "status", 0, 999, &out->status, problem)) return false;
    out->hasStatus = true;
  }
  if (expect.has("response")) {
    out->hasResponse = true;
    out->response = expect.get("response");
  }
  if (expect.has("text")) {
    const Value& text = expect.get("text");
    if (!text.isString()) {
      *problem = "\"text\" of \"expect\" must be a string, not " + std::string(kindName(text));
      return false;
    }
    out->hasText = true;
    out->text = text.asString();
  }
  if (expect.has("value")) {
    out->hasValue = true;
    out->value = expect.get("value");
  }
  return true;
}

bool parseCall(const Value& step, Step* out, std::string* problem) {
  if (!onlyMembers(step, kCallMembers, "a call step", problem)) return false;
  const Value& resource = step.get("call");
  if (!resource.isString()) {
    *problem = "\"call\" must be a resource name, not " + std::string(kindName(resource));
    return false;
  }
  if (!isResourceName(resource.asString())) {
    *problem = "unknown resource " + quoteJson(resource.asString()) + " (the plug-in has " +
               joined(resourceNames()) + ")";
    return false;
  }
  CallStep& call = out->call;
  call.resource = resource.asString();
  std::string defaultOptions = "{}";
  if (step.has("method")) {
    const Value& method = step.get("method");
    if (!method.isString()) {
      *problem =
          "\"method\" must be a string such as \"post\", not " + std::string(kindName(method));
      return false;
    }
    call.method = method.asString();
    Value options;
    options["method"] = call.method;
    defaultOptions = compactJson(options);
  }
  call.optionsGiven = step.has("options") || step.has("optionsText");
  if (!readRequestText(step, "options", defaultOptions, &call.options, problem) ||
      !readRequestText(step, "parameters", "{}", &call.parameters, problem) ||
      !readRequestText(step, "extra", "{}", &call.extra, problem) ||
      !readRequestText(step, "body", "", &call.body, problem)) {
    return false;
  }
  if (step.has("expect") && !parseExpectation(step.get("expect"), &call.expect, problem)) {
    return false;
  }
  out->kind = StepKind::kCall;
  return true;
}

bool parseWait(const Value& step, Step* out, std::string* problem) {
  if (!onlyMembers(step, kWaitMembers, "a waitEvents step", problem)) return false;
  if (!readCount(step, "waitEvents", 0, 1000000, &out->wait.count, problem)) return false;
  if (step.has("timeoutMs") &&
      !readCount(step, "timeoutMs", 0, kMaxMilliseconds, &out->wait.timeoutMs, problem)) {
    return false;
  }
  if (step.has("expect")) {
    const Value& expect = step.get("expect");
    if (!expect.isObject() && !expect.isArray()) {
      *problem =
          "\"expect\" of waitEvents must be an object (members every event has) or an array "
          "(the exact events), not " +
          std::string(kindName(expect));
      return false;
    }
    if (expect.isArray() && static_cast<long long>(expect.size()) != out->wait.count) {
      *problem = "\"expect\" lists " + std::to_string(expect.size()) +
                 " events but waitEvents is " + std::to_string(out->wait.count);
      return false;
    }
    out->wait.hasExpect = true;
    out->wait.expect = expect;
  }
  out->kind = StepKind::kWaitEvents;
  return true;
}

bool parseCallLog(const Value& step, Step* out, std::string* problem) {
  if (!onlyMembers(step, kCallLogMembers, "a callLog step", problem)) return false;
  const Value& flag = step.get("callLog");
  if (!flag.isBool() || !flag.asBool()) {
    *problem = "\"callLog\" must be true";
    return false;
  }
  if (step.has("expect")) {
    const Value& expect = step.get("expect");
    if (!expect.isArray()) {
      *problem = "\"expect\" of callLog must be an array of call lines, not " +
                 std::string(kindName(expect));
      return false;
    }
    for (const Value& line : expect.asArray()) {
      if (!line.isString()) {
        *problem = "\"expect\" of callLog lists strings only, not " + std::string(kindName(line));
        return false;
      }
      out->callLog.lines.push_back(line.asString());
    }
    out->callLog.hasExpect = true;
  }
  out->kind = StepKind::kCallLog;
  return true;
}

// A non-empty string member.
bool readName(const Value& object, const std::string& key, std::string* out, std::string* problem) {
  const Value& v = object.get(key);
  if (!v.isString() || v.asString().empty()) {
    *problem = quoteJson(key) + " must be a non-empty string, not " +
               (v.isString() ? std::string("the empty string") : std::string(kindName(v)));
    return false;
  }
  *out = v.asString();
  return true;
}

bool parseRaise(const Value& step, Step* out, std::string* problem) {
  if (!onlyMembers(step, kRaiseMembers, "a raise step", problem)) return false;
  RaiseStep& raise = out->raise;
  if (!readName(step, "raise", &raise.type, problem)) return false;
  if (!step.has("app")) {
    *problem = "a raise step names the application that raises the event in \"app\"";
    return false;
  }
  if (!readName(step, "app", &raise.app, problem) ||
      !readRequestText(step, "payload", "null", &raise.payload, problem)) {
    return false;
  }
  if (step.has("count") && !readCount(step, "count", 1, kMaxRaiseCount, &raise.count, problem)) {
    return false;
  }
  out->kind = StepKind::kRaise;
  return true;
}

bool parseLostConnection(const Value& step, Step* out, std::string* problem) {
  if (!onlyMembers(step, kLostMembers, "a lostConnection step", problem) ||
      !readName(step, "lostConnection", &out->note, problem)) {
    return false;
  }
  out->kind = StepKind::kLostConnection;
  return true;
}

bool parseStepObject(const Value& step, Step* out, std::string* problem) {
  std::vector<std::string> named;
  for (const std::string& kind : stepKeywords()) {
    if (step.has(kind)) named.push_back(kind);
  }
  if (named.empty()) {
    *problem = "unknown step: a step has one of the members " + joined(stepKeywords(), " or ");
    return false;
  }
  if (named.size() > 1) {
    *problem = "a step has exactly one of " + joined(stepKeywords(), " or ") + "; this one has " +
               joined(named);
    return false;
  }
  const std::string& kind = named.front();
  if (kind == "raise") return parseRaise(step, out, problem);
  if (kind == "lostConnection") return parseLostConnection(step, out, problem);
  if (kind == "call") return parseCall(step, out, problem);
  if (kind == "waitEvents") return parseWait(step, out, problem);
  if (kind == "sleepMs") {
    if (!onlyMembers(step, kSleepMembers, "a sleepMs step", problem) ||
        !readCount(step, "sleepMs", 0, kMaxMilliseconds, &out->sleepMs, problem)) {
      return false;
    }
    out->kind = StepKind::kSleep;
    return true;
  }
  if (kind == "tearDown") {
    if (!onlyMembers(step, kTearDownMembers, "a tearDown step", problem)) return false;
    const Value& flag = step.get("tearDown");
    if (!flag.isBool() || !flag.asBool()) {
      *problem = "\"tearDown\" must be true";
      return false;
    }
    out->kind = StepKind::kTearDown;
    return true;
  }
  if (kind == "callLog") return parseCallLog(step, out, problem);
  if (!onlyMembers(step, kNoteMembers, "a note step", problem)) return false;
  const Value& note = step.get("note");
  if (!note.isString()) {
    *problem = "\"note\" must be a string, not " + std::string(kindName(note));
    return false;
  }
  out->note = note.asString();
  out->kind = StepKind::kNote;
  return true;
}

}  // namespace

const std::vector<std::string>& resourceNames() {
  static const std::vector<std::string> names = {"ZarvoApplication", "ZarvoApplicationBridge",
                                                 "ZarvoApplicationEvent", "ZarvoApplicationCustom"};
  return names;
}

const std::vector<std::string>& stepKeywords() {
  static const std::vector<std::string> keywords = {
      "call", "waitEvents", "sleepMs", "tearDown", "note", "callLog", "raise", "lostConnection"};
  return keywords;
}

bool isResourceName(const std::string& name) {
  return contains(resourceNames(), name);
}

LineKind parseScriptLine(const std::string& rawLine, const Location& where, Step* out,
                         std::string* problem) {
  std::string line = rawLine;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  const size_t first = line.find_first_not_of(" \t");
  if (first == std::string::npos) return LineKind::kSkip;
  if (line[first] == '#' || line.compare(first, 2, "//") == 0) return LineKind::kSkip;

  Value step;
  std::string error;
  if (!parseJson(line, &step, &error)) {
    *problem = "malformed JSON: " + error;
    return LineKind::kError;
  }
  if (!step.isObject()) {
    *problem = "a step must be a JSON object, not " + std::string(kindName(step));
    return LineKind::kError;
  }
  *out = Step();
  out->where = where;
  return parseStepObject(step, out, problem) ? LineKind::kStep : LineKind::kError;
}

bool makeCommandLineCall(const std::string& resource, const std::string& method,
                         const std::vector<std::string>& texts, const Location& where, Step* out,
                         std::string* problem) {
  if (!isResourceName(resource)) {
    *problem = "unknown resource " + quoteJson(resource) + " (the plug-in has " +
               joined(resourceNames()) + ")";
    return false;
  }
  *out = Step();
  out->where = where;
  out->kind = StepKind::kCall;
  out->call.resource = resource;
  out->call.method = method;
  Value options;
  options["method"] = method;
  out->call.options = compactJson(options);
  out->call.parameters = texts.size() > 0 ? texts[0] : "{}";
  out->call.body = texts.size() > 1 ? texts[1] : "";
  out->call.extra = texts.size() > 2 ? texts[2] : "{}";
  return true;
}

std::vector<Step> readScript(std::istream& in, const std::string& source,
                             std::vector<std::string>* problems) {
  std::vector<Step> steps;
  std::string line;
  Location where{source, 0};
  while (std::getline(in, line)) {
    ++where.line;
    Step step;
    std::string problem;
    switch (parseScriptLine(line, where, &step, &problem)) {
      case LineKind::kSkip:
        break;
      case LineKind::kStep:
        steps.push_back(std::move(step));
        break;
      case LineKind::kError:
        problems->push_back(where.text() + ": " + problem);
        break;
    }
  }
  return steps;
}

}  // namespace zarvo_host
