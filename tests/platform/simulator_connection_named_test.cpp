// Finding a connection by the application name it was made under, as a host does to raise events
// and notices for an application the plug-in connected.
#include <string>

#include "simulator_test_support.h"

namespace {

using simtest::Recorder;

using ConnectionNamed = simtest::SimulatorTest;

TEST_F(ConnectionNamed, UnknownAndNullNamesFindNothing) {
  EXPECT_EQ(ZrvSimConnectionNamed("viewer"), nullptr);
  EXPECT_EQ(ZrvSimConnectionNamed(nullptr), nullptr);
  ASSERT_NE(ZrvConnectApplication("viewer", ""), nullptr);
  EXPECT_EQ(ZrvSimConnectionNamed("Viewer"), nullptr);
  EXPECT_EQ(ZrvSimConnectionNamed(""), nullptr);
}

TEST_F(ConnectionNamed, FindsTheNewestOpenConnection) {
  ZrvApplicationHandle first = ZrvConnectApplication("viewer", "");
  ZrvApplicationHandle other = ZrvConnectApplication("printer", "");
  ZrvApplicationHandle second = ZrvConnectApplication("viewer", "");
  EXPECT_EQ(ZrvSimConnectionNamed("printer"), other);
  EXPECT_EQ(ZrvSimConnectionNamed("viewer"), second);
  ASSERT_EQ(ZrvDisconnectApplication(second), 1);
  EXPECT_EQ(ZrvSimConnectionNamed("viewer"), first);
  ASSERT_EQ(ZrvDisconnectApplication(first), 1);
  EXPECT_EQ(ZrvSimConnectionNamed("viewer"), nullptr);
}

TEST_F(ConnectionNamed, RaisesReachTheNamedConnection) {
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  Recorder recorder;
  ASSERT_EQ(ZrvRegisterEvent(h, "", "progress", Recorder::onEvent, &recorder), 1);
  EXPECT_EQ(ZrvSimRaiseEvent(ZrvSimConnectionNamed("viewer"), "progress", "{}"), 1);
}

TEST_F(ConnectionNamed, IsNotLogged) {
  ASSERT_NE(ZrvConnectApplication("viewer", ""), nullptr);
  const size_t before = ZrvSimCallCount();
  ZrvSimConnectionNamed("viewer");
  EXPECT_EQ(ZrvSimCallCount(), before);
}

}  // namespace
