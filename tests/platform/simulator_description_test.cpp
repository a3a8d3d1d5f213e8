// Description mode: loading and validating descriptions, and the answers they give.
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

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
  // The JSON library's own message follows the source name.
  EXPECT_EQ(refusal("{\"applications\":{}} x"),
            "examples/apps.json: Gabage string exists after json string.");
  EXPECT_EQ(refusal(""), "examples/apps.json: Unexpected character exists while parsing.");
  EXPECT_EQ(refusal("{\"applications\":nul}"),
            "examples/apps.json: Invalid null type string exists.");
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
  EXPECT_EQ(std::string(error), path + ": Unexpected character exists while parsing.");
}

}  // namespace
