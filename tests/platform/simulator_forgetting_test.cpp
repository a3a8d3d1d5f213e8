// The simulator keeps no state for what is gone: a closed connection's record is dropped once no
// callback for it is running, and the timed events of a closed connection or of a dropped or
// replaced subscription leave the event threads at once, so connect/disconnect cycles keep the
// simulator's memory bounded by what is live.
#include <atomic>
#include <string>

#include "simulator_test_support.h"

namespace {

using simtest::Recorder;

using Forgetting = simtest::SimulatorTest;

TEST_F(Forgetting, OpenConnectionsAreCountedAndClosedOnesDropped) {
  EXPECT_EQ(ZrvSimConnectionRecordCount(), 0u);
  ZrvApplicationHandle a = ZrvConnectApplication("a", "");
  ZrvApplicationHandle b = ZrvConnectApplication("b", "");
  ZrvApplicationHandle c = ZrvConnectApplication("c", "");
  EXPECT_EQ(ZrvSimConnectionRecordCount(), 3u);
  ASSERT_EQ(ZrvDisconnectApplication(b), 1);
  EXPECT_EQ(ZrvSimConnectionRecordCount(), 2u);
  // A forgotten handle still answers as a closed one.
  EXPECT_EQ(ZrvDisconnectApplication(b), 0);
  Recorder recorder;
  EXPECT_EQ(ZrvRegisterEvent(b, "", "e", Recorder::onEvent, &recorder), 0);
  EXPECT_EQ(ZrvSimRaiseEvent(b, "e", "1"), 0);
  EXPECT_EQ(ZrvSimConnectionRecordCount(), 2u);
  ZrvDisconnectApplication(a);
  ZrvDisconnectApplication(c);
  EXPECT_EQ(ZrvSimConnectionRecordCount(), 0u);
}

TEST_F(Forgetting, RefusedConnectKeepsNothing) {
  ZrvSimProgram program;
  ZrvSimDefaultProgram(&program);
  program.connectFails = 1;
  ZrvSimSetProgram(&program);
  EXPECT_EQ(ZrvConnectApplication("a", ""), nullptr);
  EXPECT_EQ(ZrvSimConnectionRecordCount(), 0u);
}

TEST_F(Forgetting, ManyCyclesLeaveNoRecords) {
  ZrvSimSetEventThreadCount(2);
  Recorder recorder;
  size_t most = 0;
  constexpr int kCycles = 5000;
  for (int i = 0; i < kCycles; ++i) {
    ZrvApplicationHandle h = ZrvConnectApplication("a", "");
    ASSERT_NE(h, nullptr);
    ZrvSetApplicationDidDisconnectCallback(h, Recorder::onDidDisconnect, &recorder);
    ASSERT_EQ(ZrvRegisterEvent(h, "", "e", Recorder::onEvent, &recorder), 1);
    ASSERT_EQ(ZrvSimRaiseEvent(h, "e", "1"), 1);
    ZrvSimPostEvent(h, "e", "2");  // may still be queued when the connection closes
    const size_t now = ZrvSimConnectionRecordCount();
    if (now > most) most = now;
    ASSERT_EQ(ZrvDisconnectApplication(h), 1);
    ASSERT_EQ(ZrvSimConnectionRecordCount(), 0u) << "after cycle " << i;
  }
  ZrvSimFlush();
  EXPECT_EQ(most, 1u);
  // A queued event of a closed connection is dropped without bringing its record back.
  EXPECT_EQ(ZrvSimConnectionRecordCount(), 0u);
  EXPECT_GE(recorder.size(), static_cast<size_t>(kCycles));
  EXPECT_LE(recorder.size(), static_cast<size_t>(2 * kCycles));
}

struct SelfDisconnect {
  ZrvApplicationHandle handle = nullptr;
  int disconnected = -1;
  size_t recordsInside = 0;
};

void disconnectItself(const char*, const char*, void* context) {
  auto* state = static_cast<SelfDisconnect*>(context);
  state->disconnected = ZrvDisconnectApplication(state->handle);
  state->recordsInside = ZrvSimConnectionRecordCount();
}

TEST_F(Forgetting, DisconnectInsideACallbackDropsTheRecordWhenItReturns) {
  SelfDisconnect state;
  state.handle = ZrvConnectApplication("a", "");
  ASSERT_EQ(ZrvRegisterEvent(state.handle, "", "e", disconnectItself, &state), 1);
  ASSERT_EQ(ZrvSimRaiseEvent(state.handle, "e", "1"), 1);
  EXPECT_EQ(state.disconnected, 1);
  // Kept while its own callback was still running, gone once it returned.
  EXPECT_EQ(state.recordsInside, 1u);
  EXPECT_EQ(ZrvSimConnectionRecordCount(), 0u);
  EXPECT_EQ(ZrvSimRaiseEvent(state.handle, "e", "1"), 0);
}

class TimerForgetting : public simtest::SimulatorTest {
 protected:
  // One day between events: a timer that is not removed stays for the whole test.
  void SetUp() override {
    simtest::SimulatorTest::SetUp();
    char error[256] = "";
    ASSERT_EQ(ZrvSimLoadDescriptionText(
                  R"({"applications":{"viewer":{"events":[
                       {"type":"slow","intervalMs":86400000},
                       {"type":"slow","intervalMs":86400000,"count":1}]}}})",
                  "slow.json", error, sizeof error),
              1)
        << error;
  }
};

TEST_F(TimerForgetting, DisconnectDropsTheConnectionsTimers) {
  Recorder recorder;
  for (int i = 0; i < 1000; ++i) {
    ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
    ASSERT_NE(h, nullptr);
    ASSERT_EQ(ZrvRegisterEvent(h, "", "slow", Recorder::onEvent, &recorder), 1);
    ASSERT_EQ(ZrvRegisterEvent(h, "t", "slow", Recorder::onEvent, &recorder), 1);
    ASSERT_EQ(ZrvSimTimerCount(), 4u);
    ASSERT_EQ(ZrvDisconnectApplication(h), 1);
    ASSERT_EQ(ZrvSimTimerCount(), 0u) << "after cycle " << i;
  }
  EXPECT_EQ(ZrvSimConnectionRecordCount(), 0u);
  EXPECT_EQ(recorder.size(), 0u);
}

TEST_F(TimerForgetting, UnregisterAndReplacementDropTheOldTimers) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  ZrvApplicationHandle other = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ASSERT_EQ(ZrvRegisterEvent(other, "", "slow", Recorder::onEvent, &recorder), 1);
  ASSERT_EQ(ZrvSimTimerCount(), 2u);
  for (int i = 0; i < 1000; ++i) {
    // The same key again replaces the subscription and restarts its schedule.
    ASSERT_EQ(ZrvRegisterEvent(h, "", "slow", Recorder::onEvent, &recorder), 1);
    ASSERT_EQ(ZrvSimTimerCount(), 4u) << "after replacement " << i;
  }
  ASSERT_EQ(ZrvUnregisterEvent(h, "", "slow"), 1);
  EXPECT_EQ(ZrvSimTimerCount(), 2u);  // the other connection's are untouched
  // Timers move with the threads when their number changes, and none is lost or doubled.
  ZrvSimSetEventThreadCount(3);
  EXPECT_EQ(ZrvSimTimerCount(), 2u);
  ZrvDisconnectApplication(other);
  EXPECT_EQ(ZrvSimTimerCount(), 0u);
  ZrvDisconnectApplication(h);
  EXPECT_EQ(ZrvSimConnectionRecordCount(), 0u);
}

TEST_F(TimerForgetting, ResetDropsEverything) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ASSERT_EQ(ZrvRegisterEvent(h, "", "slow", Recorder::onEvent, &recorder), 1);
  ASSERT_EQ(ZrvSimTimerCount(), 2u);
  ASSERT_EQ(ZrvSimConnectionRecordCount(), 1u);
  ZrvSimReset();
  EXPECT_EQ(ZrvSimTimerCount(), 0u);
  EXPECT_EQ(ZrvSimConnectionRecordCount(), 0u);
}

}  // namespace
