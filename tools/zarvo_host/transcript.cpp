#include "transcript.h"

#include <utility>

#include "host_core/json_text.h"

namespace zarvo_host {

using host_core::compactJson;
using host_core::parseJson;
using host_core::quoteJson;
namespace {

using pocketjson::Value;

const char* const kBold = "1";
const char* const kDim = "2";
const char* const kRed = "1;31";
const char* const kGreen = "32";
const char* const kYellow = "33";
const char* const kCyan = "36";

// A request or response text as shown on one line: verbatim, unless it holds control bytes
// (a line break would split the line), then as a quoted JSON string.
std::string oneLine(const std::string& text) {
  for (unsigned char c : text) {
    if (c < 0x20 || c == 0x7f) return quoteJson(text);
  }
  return text;
}

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
    text += quoteJson(member.first) + ":" + compactJson(member.second) + ",";
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
  if (parseJson(text, &parsed, &error)) out[key] = parsed;
  out[textKey] = text;
}

}  // namespace

Transcript::Transcript(std::FILE* out, std::FILE* err, bool json, bool color)
    : out_(out),
      err_(err),
      json_(json),
      color_(color && !json),
      started_(std::chrono::steady_clock::now()) {}

void Transcript::write(const std::string& text) {
  if (holding_) {
    held_ += text;
    if (wake_) wake_();
    return;
  }
  std::fwrite(text.data(), 1, text.size(), out_);
  std::fflush(out_);
}

void Transcript::hold(std::function<void()> wake) {
  std::lock_guard<std::mutex> lock(mutex_);
  holding_ = true;
  wake_ = std::move(wake);
}

std::string Transcript::takeHeld() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string text;
  text.swap(held_);
  return text;
}

void Transcript::release() {
  std::lock_guard<std::mutex> lock(mutex_);
  holding_ = false;
  wake_ = nullptr;
  std::string text;
  text.swap(held_);
  if (!text.empty()) write(text);
}

std::string Transcript::stamp() const {
  const auto elapsed = std::chrono::steady_clock::now() - started_;
  return seconds(std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count());
}

void Transcript::emit(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  write(text);
}

void Transcript::emitJson(const std::vector<Value>& objects) {
  std::lock_guard<std::mutex> lock(mutex_);
  // The clock is read under the mutex, so the stamps follow the order of the lines.
  const std::string t = stamp();
  std::string text;
  for (const Value& object : objects) text += stampedLine(object, t);
  write(text);
}

std::string Transcript::paint(const char* code, const std::string& text) const {
  if (!color_) return text;
  return std::string("\x1b[") + code + "m" + text + "\x1b[0m";
}

void Transcript::start(const std::string& plugin, const std::string& apps) {
  if (json_) {
    Value o;
    o["kind"] = "start";
    o["plugin"] = plugin;
    o["apps"] = apps;
    emitJson({o});
    return;
  }
  emit(paint(kDim, "plug-in " + plugin + "\napplications " + apps) + "\n");
}

void Transcript::callStarted(const Step& step) {
  if (json_) return;  // JSON mode writes the whole call as one object once it is answered
  const CallStep& call = step.call;
  std::string text = step.where.text() + "  " + paint(kBold, call.resource) + " ";
  text += call.optionsGiven || call.method.empty() ? "options " + oneLine(call.options)
                                                   : paint(kBold, call.method);
  text += "  " + oneLine(call.parameters);
  if (!call.body.empty()) text += "  body " + oneLine(call.body);
  if (call.extra != "{}") text += "  extra " + oneLine(call.extra);
  emit(text + "\n");
}

std::string Transcript::failures(const Location& where,
                                 const std::vector<CheckResult>& checks) const {
  std::string text;
  for (const CheckResult& check : checks) {
    if (check.ok) continue;
    text += "  " + paint(kRed, "FAIL") + " " + where.text() + ": " + check.what + "\n";
    text += "       expected: " + oneLine(check.expected) + "\n";
    text += "       actual:   " + oneLine(check.actual) + "\n";
  }
  return text;
}

void Transcript::addExpectations(const Location& where, const std::vector<CheckResult>& checks,
                                 std::vector<Value>* objects) {
  for (const CheckResult& check : checks) {
    Value o;
    o["kind"] = "expectation";
    o["where"] = where.text();
    o["what"] = check.what;
    o["ok"] = check.ok;
    o["expected"] = check.expected;
    o["actual"] = check.actual;
    objects->push_back(o);
  }
}

namespace {

// " ok", " FAIL" or nothing, for the end of an answer line.
std::string verdict(const std::vector<CheckResult>& checks, bool* allOk) {
  *allOk = true;
  for (const CheckResult& check : checks) *allOk = *allOk && check.ok;
  if (checks.empty()) return "";
  return *allOk ? "ok" : "FAIL";
}

}  // namespace

void Transcript::callAnswered(const Step& step, const Answer& answer,
                              const std::vector<CheckResult>& checks) {
  if (json_) {
    const CallStep& call = step.call;
    Value o;
    o["kind"] = "call";
    o["where"] = step.where.text();
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
    std::vector<Value> objects{o};
    addExpectations(step.where, checks, &objects);
    emitJson(objects);
    return;
  }
  bool allOk = true;
  const std::string mark = verdict(checks, &allOk);
  std::string text = "  " + paint(kDim, "-> promise " + std::to_string(answer.promise)) + "  ";
  text += answer.answered ? std::to_string(answer.status) + "  " + oneLine(answer.text)
                          : std::string("no response");
  if (!mark.empty()) text += "  " + paint(allOk ? kGreen : kRed, mark);
  emit(text + "\n" + failures(step.where, checks));
}

void Transcript::event(long seq, const std::string& name, const std::string& text) {
  if (json_) {
    Value o;
    o["kind"] = "event";
    o["seq"] = seq;
    o["name"] = name;
    parsedAndText(o, "event", "eventText", text);
    emitJson({o});
    return;
  }
  emit(paint(kCyan, "  event " + std::to_string(seq) + " " + name) + " " + oneLine(text) + "\n");
}

void Transcript::waited(const Step& step, long long timeoutMs,
                        const std::vector<std::string>& events,
                        const std::vector<CheckResult>& checks) {
  if (json_) {
    Value o;
    o["kind"] = "wait";
    o["where"] = step.where.text();
    o["count"] = step.wait.count;
    o["received"] = static_cast<long long>(events.size());
    o["timeoutMs"] = timeoutMs;
    std::vector<Value> objects{o};
    addExpectations(step.where, checks, &objects);
    emitJson(objects);
    return;
  }
  bool allOk = true;
  const std::string mark = verdict(checks, &allOk);
  std::string text = step.where.text() + "  " + paint(kBold, "waitEvents") + " " +
                     std::to_string(step.wait.count) + " (timeout " + std::to_string(timeoutMs) +
                     " ms)\n  " + paint(kDim, "-> " + std::to_string(events.size()) + " taken") +
                     "  " + paint(allOk ? kGreen : kRed, mark) + "\n" +
                     failures(step.where, checks);
  emit(text);
}

void Transcript::slept(const Step& step) {
  if (json_) {
    Value o;
    o["kind"] = "sleep";
    o["where"] = step.where.text();
    o["ms"] = step.sleepMs;
    emitJson({o});
    return;
  }
  emit(step.where.text() + "  " + paint(kBold, "sleep") + " " + std::to_string(step.sleepMs) +
       " ms\n");
}

void Transcript::tornDown(const Location& where, bool automatic) {
  if (json_) {
    Value o;
    o["kind"] = "tearDown";
    o["where"] = where.text();
    o["automatic"] = automatic;
    emitJson({o});
    return;
  }
  emit(where.text() + "  " + paint(kBold, "TearDown") +
       (automatic ? paint(kDim, "  (end of session)") : std::string()) + "\n");
}

void Transcript::note(const Step& step) {
  if (json_) {
    Value o;
    o["kind"] = "note";
    o["where"] = step.where.text();
    o["text"] = step.note;
    emitJson({o});
    return;
  }
  emit(paint(kYellow, "# " + oneLine(step.note)) + "\n");
}

void Transcript::callLog(const Step& step, const std::vector<std::string>& lines,
                         const std::vector<CheckResult>& checks) {
  if (json_) {
    Value o;
    o["kind"] = "callLog";
    o["where"] = step.where.text();
    o["lines"] = Value::of(pocketjson::kArray);
    for (const std::string& l : lines) o["lines"].push_back(Value(l));
    std::vector<Value> objects{o};
    addExpectations(step.where, checks, &objects);
    emitJson(objects);
    return;
  }
  bool allOk = true;
  const std::string mark = verdict(checks, &allOk);
  std::string text = step.where.text() + "  " + paint(kBold, "callLog") + "  " +
                     std::to_string(lines.size()) + " library calls" +
                     (mark.empty() ? std::string() : "  " + paint(allOk ? kGreen : kRed, mark)) +
                     "\n";
  for (const std::string& l : lines) text += paint(kDim, "  zarvo_x64: ") + oneLine(l) + "\n";
  text += failures(step.where, checks);
  emit(text);
}

void Transcript::raiseStarted(const Step& step) {
  if (json_) return;  // JSON mode writes the whole step as one object once it is done
  const RaiseStep& raise = step.raise;
  std::string text = step.where.text() + "  " + paint(kBold, "raise") + " " + raise.type + "  " +
                     raise.app + "  " + oneLine(raise.payload);
  if (raise.count != 1) text += "  (" + std::to_string(raise.count) + " times)";
  emit(text + "\n");
}

void Transcript::raised(const Step& step, long long delivered) {
  const RaiseStep& raise = step.raise;
  if (json_) {
    Value o;
    o["kind"] = "raise";
    o["where"] = step.where.text();
    o["app"] = raise.app;
    o["type"] = raise.type;
    parsedAndText(o, "payload", "payloadText", raise.payload);
    o["count"] = raise.count;
    o["delivered"] = delivered;
    emitJson({o});
    return;
  }
  // No subscription of the type means no callback: worth saying, since no event line appears.
  const std::string what = delivered == 0 ? "no subscription, nothing delivered"
                                          : std::to_string(delivered) + " delivered";
  emit("  " + paint(kDim, "-> " + what) + "\n");
}

void Transcript::lostConnection(const Step& step, bool delivered) {
  if (json_) {
    Value o;
    o["kind"] = "lostConnection";
    o["where"] = step.where.text();
    o["app"] = step.note;
    o["delivered"] = delivered;
    emitJson({o});
    return;
  }
  emit(step.where.text() + "  " + paint(kBold, "lostConnection") + "  " + step.note + "\n  " +
       paint(kDim, delivered ? "-> did-disconnect notice delivered"
                             : "-> no did-disconnect callback registered") +
       "\n");
}

void Transcript::problem(const std::string& message) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::fflush(out_);
  std::fputs((message + "\n").c_str(), err_);
  std::fflush(err_);
  if (json_) {
    Value o;
    o["kind"] = "error";
    o["message"] = message;
    write(stampedLine(o, stamp()));
  }
}

void Transcript::info(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!json_) {
    write(text);
    return;
  }
  std::fflush(out_);
  std::fputs(text.c_str(), err_);
  std::fflush(err_);
}

void Transcript::summary(const Totals& totals) {
  const bool ok = totals.failed == 0 && totals.badLines == 0;
  if (json_) {
    Value o;
    o["kind"] = "summary";
    o["calls"] = totals.calls;
    o["events"] = totals.events;
    o["passed"] = totals.passed;
    o["failed"] = totals.failed;
    o["badLines"] = totals.badLines;
    o["ok"] = ok;
    emitJson({o});
    return;
  }
  std::string text = "\n" + std::to_string(totals.calls) + " calls, " +
                     std::to_string(totals.events) + " events, " +
                     std::to_string(totals.passed + totals.failed) +
                     " expectations: " + std::to_string(totals.passed) + " held, " +
                     std::to_string(totals.failed) + " failed";
  if (totals.badLines > 0) {
    text += ", " + std::to_string(totals.badLines) +
            (totals.badLines == 1 ? " bad input line" : " bad input lines");
  }
  emit(text + "  " + paint(ok ? kGreen : kRed, ok ? "PASS" : "FAIL") + "\n");
}

}  // namespace zarvo_host
