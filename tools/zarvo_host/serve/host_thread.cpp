#include "serve/host_thread.h"

namespace zarvo_host::serve {

HostThread::HostThread() : thread_([this] { loop(); }) {}

HostThread::~HostThread() {
  stop();
}

bool HostThread::run(const std::function<void()>& job) {
  Job entry;
  entry.work = &job;
  std::unique_lock<std::mutex> lock(mutex_);
  if (stopping_) return false;
  jobs_.push_back(&entry);
  queued_.notify_one();
  finished_.wait(lock, [&] { return entry.done; });
  return true;
}

void HostThread::stop() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  queued_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void HostThread::loop() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    queued_.wait(lock, [&] { return stopping_ || !jobs_.empty(); });
    if (jobs_.empty()) return;  // stopping, and nothing left to run
    Job* job = jobs_.front();
    jobs_.pop_front();
    lock.unlock();
    try {
      (*job->work)();
    } catch (...) {
      // The job's caller sees what the job recorded before it threw; the thread carries on.
    }
    lock.lock();
    job->done = true;
    finished_.notify_all();
  }
}

}  // namespace zarvo_host::serve
