#include "json_transcript.h"

#include "host_core/json_text.h"

namespace zarvo_host {
namespace {

using pocketjson::Value;

// Microseconds as seconds with six decimals, written without the C library so that no locale
// can change the decimal point.
std::string seconds(long long micros) {
  std::string fraction = std::to_string(micros % 1000000);
  fraction.insert(0, 6 - fraction.size(), '0');
  return std::to_string(micros / 1000000) + "." + fraction;
}

// The compact text of the flat object `object` with the member "t" added in its sorted place.
std::string stampedLine(const Value& object, const std::string& t) {
  std::string text = "{";
  bool stamped = false;
  for (const auto& member : object.asObject()) {
    if (!stamped && member.first > "t") {
      text += "\"t\":" + t + ",";
      stamped = true;
    }
    text += host_core::quoteJson(member.first) + ":" + host_core::compactJson(member.second) + ",";
  }
  if (!stamped) text += "\"t\":" + t + ",";
  text.back() = '}';
  return text + "\n";
}

// `text` parsed into `out` under `key` when it is JSON; the text itself goes under `textKey`.
void parsedAndText(Value& out, const std::string& key, const std::string& textKey,
                   const std::string& text) {
  Value parsed;
  std::string error;
  if (host_core::parseJson(text, &parsed, &error)) out[key] = parsed;
  out[textKey] = text;
}

// An object of `kind` at `where`.
Value stepObject(const char* kind, const Location& where) {
  Value o;
  o["kind"] = kind;
  o["where"] = where.text();
  return o;
}

}  // namespace

void JsonTranscript::emitJson(const std::vector<Value>& objects) {
  std::lock_guard<std::mutex> lock(mutex());
  // The clock is read under the mutex, so the stamps follow the order of the lines.
  const auto elapsed = std::chrono::steady_clock::now() - started_;
  const std::string t =
      seconds(std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count());
  std::string text;
  for (const Value& object : objects) text += stampedLine(object, t);
  write(text);
}

std::vector<Value> JsonTranscript::withExpectations(const Value& object, const Location& where,
                                                    const std::vector<CheckResult>& checks) {
  std::vector<Value> objects{object};
  for (const CheckResult& check : checks) {
    Value o = stepObject("expectation", where);
    o["what"] = check.what;
    o["ok"] = check.ok;
    o["expected"] = check.expected;
    o["actual"] = check.actual;
    objects.push_back(o);
  }
  return objects;
}

void JsonTranscript::start(const std::string& plugin, const std::string& apps) {
  Value o;
  o["kind"] = "start";
  o["plugin"] = plugin;
  o["apps"] = apps;
  emitJson({o});
}

void JsonTranscript::callAnswered(const Step& step, const Answer& answer,
                                  const std::vector<CheckResult>& checks) {
  const CallStep& call = step.call;
  Value o = stepObject("call", step.where);
  o["resource"] = call.resource;
  o["method"] = call.method;
  o["options"] = call.options;
  o["parameters"] = call.parameters;
  o["extra"] = call.extra;
  o["body"] = call.body;
  o["promise"] = answer.promise;
  o["answered"] = answer.answered;
  if (answer.answered) {
    o["status"] = answer.status;
    parsedAndText(o, "response", "responseText", answer.text);
  }
  emitJson(withExpectations(o, step.where, checks));
}

void JsonTranscript::event(long seq, const std::string& name, const std::string& text) {
  Value o;
  o["kind"] = "event";
  o["seq"] = seq;
  o["name"] = name;
  parsedAndText(o, "event", "eventText", text);
  emitJson({o});
}

void JsonTranscript::waited(const Step& step, long long timeoutMs,
                            const std::vector<std::string>& events,
                            const std::vector<CheckResult>& checks) {
  Value o = stepObject("wait", step.where);
  o["count"] = step.wait.count;
  o["received"] = static_cast<long long>(events.size());
  o["timeoutMs"] = timeoutMs;
  emitJson(withExpectations(o, step.where, checks));
}

void JsonTranscript::slept(const Step& step) {
  Value o = stepObject("sleep", step.where);
  o["ms"] = step.sleepMs;
  emitJson({o});
}

void JsonTranscript::tornDown(const Location& where, bool automatic) {
  Value o = stepObject("tearDown", where);
  o["automatic"] = automatic;
  emitJson({o});
}

void JsonTranscript::note(const Step& step) {
  Value o = stepObject("note", step.where);
  o["text"] = step.note;
  emitJson({o});
}

void JsonTranscript::callLog(const Step& step, const std::vector<std::string>& lines,
                             const std::vector<CheckResult>& checks) {
  Value o = stepObject("callLog", step.where);
  o["lines"] = Value::of(pocketjson::kArray);
  for (const std::string& l : lines) o["lines"].push_back(Value(l));
  emitJson(withExpectations(o, step.where, checks));
}

void JsonTranscript::raised(const Step& step, long long delivered) {
  const RaiseStep& raise = step.raise;
  Value o = stepObject("raise", step.where);
  o["app"] = raise.app;
  o["type"] = raise.type;
  parsedAndText(o, "payload", "payloadText", raise.payload);
  o["count"] = raise.count;
  o["delivered"] = delivered;
  emitJson({o});
}

void JsonTranscript::lostConnection(const Step& step, bool delivered) {
  Value o = stepObject("lostConnection", step.where);
  o["app"] = step.note;
  o["delivered"] = delivered;
  emitJson({o});
}

void JsonTranscript::summary(const Totals& totals) {
  Value o;
  o["kind"] = "summary";
  o["calls"] = totals.calls;
  o["events"] = totals.events;
  o["passed"] = totals.passed;
  o["failed"] = totals.failed;
  o["badLines"] = totals.badLines;
  o["ok"] = totals.failed == 0 && totals.badLines == 0;
  emitJson({o});
}

void JsonTranscript::problem(const std::string& message) {
  Transcript::problem(message);
  Value o;
  o["kind"] = "error";
  o["message"] = message;
  emitJson({o});
}

void JsonTranscript::info(const std::string& text) {
  emitError(text);
}

}  // namespace zarvo_host
