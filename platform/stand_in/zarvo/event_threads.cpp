// The simulator's event threads: queues of deliveries, timers of timed events, and the delivery
// of event and did-disconnect callbacks under the no-callback-after-disconnect guarantee.
//
// The threads are made with pthread and a deliberately small stack (kEventThreadStackSize): a
// real host's event threads may be small, and the plug-in has to cope with any payload, also one
// nested a million levels deep, on such a thread. Its JSON code keeps its own explicit stacks
// instead of recursing natively, and running every test's events on a small stack is what proves
// that. The default 8 MiB of std::thread would hide a native recursion until far deeper input.
#include <pthread.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "simulator.h"

namespace zarvo_sim {

namespace {

// The worker whose loop runs on this thread, or null on any other thread.
thread_local const void* tCurrentWorker = nullptr;

void stopAtExit() {
  Simulator::instance().shutdown();
}

// The stack of every event thread, in every build. AddressSanitizer's larger frames were measured
// against it: the million-level payload tests pass under ASan on event threads of 64 KiB, and in
// plain builds of 32 KiB, so 256 KiB leaves room for the sanitizers' own reporting as well.
constexpr size_t kEventThreadStackSize = size_t{256} * 1024;

}  // namespace

// Owned by the new thread once pthread_create has succeeded.
struct Simulator::WorkerStart {
  Simulator* simulator;
  std::shared_ptr<Worker> worker;
};

size_t Simulator::eventThreadStackSize() {
  return kEventThreadStackSize;
}

void* Simulator::workerMain(void* argument) {
  std::unique_ptr<WorkerStart> start(static_cast<WorkerStart*>(argument));
  start->simulator->run(start->worker);
  return nullptr;
}

bool Simulator::startWorker(const std::shared_ptr<Worker>& worker) {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  bool started = false;
  if (pthread_attr_setstacksize(&attributes, kEventThreadStackSize) == 0) {
    WorkerStart* start = new (std::nothrow) WorkerStart{this, worker};
    if (start != nullptr) {
      started = pthread_create(&worker->thread, &attributes, &Simulator::workerMain, start) == 0;
      if (!started) delete start;
    }
  }
  pthread_attr_destroy(&attributes);
  worker->started = started;
  return started;
}

Simulator::Worker* Simulator::workerFor(unsigned long handle) {
  if (shutDown_ || restructuring_ > 0) return nullptr;
  if (workers_.empty()) {
    if (!atExitInstalled_) {
      // Installed when the first worker starts, so it runs before the static destructors of
      // everything created earlier (the plug-in's registry, the host's sinks): no event reaches
      // them while they are being destroyed.
      atExitInstalled_ = std::atexit(&stopAtExit) == 0;
    }
    for (int i = 0; i < threadCount_; ++i) {
      auto worker = std::make_shared<Worker>();
      if (!startWorker(worker)) break;  // out of threads: serve with those that did start
      workers_.push_back(std::move(worker));
    }
    if (workers_.empty()) return nullptr;
  }
  const size_t index = handle == 0 ? 0 : (handle - 1) % workers_.size();
  return workers_[index].get();
}

void Simulator::enqueue(Task task) {
  if (restructuring_ > 0 && !shutDown_) {
    heldTasks_.push_back(std::move(task));
    ++pendingTasks_;
    return;
  }
  Worker* worker = workerFor(task.handle);
  ++pendingTasks_;
  if (worker == nullptr) {
    finishTask(task, 0);  // shut down, or no thread could start: nothing is delivered
    return;
  }
  worker->queue.push_back(std::move(task));
  worker->wake.notify_one();
}

void Simulator::addTimer(Timer timer) {
  if (restructuring_ > 0 && !shutDown_) {
    heldTimers_.push_back(std::move(timer));
    return;
  }
  Worker* worker = workerFor(timer.handle);
  if (worker == nullptr) return;
  worker->timers.push_back(std::move(timer));
  std::push_heap(worker->timers.begin(), worker->timers.end(), TimerLater());
  worker->wake.notify_one();
}

void Simulator::dropTimers(unsigned long handle, unsigned long long subscription) {
  auto matches = [handle, subscription](const Timer& timer) {
    return timer.handle == handle && (subscription == 0 || timer.subscription == subscription);
  };
  for (const auto& worker : workers_) {
    auto& timers = worker->timers;
    const auto end = std::remove_if(timers.begin(), timers.end(), matches);
    if (end == timers.end()) continue;
    timers.erase(end, timers.end());
    std::make_heap(timers.begin(), timers.end(), TimerLater());
  }
  heldTimers_.erase(std::remove_if(heldTimers_.begin(), heldTimers_.end(), matches),
                    heldTimers_.end());
}

size_t Simulator::timerCount() {
  Lock lock(mutex_);
  size_t count = heldTimers_.size();
  for (const auto& worker : workers_) count += worker->timers.size();
  return count;
}

void Simulator::finishTask(const Task& task, int count) {
  --pendingTasks_;
  if (task.completion) {
    task.completion->done = true;
    task.completion->count = count;
  }
  changed_.notify_all();
}

int Simulator::raise(Task task) {
  Lock lock(mutex_);
  if (shutDown_) return 0;
  if (tCurrentWorker != nullptr) {
    // Raised from inside a callback on an event thread: waiting for a worker could wait for this
    // very thread, so the delivery is made here, which is an event thread too.
    return runTask(task, lock);
  }
  auto completion = std::make_shared<Completion>();
  task.completion = completion;
  enqueue(std::move(task));
  changed_.wait(lock, [&completion] { return completion->done; });
  return completion->count;
}

int Simulator::raiseEvent(unsigned long handle, const std::string& type, const std::string& json,
                          bool nullContext) {
  Task task;
  task.kind = Task::kEvent;
  task.handle = handle;
  task.type = type;
  task.json = json;
  task.nullContext = nullContext;
  return raise(std::move(task));
}

int Simulator::raiseDidDisconnect(unsigned long handle, bool nullContext) {
  Task task;
  task.kind = Task::kDidDisconnect;
  task.handle = handle;
  task.nullContext = nullContext;
  return raise(std::move(task));
}

void Simulator::postEvent(unsigned long handle, const std::string& type, const std::string& json) {
  Lock lock(mutex_);
  Task task;
  task.kind = Task::kEvent;
  task.handle = handle;
  task.type = type;
  task.json = json;
  enqueue(std::move(task));
}

void Simulator::flush() {
  Lock lock(mutex_);
  // An event thread cannot wait for the queue it is itself working through.
  if (tCurrentWorker != nullptr) return;
  changed_.wait(lock, [this] { return pendingTasks_ == 0; });
}

void Simulator::run(const std::shared_ptr<Worker>& worker) {
  Lock lock(mutex_);
  tCurrentWorker = worker.get();
  while (!worker->stop) {
    if (!worker->queue.empty()) {
      Task task = std::move(worker->queue.front());
      worker->queue.pop_front();
      const int count = runTask(task, lock);
      finishTask(task, count);
      continue;
    }
    if (!worker->timers.empty()) {
      const Clock::time_point due = worker->timers.front().due;
      if (Clock::now() >= due) {
        std::pop_heap(worker->timers.begin(), worker->timers.end(), TimerLater());
        Timer timer = std::move(worker->timers.back());
        worker->timers.pop_back();
        runTimer(*worker, std::move(timer), lock);
      } else {
        worker->wake.wait_until(lock, due);
      }
      continue;
    }
    worker->wake.wait(lock);
  }
  tCurrentWorker = nullptr;
}

int Simulator::runTask(const Task& task, Lock& lock) {
  Connection* connection = openConnection(task.handle);
  if (connection == nullptr) return 0;
  if (task.kind == Task::kDidDisconnect) {
    ZrvDidDisconnectCallback callback = connection->didDisconnect;
    if (callback == nullptr) return 0;
    void* context = task.nullContext ? nullptr : connection->didDisconnectContext;
    connection->delivering.push_back(std::this_thread::get_id());
    lock.unlock();
    callback(context);
    lock.lock();
    endDelivery(task.handle);
    return 1;
  }
  std::vector<unsigned long long> ids;
  for (const Subscription& subscription : connection->subscriptions) {
    if (subscription.type == task.type) ids.push_back(subscription.id);
  }
  return deliverEvent(task.handle, ids, task.type, task.json, task.nullContext, lock);
}

void Simulator::runTimer(Worker& worker, Timer timer, Lock& lock) {
  const unsigned long long generation = generation_;
  Connection* connection = openConnection(timer.handle);
  if (connection == nullptr || findSubscription(*connection, timer.subscription) == nullptr) {
    return;  // unsubscribed or disconnected: the timer lapses
  }
  const std::vector<std::string>& payloads = timer.spec->payloads;
  const std::string& payload = payloads[timer.nextPayload % payloads.size()];
  deliverEvent(timer.handle, {timer.subscription}, timer.spec->type, payload, false, lock);
  if (generation != generation_) return;
  // The lock was released for the callback: the subscription may be gone by now.
  connection = openConnection(timer.handle);
  if (connection == nullptr || findSubscription(*connection, timer.subscription) == nullptr) {
    return;
  }
  if (timer.remaining > 0) --timer.remaining;
  if (timer.remaining == 0) return;
  timer.nextPayload = (timer.nextPayload + 1) % payloads.size();
  // Fixed rate from the moment of subscription; a late worker catches up without drifting.
  timer.due += std::chrono::milliseconds(timer.spec->intervalMs);
  timer.order = nextTimerOrder_++;
  worker.timers.push_back(std::move(timer));
  std::push_heap(worker.timers.begin(), worker.timers.end(), TimerLater());
}

int Simulator::deliverEvent(unsigned long handle, const std::vector<unsigned long long>& ids,
                            const std::string& type, const std::string& json, bool nullContext,
                            Lock& lock) {
  const unsigned long long generation = generation_;
  int made = 0;
  for (unsigned long long id : ids) {
    // Re-checked before every callback: the lock was released during the previous one, and a
    // disconnect, unsubscription or reset may have happened meanwhile.
    if (generation != generation_) break;
    Connection* connection = openConnection(handle);
    if (connection == nullptr) break;
    const Subscription* subscription = findSubscription(*connection, id);
    if (subscription == nullptr) continue;
    ZrvEventCallback callback = subscription->callback;
    void* context = nullContext ? nullptr : subscription->context;
    connection->delivering.push_back(std::this_thread::get_id());
    ++eventCallbacks_;
    lock.unlock();
    callback(type.c_str(), json.c_str(), context);
    lock.lock();
    endDelivery(handle);
    ++made;
  }
  return made;
}

void Simulator::endDelivery(unsigned long handle) {
  if (Connection* connection = findConnection(handle)) {
    auto& delivering = connection->delivering;
    auto it = std::find(delivering.begin(), delivering.end(), std::this_thread::get_id());
    if (it != delivering.end()) delivering.erase(it);
    if (!connection->open && delivering.empty()) connections_.erase(handle);
  }
  changed_.notify_all();
}

void Simulator::stopWorkers(Lock& lock, bool keep) {
  std::vector<std::shared_ptr<Worker>> stopping;
  stopping.swap(workers_);
  ++restructuring_;
  for (const auto& worker : stopping) {
    worker->stop = true;
    worker->wake.notify_all();
  }
  lock.unlock();
  for (const auto& worker : stopping) {
    if (!worker->started) continue;
    worker->started = false;
    if (pthread_equal(worker->thread, pthread_self()) != 0) {
      // Stopped from inside one of its own callbacks: it ends by itself once that returns.
      pthread_detach(worker->thread);
    } else {
      pthread_join(worker->thread, nullptr);
    }
  }
  lock.lock();
  --restructuring_;
  std::deque<Task> tasks;
  std::vector<Timer> timers;
  for (const auto& worker : stopping) {
    for (Task& task : worker->queue) tasks.push_back(std::move(task));
    worker->queue.clear();
    for (Timer& timer : worker->timers) timers.push_back(std::move(timer));
    worker->timers.clear();
  }
  if (restructuring_ == 0) {
    for (Task& task : heldTasks_) tasks.push_back(std::move(task));
    heldTasks_.clear();
    for (Timer& timer : heldTimers_) timers.push_back(std::move(timer));
    heldTimers_.clear();
  }
  for (Task& task : tasks) {
    if (keep && !shutDown_) {
      --pendingTasks_;  // counted again by enqueue
      enqueue(std::move(task));
    } else {
      finishTask(task, 0);
    }
  }
  if (keep && !shutDown_) {
    for (Timer& timer : timers) {
      // Timers of a connection closed or a subscription dropped while the workers were being
      // replaced are not carried over.
      Connection* connection = openConnection(timer.handle);
      if (connection == nullptr || findSubscription(*connection, timer.subscription) == nullptr) {
        continue;
      }
      addTimer(std::move(timer));
    }
  }
}

void Simulator::setEventThreadCount(int count) {
  Lock lock(mutex_);
  const int clamped = std::max(1, std::min(count, 64));
  if (clamped == threadCount_) return;
  threadCount_ = clamped;
  // Running workers are replaced; their pending deliveries and timers move to the new ones.
  if (!workers_.empty()) stopWorkers(lock, true);
}

void Simulator::shutdown() {
  Lock lock(mutex_);
  if (shutDown_) return;
  shutDown_ = true;
  ++generation_;
  stopWorkers(lock, false);
  changed_.notify_all();
}

}  // namespace zarvo_sim
