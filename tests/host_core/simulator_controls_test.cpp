// The simulator controls every host carries: their bodies, limits, error texts and answers.
#include <gtest/gtest.h>

#include <string>

#include "host_core/simulator_controls.h"
#include "zarvo_simulator.h"

namespace host_core {
namespace {

class SimulatorControlsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ZrvSimReset();
    ASSERT_NE(ZrvConnectApplication("printer", "test"), nullptr);
  }
  void TearDown() override { ZrvSimReset(); }

  static void expectRefused(const ControlOutcome& outcome, int status, const char* code,
                            const std::string& message) {
    ASSERT_TRUE(outcome.error) << outcome.json;
    EXPECT_EQ(outcome.error->status, status);
    EXPECT_EQ(outcome.error->code, code);
    EXPECT_EQ(outcome.error->message, message);
  }

  SimulatorControls controls_{"{\"applications\":{}}", Limits{}};
};

TEST_F(SimulatorControlsTest, RaiseAnswersWithTheCount) {
  ControlOutcome outcome = controls_.raise(R"({"app":"printer","type":"paper"})");
  EXPECT_FALSE(outcome.error);
  EXPECT_EQ(outcome.json, "{\"raised\":1}");
  outcome = controls_.raise(R"({"app":"printer","type":"paper","payload":"[1]","count":3})");
  EXPECT_EQ(outcome.json, "{\"raised\":3}");
}

TEST_F(SimulatorControlsTest, RaiseRefusals) {
  expectRefused(controls_.raise(R"({"app":"scanner","type":"paper"})"), 404, "NotConnected",
                "application 'scanner' is not connected");
  expectRefused(controls_.raise(R"({"type":"paper"})"), 400, "BadProtocolRequest",
                "member 'app' is required");
  expectRefused(controls_.raise(R"({"app":"printer","type":""})"), 400, "BadProtocolRequest",
                "member 'type' must not be empty");
  expectRefused(controls_.raise(R"({"app":"printer","type":"t","payload":{}})"), 400,
                "BadProtocolRequest", "member 'payload' must be a string");
  expectRefused(controls_.raise(R"({"app":"printer","type":"t","count":0})"), 400,
                "BadProtocolRequest", "member 'count' must be an integer from 1 to 1000000");
  expectRefused(controls_.raise(R"({"app":"printer","type":"t","count":1000001})"), 400,
                "BadProtocolRequest", "member 'count' must be an integer from 1 to 1000000");
  expectRefused(controls_.raise(R"({"app":"printer","type":"t","count":2.0})"), 400,
                "BadProtocolRequest", "member 'count' must be an integer from 1 to 1000000");
  expectRefused(controls_.raise(R"({"app":"printer","type":"t","colour":1})"), 400,
                "BadProtocolRequest", "unknown member 'colour'");
  Limits small;
  small.maxRaiseCount = 5;
  expectRefused(SimulatorControls("{}", small).raise(R"({"app":"printer","type":"t","count":6})"),
                400, "BadProtocolRequest", "member 'count' must be an integer from 1 to 5");
}

TEST_F(SimulatorControlsTest, LostConnection) {
  EXPECT_EQ(controls_.reportLostConnection(R"({"app":"printer"})").json, "{\"notified\":true}");
  expectRefused(controls_.reportLostConnection(R"({"app":"scanner"})"), 404, "NotConnected",
                "application 'scanner' is not connected");
  expectRefused(controls_.reportLostConnection(R"({"app":"printer","x":1})"), 400,
                "BadProtocolRequest", "unknown member 'x'");
  EXPECT_EQ(SimulatorControls::lostConnection("scanner"), -1);
  EXPECT_EQ(SimulatorControls::lostConnection("printer"), 0) << "no callback registered";
}

TEST_F(SimulatorControlsTest, CallLogFromAnIndex) {
  EXPECT_EQ(controls_.callLog("0").json,
            "{\"calls\":[\"ZrvConnectApplication(\\\"printer\\\", \\\"test\\\") -> 1\"],"
            "\"next\":1}");
  EXPECT_EQ(controls_.callLog("1").json, "{\"calls\":[],\"next\":1}");
  EXPECT_EQ(controls_.callLog("99999999999999999999").json, "{\"calls\":[],\"next\":1}");
  expectRefused(controls_.callLog("-1"), 400, "BadProtocolRequest",
                "from '-1' is not a decimal number");
}

TEST_F(SimulatorControlsTest, CountedRaiseReportsDeliveries) {
  RaiseRequest request;
  request.app = "printer";
  request.type = "paper";
  request.count = 2;
  EXPECT_EQ(SimulatorControls::raiseCounted(request), 0) << "no subscription: nothing delivered";
  request.app = "scanner";
  EXPECT_EQ(SimulatorControls::raiseCounted(request), -1);
  EXPECT_EQ(controls_.applicationsText(), "{\"applications\":{}}");
}

}  // namespace
}  // namespace host_core
