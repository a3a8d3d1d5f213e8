// The request frame through test resources, with the stand-in host collecting the responses:
// method selection, request parsing, the raw-body rule, the envelope, exception handling, hooks,
// and the one-response-per-call contract.
#include "bridge/bridge_template.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "bridge_helper_stand_in.h"
#include "response_capture.h"

namespace {

using bridge::BridgeData;
using bridge::BridgeResult;
using bridge::BridgeResultError;
using bridge_test::ResponseCapture;
using pocketjson::Value;

const char kGetRefused[] =
    "{\"error\":{\"message\":\"GET method is not allowed.\",\"name\":\"MethodError\"},"
    "\"value\":null}";
const char kPutRefused[] =
    "{\"error\":{\"message\":\"PUT method is not allowed.\",\"name\":\"MethodError\"},"
    "\"value\":null}";
const char kPostRefused[] =
    "{\"error\":{\"message\":\"POST method is not allowed.\",\"name\":\"MethodError\"},"
    "\"value\":null}";
const char kDeleteRefused[] =
    "{\"error\":{\"message\":\"DELETE method is not allowed.\",\"name\":\"MethodError\"},"
    "\"value\":null}";
const char kUnknownError[] =
    "{\"error\":{\"message\":\"Unknown error occurred.\",\"name\":\"UnknownError\"},"
    "\"value\":null}";

// Implements all four methods: each answers with its own name and keeps the request it saw.
class EchoResource : public bridge::BridgeTemplate {
 public:
  BridgeResult Get(const BridgeData& data) override { return answer("get", data); }
  BridgeResult Put(const BridgeData& data) override { return answer("put", data); }
  BridgeResult Post(const BridgeData& data) override { return answer("post", data); }
  BridgeResult Delete(const BridgeData& data) override { return answer("delete", data); }

  std::vector<std::string> calls;
  BridgeData seen;

 private:
  BridgeResult answer(const std::string& method, const BridgeData& data) {
    calls.push_back(method);
    seen = data;
    return BridgeResult::ok(Value(method));
  }
};

// Overrides only Post, like most resources.
class PostOnlyResource : public bridge::BridgeTemplate {
 public:
  BridgeResult Post(const BridgeData& /*data*/) override { return BridgeResult::ok(Value(1)); }
};

// Returns or throws whatever the test puts into `behaviour`.
class ScriptedResource : public bridge::BridgeTemplate {
 public:
  enum class Behaviour { kReturn, kThrowBridgeError, kThrowRuntimeError, kThrowInt };

  BridgeResult Get(const BridgeData& /*data*/) override {
    switch (behaviour) {
      case Behaviour::kReturn:
        return toReturn;
      case Behaviour::kThrowBridgeError:
        throw BridgeResultError(bridge::kBridgeStatusBadRequest, "BadRequestError", "x");
      case Behaviour::kThrowRuntimeError:
        throw std::runtime_error("not a bridge error");
      case Behaviour::kThrowInt:
        throw 42;
    }
    return BridgeResult();
  }

  Behaviour behaviour = Behaviour::kReturn;
  BridgeResult toReturn;
};

// Records the order of hooks and handler, and what onEndBridge saw.
class HookedResource : public bridge::BridgeTemplate {
 public:
  void onBeginBridge(const BridgeData& data) override {
    log.push_back("begin");
    beginSawParameters = data.parameters;
    if (throwInBegin) throw std::runtime_error("begin");
  }
  void onEndBridge(const BridgeData& data, const BridgeResult& result) override {
    log.push_back("end");
    endSawParameters = data.parameters;
    endCode = result.code;
    endName = result.error.name;
    endValue = result.value;
    if (throwInEnd) throw std::runtime_error("end");
  }
  BridgeResult Get(const BridgeData& /*data*/) override {
    log.push_back("get");
    if (handlerFails)
      throw BridgeResultError(bridge::kBridgeStatusBadRequest, "BadRequestError", "failed");
    return BridgeResult::ok(Value("answer"));
  }

  std::vector<std::string> log;
  bool throwInBegin = false;
  bool throwInEnd = false;
  bool handlerFails = false;
  Value beginSawParameters;
  Value endSawParameters;
  bridge::BridgeStatusCode endCode = bridge::kBridgeStatusOK;
  std::string endName;
  Value endValue;
};

class BridgeTemplateTest : public ::testing::Test {
 protected:
  ResponseCapture capture;
};

// Which handler EchoResource ran for an options text ("" when none).
std::string selected(const char* options) {
  EchoResource resource;
  resource.execute(options, "{}", "{}", "");
  return resource.calls.size() == 1 ? resource.calls.front() : std::string("<none>");
}

TEST_F(BridgeTemplateTest, MethodSelectionIsCaseInsensitive) {
  EXPECT_EQ(selected("{\"method\":\"POST\"}"), "post");
  EXPECT_EQ(selected("{\"method\":\"Post\"}"), "post");
  EXPECT_EQ(selected("{\"method\":\"post\"}"), "post");
  EXPECT_EQ(selected("{\"method\":\"pUt\"}"), "put");
  EXPECT_EQ(selected("{\"method\":\"DELETE\"}"), "delete");
  EXPECT_EQ(selected("{\"method\":\"Delete\"}"), "delete");
  EXPECT_EQ(selected("{\"method\":\"GET\"}"), "get");
  EXPECT_EQ(selected("{\"method\":\"get\"}"), "get");
}

TEST_F(BridgeTemplateTest, AnythingElseSelectsGet) {
  EXPECT_EQ(selected("{\"method\":\"patch\"}"), "get");
  EXPECT_EQ(selected("[]"), "get");
  EXPECT_EQ(selected("\"post\""), "get");
  EXPECT_EQ(selected(""), "get");
  EXPECT_EQ(selected("{}"), "get");
  EXPECT_EQ(selected("{\"method\":true}"), "get");
  EXPECT_EQ(selected("{\"method\":1}"), "get");
  EXPECT_EQ(selected("{\"method\":1.5}"), "get");
  EXPECT_EQ(selected("{\"method\":null}"), "get");
  EXPECT_EQ(selected("{\"method\":[\"post\"]}"), "get");
  EXPECT_EQ(selected("{\"method\":{\"post\":1}}"), "get");
  EXPECT_EQ(selected("{\"method\":\"\"}"), "get");
  EXPECT_EQ(selected("{\"method\":\" post\"}"), "get");
  EXPECT_EQ(selected("{\"method\":\"posts\"}"), "get");
  EXPECT_EQ(selected("{\"Method\":\"post\"}"), "get");
  EXPECT_EQ(selected("not json"), "get");
}

TEST_F(BridgeTemplateTest, MethodMemberOfLenientOrTrailedOptionsStillCounts) {
  EXPECT_EQ(selected("{\"method\":\"post\"} trailing"), "post");
  EXPECT_EQ(selected("{\"method\":\"put\"}\n\r\t "), "put");
  EXPECT_EQ(selected("{x \"method\":\"delete\"}"), "delete");
  // An object cut off after a member is kept as parsed so far.
  EXPECT_EQ(selected("{\"method\":\"post\","), "post");
  // Duplicate keys: the first one wins.
  EXPECT_EQ(selected("{\"method\":\"put\",\"method\":\"post\"}"), "put");
}

TEST_F(BridgeTemplateTest, ByteOrderMarkIsSkipped) {
  EchoResource resource;
  resource.execute("\xEF\xBB\xBF{\"method\":\"post\"}", "\xEF\xBB\xBF{}", "\xEF\xBB\xBF[1]",
                   "\xEF\xBB\xBF{}");
  ASSERT_EQ(resource.calls, std::vector<std::string>{"post"});
  EXPECT_TRUE(resource.seen.parameters.isObject());
  EXPECT_EQ(resource.seen.parameters.size(), 0u);
  EXPECT_TRUE(resource.seen.extra.isArray());
  EXPECT_TRUE(resource.seen.body.isObject());
  EXPECT_EQ(resource.seen.body.size(), 0u);

  // Any leading part of the mark is skipped as well.
  EXPECT_EQ(selected("\xEF{\"method\":\"put\"}"), "put");
  EXPECT_EQ(selected("\xEF\xBB{\"method\":\"put\"}"), "put");
  // Only at the very start, and only in order.
  EXPECT_EQ(selected("\xBB\xBF{\"method\":\"put\"}"), "get");
  EXPECT_EQ(selected(" \xEF\xBB\xBF{\"method\":\"put\"}"), "get");
}

TEST_F(BridgeTemplateTest, TrailingTextIsIgnored) {
  EchoResource resource;
  resource.execute("{}", "{\"name\":\"a\"} trailing", "1 2", "[true] x");
  EXPECT_EQ(resource.seen.parameters.get("name"), Value("a"));
  EXPECT_EQ(resource.seen.parameters.size(), 1u);
  EXPECT_EQ(resource.seen.extra, Value(1));
  Value expectedBody;
  expectedBody.push_back(Value(true));
  EXPECT_EQ(resource.seen.body, expectedBody);
}

TEST_F(BridgeTemplateTest, UnparsableFieldsAreNull) {
  EchoResource resource;
  resource.execute("{\"method\":\"post\"}", "nope", "", "{}");
  EXPECT_TRUE(resource.seen.parameters.isNull());
  EXPECT_TRUE(resource.seen.extra.isNull());
}

TEST_F(BridgeTemplateTest, RawBodyRule) {
  auto bodyOf = [](const char* body) {
    EchoResource resource;
    resource.execute("{}", "{}", "{}", body);
    return resource.seen.body;
  };
  EXPECT_EQ(bodyOf("null"), Value("null"));
  EXPECT_EQ(bodyOf("abc"), Value("abc"));
  EXPECT_TRUE(bodyOf("").isNull());
  EXPECT_EQ(bodyOf("\"abc\""), Value("abc"));
  EXPECT_EQ(bodyOf("  null  "), Value("  null  "));
  // The whole text is kept, a byte-order mark included.
  EXPECT_EQ(bodyOf("\xEF\xBB\xBFnot json"), Value("\xEF\xBB\xBFnot json"));
  // A failed parse that had started an array keeps what it built; the raw rule does not apply.
  const Value partial = bodyOf("[1,x");
  ASSERT_TRUE(partial.isArray());
  ASSERT_GE(partial.size(), 1u);
  EXPECT_EQ(partial.asArray().front(), Value(1));
  // Parsed JSON stays JSON.
  EXPECT_EQ(bodyOf("12"), Value(12));
  EXPECT_EQ(bodyOf("false"), Value(false));
}

TEST_F(BridgeTemplateTest, SuccessEnvelopes) {
  ScriptedResource resource;
  resource.toReturn = BridgeResult::ok(Value(1));
  EXPECT_EQ(resource("{}", "{}", "{}", ""), 1);
  resource.toReturn = BridgeResult::ok();
  EXPECT_EQ(resource("{}", "{}", "{}", ""), 2);
  ASSERT_EQ(capture.responses().size(), 2u);
  EXPECT_EQ(capture.responses()[0].status, 200);
  EXPECT_EQ(capture.responses()[0].text, "{\"error\":null,\"value\":1}");
  EXPECT_EQ(capture.responses()[1].status, 200);
  EXPECT_EQ(capture.responses()[1].text, "{\"error\":null,\"value\":null}");
}

TEST_F(BridgeTemplateTest, ValueIsWrittenCompactlyInKeyOrder) {
  ScriptedResource resource;
  Value value;
  value["zeta"] = Value("z");
  value["alpha"] = Value::of(pocketjson::kArray);
  value["alpha"].push_back(Value(1.5));
  value["alpha"].push_back(Value());
  value["Beta"] = Value("a\"b\n");
  resource.toReturn = BridgeResult::ok(value);
  resource("{}", "{}", "{}", "");
  EXPECT_EQ(capture.last().text,
            "{\"error\":null,\"value\":{\"Beta\":\"a\\\"b\\n\",\"alpha\":[1.5,null],"
            "\"zeta\":\"z\"}}");
}

TEST_F(BridgeTemplateTest, EmptyDetailsDoNotMakeAnError) {
  ScriptedResource resource;
  resource.toReturn = BridgeResult::ok(Value(5));
  resource.toReturn.error.details = Value(0);
  resource("{}", "{}", "{}", "");
  EXPECT_EQ(capture.last().status, 200);
  EXPECT_EQ(capture.last().text, "{\"error\":null,\"value\":5}");

  resource.toReturn.error.details = Value::of(pocketjson::kObject);
  resource("{}", "{}", "{}", "");
  EXPECT_EQ(capture.last().text, "{\"error\":null,\"value\":5}");

  resource.toReturn.error.details = Value(true);
  resource("{}", "{}", "{}", "");
  EXPECT_EQ(capture.last().text, "{\"error\":null,\"value\":5}");
}

TEST_F(BridgeTemplateTest, DetailsAloneMakeAnError) {
  ScriptedResource resource;
  resource.toReturn = BridgeResult::ok();
  resource.toReturn.error.details["code"] = Value(3);
  resource("{}", "{}", "{}", "");
  EXPECT_EQ(capture.last().status, 200);
  EXPECT_EQ(capture.last().text,
            "{\"error\":{\"code\":3,\"message\":\"\",\"name\":\"\"},\"value\":null}");
}

TEST_F(BridgeTemplateTest, DetailsAreTheBaseOfTheErrorObject) {
  ScriptedResource resource;
  BridgeResult result;
  result.code = bridge::kBridgeStatusInternalServerError;
  result.error.name = "InternalError";
  result.error.message = "m";
  result.error.details["name"] = Value("overwritten");
  result.error.details["message"] = Value("overwritten too");
  result.error.details["extra"] = Value(true);
  result.value = Value("kept");
  const Value detailsBefore = result.error.details;
  resource.toReturn = result;
  resource("{}", "{}", "{}", "");
  EXPECT_EQ(capture.last().status, 500);
  EXPECT_EQ(capture.last().text,
            "{\"error\":{\"extra\":true,\"message\":\"m\",\"name\":\"InternalError\"},"
            "\"value\":\"kept\"}");
  // Building the envelope did not write through to the handler's details.
  EXPECT_EQ(resource.toReturn.error.details, detailsBefore);
  EXPECT_EQ(resource.toReturn.error.details.get("name"), Value("overwritten"));
}

TEST_F(BridgeTemplateTest, NonObjectDetailsAreReplaced) {
  BridgeResult result;
  result.error.details = Value("some text");
  EXPECT_EQ(bridge::BridgeTemplate::envelope(result),
            "{\"error\":{\"message\":\"\",\"name\":\"\"},\"value\":null}");
  result.error.details = Value::of(pocketjson::kArray);
  result.error.details.push_back(Value(1));
  result.error.name = "N";
  EXPECT_EQ(bridge::BridgeTemplate::envelope(result),
            "{\"error\":{\"message\":\"\",\"name\":\"N\"},\"value\":null}");
  result.error.details = Value(7);
  EXPECT_EQ(bridge::BridgeTemplate::envelope(result),
            "{\"error\":{\"message\":\"\",\"name\":\"N\"},\"value\":null}");
}

// The envelope is built in a buffer on the caller's stack and moves to the heap when it outgrows
// it: texts on both sides of that size (and well beyond) reach the host whole, the same as
// envelope() writes them.
TEST_F(BridgeTemplateTest, EnvelopesOfEveryLengthAreSentWhole) {
  ScriptedResource resource;
  for (size_t length = 180; length < 300; ++length) {
    const std::string text(length, 'v');
    resource.toReturn = BridgeResult::ok(Value(text));
    resource("{}", "{}", "{}", "");
    ASSERT_EQ(capture.last().status, 200);
    ASSERT_EQ(capture.last().text, "{\"error\":null,\"value\":\"" + text + "\"}");
    ASSERT_EQ(bridge::BridgeTemplate::envelope(resource.toReturn), capture.last().text);
  }
  resource.toReturn = BridgeResultError(bridge::kBridgeStatusBadRequest, std::string(300, 'n'),
                                        std::string(5000, 'm'));
  resource("{}", "{}", "{}", "");
  EXPECT_EQ(capture.last().status, 400);
  EXPECT_EQ(capture.last().text, "{\"error\":{\"message\":\"" + std::string(5000, 'm') +
                                     "\",\"name\":\"" + std::string(300, 'n') +
                                     "\"},\"value\":null}");
}

TEST_F(BridgeTemplateTest, BridgeResultErrorBecomesTheResponse) {
  ScriptedResource resource;
  resource.behaviour = ScriptedResource::Behaviour::kThrowBridgeError;
  resource("{}", "{}", "{}", "");
  EXPECT_EQ(capture.last().status, 400);
  EXPECT_EQ(capture.last().text,
            "{\"error\":{\"message\":\"x\",\"name\":\"BadRequestError\"},\"value\":null}");
}

TEST_F(BridgeTemplateTest, ForeignExceptionsBecomeUnknownError) {
  ScriptedResource resource;
  resource.behaviour = ScriptedResource::Behaviour::kThrowRuntimeError;
  resource("{}", "{}", "{}", "");
  EXPECT_EQ(capture.last().status, 500);
  EXPECT_EQ(capture.last().text, kUnknownError);

  resource.behaviour = ScriptedResource::Behaviour::kThrowInt;
  resource("{}", "{}", "{}", "");
  EXPECT_EQ(capture.last().status, 500);
  EXPECT_EQ(capture.last().text, kUnknownError);
  EXPECT_EQ(capture.responses().size(), 2u);
}

TEST_F(BridgeTemplateTest, DefaultHandlersRefuseWithTheMethodInUpperCase) {
  bridge::BridgeTemplate base;
  const struct {
    const char* options;
    const char* text;
  } cases[] = {
      {"{\"method\":\"get\"}", kGetRefused},
      {"{\"method\":\"GET\"}", kGetRefused},
      {"{}", kGetRefused},
      {"", kGetRefused},
      {"{\"method\":\"put\"}", kPutRefused},
      {"{\"method\":\"Put\"}", kPutRefused},
      {"{\"method\":\"post\"}", kPostRefused},
      {"{\"method\":\"POST\"}", kPostRefused},
      {"{\"method\":\"delete\"}", kDeleteRefused},
      {"{\"method\":\"DeLeTe\"}", kDeleteRefused},
  };
  for (const auto& c : cases) {
    base(c.options, "{}", "{}", "");
    EXPECT_EQ(capture.last().status, 405) << c.options;
    EXPECT_EQ(capture.last().text, c.text) << c.options;
  }
}

TEST_F(BridgeTemplateTest, PostOnlyResourceRefusesTheOthers) {
  PostOnlyResource resource;
  resource("{\"method\":\"post\"}", "{}", "{}", "");
  EXPECT_EQ(capture.last().status, 200);
  EXPECT_EQ(capture.last().text, "{\"error\":null,\"value\":1}");
  resource("{\"method\":\"GeT\"}", "{}", "{}", "");
  EXPECT_EQ(capture.last().status, 405);
  EXPECT_EQ(capture.last().text, kGetRefused);
  resource("{\"method\":\"PUT\"}", "{}", "{}", "");
  EXPECT_EQ(capture.last().text, kPutRefused);
  resource("{\"method\":\"delete\"}", "{}", "{}", "");
  EXPECT_EQ(capture.last().text, kDeleteRefused);
}

TEST_F(BridgeTemplateTest, DefaultHandlersThrowMethodError) {
  bridge::BridgeTemplate base;
  const BridgeData data;
  try {
    base.Delete(data);
    ADD_FAILURE() << "Delete returned";
  } catch (const BridgeResultError& error) {
    EXPECT_EQ(error.code, bridge::kBridgeStatusMethodNotAllowed);
    EXPECT_EQ(error.error.name, "MethodError");
    EXPECT_EQ(error.error.message, "DELETE method is not allowed.");
  }
}

TEST_F(BridgeTemplateTest, HooksRunAroundTheHandlerAndSeeTheFinalResult) {
  HookedResource resource;
  resource("{}", "{\"name\":\"n\"}", "{}", "");
  EXPECT_EQ(resource.log, (std::vector<std::string>{"begin", "get", "end"}));
  EXPECT_EQ(resource.beginSawParameters.get("name"), Value("n"));
  EXPECT_EQ(resource.endSawParameters.get("name"), Value("n"));
  EXPECT_EQ(resource.endCode, bridge::kBridgeStatusOK);
  EXPECT_EQ(resource.endValue, Value("answer"));

  resource.log.clear();
  resource.handlerFails = true;
  resource("{}", "{}", "{}", "");
  EXPECT_EQ(resource.log, (std::vector<std::string>{"begin", "get", "end"}));
  EXPECT_EQ(resource.endCode, bridge::kBridgeStatusBadRequest);
  EXPECT_EQ(resource.endName, "BadRequestError");
  EXPECT_EQ(capture.last().status, 400);
}

TEST_F(BridgeTemplateTest, ExceptionsFromHooksLeaveWithoutResponse) {
  HookedResource resource;
  resource.throwInBegin = true;
  EXPECT_THROW(resource("{}", "{}", "{}", ""), std::runtime_error);
  EXPECT_EQ(resource.log, std::vector<std::string>{"begin"});
  resource.throwInBegin = false;
  resource.throwInEnd = true;
  EXPECT_THROW(resource("{}", "{}", "{}", ""), std::runtime_error);
  EXPECT_EQ(BridgeHelperStandInPromiseCount(), 2);
  EXPECT_EQ(BridgeHelperStandInResponseCount(), 0);
  EXPECT_TRUE(capture.responses().empty());
}

TEST_F(BridgeTemplateTest, NullTextIsALogicError) {
  EchoResource resource;
  EXPECT_THROW(resource(nullptr, "{}", "{}", ""), std::logic_error);
  EXPECT_THROW(resource("{}", "{}", "{}", nullptr), std::logic_error);
  EXPECT_TRUE(resource.calls.empty());
  EXPECT_EQ(BridgeHelperStandInResponseCount(), 0);
}

TEST_F(BridgeTemplateTest, ExactlyOneResponsePerCallWithTheReturnedPromise) {
  EchoResource echo;
  ScriptedResource scripted;
  scripted.behaviour = ScriptedResource::Behaviour::kThrowRuntimeError;
  bridge::BridgeTemplate base;
  std::vector<int> returned;
  for (int i = 0; i < 5; ++i) {
    returned.push_back(echo("{\"method\":\"put\"}", "{}", "{}", "body"));
    returned.push_back(scripted("{}", "{}", "{}", ""));
    returned.push_back(base("{}", "{}", "{}", ""));
  }
  ASSERT_EQ(capture.responses().size(), returned.size());
  EXPECT_EQ(BridgeHelperStandInPromiseCount(), static_cast<long>(returned.size()));
  EXPECT_EQ(BridgeHelperStandInResponseCount(), static_cast<long>(returned.size()));
  for (size_t i = 0; i < returned.size(); ++i) {
    // The stand-in counts from 1 after a reset.
    EXPECT_EQ(returned[i], static_cast<int>(i + 1));
    EXPECT_EQ(capture.responses()[i].promiseId, returned[i]);
  }
}

TEST_F(BridgeTemplateTest, ExecuteDoesNotTalkToTheHost) {
  EchoResource resource;
  const BridgeResult result = resource.execute("{\"method\":\"delete\"}", "{}", "{}", "");
  EXPECT_EQ(result.value, Value("delete"));
  EXPECT_EQ(BridgeHelperStandInPromiseCount(), 0);
  EXPECT_EQ(BridgeHelperStandInResponseCount(), 0);
}

}  // namespace
