// `zarvo_host serve` and the connections it keeps: requests another site's page makes
// (Sec-Fetch-Site), idle and slow connections that must not hold anybody else up, a stream
// place freed the moment its reader leaves, the caps on connections and streams, and a
// shutdown bounded whatever the clients do.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "serve_test_support.h"
#include "socket_client.h"

namespace {

using serve_test::connectionEnds;
using serve_test::connectTo;
using serve_test::HttpClient;
using serve_test::rawExchange;
using serve_test::RawResponse;
using serve_test::readResponse;
using serve_test::resourceBody;
using serve_test::sendAll;
using serve_test::ServeProcess;
using serve_test::SocketClient;
using serve_test::SseClient;

std::string forbiddenSite(const std::string& site) {
  return "{\"error\":{\"message\":\"Sec-Fetch-Site '" + site +
         "' is not allowed: only this server's own pages may call it\",\"name\":\"Forbidden\"}}";
}

TEST(ServeFetchSite, RequestsFromAnotherSiteAreRefusedOnEveryEndpoint) {
  ServeProcess server;
  HttpClient client(server.port());
  const std::string host = "Host: " + server.host() + "\r\n";
  const std::string call = resourceBody("post", "{\"name\":\"viewer\"}");
  const std::string raise = "{\"app\":\"viewer\",\"type\":\"tick\"}";
  const auto post = [&](const std::string& path, const std::string& body) {
    return "POST " + path + " HTTP/1.1\r\n" + host + "Content-Type: text/plain\r\n" +
           "Content-Length: " + std::to_string(body.size()) + "\r\n";
  };
  const std::string get = " HTTP/1.1\r\n" + host;
  const struct {
    std::string head;
    std::string body;
  } requests[] = {
      {post("/bridge/ZarvoApplication", call), call},
      {post("/teardown", ""), ""},
      {post("/simulator/raise", raise), raise},
      {"GET /simulator/log" + get, ""},
      {"GET /" + get, ""},
  };
  for (const std::string site : {"cross-site", "same-site"}) {
    for (const auto& request : requests) {
      SCOPED_TRACE(site + ": " + request.head.substr(0, 30));
      // A no-cors request of another site carries no Origin; Sec-Fetch-Site still names it.
      const RawResponse refused = rawExchange(
          server.port(), request.head + "Sec-Fetch-Site: " + site + "\r\n\r\n" + request.body);
      EXPECT_EQ(refused.status, 403);
      EXPECT_EQ(refused.body, forbiddenSite(site));
    }
    SseClient stream(server.port(), "/events", "Sec-Fetch-Site: " + site + "\r\n");
    EXPECT_EQ(stream.head().status, 403);
    EXPECT_EQ(stream.head().body, forbiddenSite(site));
    SocketClient socket(server.port(), {{"Sec-Fetch-Site", site}});
    EXPECT_FALSE(socket.open());
    EXPECT_EQ(socket.refusedStatus(), 403);
    EXPECT_EQ(socket.refusedBody(), forbiddenSite(site));
  }
  auto log = client.get("/simulator/log");
  ASSERT_TRUE(log);
  EXPECT_EQ(log->body, "{\"calls\":[],\"next\":0}");
  // The server's own pages and the address bar pass.
  for (const std::string site : {"same-origin", "none"}) {
    auto passed = client.get("/simulator/log", {{"Sec-Fetch-Site", site}});
    ASSERT_TRUE(passed);
    EXPECT_EQ(passed->status, 200);
  }
  SocketClient own(server.port(),
                   {{"Sec-Fetch-Site", "same-origin"}, {"Origin", "http://" + server.host()}});
  EXPECT_TRUE(own.open());
}

TEST(ServeFetchSite, AnotherSitesStreamsTakeNoStreamPlace) {
  ServeProcess server;
  // Far more refused streams than there are places; none of them holds one.
  for (int i = 0; i < 100; ++i) {
    SseClient refused(server.port(), "/events", "Sec-Fetch-Site: cross-site\r\n");
    ASSERT_EQ(refused.head().status, 403);
  }
  SseClient own(server.port());
  EXPECT_EQ(own.head().status, 200);
}

TEST(ServeIdleAndSlow, IdleSocketsAndSlowClientsHoldNobodyUp) {
  ServeProcess server;
  std::vector<int> sockets;
  // 200 connections that send nothing.
  for (int i = 0; i < 200; ++i) {
    const int fd = connectTo(server.port());
    ASSERT_GE(fd, 0);
    sockets.push_back(fd);
  }
  // 64 that send half a request and stop.
  for (int i = 0; i < 64; ++i) {
    const int fd = connectTo(server.port());
    ASSERT_GE(fd, 0);
    ASSERT_TRUE(sendAll(fd, "POST /bridge/ZarvoApplication HTTP/1.1\r\nHost: 127.0.0.1:"));
    sockets.push_back(fd);
  }
  // An ordinary call is still answered at once (within the test's receive timeout, while the
  // clients above stay connected for the whole of their deadlines).
  HttpClient client(server.port());
  auto answer =
      client.post("/bridge/ZarvoApplication", resourceBody("post", "{\"name\":\"viewer\"}"));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 200);
  // And a signal ends the server whatever these clients do: the bound is generous, only a
  // server that waits for them fails it.
  EXPECT_EQ(server.stopWithin(SIGTERM, 5), 0);
  for (const int fd : sockets) close(fd);
}

TEST(ServeIdleAndSlow, ClientsThatNeitherReadNorCloseDoNotDelayShutdown) {
  ServeProcess server;
  HttpClient client(server.port());
  ASSERT_TRUE(serve_test::subscribeViewerToTicks(client));
  // Event streams and WebSockets that never read, with events piling up for them.
  std::vector<std::unique_ptr<SseClient>> streams;
  std::vector<std::unique_ptr<SocketClient>> sockets;
  for (int i = 0; i < 8; ++i) {
    streams.push_back(std::make_unique<SseClient>(server.port(), "/events", "", 4096));
    sockets.push_back(
        std::make_unique<SocketClient>(server.port(), SocketClient::Headers{}, "/socket", 4096));
    ASSERT_TRUE(sockets.back()->open());
    sockets.back()->send("{\"op\":\"events\"}");
  }
  const std::string payload(1000, 'p');
  ASSERT_EQ(
      client
          .post("/simulator/raise", "{\"app\":\"viewer\",\"type\":\"tick\",\"payload\":\"\\\"" +
                                        payload + "\\\"\",\"count\":20000}")
          ->status,
      200);
  EXPECT_EQ(server.stopWithin(SIGTERM, 5), 0);
}

TEST(ServeStreamPlaces, AStreamsPlaceIsFreeTheMomentItsReaderLeaves) {
  ServeProcess server;
  // Fill every place (however many the server has) without any event being raised.
  std::vector<std::unique_ptr<SseClient>> streams;
  for (int i = 0; i < 1000; ++i) {
    auto stream = std::make_unique<SseClient>(server.port());
    if (stream->head().status != 200) {
      EXPECT_EQ(stream->head().status, 503);
      break;
    }
    streams.push_back(std::move(stream));
  }
  ASSERT_GE(streams.size(), 2u);
  ASSERT_LT(streams.size(), 1000u);
  streams.pop_back();
  // No event and no keep-alive is written: the server must see the close itself, at once (the
  // test waits at most 2 s; keep-alives come every 15 s).
  bool admitted = false;
  for (int attempt = 0; attempt < 100 && !admitted; ++attempt) {
    SseClient another(server.port());
    admitted = another.head().status == 200;
    if (!admitted) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_TRUE(admitted);
}

TEST(ServeCaps, ConnectionsOverTheCapEvictTheLongestIdle) {
  ServeProcess server({"--max-connections", "8"});
  std::vector<int> idle;
  for (int i = 0; i < 8; ++i) {
    const int fd = connectTo(server.port());
    ASSERT_GE(fd, 0);
    idle.push_back(fd);
  }
  // Each new connection closes the one that has waited longest.
  HttpClient client(server.port());
  auto answer = client.get("/simulator/log");
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 200);
  EXPECT_TRUE(connectionEnds(idle.front()));
  for (const int fd : idle) close(fd);
}

TEST(ServeCaps, ConnectionsOverTheCapAreRefusedWhenNoneIsIdle) {
  ServeProcess server({"--max-connections", "4"});
  // Event streams are never idle: once their header has arrived, none can make room.
  std::vector<std::unique_ptr<SseClient>> streams;
  for (int i = 0; i < 4; ++i) {
    streams.push_back(std::make_unique<SseClient>(server.port()));
    ASSERT_EQ(streams.back()->head().status, 200);
  }
  const int refused = connectTo(server.port());
  ASSERT_GE(refused, 0);
  const RawResponse answer = readResponse(refused);
  EXPECT_EQ(answer.status, 503);
  EXPECT_EQ(answer.body,
            "{\"error\":{\"message\":\"too many connections (at most 4)\",\"name\":"
            "\"Unavailable\"}}");
  close(refused);
  // A stream that leaves makes room again.
  streams.pop_back();
  bool admitted = false;
  for (int attempt = 0; attempt < 100 && !admitted; ++attempt) {
    HttpClient client(server.port());
    auto log = client.get("/simulator/log");
    admitted = log && log->status == 200;
    if (!admitted) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_TRUE(admitted);
}

}  // namespace
