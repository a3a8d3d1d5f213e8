// ZarvoApplication (connect with POST, disconnect with DELETE) and TearDown, through the plug-in.
#include <string>
#include <vector>

#include "plugin_harness.h"

namespace restest {
namespace {

using Lines = std::vector<std::string>;

Lines concat(std::initializer_list<Lines> parts) {
  Lines all;
  for (const Lines& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

class ApplicationResource : public ResourceTest {};

TEST_F(ApplicationResource, PostConnectsAndAnswersNull) {
  const Response r = application("post", R"({"name":"viewer"})");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.text, kOkText);
  EXPECT_EQ(callLog(), connected("viewer", 1));
}

TEST_F(ApplicationResource, PostWithoutUsableNameIsBadRequestAndCallsNothing) {
  const std::string expected = errorText("URI parameter 'name' is empty.", "BadRequestError");
  for (const char* parameters :
       {R"({"name":""})", R"({"name":null})", R"({"name":[]})", R"({"name":["a"]})",
        R"({"name":{}})", R"({"name":{"a":1}})", R"({})", R"({"other":"a"})", "[]", R"("viewer")",
        "", "not json"}) {
    const Response r = application("post", parameters);
    EXPECT_EQ(r.status, 400) << parameters;
    EXPECT_EQ(r.text, expected) << parameters;
  }
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(ApplicationResource, NumericNameConnectsItsTextAndStringDisconnectsIt) {
  EXPECT_EQ(application("post", R"({"name":7})").status, 200);
  const Response r = application("delete", R"({"name":"7"})");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.text, kOkText);
  EXPECT_EQ(callLog(), concat({connected("7", 1), {"ZrvDisconnectApplication(1) -> 1"}}));
}

TEST_F(ApplicationResource, BooleanNameIsItsText) {
  connect("true");
  EXPECT_EQ(application("post", R"({"name":true})").text,
            errorText("Failed to connect application.", "InternalError"));
  EXPECT_EQ(application("delete", R"({"name":true})").status, 200);
  EXPECT_EQ(callLog(), concat({connected("true", 1), {"ZrvDisconnectApplication(1) -> 1"}}));
}

TEST_F(ApplicationResource, NameIsNotTrimmedOrCaseFolded) {
  connect(" a ");
  connect("App");
  connect("app");
  EXPECT_EQ(application("delete", R"({"name":"a"})").status, 400);
  EXPECT_EQ(application("delete", R"({"name":"APP"})").status, 400);
  EXPECT_EQ(application("delete", R"({"name":"App"})").status, 200);
  EXPECT_EQ(application("delete", R"({"name":"app"})").status, 200);
  EXPECT_EQ(callLog(),
            concat({connected(" a ", 1),
                    connected("App", 2),
                    connected("app", 3),
                    {"ZrvDisconnectApplication(2) -> 1", "ZrvDisconnectApplication(3) -> 1"}}));
}

TEST_F(ApplicationResource, SecondPostOfConnectedNameFailsAndOpensNothing) {
  connect("viewer");
  const Response r = application("post", R"({"name":"viewer"})");
  EXPECT_EQ(r.status, 500);
  EXPECT_EQ(r.text, errorText("Failed to connect application.", "InternalError"));
  EXPECT_EQ(callLog(), connected("viewer", 1));
  // The first connection is untouched.
  EXPECT_EQ(application("delete", R"({"name":"viewer"})").status, 200);
  EXPECT_EQ(callLog(), concat({connected("viewer", 1), {"ZrvDisconnectApplication(1) -> 1"}}));
}

TEST_F(ApplicationResource, PostDeletePostConnectsTwiceDisconnectsOnce) {
  EXPECT_EQ(application("post", R"({"name":"viewer"})").status, 200);
  EXPECT_EQ(application("delete", R"({"name":"viewer"})").status, 200);
  EXPECT_EQ(application("post", R"({"name":"viewer"})").status, 200);
  EXPECT_EQ(callLog(), concat({connected("viewer", 1),
                               {"ZrvDisconnectApplication(1) -> 1"},
                               connected("viewer", 2)}));
}

TEST_F(ApplicationResource, DeleteOfUnknownNameIsBadRequestAndCallsNothing) {
  const Response r = application("delete", R"({"name":"viewer"})");
  EXPECT_EQ(r.status, 400);
  EXPECT_EQ(r.text, errorText("Application instance is not existed.", "BadRequestError"));
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(ApplicationResource, DeleteWithoutUsableNameIsBadRequest) {
  connect("viewer");
  ZrvSimClearLog();
  for (const char* parameters :
       {R"({"name":""})", R"({"name":null})", R"({"name":[]})", R"({"name":{}})", R"({})", "[]"}) {
    const Response r = application("delete", parameters);
    EXPECT_EQ(r.status, 400) << parameters;
    EXPECT_EQ(r.text, errorText("URI parameter 'name' is empty.", "BadRequestError")) << parameters;
  }
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(ApplicationResource, RefusedConnectionIsInternalErrorAndLeavesNameUnknown) {
  program([](ZrvSimProgram& p) { p.connectFails = 1; });
  const Response r = application("post", R"({"name":"viewer"})");
  EXPECT_EQ(r.status, 500);
  EXPECT_EQ(r.text, errorText("Failed to connect application.", "InternalError"));
  const Response d = application("delete", R"({"name":"viewer"})");
  EXPECT_EQ(d.status, 400);
  EXPECT_EQ(d.text, errorText("Application instance is not existed.", "BadRequestError"));
  // The did-disconnect callback is registered even for the null handle; nothing is closed.
  EXPECT_EQ(callLog(),
            (Lines{"ZrvConnectApplication(\"viewer\", \"" + clientName() + "\") -> 0",
                   "ZrvSetApplicationDidDisconnectCallback(0, callback, context) -> 1"}));
}

TEST_F(ApplicationResource, RefusedConnectionRegistersCallbackWithTheObjectAsContext) {
  program([](ZrvSimProgram& p) { p.connectFails = 1; });
  EXPECT_EQ(application("post", R"({"name":"viewer"})").status, 500);
  ZrvSimCall call;
  ASSERT_EQ(ZrvSimCallCount(), 2u);
  ASSERT_NE(ZrvSimGetCall(1, &call), 0);
  EXPECT_STREQ(call.function, "ZrvSetApplicationDidDisconnectCallback");
  EXPECT_EQ(call.handle, 0u);
  EXPECT_NE(call.callback, nullptr);
  EXPECT_NE(call.context, nullptr);
}

TEST_F(ApplicationResource, LibraryResultsOfDisconnectAndCallbackRegistrationAreIgnored) {
  program([](ZrvSimProgram& p) {
    p.disconnectResult = 0;
    p.setDidDisconnectResult = 0;
  });
  EXPECT_EQ(application("post", R"({"name":"viewer"})").status, 200);
  const Response d = application("delete", R"({"name":"viewer"})");
  EXPECT_EQ(d.status, 200);
  EXPECT_EQ(d.text, kOkText);
  EXPECT_EQ(callLog(), (Lines{"ZrvConnectApplication(\"viewer\", \"" + clientName() + "\") -> 1",
                              "ZrvSetApplicationDidDisconnectCallback(1, callback, context) -> 0",
                              "ZrvDisconnectApplication(1) -> 0"}));
  // The name is gone although the library reported a failed disconnect.
  EXPECT_EQ(application("delete", R"({"name":"viewer"})").status, 400);
}

TEST_F(ApplicationResource, GetAndPutAreRefusedAndTouchNoEntry) {
  connect("viewer");
  ZrvSimClearLog();
  const Response g = application("get", R"({"name":"viewer"})");
  EXPECT_EQ(g.status, 405);
  EXPECT_EQ(g.text, errorText("GET method is not allowed.", "MethodError"));
  const Response p = application("PUT", R"({"name":"viewer"})");
  EXPECT_EQ(p.status, 405);
  EXPECT_EQ(p.text, errorText("PUT method is not allowed.", "MethodError"));
  EXPECT_EQ(callLog(), Lines{});
  // Still connected once: a second POST fails, a DELETE succeeds.
  EXPECT_EQ(application("post", R"({"name":"viewer"})").status, 500);
  EXPECT_EQ(application("delete", R"({"name":"viewer"})").status, 200);
  EXPECT_EQ(callLog(), Lines{"ZrvDisconnectApplication(1) -> 1"});
}

TEST_F(ApplicationResource, MethodIsCaseInsensitive) {
  EXPECT_EQ(application("POST", R"({"name":"a"})").status, 200);
  EXPECT_EQ(application("Delete", R"({"name":"a"})").status, 200);
  EXPECT_EQ(callLog(), concat({connected("a", 1), {"ZrvDisconnectApplication(1) -> 1"}}));
}

TEST_F(ApplicationResource, TearDownClosesInAscendingNameOrder) {
  connect("b");
  connect("a");
  connect("c");
  ZrvSimClearLog();
  plugin().tearDown();
  EXPECT_EQ(callLog(),
            (Lines{"ZrvDisconnectApplication(2) -> 1", "ZrvDisconnectApplication(1) -> 1",
                   "ZrvDisconnectApplication(3) -> 1"}));
  // Every name is unknown afterwards, and the entry points stay usable.
  ZrvSimClearLog();
  for (const char* name : {"a", "b", "c"}) {
    const std::string parameters = std::string("{\"name\":\"") + name + "\"}";
    EXPECT_EQ(application("delete", parameters).text,
              errorText("Application instance is not existed.", "BadRequestError"));
    EXPECT_EQ(bridge("post", parameters, R"({"uri":"/x"})").text,
              errorText("Application instance is not existed.", "BadRequestError"));
  }
  EXPECT_EQ(callLog(), Lines{});
  connect("a");
  EXPECT_EQ(callLog(), connected("a", 4));
}

TEST_F(ApplicationResource, TearDownOnEmptyRegistryAndTwiceIsHarmless) {
  plugin().tearDown();
  connect("a");
  plugin().tearDown();
  plugin().tearDown();
  EXPECT_EQ(callLog(), concat({connected("a", 1), {"ZrvDisconnectApplication(1) -> 1"}}));
}

TEST_F(ApplicationResource, TearDownUsesByteOrderNotCase) {
  connect("b");
  connect("B");
  connect("a");
  connect("A");
  ZrvSimClearLog();
  plugin().tearDown();
  // "A" (4) < "B" (2) < "a" (3) < "b" (1) in byte order.
  EXPECT_EQ(callLog(),
            (Lines{"ZrvDisconnectApplication(4) -> 1", "ZrvDisconnectApplication(2) -> 1",
                   "ZrvDisconnectApplication(3) -> 1", "ZrvDisconnectApplication(1) -> 1"}));
}

TEST_F(ApplicationResource, EveryCallReturnsItsOwnPromise) {
  const int first = plugin().application(R"({"method":"post"})", R"({"name":"a"})", "{}", "");
  const int second = plugin().application(R"({"method":"get"})", R"({"name":"a"})", "{}", "");
  EXPECT_NE(first, second);
  const std::vector<Response> responses = host().responses();
  ASSERT_EQ(responses.size(), 2u);
  EXPECT_EQ(responses[0].promise, first);
  EXPECT_EQ(responses[0].status, 200);
  EXPECT_EQ(responses[1].promise, second);
  EXPECT_EQ(responses[1].status, 405);
}

}  // namespace
}  // namespace restest
