// `zarvo_host serve`: events over the WebSocket and the instance id over both transports.
// Delivery from now or after an id, gaps, stop, a slow page that falls behind without growing
// the server, twenty sockets that each get every event, texts repaired to UTF-8, and a restart
// seen by its new instance id (the server side of what a page's transport does on reconnect).
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/sanitizer_build.h"
#include "host_core/json_text.h"
#include "serve_test_support.h"
#include "socket_client.h"

namespace {

using zarvo_tests::kThreadSanitizer;

using serve_test::callMessage;
using serve_test::HttpClient;
using serve_test::resourceBody;
using serve_test::ServeProcess;
using serve_test::SocketClient;
using serve_test::SseClient;
using serve_test::SseEvent;

std::string tick(int n) {
  return "{\"app\":\"viewer\",\"data\":{\"n\":" + std::to_string(n) + "},\"type\":\"tick\"}";
}

class ServeSocketEvents : public ::testing::Test {
 protected:
  explicit ServeSocketEvents(const std::vector<std::string>& args = {},
                             const std::map<std::string, std::string>& env = {})
      : server_(args, env), client_(server_.port()) {}
  void SetUp() override { ASSERT_TRUE(serve_test::subscribeViewerToTicks(client_)); }
  int bridge(const std::string& resource, const std::string& parameters) {
    auto result = client_.post("/bridge/" + resource, resourceBody("post", parameters));
    return result ? result->status : -1;
  }
  void raiseTicks(int first, int count) {
    ASSERT_TRUE(serve_test::raiseTicks(client_, first, count));
  }
  // A socket past its hello, streaming after `after` ("" for from now); checks the confirmation.
  std::unique_ptr<SocketClient> streamingSocket(const std::string& after, uint64_t expected) {
    auto socket = std::make_unique<SocketClient>(server_.port());
    EXPECT_EQ(socket->readHello().size(), 16u);
    socket->send(after.empty() ? "{\"op\":\"events\"}"
                               : "{\"op\":\"events\",\"after\":" + after + "}");
    std::string text;
    EXPECT_TRUE(socket->receive(&text));
    EXPECT_EQ(text, "{\"op\":\"streaming\",\"after\":" + std::to_string(expected) + "}");
    return socket;
  }
  // Reads events messages until `count` events arrived; their ids must follow `first`.
  static std::vector<std::string> receiveEvents(SocketClient& socket, uint64_t first,
                                                size_t count) {
    std::vector<std::string> texts;
    while (texts.size() < count) {
      const pocketjson::Value message = socket.receiveJson();
      EXPECT_EQ(message.get("op").asString(), "events");
      if (message.get("op").asString() != "events") break;
      EXPECT_EQ(static_cast<uint64_t>(message.get("first").asInteger()), first + texts.size());
      for (const auto& text : message.get("texts").asArray()) texts.push_back(text.asString());
    }
    return texts;
  }

  ServeProcess server_;
  HttpClient client_;
};

TEST_F(ServeSocketEvents, FromNowEveryEventAfterTheConfirmation) {
  raiseTicks(1, 2);
  auto socket = streamingSocket("", 2);
  raiseTicks(3, 2);
  // The exact message; the two events come as one batch or as two.
  std::string text;
  ASSERT_TRUE(socket->receive(&text));
  const std::string three =
      "{\"op\":\"events\",\"first\":3,\"texts\":[" + host_core::quoteJson(tick(3));
  if (text == three + "]}") {
    EXPECT_EQ(receiveEvents(*socket, 4, 1), std::vector<std::string>{tick(4)});
  } else {
    EXPECT_EQ(text, three + "," + host_core::quoteJson(tick(4)) + "]}");
  }
}

TEST_F(ServeSocketEvents, AfterAnIdReplaysWhatCameAfterIt) {
  raiseTicks(1, 5);
  auto socket = streamingSocket("2", 2);
  EXPECT_EQ(receiveEvents(*socket, 3, 3), (std::vector<std::string>{tick(3), tick(4), tick(5)}));
  // Moving the position: from 0 again.
  socket->send("{\"op\":\"events\",\"after\":0}");
  EXPECT_EQ(socket->receiveOp("streaming").get("after").asInteger(), 0);
  EXPECT_EQ(receiveEvents(*socket, 1, 5).size(), 5u);
  // An id in the future means from now.
  auto future = streamingSocket("99999", 5);
  raiseTicks(6, 1);
  EXPECT_EQ(receiveEvents(*future, 6, 1), std::vector<std::string>{tick(6)});
}

TEST_F(ServeSocketEvents, StopEndsDelivery) {
  auto socket = streamingSocket("", 0);
  raiseTicks(1, 1);
  EXPECT_EQ(receiveEvents(*socket, 1, 1).size(), 1u);
  socket->send("{\"op\":\"stop\"}");
  // A call's answer after the stop proves the stop was read; no event follows it.
  socket->send(callMessage("1", "ZarvoApplicationEvent", "post", "{\"name\":\"viewer\"}"));
  socket->receiveOp("answer");
  raiseTicks(2, 3);
  socket->send(callMessage("2", "ZarvoApplicationEvent", "post", "{\"name\":\"viewer\"}"));
  const pocketjson::Value next = socket->receiveJson();
  EXPECT_EQ(next.get("op").asString(), "answer");
  EXPECT_EQ(next.get("id").asInteger(), 2);
}

class ServeSocketSmallBuffer : public ServeSocketEvents {
 protected:
  // Each tick costs 45 + 64 bytes: the buffer holds two of them.
  ServeSocketSmallBuffer() : ServeSocketEvents({"--event-buffer", "300"}) {}
};

TEST_F(ServeSocketSmallBuffer, WhatIsNoLongerHeldIsAGapBeforeTheEventsThatFollow) {
  raiseTicks(1, 5);
  auto socket = streamingSocket("0", 0);
  std::string gap;
  ASSERT_TRUE(socket->receive(&gap));
  EXPECT_EQ(gap, "{\"op\":\"gap\",\"first\":1,\"last\":3,\"lost\":3}");
  EXPECT_EQ(receiveEvents(*socket, 4, 2), (std::vector<std::string>{tick(4), tick(5)}));
}

class ServeSocketSlowPage : public ServeSocketEvents {
 protected:
  static constexpr size_t kBuffer = 65536;
  // Under AddressSanitizer freed memory is held back (quarantined) to catch late uses, which
  // would count here as memory the server holds; this test measures what the server keeps.
  ServeSocketSlowPage()
      : ServeSocketEvents({"--event-buffer", std::to_string(kBuffer)},
                          {{"ASAN_OPTIONS", asanOptions() + ":quarantine_size_mb=0"}}) {}
  static std::string asanOptions() {
    const char* options = std::getenv("ASAN_OPTIONS");
    return options != nullptr ? options : "";
  }
};

TEST_F(ServeSocketSlowPage, APageThatStopsReadingGetsAGapAndTheServerStaysSmall) {
  auto socket =
      std::make_unique<SocketClient>(server_.port(), SocketClient::Headers{}, "/socket", 4096);
  ASSERT_EQ(socket->readHello().size(), 16u);
  socket->send("{\"op\":\"events\"}");
  ASSERT_EQ(socket->receiveJson().get("op").asString(), "streaming");
  // About 40 MB of events while the page reads nothing: far more than the socket buffers hold.
  // They are raised 100 at a time, so the application library never queues more than 200 KB.
  const std::string payload(2000, 'p');
  const int count = 20000;
  const long before = serve_test::residentKiB(server_.pid());
  for (int raised = 0; raised < count; raised += 100) {
    auto result = client_.post(
        "/simulator/raise", "{\"app\":\"viewer\",\"type\":\"tick\",\"payload\":\"\\\"" + payload +
                                "\\\"\",\"count\":100}");
    ASSERT_TRUE(result);
    ASSERT_EQ(result->status, 200);
  }
  // The server holds the bounded buffer and one batch, not the 40 MB (a generous margin for the
  // allocator and AddressSanitizer's bookkeeping). Under ThreadSanitizer the shadow of every
  // byte the server touched counts as resident too, so the figure is printed but not bounded.
  const long grown = serve_test::residentKiB(server_.pid()) - before;
  std::printf("server memory grew by %ld KiB while the page read nothing\n", grown);
  if (!kThreadSanitizer) {
    EXPECT_LT(grown, 16 * 1024);
  }
  const std::string text = "{\"app\":\"viewer\",\"data\":\"" + payload + "\",\"type\":\"tick\"}";
  uint64_t expected = 1;
  int gaps = 0;
  while (expected <= static_cast<uint64_t>(count)) {
    const pocketjson::Value message = socket->receiveJson();
    const std::string op = message.get("op").asString();
    ASSERT_TRUE(op == "gap" || op == "events") << op;
    if (op == "gap") {
      ASSERT_EQ(static_cast<uint64_t>(message.get("first").asInteger()), expected);
      const auto last = static_cast<uint64_t>(message.get("last").asInteger());
      ASSERT_EQ(static_cast<uint64_t>(message.get("lost").asInteger()), last - expected + 1);
      expected = last + 1;
      ++gaps;
      continue;
    }
    ASSERT_EQ(static_cast<uint64_t>(message.get("first").asInteger()), expected);
    for (const auto& event : message.get("texts").asArray()) {
      ASSERT_EQ(event.asString(), text);
      ++expected;
    }
  }
  EXPECT_GE(gaps, 1);
}

TEST_F(ServeSocketEvents, TwentySocketsEachGetEveryEventWhileCallsAreAnswered) {
  std::vector<std::unique_ptr<SocketClient>> sockets;
  for (int i = 0; i < 20; ++i) sockets.push_back(streamingSocket("", 0));
  auto raised = client_.post("/simulator/raise",
                             "{\"app\":\"viewer\",\"type\":\"tick\",\"payload\":\"{\\\"n\\\":1}\","
                             "\"count\":2000}");
  ASSERT_TRUE(raised);
  for (auto& socket : sockets) {
    socket->send(callMessage("\"c\"", "ZarvoApplicationEvent", "post", "{\"name\":\"viewer\"}"));
  }
  for (auto& socket : sockets) {
    uint64_t next = 1;
    bool answered = false;
    while (next <= 2000 || !answered) {
      const pocketjson::Value message = socket->receiveJson();
      const std::string op = message.get("op").asString();
      if (op == "answer") {
        answered = true;
        continue;
      }
      ASSERT_EQ(op, "events");
      ASSERT_EQ(static_cast<uint64_t>(message.get("first").asInteger()), next);
      next += message.get("texts").asArray().size();
    }
    EXPECT_EQ(next, 2001u);
  }
}

TEST_F(ServeSocketEvents, TextsThatAreNotUtf8AreRepairedOnTheSocketButNotOverHttp) {
  auto socket = streamingSocket("", 0);
  SseClient stream(server_.port());
  ASSERT_EQ(stream.head().status, 200);
  SseEvent opening;
  ASSERT_TRUE(stream.next(&opening));
  ASSERT_TRUE(stream.next(&opening));  // the hello
  // The payload's string holds the bytes FF and C3 (a cut two-byte sequence) unescaped.
  auto raised = client_.post("/simulator/raise",
                             "{\"app\":\"viewer\",\"type\":\"tick\",\"payload\":\"\\\"a\xff"
                             "b\xc3\\\"\"}");
  ASSERT_TRUE(raised);
  ASSERT_EQ(raised->status, 200);
  EXPECT_EQ(receiveEvents(*socket, 1, 1),
            std::vector<std::string>{"{\"app\":\"viewer\",\"data\":\"a\xEF\xBF\xBD"
                                     "b\xEF\xBF\xBD\",\"type\":\"tick\"}"});
  SseEvent event;
  ASSERT_TRUE(stream.next(&event));
  EXPECT_EQ(event.data,
            "{\"app\":\"viewer\",\"data\":\"a\xff"
            "b\xc3\",\"type\":\"tick\"}");
}

TEST(ServeInstance, ARestartedHostHasAnotherInstanceAndItsEventsStartAtOne) {
  std::string first;
  {
    ServeProcess server;
    SocketClient socket(server.port());
    first = socket.readHello();
    ASSERT_EQ(first.size(), 16u);
    EXPECT_EQ(server.stop(SIGTERM), 0);
  }
  ServeProcess server;
  HttpClient client(server.port());
  ASSERT_TRUE(serve_test::subscribeViewerToTicks(client));
  ASSERT_TRUE(serve_test::raiseTicks(client, 1, 1));
  // The page's transport sees another instance and asks for everything of the new one.
  SocketClient socket(server.port());
  const std::string second = socket.readHello();
  EXPECT_NE(second, first);
  socket.send("{\"op\":\"events\",\"after\":0}");
  EXPECT_EQ(socket.receiveJson().get("after").asInteger(), 0);
  const pocketjson::Value events = socket.receiveJson();
  EXPECT_EQ(events.get("first").asInteger(), 1);
  ASSERT_EQ(events.get("texts").asArray().size(), 1u);
  EXPECT_EQ(events.get("texts").asArray()[0].asString(), tick(1));
}

TEST_F(ServeSocketSmallBuffer, AnHttpStreamOfAnotherInstanceStartsAtTheFirstEventHeld) {
  raiseTicks(1, 5);
  // Another instance's id: this host's first events are all new to the reader, whatever id it
  // names; those no longer held are a gap.
  SseClient other(server_.port(), "/events?instance=0000000000000000&lastEventId=4");
  ASSERT_EQ(other.head().status, 200);
  const std::string instance = other.head().get_header_value("zarvo-instance");
  SseEvent event;
  ASSERT_TRUE(other.next(&event));  // retry
  ASSERT_TRUE(other.next(&event));
  EXPECT_EQ(event.event, "zarvoHello");
  EXPECT_EQ(event.data, "{\"instance\":\"" + instance + "\"}");
  ASSERT_TRUE(other.next(&event));
  EXPECT_EQ(event.event, "zarvoGap");
  EXPECT_EQ(event.data, "{\"first\":1,\"last\":3,\"lost\":3}");
  ASSERT_TRUE(other.next(&event));
  EXPECT_EQ(event.id, "4");
  // This instance's id: after the id given.
  SseClient same(server_.port(), "/events?instance=" + instance + "&lastEventId=4");
  ASSERT_TRUE(same.next(&event));
  ASSERT_TRUE(same.next(&event));
  ASSERT_TRUE(same.next(&event));
  EXPECT_EQ(event.id, "5");
  EXPECT_EQ(event.data, tick(5));
}

}  // namespace
