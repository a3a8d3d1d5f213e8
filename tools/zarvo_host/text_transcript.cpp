#include "text_transcript.h"

#include "host_core/json_text.h"

namespace zarvo_host {
namespace {

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
    if (c < 0x20 || c == 0x7f) return host_core::quoteJson(text);
  }
  return text;
}

}  // namespace

std::string TextTranscript::paint(const char* code, const std::string& text) const {
  if (!color_) return text;
  return std::string("\x1b[") + code + "m" + text + "\x1b[0m";
}

std::string TextTranscript::failures(const Location& where,
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

std::string TextTranscript::verdict(const std::vector<CheckResult>& checks) const {
  if (checks.empty()) return "";
  bool allOk = true;
  for (const CheckResult& check : checks) allOk = allOk && check.ok;
  return "  " + paint(allOk ? kGreen : kRed, allOk ? "ok" : "FAIL");
}

void TextTranscript::start(const std::string& plugin, const std::string& apps) {
  emit(paint(kDim, "plug-in " + plugin + "\napplications " + apps) + "\n");
}

void TextTranscript::callStarted(const Step& step) {
  const CallStep& call = step.call;
  std::string text = step.where.text() + "  " + paint(kBold, call.resource) + " ";
  text += call.optionsGiven || call.method.empty() ? "options " + oneLine(call.options)
                                                   : paint(kBold, call.method);
  text += "  " + oneLine(call.parameters);
  if (!call.body.empty()) text += "  body " + oneLine(call.body);
  if (call.extra != "{}") text += "  extra " + oneLine(call.extra);
  emit(text + "\n");
}

void TextTranscript::callAnswered(const Step& step, const Answer& answer,
                                  const std::vector<CheckResult>& checks) {
  std::string text = "  " + paint(kDim, "-> promise " + std::to_string(answer.promise)) + "  ";
  text += answer.answered ? std::to_string(answer.status) + "  " + oneLine(answer.text)
                          : std::string("no response");
  emit(text + verdict(checks) + "\n" + failures(step.where, checks));
}

void TextTranscript::event(long seq, const std::string& name, const std::string& text) {
  emit(paint(kCyan, "  event " + std::to_string(seq) + " " + name) + " " + oneLine(text) + "\n");
}

void TextTranscript::waited(const Step& step, long long timeoutMs,
                            const std::vector<std::string>& events,
                            const std::vector<CheckResult>& checks) {
  emit(step.where.text() + "  " + paint(kBold, "waitEvents") + " " +
       std::to_string(step.wait.count) + " (timeout " + std::to_string(timeoutMs) + " ms)\n  " +
       paint(kDim, "-> " + std::to_string(events.size()) + " taken") + verdict(checks) + "\n" +
       failures(step.where, checks));
}

void TextTranscript::slept(const Step& step) {
  emit(step.where.text() + "  " + paint(kBold, "sleep") + " " + std::to_string(step.sleepMs) +
       " ms\n");
}

void TextTranscript::tornDown(const Location& where, bool automatic) {
  emit(where.text() + "  " + paint(kBold, "TearDown") +
       (automatic ? paint(kDim, "  (end of session)") : std::string()) + "\n");
}

void TextTranscript::note(const Step& step) {
  emit(paint(kYellow, "# " + oneLine(step.note)) + "\n");
}

void TextTranscript::callLog(const Step& step, const std::vector<std::string>& lines,
                             const std::vector<CheckResult>& checks) {
  std::string text = step.where.text() + "  " + paint(kBold, "callLog") + "  " +
                     std::to_string(lines.size()) + " library calls" + verdict(checks) + "\n";
  for (const std::string& l : lines) text += paint(kDim, "  zarvo_x64: ") + oneLine(l) + "\n";
  emit(text + failures(step.where, checks));
}

void TextTranscript::raiseStarted(const Step& step) {
  const RaiseStep& raise = step.raise;
  std::string text = step.where.text() + "  " + paint(kBold, "raise") + " " + raise.type + "  " +
                     raise.app + "  " + oneLine(raise.payload);
  if (raise.count != 1) text += "  (" + std::to_string(raise.count) + " times)";
  emit(text + "\n");
}

void TextTranscript::raised(const Step& /*step*/, long long delivered) {
  // No subscription of the type means no callback: worth saying, since no event line appears.
  const std::string what = delivered == 0 ? "no subscription, nothing delivered"
                                          : std::to_string(delivered) + " delivered";
  emit("  " + paint(kDim, "-> " + what) + "\n");
}

void TextTranscript::lostConnection(const Step& step, bool delivered) {
  emit(step.where.text() + "  " + paint(kBold, "lostConnection") + "  " + step.note + "\n  " +
       paint(kDim, delivered ? "-> did-disconnect notice delivered"
                             : "-> no did-disconnect callback registered") +
       "\n");
}

void TextTranscript::summary(const Totals& totals) {
  const bool ok = totals.failed == 0 && totals.badLines == 0;
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
