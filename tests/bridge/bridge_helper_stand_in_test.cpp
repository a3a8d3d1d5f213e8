// The stand-in host library: promise identifiers, sinks, counters, reset, and its thread rules
// (events arrive from other threads while responses are set).
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "bridge_helper_stand_in.h"

namespace {

class StandInTest : public ::testing::Test {
 protected:
  void SetUp() override { BridgeHelperStandInReset(); }
  void TearDown() override { BridgeHelperStandInReset(); }
};

struct SinkState {
  std::atomic<int> inside{0};
  std::atomic<int> overlaps{0};
  long responses = 0;  // written only inside sinks, which never overlap
  long events = 0;
  std::vector<std::string> texts;
};

void responseSink(int /*promiseId*/, int /*status*/, const char* json, void* userData) {
  auto* state = static_cast<SinkState*>(userData);
  if (state->inside.fetch_add(1) != 0) state->overlaps.fetch_add(1);
  ++state->responses;
  if (state->texts.size() < 4) state->texts.emplace_back(json);
  std::this_thread::yield();
  state->inside.fetch_sub(1);
}

void eventSink(const char* eventName, const char* json, void* userData) {
  auto* state = static_cast<SinkState*>(userData);
  if (state->inside.fetch_add(1) != 0) state->overlaps.fetch_add(1);
  ++state->events;
  if (state->texts.size() < 4) state->texts.emplace_back(std::string(eventName) + " " + json);
  std::this_thread::yield();
  state->inside.fetch_sub(1);
}

TEST_F(StandInTest, PromiseIdentifiersCountFromOneAndRestartOnReset) {
  EXPECT_EQ(BridgeHelperCreatePromiseID(), 1);
  EXPECT_EQ(BridgeHelperCreatePromiseID(), 2);
  EXPECT_EQ(BridgeHelperCreatePromiseID(), 3);
  EXPECT_EQ(BridgeHelperStandInPromiseCount(), 3);
  BridgeHelperStandInReset();
  EXPECT_EQ(BridgeHelperStandInPromiseCount(), 0);
  EXPECT_EQ(BridgeHelperCreatePromiseID(), 1);
}

TEST_F(StandInTest, WithoutSinksCallsAreCountedAndAnsweredZero) {
  EXPECT_EQ(BridgeHelperSetResponse(1, 200, "{}"), 0);
  EXPECT_EQ(BridgeHelperDispatchEvent("zarvoEvent", "{}"), 0);
  EXPECT_EQ(BridgeHelperStandInResponseCount(), 1);
  EXPECT_EQ(BridgeHelperStandInEventCount(), 1);
}

TEST_F(StandInTest, SinksReceiveTheArguments) {
  struct Seen {
    int promiseId = 0;
    int status = 0;
    std::string json;
    std::string eventName;
    std::string eventJson;
  } seen;
  BridgeHelperStandInSetResponseSink(
      [](int promiseId, int status, const char* json, void* userData) {
        auto* s = static_cast<Seen*>(userData);
        s->promiseId = promiseId;
        s->status = status;
        s->json = json;
      },
      &seen);
  BridgeHelperStandInSetEventSink(
      [](const char* eventName, const char* json, void* userData) {
        auto* s = static_cast<Seen*>(userData);
        s->eventName = eventName;
        s->eventJson = json;
      },
      &seen);
  EXPECT_EQ(BridgeHelperSetResponse(7, 405, "{\"a\":1}"), 1);
  EXPECT_EQ(BridgeHelperDispatchEvent("zarvoEvent", "{\"app\":\"x\"}"), 1);
  EXPECT_EQ(seen.promiseId, 7);
  EXPECT_EQ(seen.status, 405);
  EXPECT_EQ(seen.json, "{\"a\":1}");
  EXPECT_EQ(seen.eventName, "zarvoEvent");
  EXPECT_EQ(seen.eventJson, "{\"app\":\"x\"}");

  // Removing a sink, and reset, stop the deliveries.
  BridgeHelperStandInSetResponseSink(nullptr, &seen);
  EXPECT_EQ(BridgeHelperSetResponse(8, 200, "x"), 0);
  EXPECT_EQ(seen.promiseId, 7);
  BridgeHelperStandInReset();
  EXPECT_EQ(BridgeHelperDispatchEvent("zarvoEvent", "later"), 0);
  EXPECT_EQ(seen.eventJson, "{\"app\":\"x\"}");
}

TEST_F(StandInTest, ConcurrentCallsAreCountedAndSinksNeverOverlap) {
  SinkState state;
  BridgeHelperStandInSetResponseSink(responseSink, &state);
  BridgeHelperStandInSetEventSink(eventSink, &state);

  constexpr int kThreads = 4;
  constexpr int kCallsPerThread = 2000;
  std::vector<std::vector<int>> ids(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &ids]() {
      for (int i = 0; i < kCallsPerThread; ++i) {
        const int id = BridgeHelperCreatePromiseID();
        ids[t].push_back(id);
        if (t % 2 == 0) {
          BridgeHelperSetResponse(id, 200, "{\"error\":null,\"value\":null}");
        } else {
          BridgeHelperDispatchEvent("zarvoEvent", "{}");
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  std::set<int> unique;
  for (const auto& list : ids) unique.insert(list.begin(), list.end());
  const int total = kThreads * kCallsPerThread;
  EXPECT_EQ(static_cast<int>(unique.size()), total);
  EXPECT_EQ(*unique.begin(), 1);
  EXPECT_EQ(*unique.rbegin(), total);
  EXPECT_EQ(BridgeHelperStandInPromiseCount(), total);
  EXPECT_EQ(BridgeHelperStandInResponseCount(), total / 2);
  EXPECT_EQ(BridgeHelperStandInEventCount(), total / 2);
  EXPECT_EQ(state.responses, total / 2);
  EXPECT_EQ(state.events, total / 2);
  EXPECT_EQ(state.overlaps.load(), 0);
}

}  // namespace

TEST_F(StandInTest, CountsTheDistinctThreadsThatSetResponses) {
  EXPECT_EQ(BridgeHelperStandInResponseThreadCount(), 0);
  BridgeHelperSetResponse(1, 200, "{}");
  BridgeHelperSetResponse(2, 200, "{}");
  EXPECT_EQ(BridgeHelperStandInResponseThreadCount(), 1);
  std::thread other([] { BridgeHelperSetResponse(3, 200, "{}"); });
  other.join();
  EXPECT_EQ(BridgeHelperStandInResponseThreadCount(), 2);
  // Events do not count: they come from the application library's threads.
  std::thread events([] { BridgeHelperDispatchEvent("zarvoEvent", "{}"); });
  events.join();
  EXPECT_EQ(BridgeHelperStandInResponseThreadCount(), 2);
  BridgeHelperStandInReset();
  EXPECT_EQ(BridgeHelperStandInResponseThreadCount(), 0);
}
