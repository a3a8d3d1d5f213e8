// ZarvoApplicationEvent's handlers: subscribing and unsubscribing, checks and library calls.
// (Delivery of the events themselves is in event_delivery_test.cpp.)
#include <string>
#include <vector>

#include "plugin_harness.h"

namespace restest {
namespace {

using Lines = std::vector<std::string>;

class EventResource : public ResourceTest {
 protected:
  void SetUp() override {
    ResourceTest::SetUp();
    connect("viewer");
    ZrvSimCall didDisconnect;
    ASSERT_NE(ZrvSimGetCall(1, &didDisconnect), 0);
    ASSERT_STREQ(didDisconnect.function, "ZrvSetApplicationDidDisconnectCallback");
    viewerObject_ = didDisconnect.context;
    ZrvSimClearLog();
  }

  const void* viewerObject_ = nullptr;  // the application object of "viewer"
};

const char kNameEmpty[] = "URI parameter 'name' is empty.";
const char kTypeEmpty[] = "URI parameter 'type' is empty.";
const char kNotExisted[] = "Application instance is not existed.";
const char kNoResponse[] = "No response from the application.";

TEST_F(EventResource, PostSubscribesWithTheApplicationAsContext) {
  const Response r = event("post", R"({"name":"viewer","type":"progress"})");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.text, kOkText);
  EXPECT_EQ(callLog(), Lines{R"(ZrvRegisterEvent(1, "", "progress", callback, context) -> 1)"});
  // The context is the application object, the one also registered for did-disconnect.
  ZrvSimCall registration;
  ASSERT_NE(ZrvSimGetCall(0, &registration), 0);
  EXPECT_NE(registration.callback, nullptr);
  EXPECT_NE(registration.context, nullptr);
  EXPECT_EQ(registration.context, viewerObject_);
}

TEST_F(EventResource, DeleteUnsubscribesWithoutCallback) {
  const Response r =
      event("delete", R"({"name":"viewer","type":"progress"})", R"({"target":"page"})");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.text, kOkText);
  EXPECT_EQ(callLog(), Lines{R"(ZrvUnregisterEvent(1, "page", "progress") -> 1)"});
}

TEST_F(EventResource, MissingNameAndTypeReportsTheNameFirst) {
  for (const char* method : {"post", "delete"}) {
    EXPECT_EQ(event(method, "{}").text, errorText(kNameEmpty, "BadRequestError")) << method;
    EXPECT_EQ(event(method, R"({"type":"progress"})").text,
              errorText(kNameEmpty, "BadRequestError"))
        << method;
    const Response noType = event(method, R"({"name":"viewer"})");
    EXPECT_EQ(noType.status, 400);
    EXPECT_EQ(noType.text, errorText(kTypeEmpty, "BadRequestError")) << method;
    // Both present but the name unknown: no library call.
    const Response unknown = event(method, R"({"name":"other","type":"progress"})");
    EXPECT_EQ(unknown.status, 400);
    EXPECT_EQ(unknown.text, errorText(kNotExisted, "BadRequestError")) << method;
    // Unknown name without type: the type is checked before the lookup.
    EXPECT_EQ(event(method, R"({"name":"other"})").text, errorText(kTypeEmpty, "BadRequestError"))
        << method;
  }
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(EventResource, NameAndTypeThatAreNotTextCountAsEmpty) {
  for (const char* method : {"post", "delete"}) {
    for (const char* parameters : {R"({"name":null,"type":"t"})", R"({"name":[],"type":"t"})",
                                   R"({"name":{},"type":"t"})", R"({"name":"","type":"t"})"}) {
      const Response r = event(method, parameters);
      EXPECT_EQ(r.status, 400);
      EXPECT_EQ(r.text, errorText(kNameEmpty, "BadRequestError")) << parameters;
    }
    for (const char* parameters :
         {R"({"name":"viewer","type":{}})", R"({"name":"viewer","type":{"a":1}})",
          R"({"name":"viewer","type":[1]})", R"({"name":"viewer","type":null})",
          R"({"name":"viewer","type":""})"}) {
      const Response r = event(method, parameters);
      EXPECT_EQ(r.status, 400);
      EXPECT_EQ(r.text, errorText(kTypeEmpty, "BadRequestError")) << parameters;
    }
  }
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(EventResource, NumericAndBooleanTypesAreTheirText) {
  EXPECT_EQ(event("post", R"({"name":"viewer","type":3})").status, 200);
  EXPECT_EQ(event("delete", R"({"name":"viewer","type":3})").status, 200);
  EXPECT_EQ(event("post", R"({"name":"viewer","type":false})").status, 200);
  EXPECT_EQ(callLog(), (Lines{R"(ZrvRegisterEvent(1, "", "3", callback, context) -> 1)",
                              R"(ZrvUnregisterEvent(1, "", "3") -> 1)",
                              R"(ZrvRegisterEvent(1, "", "false", callback, context) -> 1)"}));
}

TEST_F(EventResource, TargetIsReadFromTheBodyAsText) {
  const char* parameters = R"({"name":"viewer","type":"t"})";
  EXPECT_EQ(event("post", parameters, "").status, 200);                       // no body
  EXPECT_EQ(event("post", parameters, "{}").status, 200);                     // no target
  EXPECT_EQ(event("post", parameters, R"({"target":{"a":1}})").status, 200);  // object
  EXPECT_EQ(event("post", parameters, R"({"target":[1]})").status, 200);      // array
  EXPECT_EQ(event("post", parameters, "[1,2]").status, 200);                  // body not an object
  EXPECT_EQ(event("post", parameters, "plain text").status, 200);             // raw text body
  EXPECT_EQ(event("post", parameters, R"({"target":"main"})").status, 200);
  EXPECT_EQ(event("post", parameters, R"({"target":12})").status, 200);
  // The target read from "parameters" is not used.
  EXPECT_EQ(event("post", R"({"name":"viewer","type":"t","target":"p"})", "{}").status, 200);
  const std::string empty = R"(ZrvRegisterEvent(1, "", "t", callback, context) -> 1)";
  EXPECT_EQ(callLog(), (Lines{empty, empty, empty, empty, empty, empty,
                              R"(ZrvRegisterEvent(1, "main", "t", callback, context) -> 1)",
                              R"(ZrvRegisterEvent(1, "12", "t", callback, context) -> 1)", empty}));
}

TEST_F(EventResource, ZeroFromTheLibraryIsInternalError) {
  program([](ZrvSimProgram& p) {
    p.registerResult = 0;
    p.unregisterResult = 0;
  });
  const Response post = event("post", R"({"name":"viewer","type":"t"})");
  EXPECT_EQ(post.status, 500);
  EXPECT_EQ(post.text, errorText(kNoResponse, "InternalError"));
  const Response del = event("delete", R"({"name":"viewer","type":"t"})");
  EXPECT_EQ(del.status, 500);
  EXPECT_EQ(del.text, errorText(kNoResponse, "InternalError"));
  EXPECT_EQ(callLog(), (Lines{R"(ZrvRegisterEvent(1, "", "t", callback, context) -> 0)",
                              R"(ZrvUnregisterEvent(1, "", "t") -> 0)"}));
}

TEST_F(EventResource, AnyNonZeroResultIsSuccessNegativeIncluded) {
  for (int result : {1, -1, 2, 1000}) {
    program([result](ZrvSimProgram& p) {
      p.registerResult = result;
      p.unregisterResult = result;
    });
    const Response post = event("post", R"({"name":"viewer","type":"t"})");
    EXPECT_EQ(post.status, 200) << result;
    EXPECT_EQ(post.text, kOkText);
    const Response del = event("delete", R"({"name":"viewer","type":"t"})");
    EXPECT_EQ(del.status, 200) << result;
    EXPECT_EQ(del.text, kOkText);
  }
}

TEST_F(EventResource, RepeatedSubscriptionsAreLeftToTheLibrary) {
  const char* parameters = R"({"name":"viewer","type":"t"})";
  EXPECT_EQ(event("post", parameters).status, 200);
  EXPECT_EQ(event("post", parameters).status, 200);
  EXPECT_EQ(event("delete", parameters).status, 200);
  EXPECT_EQ(event("delete", parameters).status, 200);
  EXPECT_EQ(callLog(), (Lines{R"(ZrvRegisterEvent(1, "", "t", callback, context) -> 1)",
                              R"(ZrvRegisterEvent(1, "", "t", callback, context) -> 1)",
                              R"(ZrvUnregisterEvent(1, "", "t") -> 1)",
                              R"(ZrvUnregisterEvent(1, "", "t") -> 1)"}));
}

TEST_F(EventResource, TypeTextIsPassedUnchanged) {
  EXPECT_EQ(event("post", R"({"name":"viewer","type":" Progress \"x\" "})").status, 200);
  EXPECT_EQ(callLog(),
            Lines{R"(ZrvRegisterEvent(1, "", " Progress \"x\" ", callback, context) -> 1)"});
}

TEST_F(EventResource, GetAndPutAreRefused) {
  const Response g = event("get", R"({"name":"viewer","type":"t"})");
  EXPECT_EQ(g.status, 405);
  EXPECT_EQ(g.text, errorText("GET method is not allowed.", "MethodError"));
  const Response p = event("put", R"({"name":"viewer","type":"t"})");
  EXPECT_EQ(p.status, 405);
  EXPECT_EQ(p.text, errorText("PUT method is not allowed.", "MethodError"));
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(EventResource, AfterTearDownTheNameIsUnknown) {
  plugin().tearDown();
  ZrvSimClearLog();
  EXPECT_EQ(event("post", R"({"name":"viewer","type":"t"})").text,
            errorText(kNotExisted, "BadRequestError"));
  EXPECT_EQ(callLog(), Lines{});
}

}  // namespace
}  // namespace restest
