// `zarvo_host serve`: every request the server refuses itself (400, 403, 404, 405, 413, 503),
// with its exact JSON answer and without Zarvo-Status, and proof that a refused request leaves
// the plug-in and the server's state as they were.
#include <gtest/gtest.h>

#include <string>

#include "serve_test_support.h"

namespace {

using serve_test::rawExchange;
using serve_test::RawResponse;
using serve_test::resourceBody;
using serve_test::ServeProcess;

std::string hostError(const std::string& name, const std::string& message) {
  return "{\"error\":{\"message\":\"" + message + "\",\"name\":\"" + name + "\"}}";
}

class ServeRejections : public ::testing::Test {
 protected:
  explicit ServeRejections(const std::vector<std::string>& args = {})
      : server_(args), client_(server_.port()) {}

  // Checks that `result` is the host-made answer `status`/`name`/`message`.
  static void expectHostError(const serve_test::Result& result, int status, const std::string& name,
                              const std::string& message) {
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, status);
    EXPECT_EQ(result->body, hostError(name, message));
    EXPECT_EQ(result->get_header_value("Content-Type"), "application/json");
    EXPECT_FALSE(result->has_header("Zarvo-Status"));
    EXPECT_FALSE(result->has_header("Zarvo-Promise"));
  }
  void expectBadBridgeBody(const std::string& body, const std::string& message) {
    SCOPED_TRACE(body);
    expectHostError(client_.post("/bridge/ZarvoApplication", body, "application/json"), 400,
                    "BadProtocolRequest", message);
  }
  void expectBadRaise(const std::string& body, const std::string& message) {
    SCOPED_TRACE(body);
    expectHostError(client_.post("/simulator/raise", body, "application/json"), 400,
                    "BadProtocolRequest", message);
  }
  std::string log() {
    auto result = client_.get("/simulator/log");
    return result ? result->body : std::string("no answer");
  }

  ServeProcess server_;
  serve_test::HttpClient client_;
};

TEST_F(ServeRejections, BridgeBodiesThatAreNotTheProtocolsObject) {
  expectBadBridgeBody("[]", "request body is not a JSON object");
  expectBadBridgeBody("\"text\"", "request body is not a JSON object");
  expectBadBridgeBody(
      "x", "request body is not valid JSON (Unexpected character exists while parsing.)");
  expectBadBridgeBody("{\"bdy\":\"x\"}", "unknown member 'bdy'");
  expectBadBridgeBody("{\"body\":5}", "member 'body' must be a string");
  expectBadBridgeBody("{\"options\":{\"method\":\"post\"}}", "member 'options' must be a string");
  expectBadBridgeBody("{\"extra\":null}", "member 'extra' must be a string");
  expectBadBridgeBody("{\"body\":\"a\\u0000b\"}", "member 'body' contains a NUL character");
  expectBadBridgeBody("{\"parameters\":\"\\u0000\"}",
                      "member 'parameters' contains a NUL character");
}

TEST_F(ServeRejections, UnknownResourcesAndPaths) {
  expectHostError(client_.post("/bridge/ZarvoFoo", "{}", "application/json"), 404, "NotFound",
                  "unknown resource 'ZarvoFoo'");
  expectHostError(client_.post("/bridge/zarvoapplication", "{}", "application/json"), 404,
                  "NotFound", "unknown resource 'zarvoapplication'");
  expectHostError(client_.get("/bridge/"), 404, "NotFound", "unknown resource ''");
  expectHostError(client_.get("/simulator/nope"), 404, "NotFound",
                  "unknown simulator control 'nope'");
  expectHostError(client_.get("/no-such-file.html"), 404, "NotFound",
                  "no file at '/no-such-file.html'");
}

TEST_F(ServeRejections, OtherMethodsAre405WithAllow) {
  auto get = client_.get("/bridge/ZarvoApplication");
  expectHostError(get, 405, "MethodNotAllowed",
                  "method GET is not allowed on /bridge/ZarvoApplication (allowed: POST)");
  EXPECT_EQ(get->get_header_value("Allow"), "POST");
  auto put = client_.put("/bridge/ZarvoApplicationEvent", "{}", "application/json");
  expectHostError(put, 405, "MethodNotAllowed",
                  "method PUT is not allowed on /bridge/ZarvoApplicationEvent (allowed: POST)");
  auto teardown = client_.get("/teardown");
  expectHostError(teardown, 405, "MethodNotAllowed",
                  "method GET is not allowed on /teardown (allowed: POST)");
  auto raise = client_.get("/simulator/raise");
  expectHostError(raise, 405, "MethodNotAllowed",
                  "method GET is not allowed on /simulator/raise (allowed: POST)");
  auto events = client_.send("DELETE", "/events", "", "", {});
  expectHostError(events, 405, "MethodNotAllowed",
                  "method DELETE is not allowed on /events (allowed: GET)");
  EXPECT_EQ(events->get_header_value("Allow"), "GET");
  auto log = client_.post("/simulator/log", "{}", "application/json");
  expectHostError(log, 405, "MethodNotAllowed",
                  "method POST is not allowed on /simulator/log (allowed: GET)");
  auto file = client_.post("/index.html", "{}", "application/json");
  expectHostError(file, 405, "MethodNotAllowed",
                  "method POST is not allowed on /index.html (allowed: GET, HEAD)");
  EXPECT_EQ(file->get_header_value("Allow"), "GET, HEAD");
}

TEST_F(ServeRejections, SimulatorControlBodies) {
  expectBadRaise("{}", "member 'app' is required");
  expectBadRaise("{\"app\":\"viewer\"}", "member 'type' is required");
  expectBadRaise("{\"app\":7,\"type\":\"t\"}", "member 'app' must be a string");
  expectBadRaise("{\"app\":\"\",\"type\":\"t\"}", "member 'app' must not be empty");
  expectBadRaise("{\"app\":\"viewer\",\"type\":\"\"}", "member 'type' must not be empty");
  expectBadRaise("{\"app\":\"viewer\",\"type\":\"t\",\"payload\":{}}",
                 "member 'payload' must be a string");
  expectBadRaise("{\"app\":\"viewer\",\"type\":\"t\",\"count\":0}",
                 "member 'count' must be an integer from 1 to 1000000");
  expectBadRaise("{\"app\":\"viewer\",\"type\":\"t\",\"count\":1000001}",
                 "member 'count' must be an integer from 1 to 1000000");
  expectBadRaise("{\"app\":\"viewer\",\"type\":\"t\",\"count\":1.5}",
                 "member 'count' must be an integer from 1 to 1000000");
  expectBadRaise("{\"app\":\"viewer\",\"type\":\"t\",\"cnt\":2}", "unknown member 'cnt'");
  expectBadRaise("[1]", "request body is not a JSON object");
  expectHostError(
      client_.post("/simulator/disconnect", "{\"app\":\"viewer\",\"x\":1}", "application/json"),
      400, "BadProtocolRequest", "unknown member 'x'");
  expectHostError(client_.post("/simulator/disconnect", "{}", "application/json"), 400,
                  "BadProtocolRequest", "member 'app' is required");
}

TEST_F(ServeRejections, ControlsForAnApplicationWithoutConnectionAreNotConnected) {
  expectHostError(client_.post("/simulator/raise", "{\"app\":\"viewer\",\"type\":\"tick\"}",
                               "application/json"),
                  404, "NotConnected", "application 'viewer' is not connected");
  expectHostError(
      client_.post("/simulator/disconnect", "{\"app\":\"printer\"}", "application/json"), 404,
      "NotConnected", "application 'printer' is not connected");
}

TEST_F(ServeRejections, BadSequenceNumbersAndIndexes) {
  expectHostError(client_.get("/events?lastEventId=abc"), 400, "BadProtocolRequest",
                  "lastEventId 'abc' is not a decimal number");
  expectHostError(client_.get("/events", {{"Last-Event-ID", "-1"}}), 400, "BadProtocolRequest",
                  "Last-Event-ID '-1' is not a decimal number");
  expectHostError(client_.get("/events?lastEventId="), 400, "BadProtocolRequest",
                  "lastEventId '' is not a decimal number");
  expectHostError(client_.get("/simulator/log?from=1x"), 400, "BadProtocolRequest",
                  "from '1x' is not a decimal number");
}

TEST_F(ServeRejections, ForeignHostsAreForbidden) {
  const std::string port = std::to_string(server_.port());
  const std::string call = resourceBody("post", "{\"name\":\"viewer\"}");
  const auto request = [&](const std::string& headers) {
    return "POST /bridge/ZarvoApplication HTTP/1.1\r\n" + headers +
           "Content-Length: " + std::to_string(call.size()) + "\r\nConnection: close\r\n\r\n" +
           call;
  };
  const struct {
    std::string headers;
    std::string message;
  } cases[] = {
      {"Host: evil.example:" + port + "\r\n",
       "Host header 'evil.example:" + port + "' is not this server"},
      {"Host: 127.0.0.1:1\r\n", "Host header '127.0.0.1:1' is not this server"},
      {"Host: 127.0.0.1\r\n", "Host header '127.0.0.1' is not this server"},
      {"", "Host header is missing"},
      {"Host: localhost:" + port + "\r\nHost: evil.example\r\n", "more than one Host header"},
      {"Host: 127.0.0.1:" + port + "\r\nOrigin: http://evil.example\r\n",
       "Origin 'http://evil.example' is not this server's origin"},
      {"Host: 127.0.0.1:" + port + "\r\nOrigin: null\r\n",
       "Origin 'null' is not this server's origin"},
      {"Host: 127.0.0.1:" + port + "\r\nOrigin: https://127.0.0.1:" + port + "\r\n",
       "Origin 'https://127.0.0.1:" + port + "' is not this server's origin"},
      {"Host: 127.0.0.1:" + port + "\r\nOrigin: http://localhost:1\r\n",
       "Origin 'http://localhost:1' is not this server's origin"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.headers);
    const RawResponse response = rawExchange(server_.port(), request(c.headers));
    EXPECT_EQ(response.status, 403);
    EXPECT_EQ(response.body, hostError("Forbidden", c.message));
    EXPECT_EQ(response.headers.count("zarvo-status"), 0u);
  }
  // Forbidden before routing: even an unknown path or a GET of the log is refused.
  const RawResponse log =
      rawExchange(server_.port(),
                  "GET /simulator/log HTTP/1.1\r\nHost: evil.example\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(log.status, 403);
  EXPECT_EQ(log.body, hostError("Forbidden", "Host header 'evil.example' is not this server"));
  EXPECT_EQ(this->log(), "{\"calls\":[],\"next\":0}");
}

TEST_F(ServeRejections, TheServersOwnHostsAndOriginsPass) {
  const std::string port = std::to_string(server_.port());
  for (const std::string host : {"127.0.0.1:", "localhost:", "[::1]:"}) {
    SCOPED_TRACE(host);
    const RawResponse response = rawExchange(
        server_.port(), "GET /simulator/log HTTP/1.1\r\nHost: " + host + port +
                            "\r\nOrigin: http://" + host + port + "\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(response.status, 200);
  }
}

TEST_F(ServeRejections, RejectedRequestsReachNothing) {
  auto first = client_.post("/bridge/ZarvoApplication",
                            resourceBody("post", "{\"name\":\"viewer\"}"), "application/json");
  ASSERT_TRUE(first);
  EXPECT_EQ(first->get_header_value("Zarvo-Promise"), "1");
  const std::string before = log();
  const std::string port = std::to_string(server_.port());
  const std::string call = resourceBody("delete", "{\"name\":\"viewer\"}");
  // A perfectly good disconnect, refused for its origin, its host, or the method.
  const RawResponse foreign = rawExchange(
      server_.port(), "POST /bridge/ZarvoApplication HTTP/1.1\r\nHost: 127.0.0.1:" + port +
                          "\r\nOrigin: http://evil.example\r\nContent-Length: " +
                          std::to_string(call.size()) + "\r\nConnection: close\r\n\r\n" + call);
  EXPECT_EQ(foreign.status, 403);
  EXPECT_EQ(client_.put("/bridge/ZarvoApplication", call, "application/json")->status, 405);
  EXPECT_EQ(client_.post("/bridge/ZarvoApplication", "{\"body\":1}", "application/json")->status,
            400);
  EXPECT_EQ(log(), before);
  auto next = client_.post("/bridge/ZarvoApplication",
                           resourceBody("post", "{\"name\":\"printer\"}"), "application/json");
  ASSERT_TRUE(next);
  EXPECT_EQ(next->get_header_value("Zarvo-Promise"), "2");
}

class ServeSmallBody : public ServeRejections {
 protected:
  ServeSmallBody() : ServeRejections({"--max-body", "64"}) {}
};

TEST_F(ServeSmallBody, BodiesUpToTheLimitPassAndLargerOnesAre413) {
  // 64 bytes exactly: {"options":"","parameters":"","extra":"","body":"1234567890"} padded.
  std::string exact = "{\"body\":\"\"}";
  exact.insert(9, std::string(64 - exact.size(), 'x'));
  ASSERT_EQ(exact.size(), 64u);
  auto passed = client_.post("/bridge/ZarvoApplication", exact, "application/json");
  ASSERT_TRUE(passed);
  EXPECT_EQ(passed->status, 405);  // the plug-in's answer: no method given
  EXPECT_EQ(passed->get_header_value("Zarvo-Promise"), "1");
  const std::string before = log();

  std::string over = exact;
  over.insert(9, "x");
  expectHostError(client_.post("/bridge/ZarvoApplication", over, "application/json"), 413,
                  "PayloadTooLarge", "request body exceeds 64 bytes");
  expectHostError(client_.post("/simulator/raise", over, "application/json"), 413,
                  "PayloadTooLarge", "request body exceeds 64 bytes");
  EXPECT_EQ(log(), before);
  auto next = client_.post("/bridge/ZarvoApplication", "{}", "application/json");
  ASSERT_TRUE(next);
  EXPECT_EQ(next->get_header_value("Zarvo-Promise"), "2");
}

}  // namespace
