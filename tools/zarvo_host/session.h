// Running session steps against the loaded plug-in, with the stand-in host library as the host.
//
// Design note
// -----------
// The Session plays the web-view host through the host core: a PluginHost registers the sinks of
// the stand-in host library and makes each call step's call with its four texts, and an EventLog
// numbers the events that arrive.
//   - Every call gets its one answer, or a fault when the plug-in breaks the one-response rule;
//     a fault counts as a failed expectation.
//   - Events arrive on the application library's threads at any time. The log's listener writes
//     each to the transcript at once and queues it; a waitEvents step takes them from the queue
//     in arrival order, waiting up to its timeout. The log itself keeps none: the session reads
//     only through its listener.
//   - raise and lostConnection steps play the application through the simulator controls: they
//     find the connection the plug-in opened for the name and have the simulator deliver on its
//     event thread, waiting until delivery is done. A name without an open connection is an
//     input problem ("file:line: ..."), counted in Totals::badLines.
// Lock order: the stand-in's sink mutex, then the log's, then `mutex_`, then the transcript's
// mutex. The main thread never holds `mutex_` or the transcript's mutex while it calls into the
// plug-in, so an event delivery that TearDown waits for can always finish.
//
// Lifetime: construct after the plug-in is loaded; `finish` (or the destructor) removes the
// sinks, so no library thread can reach a destroyed Session. Nothing here throws.
#ifndef ZARVO_HOST_SESSION_H
#define ZARVO_HOST_SESSION_H

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

#include "host_core/event_log.h"
#include "host_core/plugin.h"
#include "host_core/plugin_host.h"
#include "script.h"
#include "transcript.h"

namespace zarvo_host {

class Session {
 public:
  // `plugin` and `transcript` must outlive the session. `defaultTimeoutMs` serves waitEvents
  // steps without "timeoutMs".
  Session(const host_core::Plugin& plugin, Transcript& transcript, long long defaultTimeoutMs);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Empties the application library's call log and registers the sinks (promise identifiers
  // restart at 1).
  void attach();
  // Runs one step and writes it to the transcript.
  void run(const Step& step);
  // Calls TearDown unless the last step did, then removes the sinks. Idempotent.
  void finish(const Location& where);
  // Totals so far (events included).
  Totals totals();

 private:
  void onEvent(uint64_t id, const std::string& text);
  void runCall(const Step& step);
  void runWait(const Step& step);
  void runCallLog(const Step& step);
  void runRaise(const Step& step);
  void runLostConnection(const Step& step);
  // Reports that `app` has no open connection, at the step's place.
  void notConnected(const Step& step, const std::string& app);
  void count(const std::vector<CheckResult>& checks);

  const host_core::Plugin& plugin_;
  Transcript& transcript_;
  long long defaultTimeoutMs_;
  host_core::EventLog events_;
  std::optional<host_core::PluginHost> host_;  // while attached
  bool tornDownLast_ = false;
  Totals totals_;  // calls, passed, failed, badLines: main thread only; events: under mutex_

  std::mutex mutex_;
  std::condition_variable eventArrived_;
  std::deque<std::string> pendingEvents_;  // arrived, not yet taken by a waitEvents step
  long eventCount_ = 0;
};

}  // namespace zarvo_host

#endif  // ZARVO_HOST_SESSION_H
