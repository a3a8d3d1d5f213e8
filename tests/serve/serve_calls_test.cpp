// `zarvo_host serve`: the four resources and TearDown over HTTP, with the plug-in's envelopes
// byte for byte, the Zarvo-Status and Zarvo-Promise headers, and the simulator controls.
#include <gtest/gtest.h>

#include <signal.h>

#include <string>

#include "serve_test_support.h"

namespace {

using serve_test::resourceBody;
using serve_test::ServeProcess;

constexpr const char* kNullValue = "{\"error\":null,\"value\":null}";

class ServeCalls : public ::testing::Test {
 protected:
  ServeCalls() : client_(server_.port()) {}

  serve_test::Result post(const std::string& path, const std::string& body) {
    return client_.post(path.c_str(), body, "application/json");
  }
  // POST /bridge/<resource>; checks the plug-in answer's headers and returns it.
  serve_test::Result call(const std::string& resource, const std::string& method,
                          const std::string& parameters, const std::string& body = "") {
    serve_test::Result result = post("/bridge/" + resource, resourceBody(method, parameters, body));
    if (result) {
      EXPECT_EQ(result->get_header_value("Content-Type"), "application/json");
      EXPECT_EQ(result->get_header_value("Zarvo-Status"), std::to_string(result->status));
      EXPECT_EQ(result->get_header_value("Zarvo-Promise"), std::to_string(++promise_));
      EXPECT_EQ(result->get_header_value("Zarvo-Instance").size(), 16u);
    }
    return result;
  }

  ServeProcess server_;
  serve_test::HttpClient client_;
  int promise_ = 0;
};

TEST_F(ServeCalls, FirstLineNamesTheListeningPort) {
  ASSERT_GT(server_.port(), 0);
  EXPECT_EQ(server_.firstLine(),
            "serving http://127.0.0.1:" + std::to_string(server_.port()) + "/");
}

TEST_F(ServeCalls, APortInUseEndsWithStatusOne) {
  ServeProcess second({"--port", std::to_string(server_.port())});
  EXPECT_EQ(second.firstLine(), "");
  EXPECT_EQ(second.stop(SIGTERM), 1);
  EXPECT_EQ(second.errorOutput(),
            "zarvo_host: cannot listen on 127.0.0.1:" + std::to_string(server_.port()) +
                ": Address already in use\n");
}

TEST_F(ServeCalls, ConnectAndBridgeCrossAnswerThePluginEnvelopes) {
  auto connected = call("ZarvoApplication", "post", "{\"name\":\"viewer\"}");
  ASSERT_TRUE(connected);
  EXPECT_EQ(connected->status, 200);
  EXPECT_EQ(connected->body, kNullValue);

  auto opened = call("ZarvoApplicationBridge", "post", "{\"name\":\"viewer\"}",
                     "{\"uri\":\"/document/open\"}");
  ASSERT_TRUE(opened);
  EXPECT_EQ(opened->status, 200);
  EXPECT_EQ(
      opened->body,
      "{\"error\":null,\"value\":{\"data\":{\"opened\":true,\"pages\":12},\"statuscode\":200}}");

  // The application's own 507 travels inside a status-200 answer.
  auto saved = call("ZarvoApplicationBridge", "post", "{\"name\":\"viewer\"}",
                    "{\"uri\":\"/document/save\"}");
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->status, 200);
  EXPECT_EQ(saved->body,
            "{\"error\":null,\"value\":{\"data\":{\"error\":\"disk full\"},\"statuscode\":507}}");
}

TEST_F(ServeCalls, CustomTaskAndSubscriptions) {
  ASSERT_TRUE(call("ZarvoApplication", "post", "{\"name\":\"viewer\"}"));
  auto task = call("ZarvoApplicationCustom", "post", "{\"name\":\"viewer\"}",
                   "{\"type\":\"render\",\"data\":{\"pages\":[1,2,3]}}");
  ASSERT_TRUE(task);
  EXPECT_EQ(task->status, 200);
  EXPECT_EQ(task->body, "{\"error\":null,\"value\":{\"data\":{\"pages\":3},\"type\":\"done\"}}");

  auto subscribed =
      call("ZarvoApplicationEvent", "post", "{\"name\":\"viewer\",\"type\":\"tick\"}");
  ASSERT_TRUE(subscribed);
  EXPECT_EQ(subscribed->status, 200);
  EXPECT_EQ(subscribed->body, kNullValue);
  auto unsubscribed =
      call("ZarvoApplicationEvent", "delete", "{\"name\":\"viewer\",\"type\":\"tick\"}");
  ASSERT_TRUE(unsubscribed);
  EXPECT_EQ(unsubscribed->status, 200);
  EXPECT_EQ(unsubscribed->body, kNullValue);
}

TEST_F(ServeCalls, ThePluginsErrorAnswersKeepTheirStatus) {
  auto unknown =
      call("ZarvoApplicationBridge", "post", "{\"name\":\"scanner\"}", "{\"uri\":\"/scan\"}");
  ASSERT_TRUE(unknown);
  EXPECT_EQ(unknown->status, 400);
  EXPECT_EQ(unknown->body,
            "{\"error\":{\"message\":\"Application instance is not existed.\",\"name\":"
            "\"BadRequestError\"},\"value\":null}");

  auto empty = call("ZarvoApplication", "post", "{\"name\":\"\"}");
  ASSERT_TRUE(empty);
  EXPECT_EQ(empty->status, 400);
  EXPECT_EQ(empty->body,
            "{\"error\":{\"message\":\"URI parameter 'name' is empty.\",\"name\":"
            "\"BadRequestError\"},\"value\":null}");

  // The method travels in "options": GET there is the plug-in's own 405.
  auto get = call("ZarvoApplicationBridge", "get", "{\"name\":\"viewer\"}");
  ASSERT_TRUE(get);
  EXPECT_EQ(get->status, 405);
  EXPECT_EQ(get->body,
            "{\"error\":{\"message\":\"GET method is not allowed.\",\"name\":\"MethodError\"},"
            "\"value\":null}");
  EXPECT_FALSE(get->has_header("Allow"));

  auto failed = call("ZarvoApplication", "post", "{\"name\":\"scanner\"}");
  ASSERT_TRUE(failed);
  EXPECT_EQ(failed->status, 500);
  EXPECT_EQ(failed->body,
            "{\"error\":{\"message\":\"Failed to connect application.\",\"name\":"
            "\"InternalError\"},\"value\":null}");
}

TEST_F(ServeCalls, MissingMembersPassTheEmptyText) {
  // {} passes four empty texts: no method means GET, which ZarvoApplication refuses.
  auto result = post("/bridge/ZarvoApplication", "{}");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 405);
  EXPECT_EQ(result->get_header_value("Zarvo-Promise"), "1");
  // The strings are passed decoded and unchanged: the escaped name arrives as "vie\"wer".
  auto escaped = post("/bridge/ZarvoApplication",
                      "{\"options\":\"{\\\"method\\\":\\\"post\\\"}\",\"extra\":\"{}\","
                      "\"parameters\":\"{\\\"name\\\":\\\"vie\\\\\\\"wer\\\"}\"}");
  ASSERT_TRUE(escaped);
  auto log = client_.get("/simulator/log");
  ASSERT_TRUE(log);
  EXPECT_NE(
      log->body.find("ZrvConnectApplication(\\\"vie\\\\\\\"wer\\\", \\\"zarvo_host\\\") -> 0"),
      std::string::npos)
      << log->body;
}

TEST_F(ServeCalls, EveryAnswerForbidsCachingAndSniffingAndCarriesNoCorsHeaders) {
  auto answer = call("ZarvoApplication", "post", "{\"name\":\"viewer\"}");
  auto hostMade = client_.get("/bridge/Nothing");
  auto log = client_.get("/simulator/log");
  for (const serve_test::Result* result : {&answer, &hostMade, &log}) {
    ASSERT_TRUE(*result);
    EXPECT_EQ((*result)->get_header_value("Cache-Control"), "no-store");
    EXPECT_EQ((*result)->get_header_value("X-Content-Type-Options"), "nosniff");
    for (const auto& header : (*result)->headers) {
      EXPECT_NE(header.first.rfind("Access-Control-", 0), 0u) << header.first;
    }
  }
}

TEST_F(ServeCalls, ARangeHeaderNeverCutsAnAnswer) {
  auto connected =
      client_.post("/bridge/ZarvoApplication", resourceBody("post", "{\"name\":\"viewer\"}"),
                   "application/json", {{"Range", "bytes=2-5"}});
  ASSERT_TRUE(connected);
  ++promise_;
  EXPECT_EQ(connected->status, 200);
  EXPECT_EQ(connected->body, kNullValue);
  auto log = client_.get("/simulator/log", {{"Range", "bytes=0-3"}});
  ASSERT_TRUE(log);
  EXPECT_EQ(log->status, 200);
  EXPECT_EQ(log->body.rfind("{\"calls\":[", 0), 0u);
  EXPECT_FALSE(log->has_header("Content-Range"));
}

TEST_F(ServeCalls, TeardownAnswers204AndClosesEveryConnection) {
  ASSERT_TRUE(call("ZarvoApplication", "post", "{\"name\":\"viewer\"}"));
  ASSERT_TRUE(call("ZarvoApplication", "post", "{\"name\":\"printer\"}"));
  auto before = client_.get("/simulator/log");
  ASSERT_TRUE(before);
  auto teardown = post("/teardown", "ignored");
  ASSERT_TRUE(teardown);
  EXPECT_EQ(teardown->status, 204);
  EXPECT_TRUE(teardown->body.empty());
  EXPECT_FALSE(teardown->has_header("Zarvo-Status"));
  auto after = client_.get("/simulator/log?from=4");
  ASSERT_TRUE(after);
  EXPECT_EQ(
      after->body,
      "{\"calls\":[\"ZrvDisconnectApplication(2) -> 1\",\"ZrvDisconnectApplication(1) -> 1\"],"
      "\"next\":6}");
  // The registry is empty afterwards; the next promise continues the count.
  auto gone =
      call("ZarvoApplicationCustom", "post", "{\"name\":\"printer\"}", "{\"type\":\"print\"}");
  ASSERT_TRUE(gone);
  EXPECT_EQ(gone->status, 400);
}

TEST_F(ServeCalls, SimulatorLogAndApplications) {
  ASSERT_TRUE(call("ZarvoApplication", "post", "{\"name\":\"viewer\"}"));
  auto log = client_.get("/simulator/log");
  ASSERT_TRUE(log);
  EXPECT_EQ(log->status, 200);
  EXPECT_EQ(log->get_header_value("Content-Type"), "application/json");
  EXPECT_EQ(log->body,
            "{\"calls\":[\"ZrvConnectApplication(\\\"viewer\\\", \\\"zarvo_host\\\") -> 1\","
            "\"ZrvSetApplicationDidDisconnectCallback(1, callback, context) -> 1\"],\"next\":2}");
  auto tail = client_.get("/simulator/log?from=1");
  ASSERT_TRUE(tail);
  EXPECT_EQ(tail->body,
            "{\"calls\":[\"ZrvSetApplicationDidDisconnectCallback(1, callback, context) -> 1\"],"
            "\"next\":2}");
  auto beyond = client_.get("/simulator/log?from=99");
  ASSERT_TRUE(beyond);
  EXPECT_EQ(beyond->body, "{\"calls\":[],\"next\":2}");

  auto applications = client_.get("/simulator/applications");
  ASSERT_TRUE(applications);
  EXPECT_EQ(applications->status, 200);
  EXPECT_EQ(applications->get_header_value("Content-Type"), "application/json");
  EXPECT_EQ(applications->body, serve_test::readFile(serve_test::applicationsPath()));
}

TEST_F(ServeCalls, SimulatorRaiseAndDisconnectAnswer) {
  ASSERT_TRUE(call("ZarvoApplication", "post", "{\"name\":\"viewer\"}"));
  auto raised = post("/simulator/raise", "{\"app\":\"viewer\",\"type\":\"tick\",\"count\":3}");
  ASSERT_TRUE(raised);
  EXPECT_EQ(raised->status, 200);
  EXPECT_EQ(raised->body, "{\"raised\":3}");
  EXPECT_FALSE(raised->has_header("Zarvo-Status"));
  auto one = post("/simulator/raise", "{\"app\":\"viewer\",\"type\":\"tick\"}");
  ASSERT_TRUE(one);
  EXPECT_EQ(one->body, "{\"raised\":1}");
  auto notified = post("/simulator/disconnect", "{\"app\":\"viewer\"}");
  ASSERT_TRUE(notified);
  EXPECT_EQ(notified->status, 200);
  EXPECT_EQ(notified->body, "{\"notified\":true}");
}

TEST(ServeBrokenPlugin, AnswersOtherThanExactlyOneAreTheHostsOwn502) {
  ServeProcess server({"--plugin", ZARVO_SERVE_TEST_FAKE_PLUGIN});
  serve_test::HttpClient client(server.port());
  const struct {
    std::string resource;
    std::string message;
  } cases[] = {
      {"ZarvoApplication", "ZarvoApplication set 0 responses for promise 1"},
      {"ZarvoApplicationBridge", "ZarvoApplicationBridge set 2 responses for promise 2"},
      {"ZarvoApplicationCustom",
       "ZarvoApplicationCustom returned promise 3 but answered promise 103"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.resource);
    auto result = client.post(("/bridge/" + c.resource).c_str(), "{}", "application/json");
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 502);
    EXPECT_EQ(result->body,
              "{\"error\":{\"message\":\"" + c.message + "\",\"name\":\"PluginFault\"}}");
    EXPECT_FALSE(result->has_header("Zarvo-Status"));
  }
  auto fine = client.post("/bridge/ZarvoApplicationEvent", "{}", "application/json");
  ASSERT_TRUE(fine);
  EXPECT_EQ(fine->status, 200);
  EXPECT_EQ(fine->get_header_value("Zarvo-Promise"), "4");
  EXPECT_EQ(server.stop(SIGTERM), 0);
}

}  // namespace
