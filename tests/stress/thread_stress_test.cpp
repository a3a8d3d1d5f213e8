// Events from several simulator event threads while the host thread keeps calling the resources.
// Built and run under ThreadSanitizer in CI (label "threads"); any data race fails the test
// through the sanitizer's exit status.
//
// Four applications are connected and subscribed to "tick"; with four event threads each is
// served by its own simulator thread. Three raiser threads raise events for different
// applications (each raise waits until delivered and returns the number of callbacks), while the
// host thread sends bridge-cross requests and custom tasks, subscribes and unsubscribes another
// type, and connects and disconnects a fifth application that a raiser keeps raising events for,
// so deliveries race with the disconnect that must wait for them.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bridge_helper_stand_in.h"
#include "pocketjson/parser.h"
#include "pocketjson/value.h"
#include "zarvo_bridging.h"
#include "zarvo_simulator.h"

namespace {

constexpr int kApps = 5;  // app0..app3 stay connected; app4 comes and goes
constexpr int kHostIterations = 1500;
constexpr int kRaisesPerThread = 1500;

struct Sinks {
  std::mutex mutex;
  int lastPromise = 0;
  int lastStatus = 0;
  std::string lastText;
  long events[kApps] = {};
  long malformed = 0;
  std::string firstMalformed;
};

Sinks sinks;

void onResponse(int promiseId, int status, const char* json, void*) {
  std::lock_guard<std::mutex> lock(sinks.mutex);
  sinks.lastPromise = promiseId;
  sinks.lastStatus = status;
  sinks.lastText = json;
}

void onEvent(const char* name, const char* json, void*) {
  // Parsed on the delivering thread: each thread builds its own values.
  pocketjson::Value event;
  pocketjson::Parser parser;
  const bool parsed = parser.tryParse(event, json);
  const std::string app = event.get("app").toString("");
  std::lock_guard<std::mutex> lock(sinks.mutex);
  const bool ok = parsed && std::string(name) == "zarvoEvent" && event.size() == 3 &&
                  event.get("type").toString("") == "tick" && event.get("data").isObject() &&
                  app.size() == 4 && app.compare(0, 3, "app") == 0 && app[3] >= '0' &&
                  app[3] < '0' + kApps;
  if (!ok) {
    if (sinks.malformed++ == 0) sinks.firstMalformed = json;
    return;
  }
  ++sinks.events[app[3] - '0'];
}

std::string nameParams(int app) {
  return "{\"name\":\"app" + std::to_string(app) + "\"}";
}
std::string eventParams(int app, const char* type) {
  return "{\"name\":\"app" + std::to_string(app) + "\",\"type\":\"" + type + "\"}";
}

const char kPost[] = "{\"method\":\"post\"}";
const char kDelete[] = "{\"method\":\"delete\"}";
const char kOkNull[] = "{\"error\":null,\"value\":null}";

class ThreadStressTest : public ::testing::Test {
 protected:
  void SetUp() override {
    TearDown();
    BridgeHelperStandInReset();
    ZrvSimReset();
    ZrvSimSetEventThreadCount(4);
    ZrvSimProgram program;
    ZrvSimDefaultProgram(&program);
    program.bridgeCrossAnswer = "{\"ok\":true}";
    program.customTaskType = "done";
    program.customTaskAnswer = "[1]";
    ZrvSimSetProgram(&program);
    {
      std::lock_guard<std::mutex> lock(sinks.mutex);
      for (long& count : sinks.events) count = 0;
      sinks.malformed = 0;
    }
    BridgeHelperStandInSetResponseSink(onResponse, nullptr);
    BridgeHelperStandInSetEventSink(onEvent, nullptr);
  }
  void TearDown() override { ::TearDown(); }

  // One call on the host thread, expected to succeed with `text`.
  template <typename EntryPoint>
  void call(EntryPoint entry, const char* options, const std::string& parameters,
            const std::string& body, int status, const std::string& text) {
    const int id = entry(options, parameters.c_str(), "{}", body.c_str());
    std::lock_guard<std::mutex> lock(sinks.mutex);
    ASSERT_EQ(sinks.lastPromise, id);
    ASSERT_EQ(sinks.lastStatus, status) << sinks.lastText;
    ASSERT_EQ(sinks.lastText, text);
  }
};

TEST_F(ThreadStressTest, EventsFromSimulatorThreadsWhileTheHostCallsTheResources) {
  // Handles are numbered in connect order: app0..app3 get 1..4, one per event thread.
  for (int app = 0; app < 4; ++app) {
    call(ZarvoApplication, kPost, nameParams(app), "", 200, kOkNull);
    call(ZarvoApplicationEvent, kPost, eventParams(app, "tick"), "", 200, kOkNull);
  }
  uintptr_t nextHandle = 5;
  std::atomic<uintptr_t> app4Handle{0};
  std::atomic<int> raisersRunning{3};
  long raised[kApps] = {};  // callbacks made, per application; written by the raisers only
  std::mutex raisedMutex;

  auto raiser = [&](int first) {
    long mine[kApps] = {};
    for (int i = 0; i < kRaisesPerThread; ++i) {
      // Two steady applications per raiser, and app4 every fifth time.
      int app = (first + (i & 1)) % 4;
      uintptr_t handle = static_cast<uintptr_t>(app) + 1;
      if (i % 5 == 4) {
        app = 4;
        handle = app4Handle.load();
        if (handle == 0) continue;
      }
      const std::string payload = "{\"seq\":" + std::to_string(i) + "}";
      mine[app] +=
          ZrvSimRaiseEvent(reinterpret_cast<ZrvApplicationHandle>(handle), "tick", payload.c_str());
    }
    std::lock_guard<std::mutex> lock(raisedMutex);
    for (int app = 0; app < kApps; ++app) raised[app] += mine[app];
    raisersRunning.fetch_sub(1);
  };
  std::vector<std::thread> raisers;
  for (int r = 0; r < 3; ++r) raisers.emplace_back(raiser, r);

  const std::string bridgeAnswer =
      "{\"error\":null,\"value\":{\"data\":{\"ok\":true},\"statuscode\":200}}";
  const std::string customAnswer = "{\"error\":null,\"value\":{\"data\":[1],\"type\":\"done\"}}";
  // The host keeps calling for as long as the raisers raise, and at least kHostIterations times.
  for (int i = 0; (i < kHostIterations || raisersRunning.load() > 0) && !HasFatalFailure(); ++i) {
    const int app = i % 4;
    switch (i % 6) {
      case 0:
        call(ZarvoApplicationBridge, kPost, nameParams(app), "{\"uri\":\"/x\",\"requestData\":[1]}",
             200, bridgeAnswer);
        break;
      case 1:
        call(ZarvoApplicationCustom, kPost, nameParams(app), "{\"type\":\"t\"}", 200, customAnswer);
        break;
      case 2:
        call(ZarvoApplicationEvent, kPost, eventParams(app, "other"), "", 200, kOkNull);
        break;
      case 3:
        call(ZarvoApplicationEvent, kDelete, eventParams(app, "other"), "", 200, kOkNull);
        break;
      case 4:
        if (app4Handle.load() == 0) {
          call(ZarvoApplication, kPost, nameParams(4), "", 200, kOkNull);
          call(ZarvoApplicationEvent, kPost, eventParams(4, "tick"), "", 200, kOkNull);
          app4Handle.store(nextHandle++);
        }
        break;
      default:
        if (app4Handle.load() != 0 && i % 12 == 11) {
          // Deliveries for app4 may be running right now; the disconnect waits for them, and
          // none may start afterwards (the object is destroyed).
          call(ZarvoApplication, kDelete, nameParams(4), "", 200, kOkNull);
          app4Handle.store(0);
        }
        break;
    }
  }
  for (std::thread& t : raisers) t.join();
  ZrvSimFlush();

  std::lock_guard<std::mutex> lock(sinks.mutex);
  EXPECT_EQ(sinks.malformed, 0) << sinks.firstMalformed;
  long total = 0;
  for (int app = 0; app < kApps; ++app) {
    EXPECT_EQ(sinks.events[app], raised[app]) << "app" << app;
    total += sinks.events[app];
  }
  EXPECT_EQ(total, ZrvSimEventCallbackCount());
  EXPECT_GT(sinks.events[0], 0);
  EXPECT_EQ(BridgeHelperStandInPromiseCount(), BridgeHelperStandInResponseCount());
}

TEST_F(ThreadStressTest, PostedEventsOnFourThreadsAreAllDispatchedOnce) {
  for (int app = 0; app < 4; ++app) {
    call(ZarvoApplication, kPost, nameParams(app), "", 200, kOkNull);
    call(ZarvoApplicationEvent, kPost, eventParams(app, "tick"), "", 200, kOkNull);
  }
  constexpr int kPerApp = 500;
  for (int i = 0; i < kPerApp; ++i) {
    for (int app = 0; app < 4; ++app) {
      const std::string payload = "{\"i\":" + std::to_string(i) + "}";
      ZrvSimPostEvent(reinterpret_cast<ZrvApplicationHandle>(static_cast<uintptr_t>(app) + 1),
                      "tick", payload.c_str());
    }
    // Keep calling while the queues drain.
    call(ZarvoApplicationBridge, "{\"method\":\"get\"}", nameParams(i % 4), "", 405,
         "{\"error\":{\"message\":\"GET method is not allowed.\",\"name\":\"MethodError\"},"
         "\"value\":null}");
  }
  ZrvSimFlush();
  std::lock_guard<std::mutex> lock(sinks.mutex);
  EXPECT_EQ(sinks.malformed, 0) << sinks.firstMalformed;
  for (int app = 0; app < 4; ++app) EXPECT_EQ(sinks.events[app], kPerApp) << "app" << app;
}

// The page disconnects an application while one of its events is being dispatched on the
// simulator's thread. The disconnect must wait for that delivery with the application object
// still whole. The flag below is relaxed on purpose: it orders nothing, so ThreadSanitizer sees
// exactly the synchronisation the bridge and the library provide, and reports any write to the
// object (its vtable pointer, its name) that is not ordered after the delivery.
std::atomic<int> slowSinkInside{0};

void slowEventSink(const char* name, const char* json, void* userData) {
  slowSinkInside.store(1, std::memory_order_relaxed);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  onEvent(name, json, userData);
}

TEST_F(ThreadStressTest, DisconnectWaitsForTheEventBeingDispatched) {
  call(ZarvoApplication, kPost, nameParams(0), "", 200, kOkNull);
  call(ZarvoApplicationEvent, kPost, eventParams(0, "tick"), "", 200, kOkNull);
  BridgeHelperStandInSetEventSink(slowEventSink, nullptr);
  slowSinkInside.store(0, std::memory_order_relaxed);
  int made = 0;
  std::thread raiser([&made] {
    made = ZrvSimRaiseEvent(reinterpret_cast<ZrvApplicationHandle>(1), "tick", "{\"seq\":1}");
  });
  while (slowSinkInside.load(std::memory_order_relaxed) == 0) std::this_thread::yield();
  call(ZarvoApplication, kDelete, nameParams(0), "", 200, kOkNull);
  raiser.join();
  EXPECT_EQ(made, 1);
  std::lock_guard<std::mutex> lock(sinks.mutex);
  EXPECT_EQ(sinks.events[0], 1);
  EXPECT_EQ(sinks.malformed, 0) << sinks.firstMalformed;
}

}  // namespace
