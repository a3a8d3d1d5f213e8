// The event path (zarvo::OnEvent -> bridge::Application::onEvent -> BridgeHelperDispatchEvent)
// with payloads of a million nesting levels, run on a thread with a 256 KiB stack, the size an
// application library may well give its event threads. Linked against the bridge objects so the
// callback can be called directly, as the library calls it.
#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <mutex>
#include <string>

#include "bridge/application_manager.h"
#include "bridge/zarvo_application_bridge.h"
#include "bridge/zarvo_application_custom.h"
#include "bridge/zarvo_application_event.h"
#include "bridge_helper_stand_in.h"

namespace {

constexpr size_t kDepth = 1000000;
constexpr size_t kSmallStack = 256 * 1024;

std::mutex eventsMutex;
std::vector<std::string> events;

void onEvent(const char* name, const char* json, void*) {
  std::lock_guard<std::mutex> lock(eventsMutex);
  events.push_back(std::string(name) + " " + json);
}

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

class EventSmallStackTest : public ::testing::Test {
 protected:
  void SetUp() override {
    BridgeHelperStandInReset();
    BridgeHelperStandInSetEventSink(onEvent, nullptr);
    std::lock_guard<std::mutex> lock(eventsMutex);
    events.clear();
  }
  void TearDown() override { BridgeHelperStandInReset(); }
};

TEST_F(EventSmallStackTest, MillionLevelArrayPayload) {
  bridge::Application application("small");  // never connected: the handle stays null
  const std::string payload(kDepth, '[');
  runOnStack(kSmallStack, [&] { zarvo::OnEvent("deep", payload.c_str(), &application); });
  std::lock_guard<std::mutex> lock(eventsMutex);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_TRUE(events[0] == "zarvoEvent {\"app\":\"small\",\"data\":" + std::string(kDepth, '[') +
                               std::string(kDepth, ']') + ",\"type\":\"deep\"}");
}

TEST_F(EventSmallStackTest, MillionLevelObjectPayload) {
  bridge::Application application("small");
  std::string payload;
  for (size_t i = 0; i < kDepth; ++i) payload += "{\"a\":";
  payload += "1";
  payload.append(kDepth, '}');
  std::string expected = "zarvoEvent {\"app\":\"small\",\"data\":" + payload + ",\"type\":\"o\"}";
  runOnStack(kSmallStack, [&] { zarvo::OnEvent("o", payload.c_str(), &application); });
  std::lock_guard<std::mutex> lock(eventsMutex);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_TRUE(events[0] == expected) << events[0].substr(0, 100);
}

TEST_F(EventSmallStackTest, MillionLevelAnswerCallbacks) {
  const std::string answer(kDepth, '[');
  runOnStack(kSmallStack, [&] {
    zarvo::BridgeCrossResponse bridgeResponse;
    zarvo::OnBridgeResponse(200, answer.c_str(), &bridgeResponse);
    EXPECT_TRUE(bridgeResponse.received);
    EXPECT_EQ(bridgeResponse.data.size(), 1u);
    zarvo::CustomTaskResponse customResponse;
    zarvo::OnCustomTaskResponse("t", answer.c_str(), &customResponse);
    EXPECT_TRUE(customResponse.received);
    EXPECT_EQ(customResponse.data.size(), 1u);
    // Both records, and their million-level values, are destroyed on this stack.
  });
}

}  // namespace
