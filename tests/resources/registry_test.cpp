// The application registry's internals, linked directly (zarvo_bridge_core), with the simulated
// application library in programmed mode: what the exported functions cannot reach.
#include <gtest/gtest.h>

#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "bridge/application_manager.h"
#include "zarvo_simulator.h"

namespace {

using bridge::ApplicationManager;
using Lines = std::vector<std::string>;

Lines callLog() {
  Lines lines;
  for (size_t i = 0; i < ZrvSimCallCount(); ++i) {
    ZrvSimCall call;
    if (ZrvSimGetCall(i, &call) != 0) lines.emplace_back(call.text);
  }
  return lines;
}

ZrvApplicationHandle handleOf(unsigned long number) {
  return reinterpret_cast<ZrvApplicationHandle>(number);
}

// ---- Client name --------------------------------------------------------------------------

TEST(ClientNameFromPath, DropsTheLastExtensionOfTheFileName) {
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/opt/viewer/bin/viewer.bin"), "viewer");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/usr/bin/viewer"), "viewer");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/usr/lib/app.beta.run"), "app.beta");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/a/b."), "b");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/a.d/b"), "b");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/a/b\\c.d"), "b\\c");
}

TEST(ClientNameFromPath, DotAtPositionZeroCountsAsNotFound) {
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/usr/bin/.hidden"), ".hidden");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/usr/bin/.hidden.x"), ".hidden");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/usr/bin/."), ".");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/usr/bin/.."), ".");
}

TEST(ClientNameFromPath, SlashAtPositionZeroOrNoSlashGivesEmpty) {
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/viewer"), "");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/viewer.bin"), "");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("viewer"), "");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("viewer.bin"), "");
  EXPECT_EQ(ApplicationManager::clientNameFromPath(""), "");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/"), "");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("/usr/bin/"), "");
  EXPECT_EQ(ApplicationManager::clientNameFromPath("//x.y"), "x");
}

// ---- Registry -----------------------------------------------------------------------------

// The file name of this executable; it has no dot, so it is also the client name.
std::string executableFileName() {
  char buffer[4096] = {};
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  const std::string path(buffer, length > 0 ? static_cast<size_t>(length) : 0);
  return path.substr(path.rfind('/') + 1);
}

class Registry : public ::testing::Test {
 protected:
  void SetUp() override {
    ZrvSimReset();
    client_ = executableFileName();
    ASSERT_EQ(client_.find('.'), std::string::npos);
  }
  void TearDown() override {
    registry_.clear();
    ZrvSimReset();
  }

  Lines connected(const std::string& name, int handle) const {
    const std::string h = std::to_string(handle);
    return {"ZrvConnectApplication(\"" + name + "\", \"" + client_ + "\") -> " + h,
            "ZrvSetApplicationDidDisconnectCallback(" + h + ", callback, context) -> 1"};
  }

  ApplicationManager registry_;
  std::string client_;
};

TEST_F(Registry, ConnectCreatesANamedApplicationWithTheHandle) {
  ASSERT_TRUE(registry_.connect("viewer"));
  EXPECT_TRUE(registry_.contains("viewer"));
  zarvo::Application* application = registry_.applicationWithName("viewer");
  ASSERT_NE(application, nullptr);
  EXPECT_EQ(application->handle, handleOf(1));
  auto* named = dynamic_cast<bridge::Application*>(application);
  ASSERT_NE(named, nullptr);
  EXPECT_EQ(named->name, "viewer");
  EXPECT_EQ(callLog(), connected("viewer", 1));
  // The did-disconnect context is the object itself.
  ZrvSimCall call;
  ASSERT_NE(ZrvSimGetCall(1, &call), 0);
  EXPECT_EQ(call.context, static_cast<const void*>(application));
  EXPECT_EQ(call.callback, reinterpret_cast<const void*>(&zarvo::OnApplicationDidDisconnect));
}

TEST_F(Registry, SecondConnectOfANameFailsAndCallsNothing) {
  ASSERT_TRUE(registry_.connect("viewer"));
  zarvo::Application* first = registry_.applicationWithName("viewer");
  EXPECT_FALSE(registry_.connect("viewer"));
  EXPECT_EQ(registry_.applicationWithName("viewer"), first);
  EXPECT_EQ(first->handle, handleOf(1));
  EXPECT_EQ(callLog(), connected("viewer", 1));
}

TEST_F(Registry, RefusedConnectionLeavesTheRegistryUnchanged) {
  ZrvSimProgram program;
  ZrvSimDefaultProgram(&program);
  program.connectFails = 1;
  ZrvSimSetProgram(&program);
  EXPECT_FALSE(registry_.connect("viewer"));
  EXPECT_FALSE(registry_.contains("viewer"));
  EXPECT_EQ(registry_.applicationWithName("viewer"), nullptr);
  EXPECT_EQ(callLog(),
            (Lines{"ZrvConnectApplication(\"viewer\", \"" + client_ + "\") -> 0",
                   "ZrvSetApplicationDidDisconnectCallback(0, callback, context) -> 1"}));
}

TEST_F(Registry, DisconnectOfUnknownNameFailsAndCallsNothing) {
  ASSERT_TRUE(registry_.connect("a"));
  ZrvSimClearLog();
  EXPECT_FALSE(registry_.disconnect("b"));
  EXPECT_TRUE(registry_.contains("a"));
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(Registry, DisconnectClosesThatHandleOnceAndRemovesTheEntry) {
  ASSERT_TRUE(registry_.connect("a"));
  ASSERT_TRUE(registry_.connect("b"));
  ZrvSimClearLog();
  EXPECT_TRUE(registry_.disconnect("b"));
  EXPECT_FALSE(registry_.contains("b"));
  EXPECT_EQ(registry_.applicationWithName("b"), nullptr);
  EXPECT_TRUE(registry_.contains("a"));
  EXPECT_EQ(callLog(), Lines{"ZrvDisconnectApplication(2) -> 1"});
  EXPECT_FALSE(registry_.disconnect("b"));
  EXPECT_EQ(callLog(), Lines{"ZrvDisconnectApplication(2) -> 1"});
}

TEST_F(Registry, DisconnectSucceedsWhateverTheLibrarySays) {
  ZrvSimProgram program;
  ZrvSimDefaultProgram(&program);
  program.disconnectResult = 0;
  ZrvSimSetProgram(&program);
  ASSERT_TRUE(registry_.connect("a"));
  EXPECT_TRUE(registry_.disconnect("a"));
  EXPECT_FALSE(registry_.contains("a"));
}

TEST_F(Registry, NamesAreExactKeysAndTheEmptyNameIsValid) {
  ASSERT_TRUE(registry_.connect("App"));
  ASSERT_TRUE(registry_.connect("app"));
  ASSERT_TRUE(registry_.connect(""));
  ASSERT_TRUE(registry_.connect("app "));
  EXPECT_NE(registry_.applicationWithName("App"), registry_.applicationWithName("app"));
  EXPECT_EQ(registry_.applicationWithName("App")->handle, handleOf(1));
  EXPECT_EQ(registry_.applicationWithName("app")->handle, handleOf(2));
  EXPECT_EQ(registry_.applicationWithName("")->handle, handleOf(3));
  EXPECT_EQ(registry_.applicationWithName("app ")->handle, handleOf(4));
  EXPECT_FALSE(registry_.contains("APP"));
  EXPECT_TRUE(registry_.disconnect("app"));
  EXPECT_TRUE(registry_.contains("App"));
  EXPECT_TRUE(registry_.contains(""));
}

TEST_F(Registry, ClearClosesInAscendingNameOrder) {
  ASSERT_TRUE(registry_.connect("b"));
  ASSERT_TRUE(registry_.connect("a"));
  ASSERT_TRUE(registry_.connect("c"));
  ZrvSimClearLog();
  registry_.clear();
  EXPECT_EQ(callLog(),
            (Lines{"ZrvDisconnectApplication(2) -> 1", "ZrvDisconnectApplication(1) -> 1",
                   "ZrvDisconnectApplication(3) -> 1"}));
  for (const char* name : {"a", "b", "c"}) {
    EXPECT_EQ(registry_.applicationWithName(name), nullptr) << name;
    EXPECT_FALSE(registry_.contains(name)) << name;
  }
  ZrvSimClearLog();
  registry_.clear();  // empty: nothing to do
  EXPECT_EQ(callLog(), Lines{});
  EXPECT_TRUE(registry_.connect("a"));  // usable again
}

TEST_F(Registry, DidDisconnectNoticeChangesNothing) {
  ASSERT_TRUE(registry_.connect("viewer"));
  zarvo::Application* application = registry_.applicationWithName("viewer");
  zarvo::OnApplicationDidDisconnect(application);
  zarvo::OnApplicationDidDisconnect(nullptr);
  EXPECT_TRUE(registry_.contains("viewer"));
  EXPECT_EQ(registry_.applicationWithName("viewer"), application);
  EXPECT_EQ(application->handle, handleOf(1));
  EXPECT_FALSE(registry_.connect("viewer"));
  EXPECT_EQ(callLog(), connected("viewer", 1));
}

TEST_F(Registry, DestructorClosesNothing) {
  auto registry = std::make_unique<ApplicationManager>();
  ASSERT_TRUE(registry->connect("a"));
  ASSERT_TRUE(registry->connect("b"));
  zarvo::Application* a = registry->applicationWithName("a");
  zarvo::Application* b = registry->applicationWithName("b");
  ZrvSimClearLog();
  registry.reset();
  EXPECT_EQ(callLog(), Lines{});
  // The objects outlive the registry (left to the library); release them without closing.
  a->handle = nullptr;
  b->handle = nullptr;
  delete a;
  delete b;
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(Registry, SharedIsOneInstance) {
  EXPECT_EQ(&ApplicationManager::Shared(), &ApplicationManager::Shared());
  EXPECT_NE(&ApplicationManager::Shared(), &registry_);
}

// ---- Application objects ------------------------------------------------------------------

TEST(ApplicationObject, DestroyingAConnectedObjectClosesItsConnection) {
  ZrvSimReset();
  {
    bridge::Application application("x");
    application.connect("x", "client");
    EXPECT_EQ(application.handle, handleOf(1));
  }
  EXPECT_EQ(callLog(), (Lines{R"(ZrvConnectApplication("x", "client") -> 1)",
                              "ZrvSetApplicationDidDisconnectCallback(1, callback, context) -> 1",
                              "ZrvDisconnectApplication(1) -> 1"}));
  ZrvSimReset();
}

TEST(ApplicationObject, ReconnectClosesThePreviousConnectionFirst) {
  ZrvSimReset();
  bridge::Application application("x");
  application.connect("x", "");
  application.connect("y", "c");
  EXPECT_EQ(application.handle, handleOf(2));
  application.disconnect();
  EXPECT_EQ(application.handle, nullptr);
  application.disconnect();  // nothing left to close
  EXPECT_EQ(callLog(),
            (Lines{R"(ZrvConnectApplication("x", "") -> 1)",
                   "ZrvSetApplicationDidDisconnectCallback(1, callback, context) -> 1",
                   "ZrvDisconnectApplication(1) -> 1", R"(ZrvConnectApplication("y", "c") -> 2)",
                   "ZrvSetApplicationDidDisconnectCallback(2, callback, context) -> 1",
                   "ZrvDisconnectApplication(2) -> 1"}));
  ZrvSimReset();
}

TEST(ApplicationObject, UnconnectedObjectClosesNothing) {
  ZrvSimReset();
  { bridge::Application application("x"); }
  EXPECT_EQ(callLog(), Lines{});
}

}  // namespace
