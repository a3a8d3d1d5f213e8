#include "transcript.h"

#include "json_text.h"

namespace zarvo_host {
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

std::string line(const Value& object) {
  return compactJson(object) + "\n";
}

}  // namespace

Transcript::Transcript(std::FILE* out, std::FILE* err, bool json, bool color)
    : out_(out), err_(err), json_(json), color_(color && !json) {}

void Transcript::write(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), out_);
  std::fflush(out_);
}

std::string Transcript::paint(const char* code, const std::string& text) const {
  if (!color_) return text;
  return std::string("\x1b[") + code + "m" + text + "\x1b[0m";
}

void Transcript::start(const std::string& plugin, const std::string& apps) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (json_) {
    Value o;
    o["kind"] = "start";
    o["plugin"] = plugin;
    o["apps"] = apps;
    write(line(o));
    return;
  }
  write(paint(kDim, "plug-in " + plugin + "\napplications " + apps) + "\n");
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
  std::lock_guard<std::mutex> lock(mutex_);
  write(text + "\n");
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

std::string Transcript::expectationLines(const Location& where,
                                         const std::vector<CheckResult>& checks) const {
  std::string text;
  for (const CheckResult& check : checks) {
    Value o;
    o["kind"] = "expectation";
    o["where"] = where.text();
    o["what"] = check.what;
    o["ok"] = check.ok;
    o["expected"] = check.expected;
    o["actual"] = check.actual;
    text += line(o);
  }
  return text;
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
  std::string text;
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
      o["response"] = answer.text;
    }
    text = line(o) + expectationLines(step.where, checks);
  } else {
    bool allOk = true;
    const std::string mark = verdict(checks, &allOk);
    if (answer.answered) {
      text = "  " + paint(kDim, "-> promise " + std::to_string(answer.promise)) + "  " +
             std::to_string(answer.status) + "  " + oneLine(answer.text);
    } else {
      text = "  " + paint(kDim, "-> promise " + std::to_string(answer.promise)) + "  no response";
    }
    if (!mark.empty()) text += "  " + paint(allOk ? kGreen : kRed, mark);
    text += "\n" + failures(step.where, checks);
  }
  std::lock_guard<std::mutex> lock(mutex_);
  write(text);
}

void Transcript::event(long seq, const std::string& name, const std::string& text) {
  std::string out;
  if (json_) {
    Value o;
    o["kind"] = "event";
    o["seq"] = seq;
    o["name"] = name;
    o["text"] = text;
    // The parsed event too, so a reader need not parse a string inside a line.
    Value parsed;
    std::string error;
    if (parseJson(text, &parsed, &error)) o["event"] = parsed;
    out = line(o);
  } else {
    out = paint(kCyan, "  event " + std::to_string(seq) + " " + name) + " " + oneLine(text) + "\n";
  }
  std::lock_guard<std::mutex> lock(mutex_);
  write(out);
}

void Transcript::waited(const Step& step, long long timeoutMs,
                        const std::vector<std::string>& events,
                        const std::vector<CheckResult>& checks) {
  std::string text;
  if (json_) {
    Value o;
    o["kind"] = "wait";
    o["where"] = step.where.text();
    o["count"] = step.wait.count;
    o["received"] = static_cast<long long>(events.size());
    o["timeoutMs"] = timeoutMs;
    text = line(o) + expectationLines(step.where, checks);
  } else {
    bool allOk = true;
    const std::string mark = verdict(checks, &allOk);
    text = step.where.text() + "  " + paint(kBold, "waitEvents") + " " +
           std::to_string(step.wait.count) + " (timeout " + std::to_string(timeoutMs) + " ms)\n  " +
           paint(kDim, "-> " + std::to_string(events.size()) + " taken") + "  " +
           paint(allOk ? kGreen : kRed, mark) + "\n" + failures(step.where, checks);
  }
  std::lock_guard<std::mutex> lock(mutex_);
  write(text);
}

void Transcript::slept(const Step& step) {
  std::string text;
  if (json_) {
    Value o;
    o["kind"] = "sleep";
    o["where"] = step.where.text();
    o["ms"] = step.sleepMs;
    text = line(o);
  } else {
    text = step.where.text() + "  " + paint(kBold, "sleep") + " " + std::to_string(step.sleepMs) +
           " ms\n";
  }
  std::lock_guard<std::mutex> lock(mutex_);
  write(text);
}

void Transcript::tornDown(const Location& where, bool automatic) {
  std::string text;
  if (json_) {
    Value o;
    o["kind"] = "tearDown";
    o["where"] = where.text();
    o["automatic"] = automatic;
    text = line(o);
  } else {
    text = where.text() + "  " + paint(kBold, "TearDown") +
           (automatic ? paint(kDim, "  (end of session)") : std::string()) + "\n";
  }
  std::lock_guard<std::mutex> lock(mutex_);
  write(text);
}

void Transcript::note(const Step& step) {
  std::string text;
  if (json_) {
    Value o;
    o["kind"] = "note";
    o["where"] = step.where.text();
    o["text"] = step.note;
    text = line(o);
  } else {
    text = paint(kYellow, "# " + oneLine(step.note)) + "\n";
  }
  std::lock_guard<std::mutex> lock(mutex_);
  write(text);
}

void Transcript::callLog(const Step& step, const std::vector<std::string>& lines,
                         const std::vector<CheckResult>& checks) {
  std::string text;
  if (json_) {
    Value o;
    o["kind"] = "callLog";
    o["where"] = step.where.text();
    o["lines"] = Value::of(pocketjson::kArray);
    for (const std::string& l : lines) o["lines"].push_back(Value(l));
    text = line(o) + expectationLines(step.where, checks);
  } else {
    bool allOk = true;
    const std::string mark = verdict(checks, &allOk);
    text = step.where.text() + "  " + paint(kBold, "callLog") + "  " +
           std::to_string(lines.size()) + " library calls" +
           (mark.empty() ? std::string() : "  " + paint(allOk ? kGreen : kRed, mark)) + "\n";
    for (const std::string& l : lines) text += paint(kDim, "  zarvo_x64: ") + oneLine(l) + "\n";
    text += failures(step.where, checks);
  }
  std::lock_guard<std::mutex> lock(mutex_);
  write(text);
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
    write(line(o));
  }
}

void Transcript::summary(const Totals& totals) {
  std::string text;
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
    text = line(o);
  } else {
    text = "\n" + std::to_string(totals.calls) + " calls, " + std::to_string(totals.events) +
           " events, " + std::to_string(totals.passed + totals.failed) +
           " expectations: " + std::to_string(totals.passed) + " held, " +
           std::to_string(totals.failed) + " failed";
    if (totals.badLines > 0) {
      text += ", " + std::to_string(totals.badLines) +
              (totals.badLines == 1 ? " bad input line" : " bad input lines");
    }
    text += "  " + paint(ok ? kGreen : kRed, ok ? "PASS" : "FAIL") + "\n";
  }
  std::lock_guard<std::mutex> lock(mutex_);
  write(text);
}

}  // namespace zarvo_host
