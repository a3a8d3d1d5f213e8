// Helpers shared by the simulator's tests: a fixture that resets the simulator around every test,
// handle conversions, and thread-safe recorders for callbacks.
#ifndef ZARVO_TESTS_PLATFORM_SIMULATOR_TEST_SUPPORT_H
#define ZARVO_TESTS_PLATFORM_SIMULATOR_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "zarvo_simulator.h"

namespace simtest {

inline ZrvApplicationHandle handle(uintptr_t number) {
  return reinterpret_cast<ZrvApplicationHandle>(number);
}
inline uintptr_t number(ZrvApplicationHandle handle) {
  return reinterpret_cast<uintptr_t>(handle);
}

class SimulatorTest : public ::testing::Test {
 protected:
  void SetUp() override { ZrvSimReset(); }
  void TearDown() override { ZrvSimReset(); }
};

// One received event or notice.
struct Received {
  std::string type;
  std::string json;
  void* context = nullptr;
  std::thread::id thread;
};

// Collects event and did-disconnect callbacks from any thread.
class Recorder {
 public:
  static void onEvent(const char* type, const char* json, void* context) {
    Recorder* self = context != nullptr ? static_cast<Recorder*>(context) : nullRecorder();
    self->add(Received{type, json, context, std::this_thread::get_id()});
  }
  static void onDidDisconnect(void* context) {
    Recorder* self = context != nullptr ? static_cast<Recorder*>(context) : nullRecorder();
    self->add(Received{"didDisconnect", "", context, std::this_thread::get_id()});
  }
  // Receives the callbacks made with a NULL context.
  static Recorder* nullRecorder() {
    static Recorder recorder;
    return &recorder;
  }

  void add(Received received) {
    std::lock_guard<std::mutex> lock(mutex_);
    received_.push_back(std::move(received));
    changed_.notify_all();
  }
  std::vector<Received> all() {
    std::lock_guard<std::mutex> lock(mutex_);
    return received_;
  }
  size_t size() {
    std::lock_guard<std::mutex> lock(mutex_);
    return received_.size();
  }
  void clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    received_.clear();
  }
  // Waits (at most `limit`) until `count` callbacks have arrived; true when they have.
  bool waitFor(size_t count, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return received_.size() >= count; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Received> received_;
};

// The canonical line of log entry `index`, or "<none>".
inline std::string logLine(size_t index) {
  ZrvSimCall call;
  if (ZrvSimGetCall(index, &call) == 0) return "<none>";
  return call.text;
}

}  // namespace simtest

#endif  // ZARVO_TESTS_PLATFORM_SIMULATOR_TEST_SUPPORT_H
