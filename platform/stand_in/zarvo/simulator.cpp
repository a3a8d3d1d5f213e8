#include "simulator.h"

#include <algorithm>

#include "pocketjson/serializer.h"
#include "pocketjson/value.h"

namespace zarvo_sim {

Program::Program() = default;

Program::Program(const ZrvSimProgram& program)
    : connectFails(program.connectFails),
      disconnectResult(program.disconnectResult),
      setDidDisconnectResult(program.setDidDisconnectResult),
      registerResult(program.registerResult),
      unregisterResult(program.unregisterResult),
      bridgeCrossResult(program.bridgeCrossResult),
      bridgeCrossCallsBack(program.bridgeCrossCallsBack),
      bridgeCrossStatus(program.bridgeCrossStatus),
      bridgeCrossAnswer(program.bridgeCrossAnswer != nullptr ? program.bridgeCrossAnswer : ""),
      customTaskResult(program.customTaskResult),
      customTaskCallsBack(program.customTaskCallsBack),
      customTaskType(program.customTaskType != nullptr ? program.customTaskType : ""),
      customTaskAnswer(program.customTaskAnswer != nullptr ? program.customTaskAnswer : "") {}

Simulator& Simulator::instance() {
  // Deliberately never destroyed: callers reach the simulator from their own static destructors
  // and the exit log is written from the library's ELF destructor, after every atexit handler.
  static Simulator* const simulator = new Simulator();
  return *simulator;
}

Simulator::Connection* Simulator::findConnection(unsigned long handle) {
  auto it = connections_.find(handle);
  return it != connections_.end() ? &it->second : nullptr;
}

Simulator::Connection* Simulator::openConnection(unsigned long handle) {
  Connection* connection = findConnection(handle);
  return connection != nullptr && connection->open ? connection : nullptr;
}

Simulator::Subscription* Simulator::findSubscription(Connection& connection,
                                                     unsigned long long id) {
  for (Subscription& subscription : connection.subscriptions) {
    if (subscription.id == id) return &subscription;
  }
  return nullptr;
}

unsigned long Simulator::connect(const std::string& name, const std::string& clientName) {
  Lock lock(mutex_);
  if (describing_) {
    if (description_->applications.count(name) == 0) return 0;
  } else if (program_.connectFails != 0) {
    return 0;
  }
  const unsigned long handle = nextHandle_++;
  Connection& connection = connections_[handle];
  connection.name = name;
  connection.clientName = clientName;
  return handle;
}

int Simulator::disconnect(unsigned long handle) {
  Lock lock(mutex_);
  Connection* connection = openConnection(handle);
  if (connection == nullptr) return 0;
  connection->open = false;
  connection->subscriptions.clear();
  dropTimers(handle, 0);
  connection->didDisconnect = nullptr;
  connection->didDisconnectContext = nullptr;
  // The connection is closed for every new delivery; now wait for those already running on other
  // threads. A delivery of this thread (a disconnect from inside a callback) is not waited for.
  const std::thread::id self = std::this_thread::get_id();
  changed_.wait(lock, [this, handle, self] {
    Connection* current = findConnection(handle);
    if (current == nullptr) return true;
    return std::all_of(current->delivering.begin(), current->delivering.end(),
                       [self](std::thread::id id) { return id == self; });
  });
  const int result = describing_ ? 1 : program_.disconnectResult;
  // A closed connection is forgotten (an unknown handle answers as a closed one), unless this
  // thread is disconnecting from inside one of its callbacks: then endDelivery forgets it.
  Connection* closed = findConnection(handle);
  if (closed != nullptr && !closed->open && closed->delivering.empty()) connections_.erase(handle);
  return result;
}

int Simulator::setDidDisconnectCallback(unsigned long handle, ZrvDidDisconnectCallback callback,
                                        void* context) {
  Lock lock(mutex_);
  if (Connection* connection = openConnection(handle)) {
    connection->didDisconnect = callback;
    connection->didDisconnectContext = context;
  }
  // A NULL or unknown handle is ignored, as the interface allows, and still answered normally.
  return describing_ ? 1 : program_.setDidDisconnectResult;
}

int Simulator::registerEvent(unsigned long handle, const std::string& target,
                             const std::string& type, ZrvEventCallback callback, void* context) {
  Lock lock(mutex_);
  Connection* connection = openConnection(handle);
  if (connection == nullptr || callback == nullptr) return 0;
  const int result = describing_ ? 1 : program_.registerResult;
  if (result == 0) return 0;
  // A subscription is keyed by connection, target and type: registering the same key again
  // replaces the callback and context and restarts its timed events (the old timers go with
  // the old subscription).
  auto& subscriptions = connection->subscriptions;
  auto sameKey = [&](const Subscription& s) { return s.target == target && s.type == type; };
  for (const Subscription& old : subscriptions) {
    if (sameKey(old)) dropTimers(handle, old.id);
  }
  subscriptions.erase(std::remove_if(subscriptions.begin(), subscriptions.end(), sameKey),
                      subscriptions.end());
  subscriptions.push_back(Subscription{nextSubscription_++, target, type, callback, context});
  if (describing_) scheduleTimedEvents(handle, *connection, subscriptions.back());
  return result;
}

void Simulator::scheduleTimedEvents(unsigned long handle, const Connection& connection,
                                    const Subscription& subscription) {
  auto application = description_->applications.find(connection.name);
  if (application == description_->applications.end()) return;
  const Clock::time_point now = Clock::now();
  for (const EventSpec& spec : application->second.events) {
    if (spec.type != subscription.type) continue;
    Timer timer;
    timer.due = now + std::chrono::milliseconds(spec.intervalMs);
    timer.order = nextTimerOrder_++;
    timer.handle = handle;
    timer.subscription = subscription.id;
    timer.spec = std::shared_ptr<const EventSpec>(description_, &spec);
    timer.remaining = spec.count;
    addTimer(std::move(timer));
  }
}

int Simulator::unregisterEvent(unsigned long handle, const std::string& target,
                               const std::string& type) {
  Lock lock(mutex_);
  Connection* connection = openConnection(handle);
  if (connection == nullptr) return 0;
  auto& subscriptions = connection->subscriptions;
  auto it = std::find_if(subscriptions.begin(), subscriptions.end(), [&](const Subscription& s) {
    return s.target == target && s.type == type;
  });
  const bool found = it != subscriptions.end();
  int result = 0;
  if (describing_) {
    result = found ? 1 : 0;
  } else {
    result = program_.unregisterResult;  // a failed unsubscription keeps the subscription
  }
  if (found && result != 0) {
    dropTimers(handle, it->id);
    subscriptions.erase(it);
  }
  return result;
}

int Simulator::bridgeCross(unsigned long handle, const std::string& uri,
                           ZrvBridgeResponseCallback callback, void* context, bool& calledBack) {
  calledBack = false;
  int result = 0;
  bool callsBack = false;
  int status = 0;
  std::string answer;
  {
    Lock lock(mutex_);
    Connection* connection = openConnection(handle);
    if (connection == nullptr) return 0;
    if (describing_) {
      auto application = description_->applications.find(connection->name);
      if (application == description_->applications.end()) return 0;
      const SimulatedApplication& app = application->second;
      auto request = app.requests.find(uri);
      if (request != app.requests.end()) {
        status = request->second.status;
        answer = request->second.answer;
      } else if (app.hasDefaultRequest) {
        status = app.defaultRequest.status;
        answer = app.defaultRequest.answer;
      } else {
        pocketjson::Value unknown;
        unknown["error"] = "Unknown uri.";
        unknown["uri"] = uri;
        status = 404;
        answer = pocketjson::Serializer::compact(unknown);
      }
      result = 1;
      callsBack = true;
    } else {
      result = program_.bridgeCrossResult;
      callsBack = program_.bridgeCrossCallsBack != 0;
      status = program_.bridgeCrossStatus;
      answer = program_.bridgeCrossAnswer;
    }
  }
  // The context points into the caller's frame: the answer comes now, on this thread.
  if (callsBack && callback != nullptr) {
    callback(status, answer.c_str(), context);
    calledBack = true;
  }
  return result;
}

int Simulator::executeCustomTask(unsigned long handle, const std::string& type,
                                 ZrvCustomTaskCallback callback, void* context, bool& calledBack) {
  calledBack = false;
  int result = 0;
  bool callsBack = false;
  std::string answerType;
  std::string answer;
  {
    Lock lock(mutex_);
    Connection* connection = openConnection(handle);
    if (connection == nullptr) return 0;
    if (describing_) {
      auto application = description_->applications.find(connection->name);
      if (application == description_->applications.end()) return 0;
      auto task = application->second.tasks.find(type);
      if (task == application->second.tasks.end()) return 0;
      answerType = task->second.type;
      answer = task->second.answer;
      result = 1;
      callsBack = true;
    } else {
      result = program_.customTaskResult;
      callsBack = program_.customTaskCallsBack != 0;
      answerType = program_.customTaskType;
      answer = program_.customTaskAnswer;
    }
  }
  if (callsBack && callback != nullptr) {
    callback(answerType.c_str(), answer.c_str(), context);
    calledBack = true;
  }
  return result;
}

void Simulator::setProgram(const Program& program) {
  Lock lock(mutex_);
  program_ = program;
  describing_ = false;
  description_.reset();
}

void Simulator::setDescription(std::shared_ptr<const Description> description) {
  Lock lock(mutex_);
  description_ = std::move(description);
  describing_ = true;
}

size_t Simulator::connectionRecordCount() {
  Lock lock(mutex_);
  return connections_.size();
}

unsigned long Simulator::openConnectionNamed(const std::string& name) {
  Lock lock(mutex_);
  for (auto it = connections_.rbegin(); it != connections_.rend(); ++it) {
    if (it->second.open && it->second.name == name) return it->first;
  }
  return 0;
}

long Simulator::eventCallbackCount() {
  Lock lock(mutex_);
  return eventCallbacks_;
}

void Simulator::reset() {
  Lock lock(mutex_);
  ++generation_;
  stopWorkers(lock, false);
  connections_.clear();
  nextHandle_ = 1;
  nextSubscription_ = 1;
  program_ = Program();
  describing_ = false;
  description_.reset();
  threadCount_ = 1;
  eventCallbacks_ = 0;
  changed_.notify_all();
  lock.unlock();
  log_.clear();
}

}  // namespace zarvo_sim
