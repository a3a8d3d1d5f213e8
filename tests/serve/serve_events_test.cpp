// `zarvo_host serve`: the event stream. Events raised through the simulator reach GET /events in
// order with ids from 1, replay after Last-Event-ID (header or query), gaps after reconnecting
// too late and for a reader that stopped reading, and the limit on open streams.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "serve_test_support.h"

namespace {

using serve_test::resourceBody;
using serve_test::ServeProcess;
using serve_test::SseClient;
using serve_test::SseEvent;

// The dispatched text for a "tick" event of viewer with payload {"n":N}.
std::string tick(int n) {
  return "{\"app\":\"viewer\",\"data\":{\"n\":" + std::to_string(n) + "},\"type\":\"tick\"}";
}

class ServeEvents : public ::testing::Test {
 protected:
  explicit ServeEvents(const std::vector<std::string>& args = {})
      : server_(args), client_(server_.port()) {}

  void SetUp() override { ASSERT_TRUE(serve_test::subscribeViewerToTicks(client_)); }
  int bridge(const std::string& resource, const std::string& parameters) {
    auto result = client_.post(("/bridge/" + resource).c_str(), resourceBody("post", parameters),
                               "application/json");
    return result ? result->status : -1;
  }
  // Raises tick events with payloads {"n":first} .. {"n":first+count-1}, one request each.
  void raiseTicks(int first, int count) {
    ASSERT_TRUE(serve_test::raiseTicks(client_, first, count));
  }
  // The stream's header, "retry: 1000", and the hello naming the instance; returns the instance.
  static std::string expectOpening(SseClient& stream) {
    EXPECT_EQ(stream.head().status, 200);
    if (stream.head().status != 200) return "";
    EXPECT_EQ(stream.head().get_header_value("content-type"), "text/event-stream");
    EXPECT_EQ(stream.head().get_header_value("cache-control"), "no-store");
    SseEvent opening;
    EXPECT_TRUE(stream.next(&opening));
    EXPECT_EQ(opening.retry, "1000");
    SseEvent hello;
    EXPECT_TRUE(stream.next(&hello));
    EXPECT_EQ(hello.event, "zarvoHello");
    EXPECT_EQ(hello.id, "");
    const std::string instance = stream.head().get_header_value("zarvo-instance");
    EXPECT_EQ(instance.size(), 16u);
    EXPECT_EQ(hello.data, "{\"instance\":\"" + instance + "\"}");
    return instance;
  }
  static void expectTick(SseClient& stream, int id, int n) {
    SseEvent event;
    ASSERT_TRUE(stream.next(&event));
    EXPECT_EQ(event.id, std::to_string(id));
    EXPECT_EQ(event.event, "zarvoEvent");
    EXPECT_EQ(event.data, tick(n));
  }

  ServeProcess server_;
  serve_test::HttpClient client_;
};

TEST_F(ServeEvents, RaisedEventsArriveInOrderWithIdsFromOne) {
  SseClient stream(server_.port());
  expectOpening(stream);
  raiseTicks(1, 3);
  for (int i = 1; i <= 3; ++i) expectTick(stream, i, i);
  // The whole block, byte for byte.
  auto raised =
      client_.post("/simulator/raise",
                   "{\"app\":\"viewer\",\"type\":\"tick\",\"payload\":\"[1,2,]\",\"count\":2}",
                   "application/json");
  ASSERT_TRUE(raised);
  EXPECT_EQ(raised->body, "{\"raised\":2}");
  SseEvent event;
  ASSERT_TRUE(stream.next(&event));
  EXPECT_EQ(event.id, "4");
  EXPECT_EQ(event.data, "{\"app\":\"viewer\",\"data\":[1,2],\"type\":\"tick\"}");
  ASSERT_TRUE(stream.next(&event));
  EXPECT_EQ(event.id, "5");
}

TEST_F(ServeEvents, AStreamStartsFromTheMomentItWasAccepted) {
  raiseTicks(1, 2);
  SseClient stream(server_.port());
  expectOpening(stream);
  raiseTicks(3, 1);
  expectTick(stream, 3, 3);
}

TEST_F(ServeEvents, LastEventIdReplaysWhatCameAfterIt) {
  raiseTicks(1, 5);
  SseClient header(server_.port(), "/events", "Last-Event-ID: 2\r\n");
  expectOpening(header);
  for (int i = 3; i <= 5; ++i) expectTick(header, i, i);

  SseClient query(server_.port(), "/events?lastEventId=3");
  expectOpening(query);
  for (int i = 4; i <= 5; ++i) expectTick(query, i, i);

  // The header wins over the query; zero replays everything.
  SseClient both(server_.port(), "/events?lastEventId=4", "Last-Event-ID: 0\r\n");
  expectOpening(both);
  for (int i = 1; i <= 5; ++i) expectTick(both, i, i);

  // Beyond the newest number (a restarted server): from now on.
  SseClient beyond(server_.port(), "/events", "Last-Event-ID: 99999999999999999999999\r\n");
  expectOpening(beyond);
  raiseTicks(6, 1);
  expectTick(beyond, 6, 6);
  expectTick(header, 6, 6);
}

class ServeSmallRing : public ServeEvents {
 protected:
  // Each tick costs 45 + 64 bytes: the ring holds two of them.
  ServeSmallRing() : ServeEvents({"--event-buffer", "300"}) {}
};

TEST_F(ServeSmallRing, ReconnectingTooLateGetsAGapThenTheOldestHeld) {
  ASSERT_EQ(tick(1).size(), 45u);
  raiseTicks(1, 5);
  SseClient stream(server_.port(), "/events", "Last-Event-ID: 0\r\n");
  expectOpening(stream);
  SseEvent gap;
  ASSERT_TRUE(stream.next(&gap));
  EXPECT_EQ(gap.id, "3");
  EXPECT_EQ(gap.event, "zarvoGap");
  EXPECT_EQ(gap.data, "{\"first\":1,\"last\":3,\"lost\":3}");
  expectTick(stream, 4, 4);
  expectTick(stream, 5, 5);
  // Reconnecting with the gap's id continues without a gap.
  SseClient again(server_.port(), "/events", "Last-Event-ID: 3\r\n");
  expectOpening(again);
  expectTick(again, 4, 4);
}

TEST_F(ServeSmallRing, TheNewestEventIsKeptEvenWhenItAloneIsLarger) {
  const std::string big(400, 'x');
  auto raised =
      client_.post("/simulator/raise",
                   "{\"app\":\"viewer\",\"type\":\"tick\",\"payload\":\"\\\"" + big + "\\\"\"}",
                   "application/json");
  ASSERT_TRUE(raised);
  SseClient stream(server_.port(), "/events", "Last-Event-ID: 0\r\n");
  expectOpening(stream);
  SseEvent event;
  ASSERT_TRUE(stream.next(&event));
  EXPECT_EQ(event.id, "1");
  EXPECT_EQ(event.data, "{\"app\":\"viewer\",\"data\":\"" + big + "\",\"type\":\"tick\"}");
}

class ServeSlowReader : public ServeEvents {
 protected:
  static constexpr size_t kRing = 65536;
  ServeSlowReader() : ServeEvents({"--event-buffer", std::to_string(kRing)}) {}
};

TEST_F(ServeSlowReader, AReaderThatStopsGetsAGapAndContinuesWithinTheRing) {
  SseClient stream(server_.port(), "/events", "", 4096);
  expectOpening(stream);
  // About 10 MB of events while the reader does not read: more than the kernel's socket buffers
  // can absorb (the sender's grows to 4 MB by default), so the writer must fall behind the ring.
  const std::string payload(2000, 'p');
  const int count = 5000;
  auto raised = client_.post("/simulator/raise",
                             "{\"app\":\"viewer\",\"type\":\"tick\",\"payload\":\"\\\"" + payload +
                                 "\\\"\",\"count\":" + std::to_string(count) + "}",
                             "application/json");
  ASSERT_TRUE(raised);
  ASSERT_EQ(raised->status, 200);
  const std::string text = "{\"app\":\"viewer\",\"data\":\"" + payload + "\",\"type\":\"tick\"}";

  uint64_t expected = 1;  // the next sequence number this reader must account for
  int gaps = 0;
  while (expected <= static_cast<uint64_t>(count)) {
    SseEvent event;
    ASSERT_TRUE(stream.next(&event)) << "stream ended before event " << expected;
    if (event.event == "zarvoGap") {
      const std::string first = "{\"first\":" + std::to_string(expected) + ",";
      ASSERT_EQ(event.data.rfind(first, 0), 0u) << event.data;
      const uint64_t last = std::stoull(event.id);
      EXPECT_EQ(event.data, first + "\"last\":" + event.id +
                                ",\"lost\":" + std::to_string(last - expected + 1) + "}");
      expected = last + 1;
      ++gaps;
      continue;
    }
    ASSERT_EQ(event.event, "zarvoEvent");
    ASSERT_EQ(event.id, std::to_string(expected));
    ASSERT_EQ(event.data, text);
    ++expected;
  }
  EXPECT_GE(gaps, 1);
  // What the server still holds is the ring, and the ring is full to its budget and no more: a
  // new stream asking for everything gets one gap and then exactly the ring's events.
  SseClient replay(server_.port(), "/events", "Last-Event-ID: 0\r\n");
  expectOpening(replay);
  SseEvent gap;
  ASSERT_TRUE(replay.next(&gap));
  ASSERT_EQ(gap.event, "zarvoGap");
  const uint64_t held = static_cast<uint64_t>(count) - std::stoull(gap.id);
  for (uint64_t seq = std::stoull(gap.id) + 1; seq <= static_cast<uint64_t>(count); ++seq) {
    SseEvent event;
    ASSERT_TRUE(replay.next(&event));
    ASSERT_EQ(event.id, std::to_string(seq));
  }
  EXPECT_LE(held * (text.size() + 64), kRing);
  EXPECT_GT((held + 1) * (text.size() + 64), kRing);
  // And the stream goes on.
  raiseTicks(7, 1);
  expectTick(stream, count + 1, 7);
}

class ServeFewStreams : public ServeEvents {
 protected:
  ServeFewStreams() : ServeEvents({"--max-streams", "4"}) {}
};

TEST_F(ServeFewStreams, AtMostMaxStreamsAtOnceAndAPlaceIsFreeAsSoonAsItsReaderLeaves) {
  std::vector<std::unique_ptr<SseClient>> streams;
  for (int i = 0; i < 4; ++i) {
    streams.push_back(std::make_unique<SseClient>(server_.port()));
    expectOpening(*streams.back());
  }
  SseClient refused(server_.port());
  EXPECT_EQ(refused.head().status, 503);
  EXPECT_EQ(refused.head().body,
            "{\"error\":{\"message\":\"too many event streams (at most 4)\",\"name\":"
            "\"Unavailable\"}}");
  // Calls are still served while every stream place is taken.
  ASSERT_EQ(bridge("ZarvoApplication", "{\"name\":\"printer\"}"), 200);
  // A reader that leaves frees its place without any event or keep-alive being written: the
  // server sees the close at once (the test allows it a generous moment, well below the 15 s
  // between keep-alives).
  streams.pop_back();
  bool admitted = false;
  for (int attempt = 0; attempt < 100 && !admitted; ++attempt) {
    SseClient another(server_.port());
    admitted = another.head().status == 200;
    if (!admitted) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_TRUE(admitted);
  raiseTicks(1, 1);
  for (auto& stream : streams) expectTick(*stream, 1, 1);
}

}  // namespace
