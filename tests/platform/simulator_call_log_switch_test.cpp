// The call log's on/off switch: nothing is recorded while it is off, recording resumes when it is
// switched on, entries recorded before stay, ZrvSimReset switches it on again, and the calls
// themselves behave the same either way. Also: lines read while a call is still open.
#include <string>

#include "simulator_test_support.h"

namespace {

using simtest::logLine;

struct Answer {
  int status = 0;
  std::string text;
  int calls = 0;
};

void onBridge(int status, const char* json, void* context) {
  Answer* answer = static_cast<Answer*>(context);
  answer->status = status;
  answer->text = json != nullptr ? json : "(null)";
  ++answer->calls;
}

using CallLogSwitch = simtest::SimulatorTest;

TEST_F(CallLogSwitch, OnByDefault) {
  ZrvConnectApplication("viewer", "client");
  EXPECT_EQ(ZrvSimCallCount(), 1u);
  EXPECT_STREQ(ZrvSimCallLog(), "ZrvConnectApplication(\"viewer\", \"client\") -> 1\n");
}

TEST_F(CallLogSwitch, OffRecordsNothingButCallsStillWork) {
  ZrvSimSetCallLogEnabled(0);
  ZrvSimProgram p;
  ZrvSimDefaultProgram(&p);
  p.bridgeCrossAnswer = "{\"ok\":true}";
  p.bridgeCrossStatus = 201;
  ZrvSimSetProgram(&p);
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "client");
  ASSERT_EQ(simtest::number(h), 1u);
  Answer answer;
  EXPECT_EQ(ZrvBridgeCross(h, "", "/uri", "null", "{\"a\":\"\\u00e9\"}", onBridge, &answer), 1);
  EXPECT_EQ(answer.calls, 1);
  EXPECT_EQ(answer.status, 201);
  EXPECT_EQ(answer.text, "{\"ok\":true}");
  EXPECT_EQ(ZrvDisconnectApplication(h), 1);
  EXPECT_EQ(ZrvSimCallCount(), 0u);
  EXPECT_STREQ(ZrvSimCallLog(), "");
  ZrvSimCall call;
  EXPECT_EQ(ZrvSimGetCall(0, &call), 0);
}

TEST_F(CallLogSwitch, OnAgainResumesAndKeepsEarlierEntries) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "client");
  ZrvSimSetCallLogEnabled(0);
  ZrvUnregisterEvent(h, "", "hidden");
  ZrvSimSetCallLogEnabled(7);  // any non-zero value is on
  ZrvUnregisterEvent(h, nullptr, "shown");
  EXPECT_STREQ(ZrvSimCallLog(),
               "ZrvConnectApplication(\"viewer\", \"client\") -> 1\n"
               "ZrvUnregisterEvent(1, NULL, \"shown\") -> 1\n");
  ASSERT_EQ(ZrvSimCallCount(), 2u);
  ZrvSimCall call;
  ASSERT_EQ(ZrvSimGetCall(1, &call), 1);
  EXPECT_STREQ(call.function, "ZrvUnregisterEvent");
  ASSERT_EQ(call.argCount, 2);
  EXPECT_EQ(call.args[0], nullptr);
  EXPECT_STREQ(call.args[1], "shown");
}

TEST_F(CallLogSwitch, ResetSwitchesItOn) {
  ZrvSimSetCallLogEnabled(0);
  ZrvConnectApplication("viewer", "client");
  ZrvSimReset();
  ZrvConnectApplication("viewer", "client");
  EXPECT_STREQ(ZrvSimCallLog(), "ZrvConnectApplication(\"viewer\", \"client\") -> 1\n");
}

TEST_F(CallLogSwitch, ClearWhileOffForgetsEarlierEntries) {
  ZrvConnectApplication("viewer", "client");
  ZrvSimSetCallLogEnabled(0);
  ZrvSimClearLog();
  ZrvSimSetCallLogEnabled(1);
  EXPECT_EQ(ZrvSimCallCount(), 0u);
  EXPECT_STREQ(ZrvSimCallLog(), "");
}

// A callback that reads the log while its own call is still open, then the log switched off
// inside the call: the open entry is still completed.
struct Observer {
  std::string pendingLine;
  std::string pendingLineAgain;
  const char* pendingPointer = nullptr;
};

void onBridgeObserving(int, const char*, void* context) {
  Observer* observer = static_cast<Observer*>(context);
  ZrvSimCall call;
  if (ZrvSimGetCall(ZrvSimCallCount() - 1, &call) != 0) {
    observer->pendingLine = call.text;
    observer->pendingPointer = call.text;
  }
  observer->pendingLineAgain = logLine(ZrvSimCallCount() - 1);
  ZrvSimSetCallLogEnabled(0);
}

TEST_F(CallLogSwitch, OpenEntryReadInsideTheCallThenCompleted) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "client");
  Observer observer;
  ZrvBridgeCross(h, "t", "/u", "\"s\\\"\"", "{}", onBridgeObserving, &observer);
  EXPECT_EQ(observer.pendingLine,
            "ZrvBridgeCross(1, \"t\", \"/u\", \"\\\"s\\\\\\\"\\\"\", \"{}\", callback, context) "
            "-> ...");
  EXPECT_EQ(observer.pendingLineAgain, observer.pendingLine);
  EXPECT_EQ(logLine(1),
            "ZrvBridgeCross(1, \"t\", \"/u\", \"\\\"s\\\\\\\"\\\"\", \"{}\", callback, context) "
            "-> 1 called back");
  // The text handed out for the open entry stays readable until the log is cleared.
  ASSERT_NE(observer.pendingPointer, nullptr);
  EXPECT_EQ(std::string(observer.pendingPointer), observer.pendingLine);
  ZrvDisconnectApplication(h);  // log off now
  EXPECT_EQ(ZrvSimCallCount(), 2u);
}

}  // namespace
