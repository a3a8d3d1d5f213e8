// Running session steps against the loaded plug-in, with the stand-in host library as the host.
//
// Design note
// -----------
// The Session plays the web-view host: it registers itself as the response and event sink of the
// stand-in host library, calls the plug-in's entry points with each call step's four texts, and
// collects what arrives.
//   - Responses arrive inside the entry-point call, on the calling thread; the session keeps the
//     last one and checks that exactly one arrived for the promise the call returned.
//   - Events arrive on the application library's threads at any time. Each is written to the
//     transcript at once and queued; a waitEvents step takes them from the queue in arrival
//     order, waiting up to its timeout.
//   - raise and lostConnection steps play the application: they find the connection the plug-in
//     opened for the name (ZrvSimConnectionNamed) and have the simulator deliver on its event
//     thread, waiting until delivery is done. A name without an open connection is an input
//     problem ("file:line: ..."), counted in Totals::badLines.
// Lock order: the stand-in's sink mutex, then `mutex_`, then the transcript's mutex. The main
// thread never holds `mutex_` or the transcript's mutex while it calls into the plug-in, so an
// event delivery that TearDown waits for can always finish.
//
// Lifetime: construct after the plug-in is loaded; `finish` (or the destructor) removes the
// sinks, so no library thread can reach a destroyed Session. Failures of the plug-in (no
// response, a wrong promise) count as failed expectations; nothing here throws.
#ifndef ZARVO_HOST_SESSION_H
#define ZARVO_HOST_SESSION_H

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>

#include "plugin.h"
#include "script.h"
#include "transcript.h"
#include "zarvo_x64.h"

namespace zarvo_host {

using zarvo_tools::Plugin;
using zarvo_tools::ResourceFunction;
using zarvo_tools::TearDownFunction;

class Session {
 public:
  // `plugin` and `transcript` must outlive the session. `defaultTimeoutMs` serves waitEvents
  // steps without "timeoutMs".
  Session(const Plugin& plugin, Transcript& transcript, long long defaultTimeoutMs);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Resets the stand-in host library (promise identifiers restart at 1), empties the application
  // library's call log and registers the sinks.
  void attach();
  // Runs one step and writes it to the transcript.
  void run(const Step& step);
  // Calls TearDown unless the last step did, then removes the sinks. Idempotent.
  void finish(const Location& where);
  // Totals so far (events included).
  Totals totals();

 private:
  static void onResponse(int promiseId, int statusCode, const char* json, void* self);
  static void onEvent(const char* eventName, const char* json, void* self);

  void runCall(const Step& step);
  void runWait(const Step& step);
  void runCallLog(const Step& step);
  void runRaise(const Step& step);
  void runLostConnection(const Step& step);
  // The open connection of `app`, or null after reporting the problem at the step's place.
  ZrvApplicationHandle connectionOf(const Step& step, const std::string& app);
  void count(const std::vector<CheckResult>& checks);

  const Plugin& plugin_;
  Transcript& transcript_;
  long long defaultTimeoutMs_;
  bool attached_ = false;
  bool tornDownLast_ = false;
  Totals totals_;  // calls, passed, failed, badLines: main thread only; events: under mutex_

  std::mutex mutex_;
  std::condition_variable eventArrived_;
  std::deque<std::string> pendingEvents_;  // arrived, not yet taken by a waitEvents step
  long eventCount_ = 0;

  // The response slot, written by onResponse during a call on the main thread.
  long responseCount_ = 0;
  int responsePromise_ = 0;
  int responseStatus_ = 0;
  std::string responseText_;
};

}  // namespace zarvo_host

#endif  // ZARVO_HOST_SESSION_H
