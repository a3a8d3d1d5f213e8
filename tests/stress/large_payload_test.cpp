// Requests, answers and event payloads of several megabytes and of extreme nesting depth
// (1,000,000 levels), through the plug-in's exported entry points. Each is answered exactly once,
// with the exact expected text, and nothing crashes, also when the call runs on a thread with a
// 256 KiB stack: no code path may recurse natively in proportion to the nesting depth.
//
// Expected texts are built here from the same document through pocketjson, so the comparisons
// are byte for byte.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdint>
#include <fstream>
#include <functional>
#include <iterator>
#include <mutex>
#include <sstream>
#include <string>

#include "bridge_helper_stand_in.h"
#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"
#include "pocketjson/value.h"
#include "zarvo_bridging.h"
#include "zarvo_simulator.h"

#ifndef ZARVO_SHARED_DATA_DIR
#error ZARVO_SHARED_DATA_DIR must name the shared test data folder
#endif

namespace {

constexpr size_t kDepth = 1000000;
constexpr size_t kSmallStack = 256 * 1024;

struct Sinks {
  std::mutex mutex;
  long responses = 0;
  int lastPromise = 0;
  int lastStatus = 0;
  std::string lastText;
  long events = 0;
  std::string lastEvent;
};

Sinks sinks;

void onResponse(int promiseId, int status, const char* json, void*) {
  std::lock_guard<std::mutex> lock(sinks.mutex);
  ++sinks.responses;
  sinks.lastPromise = promiseId;
  sinks.lastStatus = status;
  sinks.lastText = json;
}

void onEvent(const char*, const char* json, void*) {
  std::lock_guard<std::mutex> lock(sinks.mutex);
  ++sinks.events;
  sinks.lastEvent = json;
}

std::string readFile(const std::string& name) {
  std::ifstream in(std::string(ZARVO_SHARED_DATA_DIR) + "/corpus/" + name, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string compact(const std::string& json) {
  pocketjson::Value value;
  pocketjson::Parser parser;
  EXPECT_TRUE(parser.tryParse(value, json, pocketjson::ParseOption::kLenient)) << parser.error();
  pocketjson::Serializer::Attributes attributes;
  std::string out;
  EXPECT_TRUE(pocketjson::Serializer().serialize(out, value, attributes, -1, nullptr));
  return out;
}

std::string nested(size_t depth, bool closed) {
  std::string text(depth, '[');
  if (closed) text.append(depth, ']');
  return text;
}

// Runs `work` on a new thread whose stack is `stackSize` bytes, and waits for it.
void runOnStack(size_t stackSize, const std::function<void()>& work) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, stackSize), 0);
  pthread_t thread;
  auto trampoline = [](void* argument) -> void* {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(
      pthread_create(&thread, &attributes, trampoline, const_cast<std::function<void()>*>(&work)),
      0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

const char kPost[] = "{\"method\":\"post\"}";
const char kBig[] = "{\"name\":\"big\"}";

class LargePayloadTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ::TearDown();
    BridgeHelperStandInReset();
    ZrvSimReset();
    ZrvSimDefaultProgram(&program_);
    ZrvSimSetProgram(&program_);
    BridgeHelperStandInSetResponseSink(onResponse, nullptr);
    BridgeHelperStandInSetEventSink(onEvent, nullptr);
    {
      std::lock_guard<std::mutex> lock(sinks.mutex);
      sinks.responses = 0;
      sinks.events = 0;
    }
    expectCall(ZarvoApplication, kPost, kBig, "{}", "", 200, "{\"error\":null,\"value\":null}");
  }
  void TearDown() override {
    ::TearDown();
    BridgeHelperStandInReset();
    ZrvSimReset();
  }

  void setAnswers(const std::string& bridgeAnswer, const std::string& customAnswer) {
    program_.bridgeCrossAnswer = bridgeAnswer.c_str();
    program_.customTaskType = "done";
    program_.customTaskAnswer = customAnswer.c_str();
    ZrvSimSetProgram(&program_);  // the simulator copies the texts
  }

  // One call, answered exactly once with `status` and `text`.
  template <typename EntryPoint>
  void expectCall(EntryPoint entry, const std::string& options, const std::string& parameters,
                  const std::string& extra, const std::string& body, int status,
                  const std::string& text) {
    long before = 0;
    {
      std::lock_guard<std::mutex> lock(sinks.mutex);
      before = sinks.responses;
    }
    const int id = entry(options.c_str(), parameters.c_str(), extra.c_str(), body.c_str());
    std::lock_guard<std::mutex> lock(sinks.mutex);
    EXPECT_EQ(sinks.responses, before + 1);
    EXPECT_EQ(sinks.lastPromise, id);
    EXPECT_EQ(sinks.lastStatus, status);
    // Compared without printing megabytes on failure.
    EXPECT_TRUE(sinks.lastText == text)
        << "got " << sinks.lastText.size() << " bytes: " << sinks.lastText.substr(0, 200)
        << "\nexpected " << text.size() << " bytes: " << text.substr(0, 200);
  }

  // The last ZrvBridgeCross's requestData argument, as the simulator logged it.
  static std::string loggedRequestData() {
    ZrvSimCall call;
    const size_t count = ZrvSimCallCount();
    if (count == 0 || ZrvSimGetCall(count - 1, &call) == 0) return "<no call>";
    if (std::string(call.function) != "ZrvBridgeCross" || call.argCount < 4) return "<other>";
    return call.args[3];
  }

  static std::string bridgeEnvelope(const std::string& data, int status) {
    return "{\"error\":null,\"value\":{\"data\":" + data +
           ",\"statuscode\":" + std::to_string(status) + "}}";
  }

  ZrvSimProgram program_;
};

const std::string kUriEmpty =
    "{\"error\":{\"message\":\"uri is empty string.\",\"name\":\"BadRequestError\"},"
    "\"value\":null}";
const std::string kNameEmpty =
    "{\"error\":{\"message\":\"URI parameter 'name' is empty.\",\"name\":\"BadRequestError\"},"
    "\"value\":null}";
const std::string kGetRefused =
    "{\"error\":{\"message\":\"GET method is not allowed.\",\"name\":\"MethodError\"},"
    "\"value\":null}";

TEST_F(LargePayloadTest, MegabyteRequestFromTheCorpusReachesTheApplicationCompact) {
  const std::string canada = readFile("canada.json");
  const std::string citm = readFile("citm_catalog.json");
  ASSERT_GT(canada.size(), 2000000u);
  ASSERT_GT(citm.size(), 1500000u);
  setAnswers("{\"ok\":true}", "null");
  expectCall(ZarvoApplicationBridge, kPost, kBig, "{}",
             "{\"uri\":\"/big\",\"requestData\":" + canada + ",\"settings\":" + citm + "}", 200,
             bridgeEnvelope("{\"ok\":true}", 200));
  EXPECT_TRUE(loggedRequestData() == compact(canada));
}

TEST_F(LargePayloadTest, MegabyteAnswersComeBackWhole) {
  const std::string twitter = readFile("twitter.json");
  const std::string longString = "\"" + std::string(5 * 1024 * 1024, 'a') + "\"";
  setAnswers(twitter, longString);
  expectCall(ZarvoApplicationBridge, kPost, kBig, "{}", "{\"uri\":\"/t\"}", 200,
             bridgeEnvelope(compact(twitter), 200));
  expectCall(ZarvoApplicationCustom, kPost, kBig, "{}", "{\"type\":\"t\"}", 200,
             "{\"error\":null,\"value\":{\"data\":" + longString + ",\"type\":\"done\"}}");
}

TEST_F(LargePayloadTest, MegabyteEventPayloadIsDispatchedWhole) {
  const std::string mesh = readFile("mesh.json");
  expectCall(ZarvoApplicationEvent, kPost, "{\"name\":\"big\",\"type\":\"mesh\"}", "{}", "", 200,
             "{\"error\":null,\"value\":null}");
  ASSERT_EQ(ZrvSimRaiseEvent(reinterpret_cast<ZrvApplicationHandle>(1), "mesh", mesh.c_str()), 1);
  std::lock_guard<std::mutex> lock(sinks.mutex);
  EXPECT_EQ(sinks.events, 1);
  EXPECT_TRUE(sinks.lastEvent ==
              "{\"app\":\"big\",\"data\":" + compact(mesh) + ",\"type\":\"mesh\"}");
}

TEST_F(LargePayloadTest, MillionLevelRequestTextsAreAnswered) {
  setAnswers("1", "null");
  const std::string open = nested(kDepth, false);
  const std::string closed = nested(kDepth, true);
  // Deep requestData reaches the application as the same text.
  expectCall(ZarvoApplicationBridge, kPost, kBig, "{}",
             "{\"uri\":\"/deep\",\"requestData\":" + closed + "}", 200, bridgeEnvelope("1", 200));
  EXPECT_TRUE(loggedRequestData() == closed);
  // An unterminated million-level body is an array, so there is no "uri".
  expectCall(ZarvoApplicationBridge, kPost, kBig, "{}", open, 400, kUriEmpty);
  // Deep options select GET; deep parameters hold no name.
  expectCall(ZarvoApplicationBridge, open, kBig, "{}", "{\"uri\":\"/x\"}", 405, kGetRefused);
  expectCall(ZarvoApplicationBridge, kPost, "{\"name\":" + open, "{}", "{\"uri\":\"/x\"}", 400,
             kNameEmpty);
  expectCall(ZarvoApplicationCustom, kPost, kBig, open, "{\"type\":\"t\",\"data\":" + open + "}",
             200, "{\"error\":null,\"value\":{\"data\":null,\"type\":\"done\"}}");
}

TEST_F(LargePayloadTest, MillionLevelAnswersAreAnswered) {
  const std::string closed = nested(kDepth, true);
  // An answer cut off inside the nesting parses leniently to the same million levels.
  setAnswers(nested(kDepth, false), closed);
  expectCall(ZarvoApplicationBridge, kPost, kBig, "{}", "{\"uri\":\"/deep\"}", 200,
             bridgeEnvelope(closed, 200));
  expectCall(ZarvoApplicationCustom, kPost, kBig, "{}", "{\"type\":\"t\"}", 200,
             "{\"error\":null,\"value\":{\"data\":" + closed + ",\"type\":\"done\"}}");
}

TEST_F(LargePayloadTest, MillionLevelEventPayloadOnTheSimulatorThread) {
  expectCall(ZarvoApplicationEvent, kPost, "{\"name\":\"big\",\"type\":\"deep\"}", "{}", "", 200,
             "{\"error\":null,\"value\":null}");
  const std::string braces(kDepth, '{');
  const std::string arrays = nested(kDepth, false);
  ASSERT_EQ(ZrvSimRaiseEvent(reinterpret_cast<ZrvApplicationHandle>(1), "deep", arrays.c_str()), 1);
  {
    std::lock_guard<std::mutex> lock(sinks.mutex);
    EXPECT_TRUE(sinks.lastEvent ==
                "{\"app\":\"big\",\"data\":" + nested(kDepth, true) + ",\"type\":\"deep\"}");
  }
  // A million '{': every '{' after the first is a stray byte where a key is expected and is
  // skipped, so this is one empty object.
  ASSERT_EQ(ZrvSimRaiseEvent(reinterpret_cast<ZrvApplicationHandle>(1), "deep", braces.c_str()), 1);
  std::lock_guard<std::mutex> lock(sinks.mutex);
  EXPECT_EQ(sinks.events, 2);
  EXPECT_EQ(sinks.lastEvent, "{\"app\":\"big\",\"data\":{},\"type\":\"deep\"}");
}

TEST_F(LargePayloadTest, MillionLevelsOnA256KiBStackThread) {
  const std::string open = nested(kDepth, false);
  const std::string closed = nested(kDepth, true);
  setAnswers(open, open);
  // Entry points called on a small-stack host thread: deep request, deep answer (parsed,
  // shared into the result, serialized, destroyed), deep custom answer.
  runOnStack(kSmallStack, [&] {
    expectCall(ZarvoApplicationBridge, kPost, kBig, open,
               "{\"uri\":\"/deep\",\"requestData\":" + closed + "}", 200,
               bridgeEnvelope(closed, 200));
    expectCall(ZarvoApplicationCustom, kPost, kBig, "{}", "{\"type\":\"t\"}", 200,
               "{\"error\":null,\"value\":{\"data\":" + closed + ",\"type\":\"done\"}}");
    expectCall(ZarvoApplicationBridge, open, open, open, open, 405, kGetRefused);
  });
}

}  // namespace
