// Events and did-disconnect notices: delivered on the simulator's event thread, to the right
// subscriptions, with the registered context.
#include <atomic>
#include <set>
#include <string>
#include <thread>

#include "simulator_test_support.h"

namespace {

using simtest::handle;
using simtest::number;
using simtest::Recorder;

class Events : public simtest::SimulatorTest {
 protected:
  void SetUp() override {
    simtest::SimulatorTest::SetUp();
    Recorder::nullRecorder()->clear();
  }
};

TEST_F(Events, DeliveredOnAnotherThreadWithContext) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ASSERT_EQ(ZrvRegisterEvent(h, "", "progress", Recorder::onEvent, &recorder), 1);
  EXPECT_EQ(ZrvSimRaiseEvent(h, "progress", "{\"percent\": 50}"), 1);
  // RaiseEvent waits for delivery: the callback has run when it returns.
  auto all = recorder.all();
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].type, "progress");
  EXPECT_EQ(all[0].json, "{\"percent\": 50}");
  EXPECT_EQ(all[0].context, &recorder);
  EXPECT_NE(all[0].thread, std::this_thread::get_id());
  EXPECT_EQ(ZrvSimEventCallbackCount(), 1);
}

TEST_F(Events, OnlyMatchingTypeAndConnection) {
  ZrvApplicationHandle a = ZrvConnectApplication("a", "");
  ZrvApplicationHandle b = ZrvConnectApplication("b", "");
  Recorder ra;
  Recorder rb;
  ZrvRegisterEvent(a, "", "progress", Recorder::onEvent, &ra);
  ZrvRegisterEvent(b, "", "progress", Recorder::onEvent, &rb);
  ZrvRegisterEvent(a, "", "other", Recorder::onEvent, &ra);
  EXPECT_EQ(ZrvSimRaiseEvent(a, "progress", "1"), 1);
  EXPECT_EQ(ZrvSimRaiseEvent(b, "progress", "2"), 1);
  EXPECT_EQ(ZrvSimRaiseEvent(b, "other", "3"), 0);
  ASSERT_EQ(ra.size(), 1u);
  EXPECT_EQ(ra.all()[0].json, "1");
  ASSERT_EQ(rb.size(), 1u);
  EXPECT_EQ(rb.all()[0].json, "2");
  EXPECT_EQ(ZrvSimEventCallbackCount(), 2);
}

TEST_F(Events, EverySubscriptionOfTheTypeWhateverItsTarget) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder first;
  Recorder second;
  ZrvRegisterEvent(h, "", "progress", Recorder::onEvent, &first);
  ZrvRegisterEvent(h, "panel", "progress", Recorder::onEvent, &second);
  EXPECT_EQ(ZrvSimRaiseEvent(h, "progress", "[]"), 2);
  EXPECT_EQ(first.size(), 1u);
  EXPECT_EQ(second.size(), 1u);
}

TEST_F(Events, SameKeyReplacesSubscription) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder old;
  Recorder replacement;
  ZrvRegisterEvent(h, "", "progress", Recorder::onEvent, &old);
  ZrvRegisterEvent(h, "", "progress", Recorder::onEvent, &replacement);
  EXPECT_EQ(ZrvSimRaiseEvent(h, "progress", "null"), 1);
  EXPECT_EQ(old.size(), 0u);
  EXPECT_EQ(replacement.size(), 1u);
}

TEST_F(Events, UnregisterStopsDelivery) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "t", "progress", Recorder::onEvent, &recorder);
  ZrvRegisterEvent(h, "u", "progress", Recorder::onEvent, &recorder);
  EXPECT_EQ(ZrvUnregisterEvent(h, "t", "progress"), 1);
  EXPECT_EQ(ZrvSimRaiseEvent(h, "progress", "null"), 1);
  EXPECT_EQ(ZrvUnregisterEvent(h, "u", "progress"), 1);
  EXPECT_EQ(ZrvSimRaiseEvent(h, "progress", "null"), 0);
  EXPECT_EQ(recorder.size(), 1u);
}

TEST_F(Events, FailedUnregisterKeepsSubscription) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "progress", Recorder::onEvent, &recorder);
  ZrvSimProgram p;
  ZrvSimDefaultProgram(&p);
  p.unregisterResult = 0;
  ZrvSimSetProgram(&p);
  EXPECT_EQ(ZrvUnregisterEvent(h, "", "progress"), 0);
  EXPECT_EQ(ZrvSimRaiseEvent(h, "progress", "null"), 1);
}

TEST_F(Events, FailedRegisterKeepsNoSubscription) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  ZrvSimProgram p;
  ZrvSimDefaultProgram(&p);
  p.registerResult = 0;
  ZrvSimSetProgram(&p);
  Recorder recorder;
  EXPECT_EQ(ZrvRegisterEvent(h, "", "progress", Recorder::onEvent, &recorder), 0);
  EXPECT_EQ(ZrvSimRaiseEvent(h, "progress", "null"), 0);
  EXPECT_EQ(recorder.size(), 0u);
}

TEST_F(Events, NullContext) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "progress", Recorder::onEvent, &recorder);
  EXPECT_EQ(ZrvSimRaiseEventWithNullContext(h, "progress", "{}"), 1);
  EXPECT_EQ(recorder.size(), 0u);
  auto all = Recorder::nullRecorder()->all();
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].context, nullptr);
  EXPECT_EQ(all[0].json, "{}");
}

TEST_F(Events, NullTextsArriveEmpty) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "", Recorder::onEvent, &recorder);
  EXPECT_EQ(ZrvSimRaiseEvent(h, nullptr, nullptr), 1);
  ASSERT_EQ(recorder.size(), 1u);
  EXPECT_EQ(recorder.all()[0].type, "");
  EXPECT_EQ(recorder.all()[0].json, "");
}

TEST_F(Events, NoDeliveryAfterDisconnect) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "progress", Recorder::onEvent, &recorder);
  ZrvSetApplicationDidDisconnectCallback(h, Recorder::onDidDisconnect, &recorder);
  ZrvDisconnectApplication(h);
  EXPECT_EQ(ZrvSimRaiseEvent(h, "progress", "null"), 0);
  EXPECT_EQ(ZrvSimRaiseDidDisconnect(h, 0), 0);
  EXPECT_EQ(recorder.size(), 0u);
  EXPECT_EQ(ZrvSimRaiseEvent(handle(99), "progress", "null"), 0);
}

TEST_F(Events, DidDisconnectOnEventThread) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  EXPECT_EQ(ZrvSimRaiseDidDisconnect(h, 0), 0);  // nothing registered yet
  ZrvSetApplicationDidDisconnectCallback(h, Recorder::onDidDisconnect, &recorder);
  EXPECT_EQ(ZrvSimRaiseDidDisconnect(h, 0), 1);
  auto all = recorder.all();
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].type, "didDisconnect");
  EXPECT_EQ(all[0].context, &recorder);
  EXPECT_NE(all[0].thread, std::this_thread::get_id());
  // A notice only: the connection stays usable.
  Recorder events;
  EXPECT_EQ(ZrvRegisterEvent(h, "", "e", Recorder::onEvent, &events), 1);
  EXPECT_EQ(ZrvSimRaiseEvent(h, "e", "1"), 1);
  // Notices are not events.
  EXPECT_EQ(ZrvSimEventCallbackCount(), 1);
}

TEST_F(Events, DidDisconnectWithNullContext) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvSetApplicationDidDisconnectCallback(h, Recorder::onDidDisconnect, &recorder);
  EXPECT_EQ(ZrvSimRaiseDidDisconnect(h, 1), 1);
  EXPECT_EQ(recorder.size(), 0u);
  auto all = Recorder::nullRecorder()->all();
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].context, nullptr);
}

TEST_F(Events, DidDisconnectCallbackCanBeCleared) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvSetApplicationDidDisconnectCallback(h, Recorder::onDidDisconnect, &recorder);
  ZrvSetApplicationDidDisconnectCallback(h, nullptr, nullptr);
  EXPECT_EQ(ZrvSimRaiseDidDisconnect(h, 0), 0);
}

TEST_F(Events, PostAndFlush) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "tick", Recorder::onEvent, &recorder);
  for (int i = 0; i < 100; ++i) ZrvSimPostEvent(h, "tick", std::to_string(i).c_str());
  ZrvSimFlush();
  auto all = recorder.all();
  ASSERT_EQ(all.size(), 100u);
  // One connection is served by one thread, in order.
  for (int i = 0; i < 100; ++i) EXPECT_EQ(all[i].json, std::to_string(i));
  EXPECT_EQ(ZrvSimEventCallbackCount(), 100);
}

TEST_F(Events, FlushWithNothingQueuedReturns) {
  ZrvSimFlush();
}

TEST_F(Events, ThreadCountSpreadsConnections) {
  ZrvSimSetEventThreadCount(2);
  ZrvApplicationHandle a = ZrvConnectApplication("a", "");
  ZrvApplicationHandle b = ZrvConnectApplication("b", "");
  ZrvApplicationHandle c = ZrvConnectApplication("c", "");
  Recorder recorder;
  for (ZrvApplicationHandle h : {a, b, c})
    ZrvRegisterEvent(h, "", "e", Recorder::onEvent, &recorder);
  ZrvSimRaiseEvent(a, "e", "a");
  ZrvSimRaiseEvent(b, "e", "b");
  ZrvSimRaiseEvent(c, "e", "c");
  auto all = recorder.all();
  ASSERT_EQ(all.size(), 3u);
  EXPECT_NE(all[0].thread, all[1].thread);  // handles 1 and 2: threads 0 and 1
  EXPECT_EQ(all[0].thread, all[2].thread);  // handles 1 and 3: thread 0
}

TEST_F(Events, OneThreadServesAllByDefault) {
  ZrvApplicationHandle a = ZrvConnectApplication("a", "");
  ZrvApplicationHandle b = ZrvConnectApplication("b", "");
  Recorder recorder;
  ZrvRegisterEvent(a, "", "e", Recorder::onEvent, &recorder);
  ZrvRegisterEvent(b, "", "e", Recorder::onEvent, &recorder);
  ZrvSimRaiseEvent(a, "e", "a");
  ZrvSimRaiseEvent(b, "e", "b");
  auto all = recorder.all();
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0].thread, all[1].thread);
}

TEST_F(Events, ChangingThreadCountKeepsQueuedEvents) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "tick", Recorder::onEvent, &recorder);
  for (int i = 0; i < 50; ++i) ZrvSimPostEvent(h, "tick", "x");
  ZrvSimSetEventThreadCount(3);
  for (int i = 0; i < 50; ++i) ZrvSimPostEvent(h, "tick", "y");
  ZrvSimSetEventThreadCount(1);
  ZrvSimFlush();
  EXPECT_EQ(recorder.size(), 100u);
}

TEST_F(Events, ThreadCountIsClamped) {
  ZrvSimSetEventThreadCount(0);
  ZrvSimSetEventThreadCount(-5);
  ZrvSimSetEventThreadCount(1000);
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "e", Recorder::onEvent, &recorder);
  EXPECT_EQ(ZrvSimRaiseEvent(h, "e", "1"), 1);
}

// Control functions called from inside an event callback, on the event thread.
struct Reentrant {
  ZrvApplicationHandle handle = nullptr;
  int raised = -1;
  int disconnected = -1;
  Recorder inner;
};

void raiseFromCallback(const char*, const char*, void* context) {
  auto* state = static_cast<Reentrant*>(context);
  state->raised = ZrvSimRaiseEvent(state->handle, "inner", "2");
  ZrvSimFlush();  // cannot wait for itself: returns
}

void disconnectFromCallback(const char*, const char*, void* context) {
  auto* state = static_cast<Reentrant*>(context);
  state->disconnected = ZrvDisconnectApplication(state->handle);
}

TEST_F(Events, RaiseFromInsideCallback) {
  Reentrant state;
  state.handle = ZrvConnectApplication("viewer", "");
  ZrvRegisterEvent(state.handle, "", "outer", raiseFromCallback, &state);
  ZrvRegisterEvent(state.handle, "", "inner", Recorder::onEvent, &state.inner);
  EXPECT_EQ(ZrvSimRaiseEvent(state.handle, "outer", "1"), 1);
  EXPECT_EQ(state.raised, 1);
  ASSERT_EQ(state.inner.size(), 1u);
  EXPECT_NE(state.inner.all()[0].thread, std::this_thread::get_id());
}

TEST_F(Events, DisconnectFromInsideCallbackDoesNotWaitForItself) {
  Reentrant state;
  state.handle = ZrvConnectApplication("viewer", "");
  ZrvRegisterEvent(state.handle, "", "outer", disconnectFromCallback, &state);
  ZrvRegisterEvent(state.handle, "x", "outer", Recorder::onEvent, &state.inner);
  // The first subscription disconnects; the second is not called any more.
  EXPECT_EQ(ZrvSimRaiseEvent(state.handle, "outer", "1"), 1);
  EXPECT_EQ(state.disconnected, 1);
  EXPECT_EQ(state.inner.size(), 0u);
}

TEST_F(Events, RaisersOnManyThreads) {
  ZrvSimSetEventThreadCount(3);
  constexpr int kApps = 4;
  Recorder recorders[kApps];
  ZrvApplicationHandle handles[kApps];
  for (int i = 0; i < kApps; ++i) {
    handles[i] = ZrvConnectApplication("app", "");
    ZrvRegisterEvent(handles[i], "", "e", Recorder::onEvent, &recorders[i]);
  }
  std::atomic<int> made{0};
  std::vector<std::thread> raisers;
  for (int t = 0; t < 4; ++t) {
    raisers.emplace_back([&, t] {
      for (int i = 0; i < 50; ++i) made += ZrvSimRaiseEvent(handles[(t + i) % kApps], "e", "1");
    });
  }
  for (auto& thread : raisers) thread.join();
  EXPECT_EQ(made.load(), 200);
  size_t total = 0;
  for (auto& recorder : recorders) total += recorder.size();
  EXPECT_EQ(total, 200u);
  EXPECT_EQ(ZrvSimEventCallbackCount(), 200);
}

}  // namespace
