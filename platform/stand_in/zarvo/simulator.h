// zarvo_sim::Simulator: the state of the simulated application-connection library.
//
// Design note
// -----------
// One process-wide Simulator (created on first use, never destroyed, so that it outlives every
// static destructor of its users) holds the mode (programmed or description), the connections
// with their subscriptions and did-disconnect callbacks, the call log, and the event threads.
//
// Locking: one mutex guards all of the state above except the call log (which has its own).
// No callback is ever made while that mutex is held: a delivery copies the callback and context
// under the lock, marks the connection as "being delivered to by this thread", unlocks, calls,
// relocks and clears the mark. ZrvDisconnectApplication closes the connection under the lock and
// then waits until no other thread is delivering to it, so once it has returned no callback for
// that connection can start or still be running. A disconnect made from inside a callback on the
// event thread does not wait for its own delivery.
//
// Event threads (event_threads.cpp): N workers (default 1), created when first needed, each a
// pthread with a small fixed stack (eventThreadStackSize()), as a host's event threads may be; the
// connection with handle h is served by worker (h - 1) % N, so its events arrive in order. Each
// worker has a queue of immediate deliveries and a heap of timers (the timed events of
// description mode). Workers are stopped and joined on ZrvSimReset, when the count changes, and
// when the process exits (an atexit handler installed when the first worker starts, so they stop
// before the statics of their users are destroyed; and again from the library's ELF destructor).
//
// Memory stays bounded by what is live: a closed connection is forgotten as soon as no callback
// for it is running, and the timers of a closed connection or of a dropped subscription are
// removed with it rather than left to lapse when due (which may be a day later).
//
// Failure: operations report failure by their result (0 / NULL); nothing throws across the C
// interface (the C layer catches std::bad_alloc).
#ifndef ZARVO_SIM_SIMULATOR_H
#define ZARVO_SIM_SIMULATOR_H

#include <pthread.h>
#include <chrono>

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "call_log.h"
#include "description.h"
#include "zarvo_simulator.h"

namespace zarvo_sim {

using Clock = std::chrono::steady_clock;

// The programmed-mode settings, with owned texts (see ZrvSimProgram for the meaning).
struct Program {
  Program();
  explicit Program(const ZrvSimProgram& program);
  int connectFails = 0;
  int disconnectResult = 1;
  int setDidDisconnectResult = 1;
  int registerResult = 1;
  int unregisterResult = 1;
  int bridgeCrossResult = 1;
  int bridgeCrossCallsBack = 1;
  int bridgeCrossStatus = 200;
  std::string bridgeCrossAnswer = "null";
  int customTaskResult = 1;
  int customTaskCallsBack = 1;
  std::string customTaskType;
  std::string customTaskAnswer = "null";
};

class Simulator {
 public:
  // The process-wide instance (created on first use, never destroyed).
  static Simulator& instance();

  CallLog& log() { return log_; }

  // ---- The functions of the application-connection interface (the C layer logs them). ----
  // Handle number of the new connection, 0 when refused.
  unsigned long connect(const std::string& name, const std::string& clientName);
  int disconnect(unsigned long handle);
  int setDidDisconnectCallback(unsigned long handle, ZrvDidDisconnectCallback callback,
                               void* context);
  int registerEvent(unsigned long handle, const std::string& target, const std::string& type,
                    ZrvEventCallback callback, void* context);
  int unregisterEvent(unsigned long handle, const std::string& target, const std::string& type);
  // `calledBack` tells whether the callback ran (on this thread, before returning).
  int bridgeCross(unsigned long handle, const std::string& uri, ZrvBridgeResponseCallback callback,
                  void* context, bool& calledBack);
  int executeCustomTask(unsigned long handle, const std::string& type,
                        ZrvCustomTaskCallback callback, void* context, bool& calledBack);

  // ---- Control ----
  void setProgram(const Program& program);
  void setDescription(std::shared_ptr<const Description> description);
  // Delivers on the event thread and waits; the number of callbacks made.
  int raiseEvent(unsigned long handle, const std::string& type, const std::string& json,
                 bool nullContext);
  void postEvent(unsigned long handle, const std::string& type, const std::string& json);
  void flush();
  int raiseDidDisconnect(unsigned long handle, bool nullContext);
  void setEventThreadCount(int count);
  long eventCallbackCount();
  void reset();
  // Stops and joins the event threads for good (process exit).
  void shutdown();

  // ---- Diagnostics ----
  // The stack size, in bytes, that every event thread is created with.
  static size_t eventThreadStackSize();
  // Connection records kept: open connections plus closed ones with a callback still running.
  size_t connectionRecordCount();
  // The newest open connection made under `name`, 0 when there is none.
  unsigned long openConnectionNamed(const std::string& name);
  // Timers of timed events waiting in the workers (and held while they are replaced).
  size_t timerCount();

 private:
  struct Subscription {
    unsigned long long id;
    std::string target;
    std::string type;
    ZrvEventCallback callback;
    void* context;
  };
  struct Connection {
    std::string name;
    std::string clientName;
    bool open = true;
    ZrvDidDisconnectCallback didDisconnect = nullptr;
    void* didDisconnectContext = nullptr;
    std::vector<Subscription> subscriptions;
    std::vector<std::thread::id> delivering;  // one entry per callback running right now
  };
  struct Completion {
    bool done = false;
    int count = 0;
  };
  struct Task {
    enum Kind { kEvent, kDidDisconnect } kind = kEvent;
    unsigned long handle = 0;
    std::string type;
    std::string json;
    bool nullContext = false;
    std::shared_ptr<Completion> completion;  // null for posted events
  };
  struct Timer {
    Clock::time_point due;
    unsigned long long order = 0;  // ties broken by scheduling order
    unsigned long handle = 0;
    unsigned long long subscription = 0;
    std::shared_ptr<const EventSpec> spec;
    size_t nextPayload = 0;
    long long remaining = -1;  // -1: unbounded
  };
  struct TimerLater {
    bool operator()(const Timer& a, const Timer& b) const {
      return a.due != b.due ? a.due > b.due : a.order > b.order;
    }
  };
  struct Worker {
    pthread_t thread{};
    bool started = false;  // `thread` is running or finished, and not yet joined or detached
    std::condition_variable wake;
    std::deque<Task> queue;
    std::vector<Timer> timers;  // a min-heap by TimerLater
    bool stop = false;
  };
  using Lock = std::unique_lock<std::mutex>;

  Simulator() = default;

  Connection* findConnection(unsigned long handle);
  Connection* openConnection(unsigned long handle);
  static Subscription* findSubscription(Connection& connection, unsigned long long id);
  void scheduleTimedEvents(unsigned long handle, const Connection& connection,
                           const Subscription& subscription);

  // event_threads.cpp
  struct WorkerStart;  // what a new event thread is handed
  static void* workerMain(void* start);
  // Starts the worker's thread; false when no thread could be made.
  bool startWorker(const std::shared_ptr<Worker>& worker);
  Worker* workerFor(unsigned long handle);
  void enqueue(Task task);
  void addTimer(Timer timer);
  int raise(Task task);
  void run(const std::shared_ptr<Worker>& worker);
  int runTask(const Task& task, Lock& lock);
  void runTimer(Worker& worker, Timer timer, Lock& lock);
  int deliverEvent(unsigned long handle, const std::vector<unsigned long long>& ids,
                   const std::string& type, const std::string& json, bool nullContext, Lock& lock);
  void endDelivery(unsigned long handle);
  void finishTask(const Task& task, int count);
  // Removes the waiting timers of connection `handle`, or only those of `subscription` (non-zero).
  void dropTimers(unsigned long handle, unsigned long long subscription);
  // Stops and joins every worker; their pending work is re-queued (`keep`) or dropped.
  void stopWorkers(Lock& lock, bool keep);

  std::mutex mutex_;
  std::condition_variable changed_;  // completions, ends of deliveries, pending-task count

  bool describing_ = false;
  Program program_;
  std::shared_ptr<const Description> description_;

  std::map<unsigned long, Connection> connections_;
  unsigned long nextHandle_ = 1;
  unsigned long long nextSubscription_ = 1;
  unsigned long long nextTimerOrder_ = 1;
  unsigned long long generation_ = 1;  // advanced by reset and shutdown

  std::vector<std::shared_ptr<Worker>> workers_;
  int threadCount_ = 1;
  int restructuring_ = 0;  // > 0 while workers are being stopped; new work is held meanwhile
  std::deque<Task> heldTasks_;
  std::vector<Timer> heldTimers_;
  bool shutDown_ = false;
  bool atExitInstalled_ = false;
  long pendingTasks_ = 0;
  long eventCallbacks_ = 0;

  CallLog log_;
};

}  // namespace zarvo_sim

#endif  // ZARVO_SIM_SIMULATOR_H
