// Timed events of description mode: raised on the event thread while subscribed, every interval,
// payloads in turn, `count` times. No test depends on how fast the machine is: waits are bounded
// generously, and "no more events" is checked after a pause that is many intervals long.
#include <chrono>
#include <string>
#include <thread>

#include "simulator_test_support.h"

namespace {

using simtest::Recorder;

class TimedEvents : public simtest::SimulatorTest {
 protected:
  void load(const std::string& events) {
    const std::string text =
        "{\"applications\":{\"viewer\":{\"events\":" + events + "},\"other\":{}}}";
    char error[256] = "";
    ASSERT_EQ(ZrvSimLoadDescriptionText(text.c_str(), "timed.json", error, sizeof error), 1)
        << error;
  }
  static void pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }
};

TEST_F(TimedEvents, CountedPayloadsInTurn) {
  load(R"([{"type":"progress","payloads":[{"percent":10},{"percent":20}],"intervalMs":5,
            "count":3}])");
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ASSERT_EQ(ZrvRegisterEvent(h, "", "progress", Recorder::onEvent, &recorder), 1);
  ASSERT_TRUE(recorder.waitFor(3));
  pause(100);  // twenty intervals: a fourth event would have come by now
  auto all = recorder.all();
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0].json, "{\"percent\":10}");
  EXPECT_EQ(all[1].json, "{\"percent\":20}");
  EXPECT_EQ(all[2].json, "{\"percent\":10}");
  for (const auto& received : all) {
    EXPECT_EQ(received.type, "progress");
    EXPECT_EQ(received.context, &recorder);
    EXPECT_NE(received.thread, std::this_thread::get_id());
  }
  EXPECT_EQ(ZrvSimEventCallbackCount(), 3);
}

TEST_F(TimedEvents, SinglePayloadAndDefaultNull) {
  load(R"([{"type":"a","payload":"x","intervalMs":1,"count":1},
           {"type":"b","intervalMs":1,"count":1}])");
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder ra;
  Recorder rb;
  ZrvRegisterEvent(h, "", "a", Recorder::onEvent, &ra);
  ZrvRegisterEvent(h, "", "b", Recorder::onEvent, &rb);
  ASSERT_TRUE(ra.waitFor(1));
  ASSERT_TRUE(rb.waitFor(1));
  EXPECT_EQ(ra.all()[0].json, "\"x\"");
  EXPECT_EQ(rb.all()[0].json, "null");
}

TEST_F(TimedEvents, OnlyForTheSubscribedType) {
  load(R"([{"type":"a","intervalMs":1,"count":2}])");
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "b", Recorder::onEvent, &recorder);
  pause(50);
  EXPECT_EQ(recorder.size(), 0u);
}

TEST_F(TimedEvents, NotForOtherApplications) {
  load(R"([{"type":"a","intervalMs":1,"count":2}])");
  ZrvApplicationHandle h = ZrvConnectApplication("other", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "a", Recorder::onEvent, &recorder);
  pause(50);
  EXPECT_EQ(recorder.size(), 0u);
}

TEST_F(TimedEvents, TwoSpecsOfOneType) {
  load(R"([{"type":"a","payload":1,"intervalMs":2,"count":2},
           {"type":"a","payload":2,"intervalMs":3,"count":1}])");
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "a", Recorder::onEvent, &recorder);
  ASSERT_TRUE(recorder.waitFor(3));
  pause(50);
  int ones = 0;
  int twos = 0;
  for (const auto& received : recorder.all()) {
    ones += received.json == "1";
    twos += received.json == "2";
  }
  EXPECT_EQ(ones, 2);
  EXPECT_EQ(twos, 1);
}

TEST_F(TimedEvents, EachSubscriptionHasItsOwnSchedule) {
  load(R"([{"type":"a","intervalMs":1,"count":2}])");
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder first;
  Recorder second;
  ZrvRegisterEvent(h, "one", "a", Recorder::onEvent, &first);
  ZrvRegisterEvent(h, "two", "a", Recorder::onEvent, &second);
  ASSERT_TRUE(first.waitFor(2));
  ASSERT_TRUE(second.waitFor(2));
  pause(50);
  EXPECT_EQ(first.size(), 2u);
  EXPECT_EQ(second.size(), 2u);
}

TEST_F(TimedEvents, UnboundedUntilUnsubscribed) {
  load(R"([{"type":"tick","intervalMs":2}])");
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "tick", Recorder::onEvent, &recorder);
  ASSERT_TRUE(recorder.waitFor(5));
  ASSERT_EQ(ZrvUnregisterEvent(h, "", "tick"), 1);
  const size_t after = recorder.size();  // unregister returned: nothing more may start
  pause(60);
  EXPECT_EQ(recorder.size(), after);
}

TEST_F(TimedEvents, StopsAtDisconnect) {
  load(R"([{"type":"tick","intervalMs":1}])");
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "tick", Recorder::onEvent, &recorder);
  ASSERT_TRUE(recorder.waitFor(3));
  ZrvDisconnectApplication(h);
  const size_t after = recorder.size();
  pause(50);
  EXPECT_EQ(recorder.size(), after);
}

TEST_F(TimedEvents, ReRegisteringRestartsTheCount) {
  load(R"([{"type":"a","intervalMs":1,"count":2}])");
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder first;
  Recorder second;
  ZrvRegisterEvent(h, "", "a", Recorder::onEvent, &first);
  ASSERT_TRUE(first.waitFor(2));
  ZrvRegisterEvent(h, "", "a", Recorder::onEvent, &second);
  ASSERT_TRUE(second.waitFor(2));
  pause(50);
  EXPECT_EQ(first.size(), 2u);
  EXPECT_EQ(second.size(), 2u);
}

TEST_F(TimedEvents, SurviveThreadCountChange) {
  load(R"([{"type":"a","intervalMs":20,"count":3}])");
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "a", Recorder::onEvent, &recorder);
  ZrvSimSetEventThreadCount(2);
  ASSERT_TRUE(recorder.waitFor(3));
  pause(100);
  EXPECT_EQ(recorder.size(), 3u);
}

TEST_F(TimedEvents, ManualRaiseAlsoWorks) {
  load(R"([{"type":"a","intervalMs":86400000}])");
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ZrvRegisterEvent(h, "", "a", Recorder::onEvent, &recorder);
  EXPECT_EQ(ZrvSimRaiseEvent(h, "a", "7"), 1);
  ASSERT_EQ(recorder.size(), 1u);
  EXPECT_EQ(recorder.all()[0].json, "7");
}

}  // namespace
