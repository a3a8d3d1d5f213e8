// A thread that runs jobs one at a time, first in, first out: the host thread, on which every
// call into the plug-in runs, and the control thread, on which the simulator controls run.
//
// Design note
// -----------
// The plug-in's registry takes no lock, so a host must call the entry points and TearDown from
// one thread at a time. The event loop never calls the plug-in itself: it posts a job here and
// goes on serving other connections; the job makes the call and posts its outcome back to the
// loop (`runThenPost`). Jobs run in the order they were posted, whatever connection they came
// from, so the calls of one WebSocket are answered in the order they were made.
//
// A simulator control may wait for a million events to be delivered, so the controls run on a
// second thread of this kind: neither the loop nor the plug-in's calls wait for them.
//
// Threads: `post` from any thread; `finish` once, from the owner's thread, never from the job
// thread itself. Lifetime: jobs posted after `finish` are refused; jobs not started when `finish`
// is called are dropped unrun (the host is shutting down and their connections are closed).
#ifndef ZARVO_HOST_SERVE_HOST_THREAD_H
#define ZARVO_HOST_SERVE_HOST_THREAD_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

#include "serve/network.h"

namespace zarvo_host::serve {

class HostThread {
 public:
  using Job = std::function<void()>;

  HostThread();
  // finish() when it was not called.
  ~HostThread();
  HostThread(const HostThread&) = delete;
  HostThread& operator=(const HostThread&) = delete;

  // Queues `job`; false, without running it, once finish() was called. A job that throws ends
  // nothing but itself.
  bool post(Job job);
  // Drops the jobs that have not started, lets the running one end, runs `last` (if any) on the
  // thread, and joins it.
  void finish(const Job& last = nullptr);

 private:
  void loop();

  std::mutex mutex_;
  std::condition_variable queued_;
  std::deque<Job> jobs_;
  Job last_;
  bool finishing_ = false;
  std::thread thread_;
};

// Runs `work()` on `thread` and then `done(result)` on the event loop `loop`. False, calling
// neither, when the thread has finished.
template <class Work, class Done>
bool runThenPost(HostThread& thread, const net::any_io_executor& loop, Work work, Done done) {
  return thread.post([loop, work = std::move(work), done = std::move(done)]() mutable {
    auto result = work();
    net::post(loop, [done = std::move(done), result = std::move(result)]() mutable {
      done(std::move(result));
    });
  });
}

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_HOST_THREAD_H
