// The host thread: the one thread on which every call into the plug-in runs.
//
// Design note
// -----------
// The plug-in's registry takes no lock, so a host must call the entry points and TearDown from
// one thread at a time. The HTTP server serves many connections on many workers; each worker
// hands its plug-in call to this thread as a job and waits for it. Jobs run one at a time in
// arrival order (a FIFO queue), whatever the number of connections.
//
// Threads: `run` may be called from any thread except the host thread itself; `stop` from the
// owner's thread. Lifetime: jobs queued before `stop` still run; `run` after `stop` refuses.
#ifndef ZARVO_HOST_SERVE_HOST_THREAD_H
#define ZARVO_HOST_SERVE_HOST_THREAD_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace zarvo_host::serve {

class HostThread {
 public:
  HostThread();
  ~HostThread();
  HostThread(const HostThread&) = delete;
  HostThread& operator=(const HostThread&) = delete;

  // Runs `job` on the host thread and waits until it has returned (an exception it throws is
  // swallowed there). False, without running it, once the thread has been stopped.
  bool run(const std::function<void()>& job);
  // Lets the queued jobs finish, then ends the thread. Idempotent.
  void stop();

 private:
  struct Job {
    const std::function<void()>* work = nullptr;
    bool done = false;
  };
  void loop();

  std::mutex mutex_;
  std::condition_variable queued_;
  std::condition_variable finished_;
  std::deque<Job*> jobs_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_HOST_THREAD_H
