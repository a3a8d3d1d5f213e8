// Application events raised on the simulator's own threads and dispatched as "zarvoEvent", and
// the library's did-disconnect notices. Runs under ThreadSanitizer in CI.
#include <string>
#include <thread>
#include <vector>

#include "bridge_helper_stand_in.h"
#include "plugin_harness.h"

namespace restest {
namespace {

using Lines = std::vector<std::string>;

ZrvApplicationHandle handleOf(unsigned long number) {
  return reinterpret_cast<ZrvApplicationHandle>(number);
}

class EventDelivery : public ResourceTest {
 protected:
  void SetUp() override {
    ResourceTest::SetUp();
    connect("viewer");
    const Response r = event("post", R"({"name":"viewer","type":"progress"})");
    ASSERT_EQ(r.status, 200);
    ZrvSimClearLog();
  }

  // Raises `type` with `payload` on connection 1 and returns what the host received.
  std::vector<Event> raise(const char* payload, const char* type = "progress") {
    EXPECT_EQ(ZrvSimRaiseEvent(handleOf(1), type, payload), 1);
    return host().events();
  }

  static std::vector<std::string> texts(const std::vector<Event>& events) {
    std::vector<std::string> result;
    result.reserve(events.size());
    for (const Event& e : events) result.push_back(e.text);
    return result;
  }
};

TEST_F(EventDelivery, PayloadIsWrappedWithAppAndType) {
  const std::vector<Event> events = raise(R"({"percent": 50})");
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].name, "zarvoEvent");
  EXPECT_EQ(events[0].text, R"({"app":"viewer","data":{"percent":50},"type":"progress"})");
}

TEST_F(EventDelivery, EventsArriveOnTheLibrarysThread) {
  const std::vector<Event> events = raise("[]");
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].text, R"({"app":"viewer","data":[],"type":"progress"})");
  EXPECT_NE(events[0].thread, std::this_thread::get_id());
}

TEST_F(EventDelivery, TrailingTextAfterThePayloadIsIgnored) {
  EXPECT_EQ(texts(raise(R"({"a":1} and then some)")),
            Lines{R"({"app":"viewer","data":{"a":1},"type":"progress"})"});
}

TEST_F(EventDelivery, TrailingCommaIsAccepted) {
  EXPECT_EQ(texts(raise("[1,2,]")), Lines{R"({"app":"viewer","data":[1,2],"type":"progress"})"});
}

TEST_F(EventDelivery, TrailingCommaInsideANestedValueLetsTheParseGoOn) {
  // Without the trailing-comma option the parse would stop at the inner "]" and leave [[1]].
  EXPECT_EQ(texts(raise(R"([[1,],{"a":2,},3])")),
            Lines{R"({"app":"viewer","data":[[1],{"a":2},3],"type":"progress"})"});
}

TEST_F(EventDelivery, ByteOrderMarkIsSkipped) {
  EXPECT_EQ(texts(raise("\xEF\xBB\xBF\"x\"")),
            Lines{R"({"app":"viewer","data":"x","type":"progress"})"});
}

TEST_F(EventDelivery, UnparsableAndEmptyPayloadsStillDispatch) {
  raise("}");
  raise("");
  EXPECT_EQ(texts(host().events()), (Lines{R"({"app":"viewer","data":null,"type":"progress"})",
                                           R"({"app":"viewer","data":null,"type":"progress"})"}));
}

TEST_F(EventDelivery, StringsAreEscaped) {
  EXPECT_EQ(texts(raise(R"({"s":"a\"b\\c\nd\u0007"})")),
            Lines{R"({"app":"viewer","data":{"s":"a\"b\\c\nd\u0007"},"type":"progress"})"});
}

TEST_F(EventDelivery, TypeIsTheOneTheLibraryReported) {
  ASSERT_EQ(event("post", R"({"name":"viewer","type":"a \"quoted\" type"})").status, 200);
  EXPECT_EQ(texts(raise("1", "a \"quoted\" type")),
            Lines{R"({"app":"viewer","data":1,"type":"a \"quoted\" type"})"});
}

TEST_F(EventDelivery, NullContextDispatchesNothing) {
  EXPECT_EQ(ZrvSimRaiseEventWithNullContext(handleOf(1), "progress", "{}"), 1);
  EXPECT_EQ(BridgeHelperStandInEventCount(), 0);
  EXPECT_TRUE(host().events().empty());
}

TEST_F(EventDelivery, UnsubscribedTypeIsNoLongerDelivered) {
  ASSERT_EQ(event("delete", R"({"name":"viewer","type":"progress"})").status, 200);
  EXPECT_EQ(ZrvSimRaiseEvent(handleOf(1), "progress", "{}"), 0);
  EXPECT_TRUE(host().events().empty());
}

TEST_F(EventDelivery, TwoApplicationsRaisingTheSameTypeDifferInApp) {
  connect("a");  // handle 2
  connect("b");  // handle 3
  ASSERT_EQ(event("post", R"({"name":"a","type":"tick"})").status, 200);
  ASSERT_EQ(event("post", R"({"name":"b","type":"tick"})").status, 200);
  EXPECT_EQ(ZrvSimRaiseEvent(handleOf(2), "tick", "1"), 1);
  EXPECT_EQ(ZrvSimRaiseEvent(handleOf(3), "tick", "1"), 1);
  EXPECT_EQ(texts(host().events()), (Lines{R"({"app":"a","data":1,"type":"tick"})",
                                           R"({"app":"b","data":1,"type":"tick"})"}));
}

TEST_F(EventDelivery, HostThreadKeepsCallingWhileEventsArrive) {
  connect("other");  // handle 2, served by a second event thread
  ZrvSimSetEventThreadCount(2);
  ASSERT_EQ(event("post", R"({"name":"other","type":"progress"})").status, 200);
  program([](ZrvSimProgram& p) { p.bridgeCrossAnswer = R"({"ok":true})"; });
  const int kEvents = 200;
  for (int i = 0; i < kEvents; ++i) {
    const std::string payload = "{\"i\":" + std::to_string(i) + "}";
    ZrvSimPostEvent(handleOf(1), "progress", payload.c_str());
    ZrvSimPostEvent(handleOf(2), "progress", payload.c_str());
    const Response r = bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})");
    EXPECT_EQ(r.text, R"({"error":null,"value":{"data":{"ok":true},"statuscode":200}})");
    const Response e = event("post", R"({"name":"other","type":"unused"})");
    EXPECT_EQ(e.status, 200);
  }
  ZrvSimFlush();
  const std::vector<Event> events = host().events();
  ASSERT_EQ(events.size(), static_cast<size_t>(2 * kEvents));
  // Per application the events keep their order; every one came from a library thread.
  int nextViewer = 0;
  int nextOther = 0;
  for (const Event& e : events) {
    EXPECT_NE(e.thread, std::this_thread::get_id());
    if (e.text.rfind(R"({"app":"viewer")", 0) == 0) {
      EXPECT_EQ(e.text, "{\"app\":\"viewer\",\"data\":{\"i\":" + std::to_string(nextViewer++) +
                            "},\"type\":\"progress\"}");
    } else {
      EXPECT_EQ(e.text, "{\"app\":\"other\",\"data\":{\"i\":" + std::to_string(nextOther++) +
                            "},\"type\":\"progress\"}");
    }
  }
  EXPECT_EQ(nextViewer, kEvents);
  EXPECT_EQ(nextOther, kEvents);
}

TEST_F(EventDelivery, DisconnectStopsDeliveryBeforeTheObjectGoes) {
  for (int i = 0; i < 50; ++i) {
    ZrvSimPostEvent(handleOf(1), "progress", "{}");
  }
  // Closing the connection waits for a delivery in progress; nothing arrives afterwards.
  ASSERT_EQ(application("delete", R"({"name":"viewer"})").status, 200);
  const size_t delivered = host().events().size();
  ZrvSimFlush();
  EXPECT_EQ(host().events().size(), delivered);
  EXPECT_LE(delivered, 50u);
}

TEST_F(EventDelivery, DidDisconnectNoticeChangesNothing) {
  EXPECT_EQ(ZrvSimRaiseDidDisconnect(handleOf(1), 0), 1);
  // Still registered: a new connect is refused, requests and subscriptions still use handle 1.
  EXPECT_EQ(application("post", R"({"name":"viewer"})").text,
            errorText("Failed to connect application.", "InternalError"));
  EXPECT_EQ(bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})").status, 200);
  EXPECT_EQ(event("post", R"({"name":"viewer","type":"other"})").status, 200);
  EXPECT_EQ(texts(raise("2")), Lines{R"({"app":"viewer","data":2,"type":"progress"})"});
  EXPECT_EQ(application("delete", R"({"name":"viewer"})").status, 200);
  EXPECT_EQ(
      callLog(),
      (Lines{R"(ZrvBridgeCross(1, "", "/x", "null", "null", callback, context) -> 1 called back)",
             R"(ZrvRegisterEvent(1, "", "other", callback, context) -> 1)",
             "ZrvDisconnectApplication(1) -> 1"}));
  // Only now can the name be connected again.
  connect("viewer");
}

TEST_F(EventDelivery, DidDisconnectNoticeWithNullContextDoesNothing) {
  EXPECT_EQ(ZrvSimRaiseDidDisconnect(handleOf(1), 1), 1);
  EXPECT_EQ(texts(raise("3")), Lines{R"({"app":"viewer","data":3,"type":"progress"})"});
  EXPECT_EQ(application("post", R"({"name":"viewer"})").status, 500);
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(EventDelivery, TearDownClosesSubscribedConnections) {
  plugin().tearDown();
  EXPECT_EQ(callLog(), Lines{"ZrvDisconnectApplication(1) -> 1"});
  EXPECT_EQ(ZrvSimRaiseEvent(handleOf(1), "progress", "{}"), 0);
  EXPECT_TRUE(host().events().empty());
}

}  // namespace
}  // namespace restest
