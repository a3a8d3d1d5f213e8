// `zarvo_host serve`'s WebSocket (GET /socket): the hello, calls answered with the plug-in's exact
// envelopes in the order they were made, ids echoed as sent, refusals that keep the socket open,
// teardown, the source checks on the upgrade, and the close codes (1009, 1003, 1007, 1001).
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "host_core/json_text.h"
#include "serve_test_support.h"
#include "socket_client.h"

namespace {

using serve_test::callMessage;
using serve_test::HttpClient;
using serve_test::ServeProcess;
using serve_test::SocketClient;

constexpr const char* kViewer = "{\"name\":\"viewer\"}";

std::string errorText(const std::string& id, int status, const std::string& code,
                      const std::string& message) {
  return "{\"op\":\"error\",\"id\":" + id + ",\"status\":" + std::to_string(status) +
         ",\"code\":\"" + code + "\",\"message\":\"" + message + "\"}";
}

class ServeSocket : public ::testing::Test {
 protected:
  explicit ServeSocket(const std::vector<std::string>& args = {})
      : server_(args), socket_(server_.port()) {}
  void SetUp() override {
    ASSERT_TRUE(socket_.open());
    instance_ = socket_.readHello();
    ASSERT_EQ(instance_.size(), 16u);
  }
  std::string next() {
    std::string text;
    EXPECT_TRUE(socket_.receive(&text));
    return text;
  }

  ServeProcess server_;
  SocketClient socket_;
  std::string instance_;
};

TEST_F(ServeSocket, HelloNamesTheInstanceTheLimitAndTheProtocol) {
  SocketClient second(server_.port());
  ASSERT_TRUE(second.open());
  std::string hello;
  ASSERT_TRUE(second.receive(&hello));
  EXPECT_EQ(hello, "{\"op\":\"hello\",\"instance\":\"" + instance_ +
                       "\",\"limits\":{\"message\":16777216},\"protocol\":1}");
  // The HTTP answers name the same instance.
  HttpClient client(server_.port());
  auto answer = client.post("/bridge/ZarvoApplicationEvent", "{}");
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->get_header_value("Zarvo-Instance"), instance_);
}

TEST_F(ServeSocket, CallsAreAnsweredWithTheExactEnvelopes) {
  ASSERT_TRUE(socket_.send(callMessage("1", "ZarvoApplication", "post", kViewer)));
  EXPECT_EQ(next(),
            "{\"op\":\"answer\",\"id\":1,\"promise\":1,\"status\":200,\"text\":"
            "\"{\\\"error\\\":null,\\\"value\\\":null}\"}");
  ASSERT_TRUE(socket_.send(
      callMessage("2", "ZarvoApplicationBridge", "post", kViewer, "{\"uri\":\"/document/save\"}")));
  EXPECT_EQ(next(),
            "{\"op\":\"answer\",\"id\":2,\"promise\":2,\"status\":200,\"text\":"
            "\"{\\\"error\\\":null,\\\"value\\\":{\\\"data\\\":{\\\"error\\\":\\\"disk full\\\"},"
            "\\\"statuscode\\\":507}}\"}");
  // The plug-in's own refusal is an answer, not an error.
  ASSERT_TRUE(socket_.send(callMessage("3", "ZarvoApplicationBridge", "get", kViewer)));
  EXPECT_EQ(next(),
            "{\"op\":\"answer\",\"id\":3,\"promise\":3,\"status\":405,\"text\":"
            "\"{\\\"error\\\":{\\\"message\\\":\\\"GET method is not allowed.\\\",\\\"name\\\":"
            "\\\"MethodError\\\"},\\\"value\\\":null}\"}");
  // Absent texts are empty: no method is GET, which ZarvoApplication refuses.
  ASSERT_TRUE(socket_.send("{\"op\":\"call\",\"id\":4,\"resource\":\"ZarvoApplication\"}"));
  const pocketjson::Value bare = [&] {
    pocketjson::Value v;
    std::string e;
    host_core::parseJson(next(), &v, &e);
    return v;
  }();
  EXPECT_EQ(bare.get("status").asInteger(), 405);
  EXPECT_EQ(bare.get("promise").asInteger(), 4);
}

TEST_F(ServeSocket, IdsComeBackAsTheSameJsonValue) {
  const std::string ids[] = {"0",    "9007199254740991",   "\"a\"",
                             "\"\"", "\"\\u00e9\\n\\\"\"", "\"" + std::string(256, 'x') + "\""};
  for (const std::string& id : ids) {
    SCOPED_TRACE(id);
    ASSERT_TRUE(socket_.send(callMessage(id, "ZarvoApplicationEvent", "post", kViewer)));
    const std::string answer = next();
    pocketjson::Value sent;
    pocketjson::Value got;
    std::string error;
    ASSERT_TRUE(host_core::parseJson(id, &sent, &error));
    ASSERT_TRUE(host_core::parseJson(answer, &got, &error)) << answer;
    EXPECT_EQ(host_core::compactJson(got.get("id")), host_core::compactJson(sent));
  }
}

TEST_F(ServeSocket, RefusedMessagesGetAnErrorAndTheSocketStaysOpen) {
  const struct {
    std::string message;
    std::string error;
  } cases[] = {
      {"?", errorText("null", 400, "BadProtocolRequest",
                      "message is not valid JSON (Unexpected character exists while parsing.)")},
      {"{\"op\":\"call\",\"id\":5,\"resource\":\"ZarvoFoo\"}",
       errorText("5", 404, "NotFound", "unknown resource 'ZarvoFoo'")},
      {"{\"op\":\"call\",\"id\":\"x\",\"resource\":\"ZarvoApplication\",\"bdy\":\"\"}",
       errorText("\"x\"", 400, "BadProtocolRequest", "unknown member 'bdy'")},
      {"{\"op\":\"call\",\"id\":-1,\"resource\":\"ZarvoApplication\"}",
       errorText("null", 400, "BadProtocolRequest",
                 "member 'id' must be an integer from 0 to 9007199254740991 or a string of at "
                 "most 256 bytes")},
      {"{\"op\":\"jump\",\"id\":6}",
       errorText("6", 400, "BadProtocolRequest", "unknown op 'jump'")},
      {"{\"op\":\"events\",\"after\":\"1\"}",
       errorText("null", 400, "BadProtocolRequest",
                 "member 'after' must be null or an integer from 0")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    ASSERT_TRUE(socket_.send(c.message));
    EXPECT_EQ(next(), c.error);
  }
  // Nothing reached the plug-in: the first call gets promise 1.
  ASSERT_TRUE(socket_.send(callMessage("7", "ZarvoApplication", "post", kViewer)));
  EXPECT_NE(next().find("\"id\":7,\"promise\":1,"), std::string::npos);
}

TEST_F(ServeSocket, RepliesComeInTheOrderTheMessagesCame) {
  // More calls than may be in flight, sent without reading, with refusals among them.
  for (int i = 0; i < 600; ++i) {
    const bool refused = i % 50 == 7;
    ASSERT_TRUE(socket_.send(
        refused ? "{\"op\":\"call\",\"id\":" + std::to_string(i) + ",\"resource\":\"Nope\"}"
                : callMessage(std::to_string(i), "ZarvoApplicationEvent", "post", kViewer)));
  }
  int promise = 0;
  for (int i = 0; i < 600; ++i) {
    pocketjson::Value reply = socket_.receiveJson();
    ASSERT_EQ(reply.get("id").asInteger(), i);
    if (i % 50 == 7) {
      EXPECT_EQ(reply.get("op").asString(), "error");
    } else {
      EXPECT_EQ(reply.get("op").asString(), "answer");
      EXPECT_EQ(reply.get("promise").asInteger(), ++promise);
    }
  }
}

TEST_F(ServeSocket, TeardownIsDone) {
  ASSERT_TRUE(socket_.send(callMessage("1", "ZarvoApplication", "post", kViewer)));
  next();
  ASSERT_TRUE(socket_.send("{\"op\":\"teardown\",\"id\":\"t\"}"));
  EXPECT_EQ(next(), "{\"op\":\"done\",\"id\":\"t\"}");
  HttpClient client(server_.port());
  auto log = client.get("/simulator/log?from=2");
  ASSERT_TRUE(log);
  EXPECT_EQ(log->body, "{\"calls\":[\"ZrvDisconnectApplication(1) -> 1\"],\"next\":3}");
  ASSERT_TRUE(socket_.send("{\"op\":\"teardown\"}"));
  EXPECT_EQ(next(), errorText("null", 400, "BadProtocolRequest", "member 'id' is required"));
}

TEST_F(ServeSocket, ABinaryFrameClosesWith1003) {
  ASSERT_TRUE(socket_.sendBinary("{\"op\":\"stop\"}"));
  std::string text;
  EXPECT_FALSE(socket_.receive(&text));
  EXPECT_EQ(socket_.closeCode(), 1003);
}

TEST_F(ServeSocket, TextThatIsNotUtf8ClosesWith1007) {
  ASSERT_TRUE(socket_.send("{\"op\":\"stop\",\"x\":\"\xff\"}"));
  std::string text;
  EXPECT_FALSE(socket_.receive(&text));
  EXPECT_EQ(socket_.closeCode(), 1007);
}

TEST_F(ServeSocket, ShutdownClosesWith1001) {
  EXPECT_EQ(server_.stop(SIGTERM), 0);
  std::string text;
  EXPECT_FALSE(socket_.receive(&text));
  EXPECT_EQ(socket_.closeCode(), 1001);
}

class ServeSocketSmallLimit : public ServeSocket {
 protected:
  ServeSocketSmallLimit() : ServeSocket({"--max-body", "1024"}) {}
};

TEST_F(ServeSocketSmallLimit, AMessageOverTheLimitClosesWith1009) {
  std::string hello;
  SocketClient second(server_.port());
  ASSERT_TRUE(second.receive(&hello));
  EXPECT_NE(hello.find("\"limits\":{\"message\":1024}"), std::string::npos);
  // Exactly the limit passes (a refusal, but an answer).
  std::string exact = "{\"op\":\"stop\",\"x\":\"\"}";
  exact.insert(18, std::string(1024 - exact.size(), 'x'));
  ASSERT_EQ(exact.size(), 1024u);
  ASSERT_TRUE(socket_.send(exact));
  EXPECT_EQ(next(), errorText("null", 400, "BadProtocolRequest", "unknown member 'x'"));
  std::string over = exact;
  over.insert(18, "x");
  ASSERT_TRUE(socket_.send(over));
  std::string text;
  EXPECT_FALSE(socket_.receive(&text));
  EXPECT_EQ(socket_.closeCode(), 1009);
}

TEST(ServeSocketUpgrade, TheUpgradeIsCheckedLikeEveryRequest) {
  ServeProcess server;
  const std::string port = std::to_string(server.port());
  const struct {
    SocketClient::Headers headers;
    int status;
    std::string message;
  } cases[] = {
      {{{"Origin", "http://evil.example"}},
       403,
       "Origin 'http://evil.example' is not this server's origin"},
      {{{"Host", "evil.example:" + port}},
       403,
       "Host header 'evil.example:" + port + "' is not this server"},
      {{{"Sec-Fetch-Site", "cross-site"}},
       403,
       "Sec-Fetch-Site 'cross-site' is not allowed: only this server's own pages may call it"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    SocketClient socket(server.port(), c.headers);
    EXPECT_FALSE(socket.open());
    EXPECT_EQ(socket.refusedStatus(), c.status);
    EXPECT_EQ(socket.refusedBody(),
              "{\"error\":{\"message\":\"" + c.message + "\",\"name\":\"Forbidden\"}}");
  }
  // A plain GET of /socket is not an upgrade.
  HttpClient client(server.port());
  auto plain = client.get("/socket");
  ASSERT_TRUE(plain);
  EXPECT_EQ(plain->status, 400);
  EXPECT_EQ(plain->body,
            "{\"error\":{\"message\":\"GET /socket takes a WebSocket upgrade (version 13, with "
            "Sec-WebSocket-Key)\",\"name\":\"BadProtocolRequest\"}}");
}

TEST(ServeSocketUpgrade, SocketsCountAsStreamsAndFreeTheirPlaceAtOnce) {
  ServeProcess server({"--max-streams", "2"});
  SocketClient first(server.port());
  serve_test::SseClient stream(server.port());
  ASSERT_TRUE(first.open());
  ASSERT_EQ(stream.head().status, 200);
  {
    SocketClient refused(server.port());
    EXPECT_FALSE(refused.open());
    EXPECT_EQ(refused.refusedStatus(), 503);
    EXPECT_EQ(refused.refusedBody(),
              "{\"error\":{\"message\":\"too many event streams (at most 2)\",\"name\":"
              "\"Unavailable\"}}");
  }
  first.close();
  bool admitted = false;
  for (int attempt = 0; attempt < 100 && !admitted; ++attempt) {
    SocketClient another(server.port());
    admitted = another.open();
    if (!admitted) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_TRUE(admitted);
}

}  // namespace
