#include "serve/host_thread.h"

namespace zarvo_host::serve {

HostThread::HostThread() : thread_([this] { loop(); }) {}

HostThread::~HostThread() {
  if (thread_.joinable()) finish();
}

bool HostThread::post(Job job) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (finishing_) return false;
    jobs_.push_back(std::move(job));
  }
  queued_.notify_one();
  return true;
}

void HostThread::finish(const Job& last) {
  std::deque<Job> dropped;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    finishing_ = true;
    dropped.swap(jobs_);
    last_ = last;
  }
  queued_.notify_all();
  if (thread_.joinable()) thread_.join();
  // The dropped jobs (and what they hold) are destroyed here, after the thread has ended.
}

void HostThread::loop() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    queued_.wait(lock, [&] { return finishing_ || !jobs_.empty(); });
    if (finishing_) break;
    Job job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    try {
      job();
    } catch (...) {
      // A job reports its own outcome; one that throws has none, and the thread carries on.
    }
    job = nullptr;
    lock.lock();
  }
  Job last = std::move(last_);
  lock.unlock();
  if (last) last();
}

}  // namespace zarvo_host::serve
