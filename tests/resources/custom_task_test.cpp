// ZarvoApplicationCustom: a named custom task run by a connected application, through the plug-in.
#include <string>
#include <vector>

#include "plugin_harness.h"

namespace restest {
namespace {

using Lines = std::vector<std::string>;

const char kNameEmpty[] = "URI parameter 'name' is empty.";
const char kNotExisted[] = "Application instance is not existed.";
const char kTypeEmpty[] = "type is empty string.";
const char kNoResponse[] = "No response from the application.";

std::string valueText(const std::string& value) {
  return "{\"error\":null,\"value\":" + value + "}";
}

class CustomTask : public ResourceTest {
 protected:
  void SetUp() override {
    ResourceTest::SetUp();
    connect("viewer");
    ZrvSimClearLog();
  }

  void answer(const char* type, const char* text) {
    program([type, text](ZrvSimProgram& p) {
      p.customTaskType = type;
      p.customTaskAnswer = text;
    });
  }
};

TEST_F(CustomTask, AnswerAndTypeComeBackInAStatus200Result) {
  answer("done", "[1,2]");
  const Response r = custom("post", R"({"name":"viewer"})", R"({"type":"render"})");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.text, valueText(R"({"data":[1,2],"type":"done"})"));
  EXPECT_EQ(callLog(), Lines{R"(ZrvExecuteCustomTask(1, "", "render", "null", callback, context) )"
                             R"(-> 1 called back)"});
}

TEST_F(CustomTask, EmptyAnswerTypeIsKept) {
  const Response r = custom("post", R"({"name":"viewer"})", R"({"type":"render"})");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.text, valueText(R"({"data":null,"type":""})"));
}

TEST_F(CustomTask, AnswerTypeIsTakenWhole) {
  answer("  a \"b\"\n", "{}");
  EXPECT_EQ(custom("post", R"({"name":"viewer"})", R"({"type":"render"})").text,
            valueText(R"({"data":{},"type":"  a \"b\"\n"})"));
}

TEST_F(CustomTask, DataTargetAndTypeArePassedInOrder) {
  custom("post", R"({"name":"viewer"})",
         R"({"type":"render","data":{ "pages" : [1, 2], "a": null },"target":"main"})");
  custom("post", R"({"name":"viewer"})", R"({"type":"render","data":"s","target":{}})");
  EXPECT_EQ(
      callLog(),
      (Lines{
          "ZrvExecuteCustomTask(1, \"main\", \"render\", "
          "\"{\\\"a\\\":null,\\\"pages\\\":[1,2]}\", callback, context) -> 1 called back",
          R"(ZrvExecuteCustomTask(1, "", "render", "\"s\"", callback, context) -> 1 called back)"}));
}

TEST_F(CustomTask, BooleanAndNumericTypesAreTheirText) {
  custom("post", R"({"name":"viewer"})", R"({"type":true})");
  custom("post", R"({"name":"viewer"})", R"({"type":12})");
  EXPECT_EQ(
      callLog(),
      (Lines{R"(ZrvExecuteCustomTask(1, "", "true", "null", callback, context) -> 1 called back)",
             R"(ZrvExecuteCustomTask(1, "", "12", "null", callback, context) -> 1 called back)"}));
}

TEST_F(CustomTask, NameThatIsNotTextIsEmpty) {
  for (const char* parameters : {R"({"name":{}})", R"({"name":[1]})", R"({"name":null})",
                                 R"({"name":""})", "{}", "[]", ""}) {
    const Response r = custom("post", parameters, R"({"type":"render"})");
    EXPECT_EQ(r.status, 400) << parameters;
    EXPECT_EQ(r.text, errorText(kNameEmpty, "BadRequestError")) << parameters;
  }
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(CustomTask, UnknownNameWithoutTypeReportsTheName) {
  const Response r = custom("post", R"({"name":"other"})", "{}");
  EXPECT_EQ(r.status, 400);
  EXPECT_EQ(r.text, errorText(kNotExisted, "BadRequestError"));
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(CustomTask, NumericNameLooksUpItsText) {
  connect("5");
  ZrvSimClearLog();
  EXPECT_EQ(custom("post", R"({"name":5})", R"({"type":"t"})").status, 200);
  EXPECT_EQ(callLog(), Lines{R"(ZrvExecuteCustomTask(2, "", "t", "null", callback, context) )"
                             R"(-> 1 called back)"});
}

TEST_F(CustomTask, TypeThatIsEmptyOrNotTextIsBadRequest) {
  for (const char* body : {"", "{}", R"({"type":""})", R"({"type":null})", R"({"type":{}})",
                           R"({"type":["render"]})", "[1]", "render", R"("render")"}) {
    const Response r = custom("post", R"({"name":"viewer"})", body);
    EXPECT_EQ(r.status, 400) << body;
    EXPECT_EQ(r.text, errorText(kTypeEmpty, "BadRequestError")) << body;
  }
  // "type" in the URI parameters is not read.
  EXPECT_EQ(custom("post", R"({"name":"viewer","type":"render"})", "{}").text,
            errorText(kTypeEmpty, "BadRequestError"));
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(CustomTask, ZeroResultIsNoResponseAndWinsOverACallbackThatRan) {
  program([](ZrvSimProgram& p) {
    p.customTaskResult = 0;
    p.customTaskType = "done";
    p.customTaskAnswer = "[1]";
  });
  const Response r = custom("post", R"({"name":"viewer"})", R"({"type":"render"})");
  EXPECT_EQ(r.status, 500);
  EXPECT_EQ(r.text, errorText(kNoResponse, "InternalError"));
  EXPECT_EQ(callLog(), Lines{R"(ZrvExecuteCustomTask(1, "", "render", "null", callback, context) )"
                             R"(-> 0 called back)"});
}

TEST_F(CustomTask, ZeroResultWithoutCallback) {
  program([](ZrvSimProgram& p) {
    p.customTaskResult = 0;
    p.customTaskCallsBack = 0;
  });
  const Response r = custom("post", R"({"name":"viewer"})", R"({"type":"render"})");
  EXPECT_EQ(r.status, 500);
  EXPECT_EQ(r.text, errorText(kNoResponse, "InternalError"));
  EXPECT_EQ(callLog(),
            Lines{R"(ZrvExecuteCustomTask(1, "", "render", "null", callback, context) -> 0)"});
}

TEST_F(CustomTask, NonZeroResultWithoutCallbackIsNoResponse) {
  program([](ZrvSimProgram& p) { p.customTaskCallsBack = 0; });
  const Response r = custom("post", R"({"name":"viewer"})", R"({"type":"render"})");
  EXPECT_EQ(r.status, 500);
  EXPECT_EQ(r.text, errorText(kNoResponse, "InternalError"));
}

TEST_F(CustomTask, NegativeResultIsSuccess) {
  program([](ZrvSimProgram& p) { p.customTaskResult = -7; });
  EXPECT_EQ(custom("post", R"({"name":"viewer"})", R"({"type":"render"})").status, 200);
}

TEST_F(CustomTask, AnswerParsingIsLenient) {
  answer("t", "\xEF\xBB\xBF[1,2,] trailing");
  EXPECT_EQ(custom("post", R"({"name":"viewer"})", R"({"type":"render"})").text,
            valueText(R"({"data":[1,2],"type":"t"})"));
  answer("t", "[[1,],2]");
  EXPECT_EQ(custom("post", R"({"name":"viewer"})", R"({"type":"render"})").text,
            valueText(R"({"data":[[1],2],"type":"t"})"));
  answer("t", "{}  x");
  EXPECT_EQ(custom("post", R"({"name":"viewer"})", R"({"type":"render"})").text,
            valueText(R"({"data":{},"type":"t"})"));
}

TEST_F(CustomTask, UnparsableAnswerIsNotAnError) {
  answer("t", "}");
  const Response r = custom("post", R"({"name":"viewer"})", R"({"type":"render"})");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.text, valueText(R"({"data":null,"type":"t"})"));
}

TEST_F(CustomTask, OtherMethodsAreRefused) {
  EXPECT_EQ(custom("get", R"({"name":"viewer"})", R"({"type":"t"})").text,
            errorText("GET method is not allowed.", "MethodError"));
  EXPECT_EQ(custom("put", R"({"name":"viewer"})", R"({"type":"t"})").text,
            errorText("PUT method is not allowed.", "MethodError"));
  const Response d = custom("delete", R"({"name":"viewer"})", R"({"type":"t"})");
  EXPECT_EQ(d.status, 405);
  EXPECT_EQ(d.text, errorText("DELETE method is not allowed.", "MethodError"));
  EXPECT_EQ(callLog(), Lines{});
}

}  // namespace
}  // namespace restest
