// Description mode: loading and validating descriptions, and the answers they give.
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <utility>

#include "simulator_test_support.h"

namespace {

using simtest::number;

struct BridgeAnswer {
  int calls = 0;
  int status = 0;
  std::string json;
};

void onBridge(int status, const char* json, void* context) {
  auto* answer = static_cast<BridgeAnswer*>(context);
  ++answer->calls;
  answer->status = status;
  answer->json = json;
}

struct TaskAnswer {
  int calls = 0;
  std::string type;
  std::string json;
};

void onTask(const char* type, const char* json, void* context) {
  auto* answer = static_cast<TaskAnswer*>(context);
  ++answer->calls;
  answer->type = type;
  answer->json = json;
}

const char kGood[] = R"({
  "applications": {
    "viewer": {
      "requests": {
        "/document/open": {"status": 200, "answer": {"opened": true, "pages": 12}},
        "/document/save": {"status": 507, "answerText": "{\"error\":\"disk full\"} trailing"},
        "/bare": {}
      },
      "defaultRequest": {"status": 404, "answer": {"error": "unknown uri"}},
      "tasks": {
        "render": {"type": "done", "answer": [1, 2]},
        "plain": {}
      },
      "events": [
        {"type": "progress", "payloads": [{"percent": 10}, {"percent": 20}],
         "intervalMs": 50, "count": 2}
      ]
    },
    "printer": {
      "requests": {"/status": {"status": -1, "answer": "idle"}}
    }
  }
})";

class Description : public simtest::SimulatorTest {
 protected:
  // Loads `text`, expecting success.
  void load(const std::string& text) {
    char error[512] = "untouched";
    ASSERT_EQ(ZrvSimLoadDescriptionText(text.c_str(), "test.json", error, sizeof error), 1)
        << error;
    EXPECT_STREQ(error, "");
  }
  // The message for a description `text` that must be refused.
  std::string refusal(const std::string& text) {
    char error[512] = "";
    if (ZrvSimLoadDescriptionText(text.c_str(), "examples/apps.json", error, sizeof error) != 0) {
      return "<loaded>";
    }
    return error;
  }
  // The message for a description whose only application is `app`.
  std::string appRefusal(const std::string& app) {
    return refusal("{\"applications\":{\"viewer\":" + app + "}}");
  }
};

TEST_F(Description, OnlyDescribedApplicationsConnect) {
  load(kGood);
  EXPECT_EQ(number(ZrvConnectApplication("viewer", "client")), 1u);
  EXPECT_EQ(ZrvConnectApplication("Viewer", ""), nullptr);
  EXPECT_EQ(ZrvConnectApplication("", ""), nullptr);
  EXPECT_EQ(number(ZrvConnectApplication("printer", "")), 2u);
}

TEST_F(Description, RequestAnswers) {
  load(kGood);
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  BridgeAnswer open;
  EXPECT_EQ(ZrvBridgeCross(h, "", "/document/open", "null", "null", onBridge, &open), 1);
  EXPECT_EQ(open.calls, 1);
  EXPECT_EQ(open.status, 200);
  EXPECT_EQ(open.json, "{\"opened\":true,\"pages\":12}");
  BridgeAnswer save;
  EXPECT_EQ(ZrvBridgeCross(h, "", "/document/save", "null", "null", onBridge, &save), 1);
  EXPECT_EQ(save.status, 507);
  EXPECT_EQ(save.json, "{\"error\":\"disk full\"} trailing");
  BridgeAnswer bare;
  ZrvBridgeCross(h, "", "/bare", "null", "null", onBridge, &bare);
  EXPECT_EQ(bare.status, 200);
  EXPECT_EQ(bare.json, "null");
}

TEST_F(Description, DefaultRequest) {
  load(kGood);
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  BridgeAnswer answer;
  EXPECT_EQ(ZrvBridgeCross(h, "", "/nothing", "null", "null", onBridge, &answer), 1);
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(answer.json, "{\"error\":\"unknown uri\"}");
}

TEST_F(Description, UnknownUriWithoutDefault) {
  load(kGood);
  ZrvApplicationHandle h = ZrvConnectApplication("printer", "");
  BridgeAnswer answer;
  EXPECT_EQ(ZrvBridgeCross(h, "", "/a\"b", "null", "null", onBridge, &answer), 1);
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(answer.json, "{\"error\":\"Unknown uri.\",\"uri\":\"/a\\\"b\"}");
  BridgeAnswer status;
  ZrvBridgeCross(h, "", "/status", "null", "null", onBridge, &status);
  EXPECT_EQ(status.status, -1);
  EXPECT_EQ(status.json, "\"idle\"");
}

TEST_F(Description, TaskAnswers) {
  load(kGood);
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  TaskAnswer render;
  EXPECT_EQ(ZrvExecuteCustomTask(h, "", "render", "{}", onTask, &render), 1);
  EXPECT_EQ(render.calls, 1);
  EXPECT_EQ(render.type, "done");
  EXPECT_EQ(render.json, "[1,2]");
  TaskAnswer plain;
  plain.type = "unchanged";
  EXPECT_EQ(ZrvExecuteCustomTask(h, "", "plain", "{}", onTask, &plain), 1);
  EXPECT_EQ(plain.type, "");
  EXPECT_EQ(plain.json, "null");
  TaskAnswer unknown;
  EXPECT_EQ(ZrvExecuteCustomTask(h, "", "unknown", "{}", onTask, &unknown), 0);
  EXPECT_EQ(unknown.calls, 0);
  EXPECT_EQ(simtest::logLine(3),
            "ZrvExecuteCustomTask(1, \"\", \"unknown\", \"{}\", callback, context) -> 0");
}

TEST_F(Description, RegisterAndUnregister) {
  load(kGood);
  ZrvApplicationHandle h = ZrvConnectApplication("printer", "");
  simtest::Recorder recorder;
  // Any type may be subscribed; only described ones are raised by themselves.
  EXPECT_EQ(ZrvRegisterEvent(h, "", "anything", simtest::Recorder::onEvent, &recorder), 1);
  EXPECT_EQ(ZrvUnregisterEvent(h, "", "anything"), 1);
  EXPECT_EQ(ZrvUnregisterEvent(h, "", "anything"), 0);  // no such subscription
  EXPECT_EQ(ZrvSetApplicationDidDisconnectCallback(h, nullptr, nullptr), 1);
  EXPECT_EQ(ZrvDisconnectApplication(h), 1);
}

TEST_F(Description, ProgramSwitchesBack) {
  load(kGood);
  EXPECT_EQ(ZrvConnectApplication("other", ""), nullptr);
  ZrvSimProgram p;
  ZrvSimDefaultProgram(&p);
  ZrvSimSetProgram(&p);
  EXPECT_NE(ZrvConnectApplication("other", ""), nullptr);
}

TEST_F(Description, EmptyApplicationsIsValid) {
  load("{\"applications\":{}}");
  EXPECT_EQ(ZrvConnectApplication("viewer", ""), nullptr);
}

TEST_F(Description, FailureKeepsPreviousState) {
  EXPECT_NE(refusal("[]"), "<loaded>");
  EXPECT_NE(ZrvConnectApplication("anything", ""), nullptr);  // still programmed mode
  load(kGood);
  EXPECT_NE(refusal("{}"), "<loaded>");
  EXPECT_NE(ZrvConnectApplication("viewer", ""), nullptr);  // still the good description
  EXPECT_EQ(ZrvConnectApplication("anything", ""), nullptr);
}

TEST_F(Description, BadJson) {
  // The JSON library's own message follows the source name, line and column.
  EXPECT_EQ(refusal("{\"applications\":{}} x"),
            "examples/apps.json:1:21: Gabage string exists after json string.");
  EXPECT_EQ(refusal(""), "examples/apps.json:1:1: Unexpected character exists while parsing.");
  EXPECT_EQ(refusal("{\"applications\":nul}"),
            "examples/apps.json:1:17: Invalid null type string exists.");
}

// Syntax errors point where the parser stopped: the first character it could not take.
TEST_F(Description, SyntaxErrorPositions) {
  // A missing comma: the next member's key.
  EXPECT_EQ(refusal("{\n  \"applications\": {\n    \"viewer\": {} \"printer\": {}\n  }\n}\n"),
            "examples/apps.json:3:18: Unexpected string exists while parsing object.");
  // A bad literal: its first letter.
  EXPECT_EQ(
      refusal("{\"applications\": {\n  \"viewer\": {\"defaultRequest\": {\"answer\": tru}}}}"),
      "examples/apps.json:2:43: Invalid boolean type string exists.");
  // A missing comma in an array.
  EXPECT_EQ(refusal("{\"applications\":{\"a\":{\"events\":[{\"type\":\"t\"} {}]}}}"),
            "examples/apps.json:1:46: Unexpected string exists while parsing array.");
  // Text after the value: its first character, past the whitespace.
  EXPECT_EQ(refusal("{\"applications\": {}}\n\n  }\n"),
            "examples/apps.json:3:3: Gabage string exists after json string.");
  // A bad escape: the character after the backslash.
  EXPECT_EQ(refusal("{\"applications\": {\"a\\x\": {}}}"),
            "examples/apps.json:1:22: Unexpected escape character is found while parsing string.");
  EXPECT_EQ(refusal("{\"applications\": {\"\\u12G4\": {}}}"),
            "examples/apps.json:1:24: Invalid unicode hex string is found while parsing string.");
  EXPECT_EQ(refusal("{\"applications\": {\"\\uD800x\": {}}}"),
            "examples/apps.json:1:26: Invalid unicode surrogate pair is found while parsing "
            "string.");
  // Numbers: where the number stops making sense.
  EXPECT_EQ(refusal("{\"applications\": {\"a\": {\"defaultRequest\": {\"status\": 012}}}}"),
            "examples/apps.json:1:54: Unexpected '0' character is found while parsing number.");
  EXPECT_EQ(refusal("{\"applications\": {\"a\": {\"defaultRequest\": {\"status\": 1.}}}}"),
            "examples/apps.json:1:56: Digit is not found after the decimal point while parsing "
            "number.");
  EXPECT_EQ(refusal("{\"applications\": {\"a\": {\"defaultRequest\": {\"status\": -x}}}}"),
            "examples/apps.json:1:55: Digit is not found while parsing number.");
  EXPECT_EQ(refusal("{\"applications\": {\"a\": {\"defaultRequest\": {\"status\": 1e}}}}"),
            "examples/apps.json:1:56: Digit is not found after exponent keyword while parsing "
            "number.");
  // A missing colon.
  EXPECT_EQ(refusal("{\"applications\" {}}"),
            "examples/apps.json:1:17: Unexpected string exists while parsing object.");
}

// When the text ends too early, the position is just past its last character.
TEST_F(Description, SyntaxErrorsAtTheEnd) {
  // An unterminated string.
  EXPECT_EQ(refusal("{\"applications\": {\n  \"viewer: {}}}"),
            "examples/apps.json:2:16: Expected string ending character '\"' is not found.");
  // A truncated file, also right after a newline.
  EXPECT_EQ(refusal("{\n  \"applications\": {\n    \"viewer\": {"),
            "examples/apps.json:3:16: Unexpected string exists while parsing object.");
  EXPECT_EQ(refusal("{\n  \"applications\": {}\n"),
            "examples/apps.json:3:1: Unexpected string exists while parsing object.");
  EXPECT_EQ(refusal("{\"applications\": {\"a\": {\"events\": [1"),
            "examples/apps.json:1:37: Unexpected string exists while parsing array.");
  EXPECT_EQ(refusal("{\"applications\": tr"),
            "examples/apps.json:1:18: Invalid boolean type string exists.");
  EXPECT_EQ(refusal("  \n "), "examples/apps.json:2:2: Unexpected character exists while parsing.");
  // The JSON library closes an object cut off after '{' or a ','; a description must be whole.
  EXPECT_EQ(refusal("{\"applications\": {},\n"),
            "examples/apps.json:2:1: the text ends before the top-level object is closed");
  EXPECT_EQ(refusal("{"),
            "examples/apps.json:1:2: the text ends before the top-level object is closed");
  EXPECT_EQ(refusal("{x"),
            "examples/apps.json:1:3: the text ends before the top-level object is closed");
}

TEST_F(Description, LoneLowSurrogate) {
  // The JSON library gives no message for it; the position is the escape's backslash.
  const std::string message =
      ":1:20: lone low surrogate escape: \\uDC00 to \\uDFFF must follow a high surrogate escape "
      "(\\uD800 to \\uDBFF)";
  EXPECT_EQ(refusal("{\"applications\": {\"\\uDC00\": {}}}"), "examples/apps.json" + message);
  EXPECT_EQ(refusal("{\"applications\": {\"x\\udfff\": {}}}"),
            "examples/apps.json:1:21" + message.substr(5));
  // A high surrogate followed by a second one is the library's own surrogate pair message.
  EXPECT_EQ(refusal("{\"applications\": {\"\\uD800\\uD800\": {}}}"),
            "examples/apps.json:1:32: Invalid unicode surrogate pair is found while parsing "
            "string.");
  load("{\"applications\": {\"\\uD83D\\uDE00\": {}}}");  // a proper pair
  EXPECT_NE(ZrvConnectApplication("\xF0\x9F\x98\x80", ""), nullptr);
}

TEST_F(Description, ColumnsCountCharacters) {
  // Two-, three- and four-byte UTF-8 characters count one column each.
  EXPECT_EQ(refusal("{\"applications\": {\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\": {} x}}"),
            "examples/apps.json:1:29: Unexpected string exists while parsing object.");
  // Inside a string too, and on a later line.
  EXPECT_EQ(refusal("{\"applications\": {\n\"\xC3\xA9\": {\"tasks\": {\"\xC3\xA9\": 1 2}}}}"),
            "examples/apps.json:2:24: Unexpected string exists while parsing object.");
}

TEST_F(Description, LineBreaks) {
  // "\r\n" is one line break, and so is a lone "\r".
  EXPECT_EQ(refusal("{\r\n\"applications\":\r\n{} x}"),
            "examples/apps.json:3:4: Unexpected string exists while parsing object.");
  EXPECT_EQ(refusal("{\r\"applications\":\r\r{} x}"),
            "examples/apps.json:4:4: Unexpected string exists while parsing object.");
  EXPECT_EQ(refusal("{\n\"applications\":\t{} x}"),
            "examples/apps.json:2:20: Unexpected string exists while parsing object.");
}

TEST_F(Description, ByteOrderMarkIsNotAColumn) {
  EXPECT_EQ(refusal("\xEF\xBB\xBF{\"applications\":{}} x"),
            "examples/apps.json:1:21: Gabage string exists after json string.");
  EXPECT_EQ(refusal("\xEF\xBB\xBF[}"),
            "examples/apps.json:1:2: Unexpected character exists while parsing.");
  load("\xEF\xBB\xBF{\"applications\":{}}");
}

TEST_F(Description, SchemaMember) {
  load("{\"$schema\": \"../examples/applications.schema.json\", \"applications\": {}}");
  load("{\"applications\": {}, \"$schema\": \"\"}");
  EXPECT_EQ(refusal("{\"$schema\": 1, \"applications\": {}}"),
            "examples/apps.json: $schema: expected a string");
  EXPECT_EQ(refusal("{\"$schema\": null}"), "examples/apps.json: $schema: expected a string");
  EXPECT_EQ(refusal("{\"$schema\": \"s.json\"}"),
            "examples/apps.json: applications: required member missing");
  // Only at the top level.
  EXPECT_EQ(appRefusal("{\"$schema\": \"s.json\"}"),
            "examples/apps.json: applications.viewer.$schema: unknown member");
  EXPECT_EQ(appRefusal("{\"events\": [{\"type\": \"t\", \"$schema\": \"s.json\"}]}"),
            "examples/apps.json: applications.viewer.events[0].$schema: unknown member");
  EXPECT_EQ(refusal("{\"applications\": {\"$schema\": \"s.json\"}}"),
            "examples/apps.json: applications.$schema: expected an object");
}

TEST_F(Description, EmptyNames) {
  EXPECT_EQ(refusal("{\"applications\": {\"viewer\": {}, \"\": {}}}"),
            "examples/apps.json: applications: expected a non-empty application name");
  EXPECT_EQ(appRefusal("{\"requests\": {\"/a\": {}, \"\": {}}}"),
            "examples/apps.json: applications.viewer.requests: expected a non-empty uri");
  EXPECT_EQ(appRefusal("{\"tasks\": {\"\": {}}}"),
            "examples/apps.json: applications.viewer.tasks: expected a non-empty task type");
  // A task's answer type may be empty; so may a one-character name.
  load(
      "{\"applications\": {\"v\": {\"requests\": {\"/\": {}}, \"tasks\": {\"t\": {\"type\": "
      "\"\"}}}}}");
}

TEST_F(Description, TopLevel) {
  EXPECT_EQ(refusal("[]"), "examples/apps.json: expected an object at the top level");
  EXPECT_EQ(refusal("{}"), "examples/apps.json: applications: required member missing");
  EXPECT_EQ(refusal("{\"applications\":{},\"extra\":1}"),
            "examples/apps.json: extra: unknown member");
  EXPECT_EQ(refusal("{\"applications\":[]}"),
            "examples/apps.json: applications: expected an object");
}

TEST_F(Description, Application) {
  EXPECT_EQ(appRefusal("3"), "examples/apps.json: applications.viewer: expected an object");
  EXPECT_EQ(appRefusal("{\"reqests\":{}}"),
            "examples/apps.json: applications.viewer.reqests: unknown member");
  EXPECT_EQ(appRefusal("{\"requests\":[]}"),
            "examples/apps.json: applications.viewer.requests: expected an object");
  EXPECT_EQ(appRefusal("{\"tasks\":\"x\"}"),
            "examples/apps.json: applications.viewer.tasks: expected an object");
  EXPECT_EQ(appRefusal("{\"events\":{}}"),
            "examples/apps.json: applications.viewer.events: expected an array");
}

TEST_F(Description, Requests) {
  EXPECT_EQ(appRefusal("{\"requests\":{\"/open\":{\"status\":\"200\"}}}"),
            "examples/apps.json: applications.viewer.requests./open.status: expected an integer");
  EXPECT_EQ(appRefusal("{\"requests\":{\"/open\":{\"status\":200.5}}}"),
            "examples/apps.json: applications.viewer.requests./open.status: expected an integer");
  EXPECT_EQ(appRefusal("{\"requests\":{\"/open\":{\"status\":3000000000}}}"),
            "examples/apps.json: applications.viewer.requests./open.status: expected an integer "
            "from -2147483648 to 2147483647");
  EXPECT_EQ(appRefusal("{\"requests\":{\"/open\":[]}}"),
            "examples/apps.json: applications.viewer.requests./open: expected an object");
  EXPECT_EQ(appRefusal("{\"requests\":{\"/open\":{\"anwser\":1}}}"),
            "examples/apps.json: applications.viewer.requests./open.anwser: unknown member");
  EXPECT_EQ(appRefusal("{\"requests\":{\"/open\":{\"answer\":1,\"answerText\":\"1\"}}}"),
            "examples/apps.json: applications.viewer.requests./open: give either answer or "
            "answerText, not both");
  EXPECT_EQ(appRefusal("{\"requests\":{\"/open\":{\"answerText\":1}}}"),
            "examples/apps.json: applications.viewer.requests./open.answerText: expected a "
            "string");
  EXPECT_EQ(appRefusal("{\"requests\":{\"/open\":{\"answer\":[1e999]}}}"),
            "examples/apps.json: applications.viewer.requests./open.answer: holds a number too "
            "large for JSON text");
  EXPECT_EQ(appRefusal("{\"defaultRequest\":{\"status\":null}}"),
            "examples/apps.json: applications.viewer.defaultRequest.status: expected an integer");
  EXPECT_EQ(appRefusal("{\"defaultRequest\":true}"),
            "examples/apps.json: applications.viewer.defaultRequest: expected an object");
}

TEST_F(Description, Tasks) {
  EXPECT_EQ(appRefusal("{\"tasks\":{\"render\":{\"type\":1}}}"),
            "examples/apps.json: applications.viewer.tasks.render.type: expected a string");
  EXPECT_EQ(appRefusal("{\"tasks\":{\"render\":{\"status\":200}}}"),
            "examples/apps.json: applications.viewer.tasks.render.status: unknown member");
  EXPECT_EQ(appRefusal("{\"tasks\":{\"render\":null}}"),
            "examples/apps.json: applications.viewer.tasks.render: expected an object");
  EXPECT_EQ(appRefusal("{\"tasks\":{\"render\":{\"answer\":1,\"answerText\":\"\"}}}"),
            "examples/apps.json: applications.viewer.tasks.render: give either answer or "
            "answerText, not both");
}

TEST_F(Description, Events) {
  const std::string at = "examples/apps.json: applications.viewer.events[1]";
  auto events = [this](const std::string& second) {
    return appRefusal("{\"events\":[{\"type\":\"ok\"}," + second + "]}");
  };
  EXPECT_EQ(events("1"), at + ": expected an object");
  EXPECT_EQ(events("{}"), at + ".type: required member missing");
  EXPECT_EQ(events("{\"type\":\"\"}"), at + ".type: expected a non-empty string");
  EXPECT_EQ(events("{\"type\":5}"), at + ".type: expected a non-empty string");
  EXPECT_EQ(events("{\"type\":\"t\",\"typo\":1}"), at + ".typo: unknown member");
  EXPECT_EQ(events("{\"type\":\"t\",\"payload\":1,\"payloads\":[1]}"),
            at + ": give either payload or payloads, not both");
  EXPECT_EQ(events("{\"type\":\"t\",\"payloads\":[]}"),
            at + ".payloads: expected a non-empty array");
  EXPECT_EQ(events("{\"type\":\"t\",\"payloads\":{}}"),
            at + ".payloads: expected a non-empty array");
  EXPECT_EQ(events("{\"type\":\"t\",\"payloads\":[1,-1e400]}"),
            at + ".payloads[1]: holds a number too large for JSON text");
  EXPECT_EQ(events("{\"type\":\"t\",\"payload\":[1e400]}"),
            at + ".payload: holds a number too large for JSON text");
  EXPECT_EQ(events("{\"type\":\"t\",\"intervalMs\":0}"),
            at + ".intervalMs: expected an integer from 1 to 86400000");
  EXPECT_EQ(events("{\"type\":\"t\",\"intervalMs\":86400001}"),
            at + ".intervalMs: expected an integer from 1 to 86400000");
  EXPECT_EQ(events("{\"type\":\"t\",\"intervalMs\":\"5\"}"),
            at + ".intervalMs: expected an integer");
  EXPECT_EQ(events("{\"type\":\"t\",\"count\":0}"),
            at + ".count: expected an integer from 1 to 9223372036854775807");
  EXPECT_EQ(events("{\"type\":\"t\",\"count\":1.5}"), at + ".count: expected an integer");
}

// An integer may be written as a real number without a fraction, as JSON Schema allows.
TEST_F(Description, IntegersWrittenAsRealNumbers) {
  load(R"({"applications": {"viewer": {"requests": {
    "/a": {"status": 201.0}, "/b": {"status": 2e2}, "/c": {"status": -2147483648.0},
    "/d": {"status": 2147483647e0}, "/e": {"status": -0.0}, "/f": {"status": 0.5e1}},
    "events": [{"type": "t", "intervalMs": 1.0, "count": 9.2e18},
               {"type": "t", "intervalMs": 8.64e7, "count": 1e0}]}}})");
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  const std::pair<const char*, int> expected[] = {
      {"/a", 201}, {"/b", 200}, {"/c", -2147483648}, {"/d", 2147483647}, {"/e", 0}, {"/f", 5}};
  for (const auto& entry : expected) {
    BridgeAnswer answer;
    ZrvBridgeCross(h, "", entry.first, "null", "null", onBridge, &answer);
    EXPECT_EQ(answer.status, entry.second) << entry.first;
  }
}

TEST_F(Description, CountWrittenAsRealNumber) {
  ASSERT_NO_FATAL_FAILURE(load(R"({"applications": {"viewer": {"events": [
    {"type": "t", "payloads": [1, 2, 3], "intervalMs": 1.0, "count": 2.0}]}}})"));
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  simtest::Recorder recorder;
  ASSERT_EQ(ZrvRegisterEvent(h, "", "t", simtest::Recorder::onEvent, &recorder), 1);
  ASSERT_TRUE(recorder.waitFor(2));
  std::this_thread::sleep_for(std::chrono::milliseconds(100));  // a third would have come by now
  EXPECT_EQ(recorder.size(), 2u);
}

TEST_F(Description, RealNumbersThatAreNotIntegers) {
  const std::string status = "examples/apps.json: applications.viewer.defaultRequest.status: ";
  auto withStatus = [this](const std::string& number) {
    return appRefusal("{\"defaultRequest\": {\"status\": " + number + "}}");
  };
  EXPECT_EQ(withStatus("1.5"), status + "expected an integer");
  EXPECT_EQ(withStatus("200.000001"), status + "expected an integer");
  EXPECT_EQ(withStatus("1e-1"), status + "expected an integer");
  EXPECT_EQ(withStatus("1e400"), status + "expected an integer");  // an infinity
  EXPECT_EQ(withStatus("-1e400"), status + "expected an integer");
  EXPECT_EQ(withStatus("true"), status + "expected an integer");
  const std::string range = "expected an integer from -2147483648 to 2147483647";
  EXPECT_EQ(withStatus("2147483648.0"), status + range);
  EXPECT_EQ(withStatus("-2147483649.0"), status + range);
  EXPECT_EQ(withStatus("3e9"), status + range);
  EXPECT_EQ(withStatus("1e300"), status + range);
  EXPECT_EQ(withStatus("-1e300"), status + range);
}

TEST_F(Description, RangesOfIntegersWrittenAsRealNumbers) {
  const std::string at = "examples/apps.json: applications.viewer.events[0].";
  auto event = [this](const std::string& members) {
    return appRefusal("{\"events\": [{\"type\": \"t\", " + members + "}]}");
  };
  EXPECT_EQ(event("\"intervalMs\": 0.0"),
            at + "intervalMs: expected an integer from 1 to 86400000");
  EXPECT_EQ(event("\"intervalMs\": 86400001.0"),
            at + "intervalMs: expected an integer from 1 to 86400000");
  EXPECT_EQ(event("\"intervalMs\": 0.5"), at + "intervalMs: expected an integer");
  const std::string count = "count: expected an integer from 1 to 9223372036854775807";
  EXPECT_EQ(event("\"count\": -1.0"), at + count);
  EXPECT_EQ(event("\"count\": 1e19"), at + count);
  // 2^63 as a double, the nearest to 9223372036854775807.
  EXPECT_EQ(event("\"count\": 9223372036854775807.0"), at + count);
  EXPECT_EQ(event("\"count\": 9223372036854775808"), at + count);
  // Integer literals beyond 64 bits that the JSON library would wrap around (to 1 and to -1).
  EXPECT_EQ(event("\"count\": 18446744073709551617"), at + count);
  EXPECT_EQ(event("\"count\": -18446744073709551617"), at + count);
  EXPECT_EQ(event("\"count\": 18446744073709551617e0"), at + count);
  load(
      "{\"applications\": {\"v\": {\"events\": [{\"type\": \"t\", \"count\": "
      "9223372036854775807}]}}}");
}

// Integer literals beyond 64 bits are real numbers, wherever they stand.
TEST_F(Description, LongIntegerLiterals) {
  load(R"({"applications": {"viewer": {"requests": {
    "/wrap": {"answer": [18446744073709551617, -18446744073709551617, 10000000000000000000]},
    "/edge": {"answer": [9223372036854775807, -9223372036854775807, 1.5e3, 12e0]},
    "/text": {"answer": {"18446744073709551617": "18446744073709551617 \"18446744073709551617"}}
  }}}})");
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  BridgeAnswer wrap;
  ZrvBridgeCross(h, "", "/wrap", "null", "null", onBridge, &wrap);
  EXPECT_EQ(wrap.json, "[1.8446744073709552e+19,-1.8446744073709552e+19,1e+19]");
  BridgeAnswer edge;
  ZrvBridgeCross(h, "", "/edge", "null", "null", onBridge, &edge);
  EXPECT_EQ(edge.json, "[9223372036854775807,-9223372036854775807,1500,12]");
  BridgeAnswer text;
  ZrvBridgeCross(h, "", "/text", "null", "null", onBridge, &text);
  EXPECT_EQ(text.json,
            "{\"18446744073709551617\":\"18446744073709551617 \\\"18446744073709551617\"}");
  // Too large for a double, also as an exponent.
  EXPECT_EQ(appRefusal("{\"defaultRequest\": {\"answer\": 1" + std::string(400, '0') + "}}"),
            "examples/apps.json: applications.viewer.defaultRequest.answer: holds a number too "
            "large for JSON text");
  EXPECT_EQ(appRefusal("{\"defaultRequest\": {\"answer\": 1e10000000000000000000}}"),
            "examples/apps.json: applications.viewer.defaultRequest.answer: holds a number too "
            "large for JSON text");
  // Digits among the stray bytes that the JSON library skips where a key is expected.
  load("{12345678901234567890 \"applications\": {}}");
}

TEST_F(Description, DeepNestingInAnswerDoesNotCrash) {
  std::string deep(200000, '[');
  deep += std::string(200000, ']');
  load("{\"applications\":{\"viewer\":{\"requests\":{\"/d\":{\"answer\":" + deep + "}}}}}");
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  BridgeAnswer answer;
  ZrvBridgeCross(h, "", "/d", "null", "null", onBridge, &answer);
  EXPECT_EQ(answer.json, deep);
}

TEST_F(Description, DeepNestingAtTopDoesNotCrash) {
  std::string deep(200000, '[');
  EXPECT_EQ(refusal(deep + std::string(200000, ']')),
            "examples/apps.json: expected an object at the top level");
}

TEST_F(Description, NullArguments) {
  char error[128] = "";
  EXPECT_EQ(ZrvSimLoadDescriptionText(nullptr, "src", error, sizeof error), 0);
  EXPECT_STREQ(error, "src: no text given");
  EXPECT_EQ(ZrvSimLoadDescriptionText("[]", nullptr, error, sizeof error), 0);
  EXPECT_STREQ(error, "description: expected an object at the top level");
  EXPECT_EQ(ZrvSimLoadDescription(nullptr, error, sizeof error), 0);
  EXPECT_STREQ(error, "(no file): no file name given");
  EXPECT_EQ(ZrvSimLoadDescriptionText("[]", "x", nullptr, 0), 0);  // no buffer: nothing written
}

TEST_F(Description, ErrorIsCutToBuffer) {
  char error[8];
  std::memset(error, 'z', sizeof error);
  EXPECT_EQ(ZrvSimLoadDescriptionText("[]", "abcdef", error, sizeof error), 0);
  EXPECT_STREQ(error, "abcdef:");
  char one[1] = {'z'};
  EXPECT_EQ(ZrvSimLoadDescriptionText("[]", "abcdef", one, sizeof one), 0);
  EXPECT_EQ(one[0], '\0');
}

class DescriptionFile : public Description {
 protected:
  void SetUp() override {
    Description::SetUp();
    char pattern[] = "/tmp/zarvo_sim_description_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    directory_ = pattern;
  }
  void TearDown() override {
    for (const std::string& file : files_) std::remove(file.c_str());
    rmdir(directory_.c_str());
    Description::TearDown();
  }
  std::string write(const std::string& name, const std::string& text) {
    const std::string path = directory_ + "/" + name;
    std::ofstream(path, std::ios::binary) << text;
    files_.push_back(path);
    return path;
  }
  std::string directory_;
  std::vector<std::string> files_;
};

TEST_F(DescriptionFile, GoodFile) {
  const std::string path = write("apps.json", kGood);
  char error[256] = "untouched";
  ASSERT_EQ(ZrvSimLoadDescription(path.c_str(), error, sizeof error), 1) << error;
  EXPECT_STREQ(error, "");
  EXPECT_NE(ZrvConnectApplication("viewer", ""), nullptr);
  EXPECT_EQ(ZrvConnectApplication("other", ""), nullptr);
}

TEST_F(DescriptionFile, FileWithByteOrderMark) {
  const std::string path = write("bom.json", "\xEF\xBB\xBF{\"applications\":{\"a\":{}}}");
  char error[256] = "";
  ASSERT_EQ(ZrvSimLoadDescription(path.c_str(), error, sizeof error), 1) << error;
}

TEST_F(DescriptionFile, MessagesNameTheFile) {
  const std::string path =
      write("bad.json",
            "{\"applications\":{\"viewer\":{\"requests\":{\"/open\":{\"status\":"
            "\"x\"}}}}}");
  char error[256] = "";
  ASSERT_EQ(ZrvSimLoadDescription(path.c_str(), error, sizeof error), 0);
  EXPECT_EQ(std::string(error),
            path + ": applications.viewer.requests./open.status: expected an integer");
}

TEST_F(DescriptionFile, MissingFile) {
  const std::string path = directory_ + "/missing.json";
  char error[256] = "";
  ASSERT_EQ(ZrvSimLoadDescription(path.c_str(), error, sizeof error), 0);
  EXPECT_EQ(std::string(error), path + ": cannot be opened (No such file or directory)");
}

TEST_F(DescriptionFile, DirectoryIsNotAFile) {
  char error[256] = "";
  ASSERT_EQ(ZrvSimLoadDescription(directory_.c_str(), error, sizeof error), 0);
  EXPECT_EQ(std::string(error), directory_ + ": cannot be read (Is a directory)");
}

TEST_F(DescriptionFile, EmptyFile) {
  const std::string path = write("empty.json", "");
  char error[256] = "";
  ASSERT_EQ(ZrvSimLoadDescription(path.c_str(), error, sizeof error), 0);
  EXPECT_EQ(std::string(error), path + ":1:1: Unexpected character exists while parsing.");
}

TEST_F(DescriptionFile, SyntaxErrorNamesFileLineAndColumn) {
  const std::string path =
      write("broken.json", "{\n  \"applications\": {\n    \"viewer\": {\"requests\" {}}\n  }\n}\n");
  char error[256] = "";
  ASSERT_EQ(ZrvSimLoadDescription(path.c_str(), error, sizeof error), 0);
  EXPECT_EQ(std::string(error), path + ":3:27: Unexpected string exists while parsing object.");
}

TEST_F(DescriptionFile, NulAfterTheValueEndsTheText) {
  // As for the JSON library's whole-text parse: what follows a NUL is not looked at.
  const char kAfter[] = "{\"applications\":{\"a\":{}}}\n\0 more";
  const std::string path = write("nul.json", std::string(kAfter, sizeof kAfter - 1));
  char error[256] = "";
  ASSERT_EQ(ZrvSimLoadDescription(path.c_str(), error, sizeof error), 1) << error;
  const char kInside[] = "{\"applications\":{\"a\":\0{}}}";
  const std::string inside = write("nul_inside.json", std::string(kInside, sizeof kInside - 1));
  ASSERT_EQ(ZrvSimLoadDescription(inside.c_str(), error, sizeof error), 0);
  EXPECT_EQ(std::string(error), inside + ":1:22: Unexpected character exists while parsing.");
}

}  // namespace
