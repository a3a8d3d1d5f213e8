// ZrvSimReset: back to the initial state, with the event threads stopped and joined.
#include <atomic>
#include <chrono>
#include <thread>

#include "simulator_test_support.h"

namespace {

using simtest::number;
using simtest::Recorder;

using Reset = simtest::SimulatorTest;

TEST_F(Reset, RestoresInitialState) {
  ZrvSimProgram p;
  ZrvSimDefaultProgram(&p);
  p.bridgeCrossStatus = 500;
  ZrvSimSetProgram(&p);
  ZrvApplicationHandle h = ZrvConnectApplication("a", "");
  ZrvConnectApplication("b", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "e", Recorder::onEvent, &recorder);
  ZrvSimRaiseEvent(h, "e", "1");
  ASSERT_EQ(ZrvSimEventCallbackCount(), 1);

  ZrvSimReset();

  EXPECT_EQ(ZrvSimCallCount(), 0u);
  EXPECT_EQ(ZrvSimEventCallbackCount(), 0);
  // Old handles are gone; numbering restarts at 1, without the old subscriptions.
  EXPECT_EQ(ZrvSimRaiseEvent(h, "e", "1"), 0);
  ZrvApplicationHandle again = ZrvConnectApplication("a", "");
  EXPECT_EQ(number(again), 1u);
  EXPECT_EQ(ZrvSimRaiseEvent(again, "e", "1"), 0);
  EXPECT_EQ(recorder.size(), 1u);
  // Default program.
  struct Answer {
    int status = 0;
  } answer;
  ZrvBridgeCross(
      again, "", "/u", "null", "null",
      [](int status, const char*, void* context) {
        static_cast<Answer*>(context)->status = status;
      },
      &answer);
  EXPECT_EQ(answer.status, 200);
}

TEST_F(Reset, LeavesDescriptionMode) {
  char error[128] = "";
  ASSERT_EQ(ZrvSimLoadDescriptionText("{\"applications\":{}}", "r", error, sizeof error), 1);
  EXPECT_EQ(ZrvConnectApplication("x", ""), nullptr);
  ZrvSimReset();
  EXPECT_NE(ZrvConnectApplication("x", ""), nullptr);
}

TEST_F(Reset, OneEventThreadAgain) {
  ZrvSimSetEventThreadCount(2);
  ZrvApplicationHandle a = ZrvConnectApplication("a", "");
  Recorder warmup;
  ZrvRegisterEvent(a, "", "e", Recorder::onEvent, &warmup);
  ZrvSimRaiseEvent(a, "e", "1");
  ZrvSimReset();
  a = ZrvConnectApplication("a", "");
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

TEST_F(Reset, DropsPendingEvents) {
  ZrvApplicationHandle h = ZrvConnectApplication("a", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "e", Recorder::onEvent, &recorder);
  for (int i = 0; i < 1000; ++i) ZrvSimPostEvent(h, "e", "1");
  ZrvSimReset();
  const size_t after = recorder.size();
  ZrvSimFlush();  // nothing left to wait for
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(recorder.size(), after);
  EXPECT_LE(after, 1000u);
}

TEST_F(Reset, StopsTimedEvents) {
  char error[256] = "";
  ASSERT_EQ(ZrvSimLoadDescriptionText(
                R"({"applications":{"v":{"events":[{"type":"t","intervalMs":1}]}}})", "r", error,
                sizeof error),
            1)
      << error;
  ZrvApplicationHandle h = ZrvConnectApplication("v", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "t", Recorder::onEvent, &recorder);
  ASSERT_TRUE(recorder.waitFor(3));
  ZrvSimReset();
  const size_t after = recorder.size();
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(recorder.size(), after);
}

// Reset called from inside an event callback on the event thread.
void resetFromCallback(const char*, const char*, void*) {
  ZrvSimReset();
}

TEST_F(Reset, FromInsideCallback) {
  ZrvApplicationHandle h = ZrvConnectApplication("a", "");
  ZrvRegisterEvent(h, "", "e", resetFromCallback, nullptr);
  Recorder later;
  ZrvRegisterEvent(h, "x", "e", Recorder::onEvent, &later);
  EXPECT_EQ(ZrvSimRaiseEvent(h, "e", "1"), 1);
  EXPECT_EQ(later.size(), 0u);
  EXPECT_EQ(ZrvSimCallCount(), 0u);
  // The simulator works on afterwards with new event threads.
  ZrvApplicationHandle again = ZrvConnectApplication("a", "");
  Recorder recorder;
  ZrvRegisterEvent(again, "", "e", Recorder::onEvent, &recorder);
  EXPECT_EQ(ZrvSimRaiseEvent(again, "e", "1"), 1);
}

TEST_F(Reset, ConcurrentWithRaisers) {
  ZrvSimSetEventThreadCount(2);
  std::atomic<bool> stop{false};
  std::thread raiser([&] {
    while (!stop.load()) {
      ZrvApplicationHandle h = ZrvConnectApplication("a", "");
      ZrvRegisterEvent(h, "", "e", Recorder::onEvent, Recorder::nullRecorder());
      ZrvSimPostEvent(h, "e", "1");
      ZrvSimRaiseEvent(h, "e", "1");
    }
  });
  for (int i = 0; i < 20; ++i) {
    ZrvSimReset();
    ZrvSimSetEventThreadCount(1 + i % 3);
  }
  stop = true;
  raiser.join();
  ZrvSimReset();
  EXPECT_EQ(ZrvSimCallCount(), 0u);
}

}  // namespace
