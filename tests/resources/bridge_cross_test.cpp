// ZarvoApplicationBridge: one request forwarded to a connected application, through the plug-in.
#include <climits>
#include <string>
#include <vector>

#include "plugin_harness.h"

namespace restest {
namespace {

using Lines = std::vector<std::string>;

const char kNameEmpty[] = "URI parameter 'name' is empty.";
const char kNotExisted[] = "Application instance is not existed.";
const char kUriEmpty[] = "uri is empty string.";
const char kNoResponse[] = "No response from the application.";

std::string valueText(const std::string& value) {
  return "{\"error\":null,\"value\":" + value + "}";
}

class BridgeCross : public ResourceTest {
 protected:
  void SetUp() override {
    ResourceTest::SetUp();
    connect("viewer");
    ZrvSimClearLog();
  }

  void answer(int status, const char* text) {
    program([status, text](ZrvSimProgram& p) {
      p.bridgeCrossStatus = status;
      p.bridgeCrossAnswer = text;
    });
  }
};

TEST_F(BridgeCross, AnswerAndStatusComeBackInAStatus200Result) {
  answer(200, "[1,2]");
  const Response r = bridge("post", R"({"name":"viewer"})", R"({"uri":"/document/open"})");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.text, valueText(R"({"data":[1,2],"statuscode":200})"));
  EXPECT_EQ(callLog(), Lines{R"(ZrvBridgeCross(1, "", "/document/open", "null", "null", )"
                             R"(callback, context) -> 1 called back)"});
}

TEST_F(BridgeCross, DefaultAnswerNullIsKept) {
  const Response r = bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.text, valueText(R"({"data":null,"statuscode":200})"));
}

TEST_F(BridgeCross, RequestMembersAreSerializedCompactlyInArgumentOrder) {
  const Response r = bridge("post", R"({"name":"viewer"})",
                            R"({ "uri" : "/doc", "requestData" : { "b" : [1, true, null],
                                 "a" : "x\u00e9" }, "settings" : {"timeout": 5},
                                 "target" : "main" })");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(callLog(),
            Lines{"ZrvBridgeCross(1, \"main\", \"/doc\", \"{\\\"timeout\\\":5}\", "
                  "\"{\\\"a\\\":\\\"x\xC3\xA9\\\",\\\"b\\\":[1,true,null]}\", callback, context) "
                  "-> 1 called back"});
}

TEST_F(BridgeCross, ScalarRequestMembersAndAbsentOnes) {
  bridge("post", R"({"name":"viewer"})", R"({"uri":"/a","requestData":"text","settings":3})");
  bridge("post", R"({"name":"viewer"})", R"({"uri":"/b","settings":[]})");
  bridge("post", R"({"name":"viewer"})", R"({"uri":"/c","requestData":null})");
  EXPECT_EQ(
      callLog(),
      (Lines{
          R"(ZrvBridgeCross(1, "", "/a", "3", "\"text\"", callback, context) -> 1 called back)",
          R"(ZrvBridgeCross(1, "", "/b", "[]", "null", callback, context) -> 1 called back)",
          R"(ZrvBridgeCross(1, "", "/c", "null", "null", callback, context) -> 1 called back)"}));
}

TEST_F(BridgeCross, NumericNameLooksUpItsText) {
  connect("7");
  ZrvSimClearLog();
  const Response r = bridge("post", R"({"name":7})", R"({"uri":"/x"})");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(callLog(), Lines{R"(ZrvBridgeCross(2, "", "/x", "null", "null", callback, context) )"
                             R"(-> 1 called back)"});
}

TEST_F(BridgeCross, NameThatIsNotTextIsEmpty) {
  for (const char* parameters : {R"({"name":{}})", R"({"name":["viewer"]})", R"({"name":null})",
                                 R"({"name":""})", "{}", "[]", ""}) {
    const Response r = bridge("post", parameters, R"({"uri":"/x"})");
    EXPECT_EQ(r.status, 400) << parameters;
    EXPECT_EQ(r.text, errorText(kNameEmpty, "BadRequestError")) << parameters;
  }
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(BridgeCross, UnknownNameIsCheckedBeforeTheUri) {
  const Response r = bridge("post", R"({"name":"other"})", "{}");
  EXPECT_EQ(r.status, 400);
  EXPECT_EQ(r.text, errorText(kNotExisted, "BadRequestError"));
  // Names are exact: no case folding.
  EXPECT_EQ(bridge("post", R"({"name":"Viewer"})", R"({"uri":"/x"})").text,
            errorText(kNotExisted, "BadRequestError"));
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(BridgeCross, UriThatIsEmptyOrNotTextIsBadRequest) {
  for (const char* body : {"", "{}", R"({"uri":""})", R"({"uri":null})", R"({"uri":{}})",
                           R"({"uri":["/x"]})", R"(["/x"])", "abc", "null", R"("/x")"}) {
    const Response r = bridge("post", R"({"name":"viewer"})", body);
    EXPECT_EQ(r.status, 400) << body;
    EXPECT_EQ(r.text, errorText(kUriEmpty, "BadRequestError")) << body;
  }
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(BridgeCross, NumericAndBooleanUriAreTheirText) {
  bridge("post", R"({"name":"viewer"})", R"({"uri":5})");
  bridge("post", R"({"name":"viewer"})", R"({"uri":true})");
  EXPECT_EQ(
      callLog(),
      (Lines{
          R"(ZrvBridgeCross(1, "", "5", "null", "null", callback, context) -> 1 called back)",
          R"(ZrvBridgeCross(1, "", "true", "null", "null", callback, context) -> 1 called back)"}));
}

TEST_F(BridgeCross, ZeroResultIsNoResponse) {
  program([](ZrvSimProgram& p) {
    p.bridgeCrossResult = 0;
    p.bridgeCrossCallsBack = 0;
  });
  const Response r = bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})");
  EXPECT_EQ(r.status, 500);
  EXPECT_EQ(r.text, errorText(kNoResponse, "InternalError"));
  EXPECT_EQ(callLog(),
            Lines{R"(ZrvBridgeCross(1, "", "/x", "null", "null", callback, context) -> 0)"});
}

TEST_F(BridgeCross, ZeroResultWinsOverACallbackThatRan) {
  // The answer arrived, but a zero result marks the record as not received.
  program([](ZrvSimProgram& p) {
    p.bridgeCrossResult = 0;
    p.bridgeCrossAnswer = "[1]";
  });
  const Response r = bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})");
  EXPECT_EQ(r.status, 500);
  EXPECT_EQ(r.text, errorText(kNoResponse, "InternalError"));
  EXPECT_EQ(r.text.find("disconnected"), std::string::npos);
}

TEST_F(BridgeCross, NonZeroResultWithoutCallbackIsNoResponse) {
  program([](ZrvSimProgram& p) { p.bridgeCrossCallsBack = 0; });
  const Response r = bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})");
  EXPECT_EQ(r.status, 500);
  EXPECT_EQ(r.text, errorText(kNoResponse, "InternalError"));
  EXPECT_EQ(callLog(),
            Lines{R"(ZrvBridgeCross(1, "", "/x", "null", "null", callback, context) -> 1)"});
}

TEST_F(BridgeCross, NegativeResultIsSuccess) {
  program([](ZrvSimProgram& p) { p.bridgeCrossResult = -1; });
  EXPECT_EQ(bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})").status, 200);
}

TEST_F(BridgeCross, ApplicationStatusIsPassedThroughWithItsSign) {
  for (int status : {-1, 0, 404, 500, 507, INT_MIN, INT_MAX}) {
    answer(status, "{}");
    const Response r = bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})");
    EXPECT_EQ(r.status, 200) << status;
    EXPECT_EQ(r.text, valueText("{\"data\":{},\"statuscode\":" + std::to_string(status) + "}"));
  }
}

TEST_F(BridgeCross, ByteOrderMarkBeforeTheAnswerIsSkipped) {
  answer(200, "\xEF\xBB\xBF{\"a\":1}");
  EXPECT_EQ(bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})").text,
            valueText(R"({"data":{"a":1},"statuscode":200})"));
}

TEST_F(BridgeCross, TextAfterTheAnswerIsIgnored) {
  answer(201, "{}  x");
  EXPECT_EQ(bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})").text,
            valueText(R"({"data":{},"statuscode":201})"));
}

TEST_F(BridgeCross, TrailingCommaInTheAnswerIsAccepted) {
  answer(200, R"({"list":[1,2,],"next":[[3,],4],})");
  EXPECT_EQ(bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})").text,
            valueText(R"({"data":{"list":[1,2],"next":[[3],4]},"statuscode":200})"));
}

TEST_F(BridgeCross, UnparsableAnswerStillCountsAsReceived) {
  answer(418, "}");
  const Response r = bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.text, valueText(R"({"data":null,"statuscode":418})"));
}

TEST_F(BridgeCross, AnswerStringsAreEscapedOnTheWayOut) {
  answer(200, R"(["a\u0001b","q\"/\\"])");
  EXPECT_EQ(bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})").text,
            valueText(R"({"data":["a\u0001b","q\"/\\"],"statuscode":200})"));
}

TEST_F(BridgeCross, OtherMethodsAreRefused) {
  for (const char* method : {"get", "put", "delete"}) {
    const Response r = bridge(method, R"({"name":"viewer"})", R"({"uri":"/x"})");
    EXPECT_EQ(r.status, 405);
    std::string upper(method);
    for (char& c : upper) c = static_cast<char>(c - 'a' + 'A');
    EXPECT_EQ(r.text, errorText(upper + " method is not allowed.", "MethodError"));
  }
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(BridgeCross, EachApplicationIsAddressedByItsHandle) {
  connect("other");
  ZrvSimClearLog();
  bridge("post", R"({"name":"other"})", R"({"uri":"/o"})");
  bridge("post", R"({"name":"viewer"})", R"({"uri":"/v"})");
  EXPECT_EQ(
      callLog(),
      (Lines{
          R"(ZrvBridgeCross(2, "", "/o", "null", "null", callback, context) -> 1 called back)",
          R"(ZrvBridgeCross(1, "", "/v", "null", "null", callback, context) -> 1 called back)"}));
}

}  // namespace
}  // namespace restest
