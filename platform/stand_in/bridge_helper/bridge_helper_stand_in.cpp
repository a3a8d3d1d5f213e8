// Stand-in for the web-view bridge host library: hands the plug-in's responses and events to the
// sinks a test or host program registered. See bridge_helper_stand_in.h for the contract.
//
// State: one promise counter (atomic), three call counters (atomic) and the two sinks with their
// user data, guarded by one mutex that is also held while a sink runs, so sink calls never
// overlap and a sink can never be removed while it is running. The same mutex guards the list of
// threads that set responses (a handful at most, so a plain vector).
#include "bridge_helper_stand_in.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

namespace {

struct StandInState {
  std::atomic<int> nextPromiseId{1};
  std::atomic<long> promiseCount{0};
  std::atomic<long> responseCount{0};
  std::atomic<long> eventCount{0};

  std::mutex sinkMutex;
  BridgeHelperStandInResponseSink responseSink = nullptr;
  void* responseUserData = nullptr;
  BridgeHelperStandInEventSink eventSink = nullptr;
  void* eventUserData = nullptr;
  std::vector<std::thread::id> responseThreads;
};

// Never destroyed: events may arrive from other threads while the process exits, after static
// destructors have started to run.
StandInState& state() {
  static StandInState* const instance = new StandInState();
  return *instance;
}

long responseThreadCount(StandInState& s) {
  std::lock_guard<std::mutex> lock(s.sinkMutex);
  return static_cast<long>(s.responseThreads.size());
}

// Writes the counters to the file named by BRIDGE_HELPER_STAND_IN_EXIT_LOG when the library's
// static objects are destroyed (process exit or unload). The state itself is never destroyed, so
// it is still there.
struct ExitReport {
  ExitReport() = default;
  ExitReport(const ExitReport&) = delete;
  ExitReport& operator=(const ExitReport&) = delete;
  ~ExitReport() {
    const char* path = std::getenv("BRIDGE_HELPER_STAND_IN_EXIT_LOG");
    if (path == nullptr || *path == '\0') return;
    std::FILE* file = std::fopen(path, "w");
    if (file == nullptr) return;
    StandInState& s = state();
    std::fprintf(file, "promises %ld\nresponses %ld\nresponse threads %ld\nevents %ld\n",
                 s.promiseCount.load(), s.responseCount.load(), responseThreadCount(s),
                 s.eventCount.load());
    std::fclose(file);
  }
};
const ExitReport exitReport;

}  // namespace

extern "C" {

int BridgeHelperCreatePromiseID(void) {
  StandInState& s = state();
  s.promiseCount.fetch_add(1, std::memory_order_relaxed);
  return s.nextPromiseId.fetch_add(1, std::memory_order_relaxed);
}

int BridgeHelperSetResponse(int promiseId, int statusCode, const char* json) {
  StandInState& s = state();
  s.responseCount.fetch_add(1, std::memory_order_relaxed);
  std::lock_guard<std::mutex> lock(s.sinkMutex);
  const std::thread::id self = std::this_thread::get_id();
  bool known = false;
  for (const std::thread::id& id : s.responseThreads) known = known || id == self;
  if (!known) s.responseThreads.push_back(self);
  if (s.responseSink == nullptr) return 0;
  s.responseSink(promiseId, statusCode, json, s.responseUserData);
  return 1;
}

int BridgeHelperDispatchEvent(const char* eventName, const char* json) {
  StandInState& s = state();
  s.eventCount.fetch_add(1, std::memory_order_relaxed);
  std::lock_guard<std::mutex> lock(s.sinkMutex);
  if (s.eventSink == nullptr) return 0;
  s.eventSink(eventName, json, s.eventUserData);
  return 1;
}

void BridgeHelperStandInSetResponseSink(BridgeHelperStandInResponseSink sink, void* userData) {
  StandInState& s = state();
  std::lock_guard<std::mutex> lock(s.sinkMutex);
  s.responseSink = sink;
  s.responseUserData = sink != nullptr ? userData : nullptr;
}

void BridgeHelperStandInSetEventSink(BridgeHelperStandInEventSink sink, void* userData) {
  StandInState& s = state();
  std::lock_guard<std::mutex> lock(s.sinkMutex);
  s.eventSink = sink;
  s.eventUserData = sink != nullptr ? userData : nullptr;
}

void BridgeHelperStandInReset(void) {
  StandInState& s = state();
  std::lock_guard<std::mutex> lock(s.sinkMutex);
  s.responseSink = nullptr;
  s.responseUserData = nullptr;
  s.eventSink = nullptr;
  s.eventUserData = nullptr;
  s.responseThreads.clear();
  s.nextPromiseId.store(1, std::memory_order_relaxed);
  s.promiseCount.store(0, std::memory_order_relaxed);
  s.responseCount.store(0, std::memory_order_relaxed);
  s.eventCount.store(0, std::memory_order_relaxed);
}

long BridgeHelperStandInPromiseCount(void) {
  return state().promiseCount.load(std::memory_order_relaxed);
}

long BridgeHelperStandInResponseCount(void) {
  return state().responseCount.load(std::memory_order_relaxed);
}

long BridgeHelperStandInEventCount(void) {
  return state().eventCount.load(std::memory_order_relaxed);
}

long BridgeHelperStandInResponseThreadCount(void) {
  return responseThreadCount(state());
}

}  // extern "C"
