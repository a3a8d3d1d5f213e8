// The web host's parts on their own: the event-stream text, the host thread (one thread, arrival
// order, finishing), the request target, the router's decisions, the source checks (Host,
// Origin, Sec-Fetch-Site), the WebSocket messages, and the request budget.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host_core/limits.h"
#include "serve/host_thread.h"
#include "serve/request_budget.h"
#include "serve/request_guard.h"
#include "serve/request_target.h"
#include "serve/router.h"
#include "serve/socket_batches.h"
#include "serve/socket_messages.h"
#include "serve/sse_text.h"

namespace {

using namespace zarvo_host::serve;
using host_core::EventBatch;
using host_core::Gap;
using host_core::HostError;

// --- Event-stream text ---------------------------------------------------------------------

TEST(SseText, EventsAndGaps) {
  std::string out;
  appendSseEvent(&out, 7, "{\"a\":1}");
  EXPECT_EQ(out, "id: 7\nevent: zarvoEvent\ndata: {\"a\":1}\n\n");
  out.clear();
  appendSseEvent(&out, 1, "");
  EXPECT_EQ(out, "id: 1\nevent: zarvoEvent\ndata: \n\n");
  out.clear();
  appendSseGap(&out, Gap{3, 9});
  EXPECT_EQ(out, "id: 9\nevent: zarvoGap\ndata: {\"first\":3,\"last\":9,\"lost\":7}\n\n");
}

TEST(SseText, LineBreaksSplitIntoDataLines) {
  const struct {
    std::string text;
    std::string lines;
  } cases[] = {
      {"a\nb\r\nc\rd", "data: a\ndata: b\ndata: c\ndata: d\n"},
      {"a\n", "data: a\ndata: \n"},
      {"\r\n\r\n", "data: \ndata: \ndata: \n"},
  };
  for (const auto& c : cases) {
    std::string out;
    appendSseEvent(&out, 2, c.text);
    EXPECT_EQ(out, "id: 2\nevent: zarvoEvent\n" + c.lines + "\n");
  }
}

TEST(SseText, OpeningBatchAndKeepAlive) {
  EXPECT_EQ(sseOpening("0123456789abcdef"),
            "retry: 1000\n\nevent: zarvoHello\ndata: {\"instance\":\"0123456789abcdef\"}\n\n");
  EventBatch batch;
  batch.gap = Gap{1, 2};
  batch.first = 3;
  batch.texts = {"{}", "[]"};
  std::string out;
  appendSseBatch(&out, batch);
  EXPECT_EQ(out,
            "id: 2\nevent: zarvoGap\ndata: {\"first\":1,\"last\":2,\"lost\":2}\n\n"
            "id: 3\nevent: zarvoEvent\ndata: {}\n\nid: 4\nevent: zarvoEvent\ndata: []\n\n");
  EXPECT_EQ(sseKeepAlive(), ": keep-alive\n\n");
}

// --- Host thread ---------------------------------------------------------------------------

TEST(HostThreadTest, RunsEveryJobOnOneThreadInArrivalOrder) {
  HostThread host;
  std::vector<int> order;
  std::set<std::thread::id> threads;
  std::promise<void> done;
  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(host.post([&, i] {
      order.push_back(i);
      threads.insert(std::this_thread::get_id());
      if (i == 99) done.set_value();
    }));
  }
  done.get_future().wait();
  ASSERT_EQ(order.size(), 100u);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<size_t>(i)], i);
  ASSERT_EQ(threads.size(), 1u);
  EXPECT_NE(*threads.begin(), std::this_thread::get_id());
}

TEST(HostThreadTest, AThrowingJobDoesNotEndTheThread) {
  HostThread host;
  std::promise<void> ran;
  EXPECT_TRUE(host.post([] { throw std::runtime_error("job failed"); }));
  EXPECT_TRUE(host.post([&] { ran.set_value(); }));
  ran.get_future().wait();
}

TEST(HostThreadTest, FinishDropsWaitingJobsRunsTheLastAndRefusesLaterOnes) {
  HostThread host;
  std::promise<void> started;
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
  std::atomic<int> ran{0};
  ASSERT_TRUE(host.post([&] {
    started.set_value();
    released.wait();
    ++ran;
  }));
  ASSERT_TRUE(host.post([&] { ran += 100; }));  // still waiting when finish() comes
  started.get_future().wait();
  std::thread finisher([&] { host.finish([&] { ran += 10; }); });
  // finish() has to wait for the running job; let it go once the finisher is in.
  while (host.post([] {})) std::this_thread::yield();
  release.set_value();
  finisher.join();
  EXPECT_EQ(ran.load(), 11);
  EXPECT_FALSE(host.post([&] { ++ran; }));
}

// --- Request target ------------------------------------------------------------------------

TEST(RequestTargetTest, SplitsAndDecodes) {
  RequestTarget target;
  ASSERT_TRUE(parseRequestTarget("/a%20b/%2e%2e?x=1&y", &target));
  EXPECT_EQ(target.path, "/a b/..");
  EXPECT_EQ(target.query, "x=1&y");
  ASSERT_TRUE(parseRequestTarget("/file%00.js", &target));
  EXPECT_EQ(target.path, std::string("/file\0.js", 9));
  ASSERT_TRUE(parseRequestTarget("/a+b", &target));
  EXPECT_EQ(target.path, "/a+b");
  for (const char* bad : {"", "*", "http://evil.example/", "/%", "/%2", "/%zz", "a/b"}) {
    EXPECT_FALSE(parseRequestTarget(bad, &target)) << bad;
  }
}

TEST(RequestTargetTest, QueryValues) {
  EXPECT_EQ(queryValue("lastEventId=3&instance=ab", "instance"), "ab");
  EXPECT_EQ(queryValue("lastEventId=3&lastEventId=4", "lastEventId"), "3");
  EXPECT_EQ(queryValue("from=", "from"), "");
  EXPECT_EQ(queryValue("from", "from"), "");
  EXPECT_EQ(queryValue("a%3Db=1+2", "a=b"), "1 2");
  EXPECT_EQ(queryValue("x=1", "from"), std::nullopt);
  EXPECT_EQ(queryValue("from=%", "from"), std::nullopt);
  EXPECT_EQ(queryValue("", "from"), std::nullopt);
}

// --- Router --------------------------------------------------------------------------------

Route route(const char* method, const char* target, bool body = false) {
  return routeRequest(RequestHead{method, target, body});
}

TEST(RouterTest, TheRoutes) {
  const struct {
    const char* method;
    const char* target;
    RouteKind kind;
    bool readsBody;
  } cases[] = {
      {"POST", "/bridge/ZarvoApplicationBridge", RouteKind::kCall, true},
      {"POST", "/teardown", RouteKind::kTeardown, true},
      {"POST", "/simulator/raise", RouteKind::kRaise, true},
      {"POST", "/simulator/disconnect", RouteKind::kDisconnect, true},
      {"GET", "/simulator/log?from=3", RouteKind::kCallLog, false},
      {"GET", "/simulator/applications", RouteKind::kApplications, false},
      {"GET", "/events?lastEventId=1", RouteKind::kEvents, false},
      {"GET", "/socket", RouteKind::kSocket, false},
      {"GET", "/", RouteKind::kFile, false},
      {"HEAD", "/zarvo/zarvo.js", RouteKind::kFile, false},
      {"GET", "//sub", RouteKind::kFile, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.method) + " " + c.target);
    const Route r = route(c.method, c.target, c.readsBody);
    EXPECT_EQ(r.kind, c.kind);
    EXPECT_EQ(r.readsBody, c.readsBody);
    EXPECT_FALSE(r.closeAfter);
  }
  EXPECT_EQ(route("POST", "/bridge/ZarvoApplicationCustom").resource, host_core::Resource::kCustom);
  EXPECT_EQ(route("GET", "/simulator/log?from=3").target.query, "from=3");
}

void expectRefusal(const Route& r, int status, const std::string& message,
                   const std::string& allow = std::string()) {
  EXPECT_EQ(r.kind, RouteKind::kRefuse);
  EXPECT_FALSE(r.readsBody);
  EXPECT_EQ(r.error.status, status);
  EXPECT_EQ(r.error.message, message);
  EXPECT_EQ(r.allow, allow);
}

TEST(RouterTest, Refusals) {
  expectRefusal(route("POST", "/bridge/ZarvoFoo"), 404, "unknown resource 'ZarvoFoo'");
  expectRefusal(route("GET", "/bridge/ZarvoApplication"), 405,
                "method GET is not allowed on /bridge/ZarvoApplication (allowed: POST)", "POST");
  expectRefusal(route("GET", "/simulator/x"), 404, "unknown simulator control 'x'");
  expectRefusal(route("DELETE", "/events"), 405,
                "method DELETE is not allowed on /events (allowed: GET)", "GET");
  expectRefusal(route("POST", "/socket"), 405,
                "method POST is not allowed on /socket (allowed: GET)", "GET");
  expectRefusal(route("PUT", "/index.html"), 405,
                "method PUT is not allowed on /index.html (allowed: GET, HEAD)", "GET, HEAD");
  expectRefusal(route("GET", "*"), 400, "request target '*' is not a path on this server");
  expectRefusal(route("GET", "http://evil.example/"), 400,
                "request target 'http://evil.example/' is not a path on this server");
}

TEST(RouterTest, ABodyThatIsNotReadEndsTheConnection) {
  Route r = route("GET", "/simulator/log", true);
  expectRefusal(r, 400, "GET /simulator/log takes no request body");
  EXPECT_TRUE(r.closeAfter);
  r = route("POST", "/bridge/ZarvoFoo", true);
  expectRefusal(r, 404, "unknown resource 'ZarvoFoo'");
  EXPECT_TRUE(r.closeAfter);
  r = route("PUT", "/bridge/ZarvoApplication", true);
  EXPECT_EQ(r.error.status, 405);
  EXPECT_TRUE(r.closeAfter);
  // Without a body, a refusal keeps the connection.
  EXPECT_FALSE(route("POST", "/bridge/ZarvoFoo").closeAfter);
  // A body that is read does not end it either.
  EXPECT_FALSE(route("POST", "/bridge/ZarvoApplication", true).closeAfter);
}

// --- Source checks -------------------------------------------------------------------------

std::optional<HostError> check(const std::vector<std::pair<std::string, std::string>>& fields) {
  http::fields f;
  for (const auto& [name, value] : fields) f.insert(name, value);
  return checkRequestSource(f, 8207);
}

TEST(RequestGuardTest, OwnHostsOriginsAndSitesPass) {
  for (const char* host : {"127.0.0.1:8207", "localhost:8207", "[::1]:8207"}) {
    EXPECT_EQ(check({{"Host", host}}), std::nullopt) << host;
    EXPECT_EQ(check({{"Host", host}, {"Origin", std::string("http://") + host}}), std::nullopt);
  }
  for (const char* site : {"same-origin", "none"}) {
    EXPECT_EQ(check({{"Host", "127.0.0.1:8207"}, {"Sec-Fetch-Site", site}}), std::nullopt);
  }
}

TEST(RequestGuardTest, EverythingElseIsForbidden) {
  const struct {
    std::vector<std::pair<std::string, std::string>> fields;
    std::string message;
  } cases[] = {
      {{}, "Host header is missing"},
      {{{"Host", "127.0.0.1:8207"}, {"Host", "127.0.0.1:8207"}}, "more than one Host header"},
      {{{"Host", "evil.example:8207"}}, "Host header 'evil.example:8207' is not this server"},
      {{{"Host", "127.0.0.1"}}, "Host header '127.0.0.1' is not this server"},
      {{{"Host", "127.0.0.1:8207"}, {"Origin", "null"}},
       "Origin 'null' is not this server's origin"},
      {{{"Host", "127.0.0.1:8207"}, {"Origin", "http://127.0.0.1:1"}},
       "Origin 'http://127.0.0.1:1' is not this server's origin"},
      {{{"Host", "127.0.0.1:8207"}, {"Origin", "http://127.0.0.1:8207"}, {"Origin", "x"}},
       "more than one Origin header"},
      {{{"Host", "127.0.0.1:8207"}, {"Sec-Fetch-Site", "cross-site"}},
       "Sec-Fetch-Site 'cross-site' is not allowed: only this server's own pages may call it"},
      {{{"Host", "127.0.0.1:8207"}, {"Sec-Fetch-Site", "same-site"}},
       "Sec-Fetch-Site 'same-site' is not allowed: only this server's own pages may call it"},
      {{{"Host", "127.0.0.1:8207"}, {"Sec-Fetch-Site", "none"}, {"Sec-Fetch-Site", "none"}},
       "more than one Sec-Fetch-Site header"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    const auto refused = check(c.fields);
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->status, 403);
    EXPECT_EQ(refused->code, "Forbidden");
    EXPECT_EQ(refused->message, c.message);
  }
}

// --- WebSocket messages --------------------------------------------------------------------

TEST(SocketMessagesTest, ReadsCalls) {
  ClientMessage message;
  HostError error;
  ASSERT_TRUE(readClientMessage(
      "{\"op\":\"call\",\"id\":7,\"resource\":\"ZarvoApplicationBridge\",\"options\":\"o\","
      "\"parameters\":\"p\",\"extra\":\"e\",\"body\":\"b\"}",
      &message, &error));
  EXPECT_EQ(message.op, ClientMessage::Op::kCall);
  EXPECT_EQ(message.id, "7");
  EXPECT_EQ(message.resource, host_core::Resource::kBridge);
  EXPECT_EQ(message.texts.options, "o");
  EXPECT_EQ(message.texts.parameters, "p");
  EXPECT_EQ(message.texts.extra, "e");
  EXPECT_EQ(message.texts.body, "b");
  ASSERT_TRUE(readClientMessage(
      "{\"op\":\"call\",\"id\":\"a\\\"b\",\"resource\":\"ZarvoApplication\"}", &message, &error));
  EXPECT_EQ(message.id, "\"a\\\"b\"");
  EXPECT_EQ(message.texts.options, "");
  ASSERT_TRUE(
      readClientMessage("{\"op\":\"call\",\"id\":9007199254740991,\"resource\":"
                        "\"ZarvoApplication\"}",
                        &message, &error));
  EXPECT_EQ(message.id, "9007199254740991");
}

TEST(SocketMessagesTest, ReadsTheOtherOps) {
  ClientMessage message;
  HostError error;
  ASSERT_TRUE(readClientMessage("{\"op\":\"teardown\",\"id\":8}", &message, &error));
  EXPECT_EQ(message.op, ClientMessage::Op::kTeardown);
  EXPECT_EQ(message.id, "8");
  ASSERT_TRUE(readClientMessage("{\"op\":\"events\",\"after\":42}", &message, &error));
  EXPECT_EQ(message.op, ClientMessage::Op::kEvents);
  EXPECT_EQ(message.after, 42u);
  ASSERT_TRUE(readClientMessage("{\"op\":\"events\",\"after\":null}", &message, &error));
  EXPECT_EQ(message.after, std::nullopt);
  ASSERT_TRUE(readClientMessage("{\"op\":\"events\"}", &message, &error));
  EXPECT_EQ(message.after, std::nullopt);
  ASSERT_TRUE(readClientMessage("{\"op\":\"stop\"}", &message, &error));
  EXPECT_EQ(message.op, ClientMessage::Op::kStop);
}

TEST(SocketMessagesTest, RefusalsNameTheProblemAndTheIdWhenReadable) {
  const std::string idRule =
      "member 'id' must be an integer from 0 to 9007199254740991 or a string of at most 256 "
      "bytes";
  const struct {
    std::string text;
    int status;
    std::string message;
    std::string id;
  } cases[] = {
      {"x", 400, "message is not valid JSON (Unexpected character exists while parsing.)", "null"},
      {"[1]", 400, "message is not a JSON object", "null"},
      {"{\"id\":3}", 400, "member 'op' is required", "3"},
      {"{\"op\":1,\"id\":3}", 400, "member 'op' must be a string", "3"},
      {"{\"op\":\"fly\",\"id\":3}", 400, "unknown op 'fly'", "3"},
      {"{\"op\":\"call\",\"resource\":\"ZarvoApplication\"}", 400, "member 'id' is required",
       "null"},
      {"{\"op\":\"call\",\"id\":-1,\"resource\":\"ZarvoApplication\"}", 400, idRule, "null"},
      {"{\"op\":\"call\",\"id\":9007199254740992,\"resource\":\"ZarvoApplication\"}", 400, idRule,
       "null"},
      {"{\"op\":\"call\",\"id\":1.5,\"resource\":\"ZarvoApplication\"}", 400, idRule, "null"},
      {"{\"op\":\"call\",\"id\":null,\"resource\":\"ZarvoApplication\"}", 400, idRule, "null"},
      {"{\"op\":\"call\",\"id\":\"" + std::string(257, 'x') +
           "\",\"resource\":\"ZarvoApplication\"}",
       400, idRule, "null"},
      {"{\"op\":\"call\",\"id\":\"\xff\",\"resource\":\"ZarvoApplication\"}", 400, idRule, "null"},
      {"{\"op\":\"call\",\"id\":1}", 400, "member 'resource' is required", "1"},
      {"{\"op\":\"call\",\"id\":1,\"resource\":\"ZarvoFoo\"}", 404, "unknown resource 'ZarvoFoo'",
       "1"},
      {"{\"op\":\"call\",\"id\":1,\"resource\":\"ZarvoApplication\",\"bdy\":\"\"}", 400,
       "unknown member 'bdy'", "1"},
      {"{\"op\":\"call\",\"id\":1,\"resource\":\"ZarvoApplication\",\"body\":{}}", 400,
       "member 'body' must be a string", "1"},
      {"{\"op\":\"teardown\",\"id\":2,\"x\":1}", 400, "unknown member 'x'", "2"},
      {"{\"op\":\"events\",\"after\":-1}", 400, "member 'after' must be null or an integer from 0",
       "null"},
      {"{\"op\":\"events\",\"after\":\"3\"}", 400,
       "member 'after' must be null or an integer from 0", "null"},
      {"{\"op\":\"events\",\"id\":4}", 400, "unknown member 'id'", "null"},
      {"{\"op\":\"stop\",\"now\":true}", 400, "unknown member 'now'", "null"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text.substr(0, 80));
    ClientMessage message;
    HostError error;
    EXPECT_FALSE(readClientMessage(c.text, &message, &error));
    EXPECT_EQ(error.status, c.status);
    EXPECT_EQ(error.code, c.status == 404 ? "NotFound" : "BadProtocolRequest");
    EXPECT_EQ(error.message, c.message);
    EXPECT_EQ(message.id, c.id);
  }
}

TEST(SocketMessagesTest, ServerMessages) {
  EXPECT_EQ(helloMessage("9f3c0a1b2c3d4e5f", 16777216),
            "{\"op\":\"hello\",\"instance\":\"9f3c0a1b2c3d4e5f\",\"limits\":{\"message\":16777216},"
            "\"protocol\":1}");
  EXPECT_EQ(answerMessage("7", host_core::Answer{200, "{\"error\":null,\"value\":1}", 3}),
            "{\"op\":\"answer\",\"id\":7,\"promise\":3,\"status\":200,\"text\":"
            "\"{\\\"error\\\":null,\\\"value\\\":1}\"}");
  EXPECT_EQ(doneMessage("\"t\""), "{\"op\":\"done\",\"id\":\"t\"}");
  EXPECT_EQ(errorMessage("null", host_core::notFound("unknown resource 'X'")),
            "{\"op\":\"error\",\"id\":null,\"status\":404,\"code\":\"NotFound\",\"message\":"
            "\"unknown resource 'X'\"}");
  EXPECT_EQ(streamingMessage(42), "{\"op\":\"streaming\",\"after\":42}");
  EXPECT_EQ(gapMessage(Gap{1, 5}), "{\"op\":\"gap\",\"first\":1,\"last\":5,\"lost\":5}");
  EXPECT_EQ(eventsMessage(43, {"{\"a\":1}", "x\ny"}),
            "{\"op\":\"events\",\"first\":43,\"texts\":[\"{\\\"a\\\":1}\",\"x\\ny\"]}");
}

TEST(SocketMessagesTest, TextsThatAreNotUtf8AreRepaired) {
  // A lone continuation byte, a cut three-byte sequence, and a surrogate in UTF-8 form each
  // become U+FFFD (the surrogate's three bytes count as three, as a browser decodes them).
  const std::string text = "a\x80z\xE2\x82!\xED\xA0\x80";
  EXPECT_EQ(answerMessage("1", host_core::Answer{200, text, 1}),
            "{\"op\":\"answer\",\"id\":1,\"promise\":1,\"status\":200,\"text\":"
            "\"a\xEF\xBF\xBDz\xEF\xBF\xBD!\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"}");
  EXPECT_EQ(eventsMessage(1, {"\xFF"}),
            "{\"op\":\"events\",\"first\":1,\"texts\":[\"\xEF\xBF\xBD\"]}");
}

// --- Shared event batches ----------------------------------------------------------------

TEST(SocketBatchesTest, ABatchIsMadeOnceAndSharedBySocketsAtTheSamePlace) {
  host_core::EventLog log(1 << 20, "0123456789abcdef");
  for (int i = 0; i < 3; ++i) log.append("{\"n\":" + std::to_string(i) + "}");
  SocketBatches batches(log, 1 << 16);
  SocketBatch first;
  SocketBatch second;
  ASSERT_TRUE(batches.next(0, &first));
  ASSERT_TRUE(batches.next(0, &second));
  EXPECT_EQ(*first.text,
            "{\"op\":\"events\",\"first\":1,\"texts\":[\"{\\\"n\\\":0}\",\"{\\\"n\\\":1}\","
            "\"{\\\"n\\\":2}\"]}");
  EXPECT_EQ(first.text, second.text);  // the same text, not a copy
  EXPECT_EQ(first.last, 3u);
  EXPECT_FALSE(first.gap);
  // A socket elsewhere gets its own batch; past the newest there is none.
  SocketBatch other;
  ASSERT_TRUE(batches.next(2, &other));
  EXPECT_EQ(*other.text, "{\"op\":\"events\",\"first\":3,\"texts\":[\"{\\\"n\\\":2}\"]}");
  EXPECT_FALSE(batches.next(3, &other));
}

TEST(SocketBatchesTest, EventsNoLongerHeldAreAGap) {
  // Each {"n":N} costs 7 + 64 bytes: the buffer holds the newest two.
  host_core::EventLog log(2 * (7 + host_core::kEventOverheadBytes), "0123456789abcdef");
  for (int i = 0; i < 5; ++i) log.append("{\"n\":" + std::to_string(i) + "}");
  SocketBatches batches(log, 1 << 16);
  SocketBatch batch;
  ASSERT_TRUE(batches.next(0, &batch));
  ASSERT_TRUE(batch.gap);
  EXPECT_EQ(batch.gap->first, 1u);
  EXPECT_EQ(batch.gap->last, 3u);
  EXPECT_EQ(batch.last, 5u);
  EXPECT_EQ(batch.text->rfind("{\"op\":\"events\",\"first\":4,", 0), 0u);
}

// --- Request budget ------------------------------------------------------------------------

TEST(RequestBudgetTest, ReservesWhatFitsAndCountsWhatArrives) {
  RequestBudget budget(100);
  EXPECT_TRUE(budget.reserve(60));
  EXPECT_FALSE(budget.reserve(41));
  EXPECT_TRUE(budget.reserve(40));
  EXPECT_FALSE(budget.reserve(1));
  budget.release(50);
  EXPECT_EQ(budget.held(), 50u);
  EXPECT_TRUE(budget.add(50));
  EXPECT_FALSE(budget.add(1));
  EXPECT_FALSE(budget.reserve(0));  // over the capacity: nothing more
  budget.release(1000);
  EXPECT_EQ(budget.held(), 0u);
}

}  // namespace
