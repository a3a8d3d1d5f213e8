// `zarvo_host serve` against hostile and broken HTTP: garbage, a header line of 1 MiB, a client
// that stalls halfway through its request, many connections at once, and bodies nested a million
// levels deep. Nothing may crash or hang, and every refusal is a clear JSON answer that ends its
// connection.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "serve_test_support.h"

namespace {

using serve_test::connectTo;
using serve_test::rawExchange;
using serve_test::RawResponse;
using serve_test::readResponse;
using serve_test::resourceBody;
using serve_test::sendAll;
using serve_test::ServeProcess;

class ServeHostile : public ::testing::Test {
 protected:
  ServeHostile() : client_(server_.port()) {
    // A million nested brackets take a while under the sanitizers; wait for the answer.
    client_.setReceiveTimeout(120);
  }
  // The server still answers an ordinary request.
  void expectAlive() {
    auto result = client_.get("/simulator/log");
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 200);
  }
  std::string hostLine() const { return "Host: " + server_.host() + "\r\n"; }

  ServeProcess server_;
  serve_test::HttpClient client_;
};

TEST_F(ServeHostile, AGarbageRequestLineIsAJsonBadRequest) {
  for (const std::string garbage :
       {"GARBAGE\r\n\r\n", "GET\r\n\r\n", "\x01\x02\x03 / HTTP/1.1\r\n\r\n", "GET / HTTP/9\r\n\r\n",
        "GET / HTTP/1.1\r\nNo colon here\r\n\r\n",
        "POST / HTTP/1.1\r\nContent-Length: x\r\n\r\n"}) {
    SCOPED_TRACE(garbage);
    RawResponse response = rawExchange(server_.port(), garbage);
    EXPECT_EQ(response.status, 400);
    EXPECT_EQ(
        response.body,
        "{\"error\":{\"message\":\"malformed HTTP request\",\"name\":\"BadProtocolRequest\"}}");
    EXPECT_EQ(response.headers["content-type"], "application/json");
    EXPECT_EQ(response.headers["connection"], "close");
    EXPECT_EQ(response.headers.count("zarvo-status"), 0u);
  }
  expectAlive();
}

TEST_F(ServeHostile, AnUnknownMethodIsAMethodNotAllowed) {
  const RawResponse response =
      rawExchange(server_.port(), "FROB / HTTP/1.1\r\n" + hostLine() + "\r\n");
  EXPECT_EQ(response.status, 405);
  EXPECT_EQ(response.body,
            "{\"error\":{\"message\":\"method FROB is not allowed on / (allowed: GET, HEAD)\","
            "\"name\":\"MethodNotAllowed\"}}");
}

const char* const kHeadersTooLarge =
    "{\"error\":{\"message\":\"request header fields exceed 16384 bytes\",\"name\":"
    "\"HeadersTooLarge\"}}";

TEST_F(ServeHostile, AHeaderLineOfOneMebibyteIsRefused) {
  const std::string request = "GET /simulator/log HTTP/1.1\r\n" + hostLine() +
                              "X-Big: " + std::string(1 << 20, 'a') +
                              "\r\nConnection: close\r\n\r\n";
  const RawResponse response = rawExchange(server_.port(), request);
  EXPECT_EQ(response.status, 431);
  EXPECT_EQ(response.body, kHeadersTooLarge);
  expectAlive();
}

TEST_F(ServeHostile, ARequestLineTooLongIsRefused) {
  const RawResponse response = rawExchange(
      server_.port(), "GET /" + std::string(100000, 'a') + " HTTP/1.1\r\n" + hostLine() + "\r\n");
  EXPECT_EQ(response.status, 431);
  EXPECT_EQ(response.body, kHeadersTooLarge);
  expectAlive();
}

TEST(ServeDeadlines, AStalledHalfRequestHoldsNobodyElseAndIsDropped) {
  ServeProcess server({"--header-timeout", "1500ms", "--body-timeout", "1500ms"});
  const std::string hostLine = "Host: " + server.host() + "\r\n";
  // Half a header, and half a body: both stall.
  const int header = connectTo(server.port());
  ASSERT_GE(header, 0);
  ASSERT_TRUE(sendAll(header, "POST /bridge/ZarvoApplication HTTP/1.1\r\nHost: 127.0"));
  const int body = connectTo(server.port());
  ASSERT_GE(body, 0);
  ASSERT_TRUE(sendAll(body, "POST /bridge/ZarvoApplication HTTP/1.1\r\n" + hostLine +
                                "Content-Length: 100\r\n\r\n{\"options\":"));
  serve_test::HttpClient client(server.port());
  for (int i = 0; i < 20; ++i) {
    auto result = client.post("/bridge/ZarvoApplication",
                              resourceBody("post", "{\"name\":\"viewer\"}"), "application/json");
    ASSERT_TRUE(result);
    EXPECT_EQ(result->get_header_value("Zarvo-Promise"), std::to_string(i + 1));
  }
  // The server drops both once their deadline has passed, without an answer (the test's own
  // receive timeout is much longer, so a server that never gave up would fail here, not hang).
  for (const int fd : {header, body}) {
    const RawResponse stalled = readResponse(fd);
    EXPECT_EQ(stalled.status, 0);
    EXPECT_FALSE(stalled.complete);
  }
  close(header);
  close(body);
  auto log = client.get("/simulator/log");
  ASSERT_TRUE(log);
  EXPECT_NE(log->body.find("\"next\":2}"), std::string::npos) << log->body;
}

TEST_F(ServeHostile, ManyConnectionsAtOnceAreAllAnswered) {
  constexpr int kConnections = 100;
  std::vector<int> sockets;
  for (int i = 0; i < kConnections; ++i) {
    const int fd = connectTo(server_.port());
    ASSERT_GE(fd, 0);
    sockets.push_back(fd);
  }
  for (const int fd : sockets) {
    ASSERT_TRUE(
        sendAll(fd, "GET /simulator/log HTTP/1.1\r\n" + hostLine() + "Connection: close\r\n\r\n"));
  }
  int answered = 0;
  for (const int fd : sockets) {
    const RawResponse response = readResponse(fd);
    if (response.complete && response.status == 200) ++answered;
    close(fd);
  }
  EXPECT_EQ(answered, kConnections);
}

TEST_F(ServeHostile, AMillionOpenBracketsInAMemberStringReachThePlugin) {
  const std::string deep(1000000, '[');
  auto result =
      client_.post("/bridge/ZarvoApplication", resourceBody("post", "{\"name\":\"viewer\"}", deep),
                   "application/json");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 200);
  EXPECT_EQ(result->get_header_value("Zarvo-Status"), "200");
  auto inParameters =
      client_.post("/bridge/ZarvoApplication", resourceBody("post", deep), "application/json");
  ASSERT_TRUE(inParameters);
  EXPECT_EQ(inParameters->status, 400);
  EXPECT_EQ(inParameters->body,
            "{\"error\":{\"message\":\"URI parameter 'name' is empty.\",\"name\":"
            "\"BadRequestError\"},\"value\":null}");
  expectAlive();
}

TEST_F(ServeHostile, AMillionOpenBracketsAsTheBodyAreRefused) {
  auto result =
      client_.post("/bridge/ZarvoApplication", std::string(1000000, '['), "application/json");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 400);
  EXPECT_EQ(result->body,
            "{\"error\":{\"message\":\"request body is not valid JSON (Unexpected string exists "
            "while parsing array.)\",\"name\":\"BadProtocolRequest\"}}");
  auto raise = client_.post("/simulator/raise", std::string(1000000, '{'), "application/json");
  ASSERT_TRUE(raise);
  EXPECT_EQ(raise->status, 400);
  expectAlive();
}

TEST_F(ServeHostile, AFormEncodedBodyIsReadLikeAnyOther) {
  // curl -d sends this type by default; the body is the same JSON whatever the type says.
  const std::string body = resourceBody("post", "{\"name\":\"viewer\"}", std::string(9000, 'x'));
  auto form = client_.post("/bridge/ZarvoApplication", body, "application/x-www-form-urlencoded");
  ASSERT_TRUE(form);
  EXPECT_EQ(form->status, 200);
  EXPECT_EQ(form->get_header_value("Zarvo-Status"), "200");
}

TEST_F(ServeHostile, ARefusedBodyIsNeverReadAsTheNextRequest) {
  // A 403 answered before the body is read closes the connection, so the body's bytes, which
  // look like a request here, are never served.
  const std::string smuggled = "GET /simulator/log HTTP/1.1\r\n" + hostLine() + "\r\n";
  const int fd = connectTo(server_.port());
  ASSERT_GE(fd, 0);
  ASSERT_TRUE(sendAll(fd, "POST /bridge/ZarvoFoo HTTP/1.1\r\n" + hostLine() + "Content-Length: " +
                              std::to_string(smuggled.size()) + "\r\n\r\n" + smuggled));
  RawResponse first = readResponse(fd);
  EXPECT_EQ(first.status, 404);
  EXPECT_EQ(first.headers["connection"], "close");
  const RawResponse second = readResponse(fd);
  EXPECT_EQ(second.status, 0);
  close(fd);
}

}  // namespace
