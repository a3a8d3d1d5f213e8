// Programmed mode: results and callbacks of every interface function as the program sets them.
#include <cstring>
#include <string>
#include <thread>

#include "simulator_test_support.h"

namespace {

using simtest::handle;
using simtest::number;

struct BridgeAnswer {
  int calls = 0;
  int status = 0;
  std::string json;
  std::thread::id thread;
};

void onBridge(int status, const char* json, void* context) {
  auto* answer = static_cast<BridgeAnswer*>(context);
  ++answer->calls;
  answer->status = status;
  answer->json = json;
  answer->thread = std::this_thread::get_id();
}

struct TaskAnswer {
  int calls = 0;
  std::string type;
  std::string json;
  std::thread::id thread;
};

void onTask(const char* type, const char* json, void* context) {
  auto* answer = static_cast<TaskAnswer*>(context);
  ++answer->calls;
  answer->type = type;
  answer->json = json;
  answer->thread = std::this_thread::get_id();
}

void noDisconnect(void*) {}

class Programmed : public simtest::SimulatorTest {
 protected:
  ZrvSimProgram program() {
    ZrvSimProgram p;
    ZrvSimDefaultProgram(&p);
    return p;
  }
};

TEST_F(Programmed, DefaultProgramValues) {
  ZrvSimProgram p;
  std::memset(&p, 0x5a, sizeof p);
  ZrvSimDefaultProgram(&p);
  EXPECT_EQ(p.connectFails, 0);
  EXPECT_EQ(p.disconnectResult, 1);
  EXPECT_EQ(p.setDidDisconnectResult, 1);
  EXPECT_EQ(p.registerResult, 1);
  EXPECT_EQ(p.unregisterResult, 1);
  EXPECT_EQ(p.bridgeCrossResult, 1);
  EXPECT_EQ(p.bridgeCrossCallsBack, 1);
  EXPECT_EQ(p.bridgeCrossStatus, 200);
  EXPECT_STREQ(p.bridgeCrossAnswer, "null");
  EXPECT_EQ(p.customTaskResult, 1);
  EXPECT_EQ(p.customTaskCallsBack, 1);
  EXPECT_STREQ(p.customTaskType, "");
  EXPECT_STREQ(p.customTaskAnswer, "null");
  ZrvSimDefaultProgram(nullptr);  // ignored
}

TEST_F(Programmed, HandlesCountFromOne) {
  EXPECT_EQ(number(ZrvConnectApplication("a", "c")), 1u);
  EXPECT_EQ(number(ZrvConnectApplication("b", "")), 2u);
  EXPECT_EQ(number(ZrvConnectApplication("a", "c")), 3u);  // the same name connects again
}

TEST_F(Programmed, HandlesAreNotReused) {
  ZrvApplicationHandle first = ZrvConnectApplication("a", "");
  EXPECT_EQ(ZrvDisconnectApplication(first), 1);
  EXPECT_EQ(number(ZrvConnectApplication("a", "")), 2u);
}

TEST_F(Programmed, ConnectFails) {
  ZrvSimProgram p = program();
  p.connectFails = 1;
  ZrvSimSetProgram(&p);
  EXPECT_EQ(ZrvConnectApplication("a", "c"), nullptr);
  p.connectFails = 0;
  ZrvSimSetProgram(&p);
  // A refused connect consumes no handle.
  EXPECT_EQ(number(ZrvConnectApplication("a", "c")), 1u);
}

TEST_F(Programmed, ConnectWithNullNameFails) {
  EXPECT_EQ(ZrvConnectApplication(nullptr, "c"), nullptr);
  EXPECT_EQ(number(ZrvConnectApplication("a", nullptr)), 1u);
}

TEST_F(Programmed, DisconnectResults) {
  ZrvApplicationHandle h = ZrvConnectApplication("a", "");
  ZrvSimProgram p = program();
  p.disconnectResult = -3;
  ZrvSimSetProgram(&p);
  EXPECT_EQ(ZrvDisconnectApplication(h), -3);
  // Closed whatever the programmed result: a second disconnect finds nothing.
  EXPECT_EQ(ZrvDisconnectApplication(h), 0);
  EXPECT_EQ(ZrvDisconnectApplication(handle(77)), 0);
  EXPECT_EQ(ZrvDisconnectApplication(nullptr), 0);
}

TEST_F(Programmed, SetDidDisconnectCallbackResults) {
  ZrvApplicationHandle h = ZrvConnectApplication("a", "");
  EXPECT_EQ(ZrvSetApplicationDidDisconnectCallback(h, noDisconnect, nullptr), 1);
  EXPECT_EQ(ZrvSetApplicationDidDisconnectCallback(nullptr, noDisconnect, nullptr), 1);
  ZrvSimProgram p = program();
  p.setDidDisconnectResult = 0;
  ZrvSimSetProgram(&p);
  EXPECT_EQ(ZrvSetApplicationDidDisconnectCallback(h, noDisconnect, nullptr), 0);
}

TEST_F(Programmed, RegisterAndUnregisterResults) {
  ZrvApplicationHandle h = ZrvConnectApplication("a", "");
  EXPECT_EQ(ZrvRegisterEvent(h, "", "progress", simtest::Recorder::onEvent, nullptr), 1);
  EXPECT_EQ(ZrvUnregisterEvent(h, "", "progress"), 1);
  ZrvSimProgram p = program();
  p.registerResult = -1;
  p.unregisterResult = 5;
  ZrvSimSetProgram(&p);
  EXPECT_EQ(ZrvRegisterEvent(h, "t", "progress", simtest::Recorder::onEvent, nullptr), -1);
  EXPECT_EQ(ZrvUnregisterEvent(h, "t", "progress"), 5);
  // Programmed mode answers an unsubscription without a subscription with the programmed value.
  EXPECT_EQ(ZrvUnregisterEvent(h, "t", "never"), 5);
}

TEST_F(Programmed, RegisterNeedsOpenConnectionAndCallback) {
  EXPECT_EQ(ZrvRegisterEvent(handle(1), "", "x", simtest::Recorder::onEvent, nullptr), 0);
  ZrvApplicationHandle h = ZrvConnectApplication("a", "");
  EXPECT_EQ(ZrvRegisterEvent(h, "", "x", nullptr, nullptr), 0);
  ZrvDisconnectApplication(h);
  EXPECT_EQ(ZrvRegisterEvent(h, "", "x", simtest::Recorder::onEvent, nullptr), 0);
  EXPECT_EQ(ZrvUnregisterEvent(h, "", "x"), 0);
}

TEST_F(Programmed, BridgeCrossDefaultCallsBackOnCallingThread) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "client");
  BridgeAnswer answer;
  EXPECT_EQ(ZrvBridgeCross(h, "", "/uri", "null", "null", onBridge, &answer), 1);
  EXPECT_EQ(answer.calls, 1);
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.json, "null");
  EXPECT_EQ(answer.thread, std::this_thread::get_id());
}

TEST_F(Programmed, BridgeCrossProgrammedAnswer) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  char text[] = "[1,2]";
  ZrvSimProgram p = program();
  p.bridgeCrossResult = 7;
  p.bridgeCrossStatus = -1;
  p.bridgeCrossAnswer = text;
  ZrvSimSetProgram(&p);
  text[1] = '9';  // the program keeps its own copy
  BridgeAnswer answer;
  EXPECT_EQ(ZrvBridgeCross(h, "t", "/u", "{}", "[]", onBridge, &answer), 7);
  EXPECT_EQ(answer.calls, 1);
  EXPECT_EQ(answer.status, -1);
  EXPECT_EQ(answer.json, "[1,2]");
}

TEST_F(Programmed, BridgeCrossWithoutCallback) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  ZrvSimProgram p = program();
  p.bridgeCrossCallsBack = 0;
  ZrvSimSetProgram(&p);
  BridgeAnswer answer;
  EXPECT_EQ(ZrvBridgeCross(h, "", "/u", "null", "null", onBridge, &answer), 1);
  EXPECT_EQ(answer.calls, 0);
}

TEST_F(Programmed, BridgeCrossZeroResultStillCallsBackWhenProgrammed) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  ZrvSimProgram p = program();
  p.bridgeCrossResult = 0;
  ZrvSimSetProgram(&p);
  BridgeAnswer answer;
  EXPECT_EQ(ZrvBridgeCross(h, "", "/u", "null", "null", onBridge, &answer), 0);
  EXPECT_EQ(answer.calls, 1);
}

TEST_F(Programmed, BridgeCrossOnClosedOrUnknownHandle) {
  BridgeAnswer answer;
  EXPECT_EQ(ZrvBridgeCross(handle(3), "", "/u", "null", "null", onBridge, &answer), 0);
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  ZrvDisconnectApplication(h);
  EXPECT_EQ(ZrvBridgeCross(h, "", "/u", "null", "null", onBridge, &answer), 0);
  EXPECT_EQ(answer.calls, 0);
}

TEST_F(Programmed, BridgeCrossNullCallbackIsNotCalled) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  EXPECT_EQ(ZrvBridgeCross(h, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 1);
}

TEST_F(Programmed, CustomTaskDefault) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  TaskAnswer answer;
  EXPECT_EQ(ZrvExecuteCustomTask(h, "", "render", "null", onTask, &answer), 1);
  EXPECT_EQ(answer.calls, 1);
  EXPECT_EQ(answer.type, "");
  EXPECT_EQ(answer.json, "null");
  EXPECT_EQ(answer.thread, std::this_thread::get_id());
}

TEST_F(Programmed, CustomTaskProgrammed) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  ZrvSimProgram p = program();
  p.customTaskResult = 2;
  p.customTaskType = "done";
  p.customTaskAnswer = "{\"pages\":3}";
  ZrvSimSetProgram(&p);
  TaskAnswer answer;
  EXPECT_EQ(ZrvExecuteCustomTask(h, "", "render", "{}", onTask, &answer), 2);
  EXPECT_EQ(answer.calls, 1);
  EXPECT_EQ(answer.type, "done");
  EXPECT_EQ(answer.json, "{\"pages\":3}");
  p.customTaskCallsBack = 0;
  p.customTaskResult = 0;
  ZrvSimSetProgram(&p);
  TaskAnswer none;
  EXPECT_EQ(ZrvExecuteCustomTask(h, "", "render", "{}", onTask, &none), 0);
  EXPECT_EQ(none.calls, 0);
}

TEST_F(Programmed, CustomTaskOnClosedHandle) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  ZrvDisconnectApplication(h);
  TaskAnswer answer;
  EXPECT_EQ(ZrvExecuteCustomTask(h, "", "render", "null", onTask, &answer), 0);
  EXPECT_EQ(answer.calls, 0);
}

TEST_F(Programmed, NullProgramMeansDefaults) {
  ZrvSimProgram p = program();
  p.connectFails = 1;
  ZrvSimSetProgram(&p);
  ZrvSimSetProgram(nullptr);
  EXPECT_NE(ZrvConnectApplication("a", ""), nullptr);
}

TEST_F(Programmed, NullProgramTextsBecomeEmpty) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  ZrvSimProgram p = program();
  p.bridgeCrossAnswer = nullptr;
  p.customTaskType = nullptr;
  p.customTaskAnswer = nullptr;
  ZrvSimSetProgram(&p);
  BridgeAnswer bridge;
  bridge.json = "unchanged";
  ZrvBridgeCross(h, "", "/u", "null", "null", onBridge, &bridge);
  EXPECT_EQ(bridge.json, "");
  TaskAnswer task;
  task.type = "unchanged";
  ZrvExecuteCustomTask(h, "", "t", "null", onTask, &task);
  EXPECT_EQ(task.type, "");
  EXPECT_EQ(task.json, "");
}

}  // namespace
