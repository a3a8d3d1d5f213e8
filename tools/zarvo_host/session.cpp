#include "session.h"

#include <chrono>
#include <thread>
#include <utility>

#include "bridge_helper_stand_in.h"
#include "json_text.h"
#include "zarvo_simulator.h"

namespace zarvo_host {

Session::Session(const Plugin& plugin, Transcript& transcript, long long defaultTimeoutMs)
    : plugin_(plugin), transcript_(transcript), defaultTimeoutMs_(defaultTimeoutMs) {}

Session::~Session() {
  if (attached_) {
    BridgeHelperStandInSetEventSink(nullptr, nullptr);
    BridgeHelperStandInSetResponseSink(nullptr, nullptr);
  }
}

void Session::attach() {
  BridgeHelperStandInReset();
  ZrvSimClearLog();
  BridgeHelperStandInSetResponseSink(&Session::onResponse, this);
  BridgeHelperStandInSetEventSink(&Session::onEvent, this);
  attached_ = true;
}

void Session::onResponse(int promiseId, int statusCode, const char* json, void* self) {
  auto* session = static_cast<Session*>(self);
  std::lock_guard<std::mutex> lock(session->mutex_);
  ++session->responseCount_;
  session->responsePromise_ = promiseId;
  session->responseStatus_ = statusCode;
  session->responseText_ = json != nullptr ? json : "";
}

void Session::onEvent(const char* eventName, const char* json, void* self) {
  auto* session = static_cast<Session*>(self);
  const std::string name = eventName != nullptr ? eventName : "";
  std::string text = json != nullptr ? json : "";
  {
    std::lock_guard<std::mutex> lock(session->mutex_);
    const long seq = ++session->eventCount_;
    // Written while the event is still unqueued, so a waitEvents step that takes it always
    // reports after the event's own line.
    session->transcript_.event(seq, name, text);
    session->pendingEvents_.push_back(std::move(text));
  }
  session->eventArrived_.notify_all();
}

void Session::count(const std::vector<CheckResult>& checks) {
  for (const CheckResult& check : checks) ++(check.ok ? totals_.passed : totals_.failed);
}

void Session::runCall(const Step& step) {
  const CallStep& call = step.call;
  const ResourceFunction function = plugin_.resource(call.resource);
  transcript_.callStarted(step);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    responseCount_ = 0;
    responseText_.clear();
  }
  Answer answer;
  answer.promise = function(call.options.c_str(), call.parameters.c_str(), call.extra.c_str(),
                            call.body.c_str());
  long responses = 0;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    responses = responseCount_;
    answer.answered = responses > 0;
    answer.answeredPromise = responsePromise_;
    answer.status = responseStatus_;
    answer.text = responseText_;
  }
  ++totals_.calls;

  std::vector<CheckResult> checks;
  // The plug-in's own contract (one response per call, for the promise it returns) is checked
  // on every call; it is reported only when broken, so it never pads the counts.
  if (responses != 1) {
    checks.push_back({"responses set during the call", false, "1", std::to_string(responses)});
  } else if (answer.answeredPromise != answer.promise) {
    checks.push_back({"promise of the response", false, std::to_string(answer.promise),
                      std::to_string(answer.answeredPromise)});
  }
  if (answer.answered) {
    const std::vector<CheckResult> expected = checkCall(call.expect, answer.status, answer.text);
    checks.insert(checks.end(), expected.begin(), expected.end());
  }
  count(checks);
  transcript_.callAnswered(step, answer, checks);
}

void Session::runWait(const Step& step) {
  const long long timeoutMs = step.wait.timeoutMs >= 0 ? step.wait.timeoutMs : defaultTimeoutMs_;
  const size_t wanted = static_cast<size_t>(step.wait.count);
  std::vector<std::string> taken;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    eventArrived_.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                           [&] { return pendingEvents_.size() >= wanted; });
    while (taken.size() < wanted && !pendingEvents_.empty()) {
      taken.push_back(std::move(pendingEvents_.front()));
      pendingEvents_.pop_front();
    }
  }
  const std::vector<CheckResult> checks = checkEvents(step.wait, timeoutMs, taken);
  count(checks);
  transcript_.waited(step, timeoutMs, taken, checks);
}

void Session::runCallLog(const Step& step) {
  // The log is taken and emptied in one go, so each callLog step shows the calls made since the
  // previous one.
  std::vector<std::string> lines;
  const std::string log = ZrvSimCallLog();
  ZrvSimClearLog();
  size_t start = 0;
  while (start < log.size()) {
    size_t end = log.find('\n', start);
    if (end == std::string::npos) end = log.size();
    lines.push_back(log.substr(start, end - start));
    start = end + 1;
  }
  const std::vector<CheckResult> checks = checkCallLog(step.callLog, lines);
  count(checks);
  transcript_.callLog(step, lines, checks);
}

ZrvApplicationHandle Session::connectionOf(const Step& step, const std::string& app) {
  ZrvApplicationHandle handle = ZrvSimConnectionNamed(app.c_str());
  if (handle == nullptr) {
    transcript_.problem(step.where.text() + ": no open connection for the application " +
                        quoteJson(app) + " (connect it first: ZarvoApplication post)");
    ++totals_.badLines;
  }
  return handle;
}

void Session::runRaise(const Step& step) {
  const RaiseStep& raise = step.raise;
  ZrvApplicationHandle handle = connectionOf(step, raise.app);
  if (handle == nullptr) return;
  transcript_.raiseStarted(step);
  long long delivered = 0;
  for (long long i = 0; i < raise.count; ++i) {
    delivered += ZrvSimRaiseEvent(handle, raise.type.c_str(), raise.payload.c_str());
  }
  transcript_.raised(step, delivered);
}

void Session::runLostConnection(const Step& step) {
  ZrvApplicationHandle handle = connectionOf(step, step.note);
  if (handle == nullptr) return;
  const bool delivered = ZrvSimRaiseDidDisconnect(handle, 0) != 0;
  transcript_.lostConnection(step, delivered);
}

void Session::run(const Step& step) {
  switch (step.kind) {
    case StepKind::kCall:
      runCall(step);
      tornDownLast_ = false;
      break;
    case StepKind::kWaitEvents:
      runWait(step);
      break;
    case StepKind::kSleep:
      std::this_thread::sleep_for(std::chrono::milliseconds(step.sleepMs));
      transcript_.slept(step);
      break;
    case StepKind::kTearDown:
      plugin_.tearDown()();
      tornDownLast_ = true;
      transcript_.tornDown(step.where, false);
      break;
    case StepKind::kNote:
      transcript_.note(step);
      break;
    case StepKind::kCallLog:
      runCallLog(step);
      break;
    case StepKind::kRaise:
      runRaise(step);
      break;
    case StepKind::kLostConnection:
      runLostConnection(step);
      break;
  }
}

void Session::finish(const Location& where) {
  if (!attached_) return;
  // Connections left open would keep raising events into a host that is going away; TearDown
  // closes them, and the application library delivers nothing after a connection is closed.
  if (!tornDownLast_) {
    plugin_.tearDown()();
    tornDownLast_ = true;
    transcript_.tornDown(where, true);
  }
  BridgeHelperStandInSetEventSink(nullptr, nullptr);
  BridgeHelperStandInSetResponseSink(nullptr, nullptr);
  attached_ = false;
}

Totals Session::totals() {
  Totals totals = totals_;
  std::lock_guard<std::mutex> lock(mutex_);
  totals.events = eventCount_;
  return totals;
}

}  // namespace zarvo_host
