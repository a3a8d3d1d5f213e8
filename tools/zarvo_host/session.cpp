#include "session.h"

#include <chrono>
#include <thread>
#include <utility>

#include "host_core/instance_id.h"
#include "host_core/json_text.h"
#include "host_core/simulator_controls.h"
#include "zarvo_simulator.h"

namespace zarvo_host {

using host_core::quoteJson;
using host_core::SimulatorControls;

namespace {

// The session reads events through the log's listener only, so the log keeps just the newest.
constexpr size_t kListenOnly = 0;

}  // namespace

Session::Session(const host_core::Plugin& plugin, Transcript& transcript,
                 long long defaultTimeoutMs)
    : plugin_(plugin),
      transcript_(transcript),
      defaultTimeoutMs_(defaultTimeoutMs),
      events_(kListenOnly, host_core::newInstanceId()) {
  events_.addListener([this](uint64_t id, const std::string& text) { onEvent(id, text); });
}

Session::~Session() {
  host_.reset();
}

void Session::attach() {
  ZrvSimClearLog();
  host_.emplace(plugin_, events_);
}

void Session::onEvent(uint64_t id, const std::string& text) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    eventCount_ = static_cast<long>(id);
    // Written while the event is still unqueued, so a waitEvents step that takes it always
    // reports after the event's own line.
    transcript_.event(eventCount_, "zarvoEvent", text);
    pendingEvents_.push_back(text);
  }
  eventArrived_.notify_all();
}

void Session::count(const std::vector<CheckResult>& checks) {
  for (const CheckResult& check : checks) ++(check.ok ? totals_.passed : totals_.failed);
}

void Session::runCall(const Step& step) {
  const CallStep& call = step.call;
  transcript_.callStarted(step);
  const host_core::CallOutcome outcome =
      host_->call(call.resource, {call.options, call.parameters, call.extra, call.body});
  ++totals_.calls;
  Answer answer;
  answer.promise = outcome.answer.promise;
  std::vector<CheckResult> checks;
  if (outcome.ok()) {
    answer.answered = true;
    answer.answeredPromise = outcome.answer.promise;
    answer.status = outcome.answer.status;
    answer.text = outcome.answer.text;
    checks = checkCall(call.expect, answer.status, answer.text);
  } else {
    // The plug-in's own contract (one response per call, for the promise it returns) is checked
    // on every call; it is reported only when broken, so it never pads the counts.
    checks.push_back({"the plug-in's one response", false,
                      "exactly one response, for the promise returned", outcome.fault->message});
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

void Session::notConnected(const Step& step, const std::string& app) {
  transcript_.problem(step.where.text() + ": no open connection for the application " +
                      quoteJson(app) + " (connect it first: ZarvoApplication post)");
  ++totals_.badLines;
}

void Session::runRaise(const Step& step) {
  const RaiseStep& raise = step.raise;
  if (ZrvSimConnectionNamed(raise.app.c_str()) == nullptr) {
    notConnected(step, raise.app);
    return;
  }
  transcript_.raiseStarted(step);
  host_core::RaiseRequest request;
  request.app = raise.app;
  request.type = raise.type;
  request.payload = raise.payload;
  request.count = raise.count;
  const long long delivered = SimulatorControls::raiseCounted(request);
  transcript_.raised(step, delivered < 0 ? 0 : delivered);
}

void Session::runLostConnection(const Step& step) {
  const int delivered = SimulatorControls::lostConnection(step.note);
  if (delivered < 0) {
    notConnected(step, step.note);
    return;
  }
  transcript_.lostConnection(step, delivered == 1);
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
      host_->tearDown();
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
  if (!host_) return;
  // Connections left open would keep raising events into a host that is going away; TearDown
  // closes them, and the application library delivers nothing after a connection is closed.
  if (!tornDownLast_) {
    host_->tearDown();
    tornDownLast_ = true;
    transcript_.tornDown(where, true);
  }
  host_.reset();
}

Totals Session::totals() {
  Totals totals = totals_;
  std::lock_guard<std::mutex> lock(mutex_);
  totals.events = eventCount_;
  return totals;
}

}  // namespace zarvo_host
