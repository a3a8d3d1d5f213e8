// The call log: one entry per interface call, its fields, and its canonical text lines.
#include <string>

#include "simulator_test_support.h"

namespace {

using simtest::handle;
using simtest::logLine;
using simtest::number;

void onBridge(int, const char*, void*) {}
void onTask(const char*, const char*, void*) {}
void onDidDisconnect(void*) {}
int contextObject = 0;

using CallLog = simtest::SimulatorTest;

TEST_F(CallLog, StartsEmpty) {
  EXPECT_EQ(ZrvSimCallCount(), 0u);
  EXPECT_STREQ(ZrvSimCallLog(), "");
  ZrvSimCall call;
  EXPECT_EQ(ZrvSimGetCall(0, &call), 0);
  EXPECT_EQ(ZrvSimGetCall(0, nullptr), 0);
}

TEST_F(CallLog, CanonicalLinesOfEveryFunction) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "client");
  ZrvSetApplicationDidDisconnectCallback(h, onDidDisconnect, &contextObject);
  ZrvSetApplicationDidDisconnectCallback(nullptr, onDidDisconnect, &contextObject);
  ZrvRegisterEvent(h, "", "progress", simtest::Recorder::onEvent, &contextObject);
  ZrvUnregisterEvent(h, "", "progress");
  ZrvBridgeCross(h, "", "/uri", "null", "null", onBridge, &contextObject);
  ZrvSimProgram p;
  ZrvSimDefaultProgram(&p);
  p.customTaskResult = 0;
  p.customTaskCallsBack = 0;
  ZrvSimSetProgram(&p);
  ZrvExecuteCustomTask(h, "", "render", "null", onTask, &contextObject);
  ZrvDisconnectApplication(h);
  EXPECT_STREQ(ZrvSimCallLog(),
               "ZrvConnectApplication(\"viewer\", \"client\") -> 1\n"
               "ZrvSetApplicationDidDisconnectCallback(1, callback, context) -> 1\n"
               "ZrvSetApplicationDidDisconnectCallback(0, callback, context) -> 1\n"
               "ZrvRegisterEvent(1, \"\", \"progress\", callback, context) -> 1\n"
               "ZrvUnregisterEvent(1, \"\", \"progress\") -> 1\n"
               "ZrvBridgeCross(1, \"\", \"/uri\", \"null\", \"null\", callback, context) -> 1 "
               "called back\n"
               "ZrvExecuteCustomTask(1, \"\", \"render\", \"null\", callback, context) -> 0\n"
               "ZrvDisconnectApplication(1) -> 1\n");
  EXPECT_EQ(ZrvSimCallCount(), 8u);
}

TEST_F(CallLog, FailedConnect) {
  ZrvSimProgram p;
  ZrvSimDefaultProgram(&p);
  p.connectFails = 1;
  ZrvSimSetProgram(&p);
  ZrvConnectApplication("viewer", "");
  EXPECT_EQ(logLine(0), "ZrvConnectApplication(\"viewer\", \"\") -> 0");
  ZrvSimCall call;
  ASSERT_EQ(ZrvSimGetCall(0, &call), 1);
  EXPECT_EQ(call.handle, 0u);
  EXPECT_EQ(call.result, 0);
}

TEST_F(CallLog, ConnectEntryFields) {
  ZrvConnectApplication("a", "b");
  ZrvConnectApplication("viewer", "client");
  ZrvSimCall call;
  ASSERT_EQ(ZrvSimGetCall(1, &call), 1);
  EXPECT_STREQ(call.function, "ZrvConnectApplication");
  EXPECT_EQ(call.handle, 2u);
  EXPECT_EQ(call.result, 2);
  ASSERT_EQ(call.argCount, 2);
  EXPECT_STREQ(call.args[0], "viewer");
  EXPECT_STREQ(call.args[1], "client");
  EXPECT_EQ(call.callback, nullptr);
  EXPECT_EQ(call.context, nullptr);
  EXPECT_EQ(call.calledBack, 0);
  EXPECT_STREQ(call.text, "ZrvConnectApplication(\"viewer\", \"client\") -> 2");
}

TEST_F(CallLog, BridgeCrossEntryFields) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  ZrvBridgeCross(h, "tgt", "/u", "{\"s\":1}", "[1]", onBridge, &contextObject);
  ZrvSimCall call;
  ASSERT_EQ(ZrvSimGetCall(1, &call), 1);
  EXPECT_STREQ(call.function, "ZrvBridgeCross");
  EXPECT_EQ(call.handle, 1u);
  ASSERT_EQ(call.argCount, 4);
  EXPECT_STREQ(call.args[0], "tgt");
  EXPECT_STREQ(call.args[1], "/u");
  EXPECT_STREQ(call.args[2], "{\"s\":1}");
  EXPECT_STREQ(call.args[3], "[1]");
  EXPECT_EQ(call.callback, reinterpret_cast<const void*>(&onBridge));
  EXPECT_EQ(call.context, &contextObject);
  EXPECT_EQ(call.result, 1);
  EXPECT_EQ(call.calledBack, 1);
  EXPECT_STREQ(call.text,
               "ZrvBridgeCross(1, \"tgt\", \"/u\", \"{\\\"s\\\":1}\", \"[1]\", callback, context) "
               "-> 1 called back");
}

TEST_F(CallLog, CustomTaskEntryFields) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  ZrvExecuteCustomTask(h, "", "render", "{}", onTask, nullptr);
  ZrvSimCall call;
  ASSERT_EQ(ZrvSimGetCall(1, &call), 1);
  EXPECT_STREQ(call.function, "ZrvExecuteCustomTask");
  ASSERT_EQ(call.argCount, 3);
  EXPECT_STREQ(call.args[1], "render");
  EXPECT_EQ(call.context, nullptr);
  EXPECT_EQ(call.calledBack, 1);
  EXPECT_STREQ(
      call.text,
      "ZrvExecuteCustomTask(1, \"\", \"render\", \"{}\", callback, NULL) -> 1 called back");
}

TEST_F(CallLog, RegisterAndUnregisterEntryFields) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  ZrvRegisterEvent(h, "t", "progress", simtest::Recorder::onEvent, &contextObject);
  ZrvUnregisterEvent(h, "t", "progress");
  ZrvSimCall call;
  ASSERT_EQ(ZrvSimGetCall(1, &call), 1);
  EXPECT_STREQ(call.function, "ZrvRegisterEvent");
  ASSERT_EQ(call.argCount, 2);
  EXPECT_STREQ(call.args[0], "t");
  EXPECT_STREQ(call.args[1], "progress");
  EXPECT_EQ(call.callback, reinterpret_cast<const void*>(&simtest::Recorder::onEvent));
  EXPECT_EQ(call.context, &contextObject);
  ASSERT_EQ(ZrvSimGetCall(2, &call), 1);
  EXPECT_STREQ(call.function, "ZrvUnregisterEvent");
  EXPECT_EQ(call.argCount, 2);
  EXPECT_EQ(call.callback, nullptr);
  EXPECT_EQ(call.context, nullptr);
}

TEST_F(CallLog, DisconnectAndDidDisconnectEntryFields) {
  ZrvSetApplicationDidDisconnectCallback(nullptr, onDidDisconnect, &contextObject);
  ZrvDisconnectApplication(handle(9));
  ZrvSimCall call;
  ASSERT_EQ(ZrvSimGetCall(0, &call), 1);
  EXPECT_STREQ(call.function, "ZrvSetApplicationDidDisconnectCallback");
  EXPECT_EQ(call.handle, 0u);
  EXPECT_EQ(call.argCount, 0);
  EXPECT_EQ(call.callback, reinterpret_cast<const void*>(&onDidDisconnect));
  ASSERT_EQ(ZrvSimGetCall(1, &call), 1);
  EXPECT_STREQ(call.function, "ZrvDisconnectApplication");
  EXPECT_EQ(call.handle, 9u);
  EXPECT_EQ(call.result, 0);
  EXPECT_STREQ(call.text, "ZrvDisconnectApplication(9) -> 0");
}

TEST_F(CallLog, NullCallbackContextAndTexts) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", nullptr);
  ZrvSetApplicationDidDisconnectCallback(h, nullptr, nullptr);
  ZrvBridgeCross(h, nullptr, "/u", nullptr, "null", nullptr, nullptr);
  EXPECT_EQ(logLine(0), "ZrvConnectApplication(\"viewer\", NULL) -> 1");
  EXPECT_EQ(logLine(1), "ZrvSetApplicationDidDisconnectCallback(1, NULL, NULL) -> 1");
  EXPECT_EQ(logLine(2), "ZrvBridgeCross(1, NULL, \"/u\", NULL, \"null\", NULL, NULL) -> 1");
  ZrvSimCall call;
  ASSERT_EQ(ZrvSimGetCall(2, &call), 1);
  EXPECT_EQ(call.args[0], nullptr);
  EXPECT_STREQ(call.args[1], "/u");
  EXPECT_EQ(call.calledBack, 0);
}

TEST_F(CallLog, TextsAreEscapedAsJsonStrings) {
  ZrvConnectApplication("a\"b\\c\nd\te\x01", "\xc3\xa9/");
  EXPECT_EQ(logLine(0),
            "ZrvConnectApplication(\"a\\\"b\\\\c\\nd\\te\\u0001\", \"\xc3\xa9/\") -> 1");
  ZrvSimCall call;
  ASSERT_EQ(ZrvSimGetCall(0, &call), 1);
  EXPECT_STREQ(call.args[0], "a\"b\\c\nd\te\x01");
}

TEST_F(CallLog, HandleNumbersAsGiven) {
  ZrvUnregisterEvent(handle(123456), "", "x");
  EXPECT_EQ(logLine(0), "ZrvUnregisterEvent(123456, \"\", \"x\") -> 0");
}

TEST_F(CallLog, TextsStayValidUntilCleared) {
  ZrvConnectApplication("viewer", "");
  ZrvSimCall first;
  ASSERT_EQ(ZrvSimGetCall(0, &first), 1);
  for (int i = 0; i < 200; ++i) ZrvConnectApplication("more", "");
  EXPECT_STREQ(first.text, "ZrvConnectApplication(\"viewer\", \"\") -> 1");
  EXPECT_STREQ(first.args[0], "viewer");
  EXPECT_EQ(ZrvSimCallCount(), 201u);
}

TEST_F(CallLog, ClearForgetsEntriesButNotConnections) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  ZrvSimClearLog();
  EXPECT_EQ(ZrvSimCallCount(), 0u);
  EXPECT_STREQ(ZrvSimCallLog(), "");
  EXPECT_EQ(ZrvDisconnectApplication(h), 1);
  EXPECT_EQ(logLine(0), "ZrvDisconnectApplication(1) -> 1");
  EXPECT_EQ(number(ZrvConnectApplication("next", "")), 2u);
}

// A call made from inside a callback comes after the call that made the callback.
struct Nested {
  ZrvApplicationHandle handle;
};
void nestedBridge(int, const char*, void* context) {
  auto* nested = static_cast<Nested*>(context);
  ZrvUnregisterEvent(nested->handle, "", "inner");
}

TEST_F(CallLog, NestedCallsInCallOrder) {
  Nested nested{ZrvConnectApplication("viewer", "")};
  ZrvBridgeCross(nested.handle, "", "/u", "null", "null", nestedBridge, &nested);
  EXPECT_EQ(logLine(1),
            "ZrvBridgeCross(1, \"\", \"/u\", \"null\", \"null\", callback, context) -> 1 "
            "called back");
  EXPECT_EQ(logLine(2), "ZrvUnregisterEvent(1, \"\", \"inner\") -> 1");
}

TEST_F(CallLog, ControlFunctionsAreNotLogged) {
  ZrvSimProgram p;
  ZrvSimDefaultProgram(&p);
  ZrvSimSetProgram(&p);
  ZrvSimEventCallbackCount();
  ZrvSimCallLog();
  EXPECT_EQ(ZrvSimCallCount(), 0u);
}

}  // namespace
