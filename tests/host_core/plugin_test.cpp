// The plug-in as the hosts load it, and calls through the host library's sinks: answers, faults
// of a plug-in that breaks its contract, events, and what destruction does.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "host_core/description_file.h"
#include "host_core/event_log.h"
#include "host_core/plugin.h"
#include "host_core/plugin_host.h"
#include "zarvo_simulator.h"

namespace host_core {
namespace {

const RequestTexts kConnectViewer{"{\"method\":\"post\"}", "{\"name\":\"viewer\"}", "", ""};

class PluginTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ZrvSimReset();
    std::string text;
    std::string problem;
    ASSERT_TRUE(loadDescription(HOST_CORE_TEST_APPS, &text, &problem)) << problem;
  }
  void TearDown() override { ZrvSimReset(); }

  static Plugin open(const char* path) {
    std::string error;
    std::optional<Plugin> plugin = Plugin::open(path, &error);
    EXPECT_TRUE(plugin) << error;
    return std::move(*plugin);
  }
  static bool mapped(const char* path) {
    void* handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle != nullptr;
  }
};

TEST_F(PluginTest, OpeningAFileThatIsNotThereNamesIt) {
  std::string error;
  EXPECT_FALSE(Plugin::open("/nonexistent/libnothing.so", &error));
  EXPECT_EQ(error.rfind("cannot load the plug-in: /nonexistent/libnothing.so", 0), 0U) << error;
}

TEST_F(PluginTest, ALibraryWithoutTheEntryPointsIsRefused) {
  std::string error;
  Dl_info info{};
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&ZrvSimReset), &info), 0);
  EXPECT_FALSE(Plugin::open(info.dli_fname, &error));
  EXPECT_EQ(error.find(std::string(info.dli_fname) +
                       ": the plug-in does not export the entry point ZarvoApplication"),
            0U)
      << error;
}

TEST_F(PluginTest, CallsGetTheirOneAnswerAndEventsReachTheLog) {
  Plugin plugin = open(HOST_CORE_TEST_PLUGIN);
  EventLog log(1 << 20, "i");
  PluginHost host(plugin, log);
  CallOutcome outcome = host.call(Resource::kApplication, kConnectViewer);
  ASSERT_TRUE(outcome.ok());
  EXPECT_EQ(outcome.answer.status, 200);
  EXPECT_EQ(outcome.answer.text, "{\"error\":null,\"value\":null}");
  EXPECT_EQ(outcome.answer.promise, 1) << "promise ids restart with every host";
  outcome =
      host.call("ZarvoApplicationEvent",
                {"{\"method\":\"post\"}", "{\"name\":\"viewer\",\"type\":\"paper\"}", "", ""});
  ASSERT_TRUE(outcome.ok());
  EXPECT_EQ(outcome.answer.promise, 2);
  EXPECT_EQ(ZrvSimRaiseEvent(ZrvSimConnectionNamed("viewer"), "paper", "{\"a\":1}"), 1);
  uint64_t position = 0;
  EventBatch batch;
  ASSERT_TRUE(log.read(&position, 1024, &batch));
  EXPECT_EQ(batch.texts.at(0), "{\"app\":\"viewer\",\"data\":{\"a\":1},\"type\":\"paper\"}");
}

TEST_F(PluginTest, AnUnknownResourceCallsNothing) {
  Plugin plugin = open(HOST_CORE_TEST_PLUGIN);
  EventLog log(1 << 20, "i");
  PluginHost host(plugin, log);
  const CallOutcome outcome = host.call("ZarvoApplications", kConnectViewer);
  ASSERT_FALSE(outcome.ok());
  EXPECT_EQ(outcome.fault->status, 404);
  EXPECT_EQ(outcome.fault->code, "NotFound");
  EXPECT_EQ(outcome.fault->message, "unknown resource 'ZarvoApplications'");
  EXPECT_EQ(ZrvSimCallCount(), 0U);
}

TEST_F(PluginTest, APluginThatBreaksTheOneResponseRuleIsAFault) {
  Plugin plugin = open(HOST_CORE_TEST_FAULTY_PLUGIN);
  EventLog log(1 << 20, "i");
  PluginHost host(plugin, log);
  const std::pair<Resource, const char*> cases[] = {
      {Resource::kApplication, "ZarvoApplication set 0 responses for promise 1"},
      {Resource::kBridge, "ZarvoApplicationBridge set 2 responses for promise 2"},
      {Resource::kCustom, "ZarvoApplicationCustom returned promise 3 but answered promise 103"},
  };
  for (const auto& [resource, message] : cases) {
    const CallOutcome outcome = host.call(resource, RequestTexts{});
    ASSERT_FALSE(outcome.ok()) << message;
    EXPECT_EQ(outcome.fault->status, 502);
    EXPECT_EQ(outcome.fault->code, "PluginFault");
    EXPECT_EQ(outcome.fault->message, message);
  }
  EXPECT_TRUE(host.call(Resource::kEvent, RequestTexts{}).ok());
}

TEST_F(PluginTest, DestructionTearsDownAndUnloads) {
  {
    Plugin plugin = open(HOST_CORE_TEST_PLUGIN);
    EventLog log(1 << 20, "i");
    PluginHost host(plugin, log);
    ASSERT_TRUE(host.call(Resource::kApplication, kConnectViewer).ok());
    ZrvSimClearLog();
  }
  EXPECT_STREQ(ZrvSimCallLog(), "ZrvDisconnectApplication(1) -> 1\n");
  EXPECT_FALSE(mapped(HOST_CORE_TEST_PLUGIN));
}

TEST_F(PluginTest, KeepLoadedLeavesConnectionsAndCodeAlone) {
  {
    Plugin plugin = open(HOST_CORE_TEST_PLUGIN);
    EventLog log(1 << 20, "i");
    PluginHost host(plugin, log);
    ASSERT_TRUE(host.call(Resource::kApplication, kConnectViewer).ok());
    ZrvSimClearLog();
    plugin.keepLoaded();
  }
  EXPECT_STREQ(ZrvSimCallLog(), "");
  EXPECT_TRUE(mapped(HOST_CORE_TEST_PLUGIN));
  // Closed by a plug-in of the same file: the kept one is the same mapping.
  Plugin again = open(HOST_CORE_TEST_PLUGIN);
  again.tearDown();
  EXPECT_STREQ(ZrvSimCallLog(), "ZrvDisconnectApplication(1) -> 1\n");
}

TEST_F(PluginTest, AMovedFromPluginDoesNothing) {
  Plugin first = open(HOST_CORE_TEST_PLUGIN);
  Plugin second = std::move(first);
  {
    Plugin third = std::move(second);
    EXPECT_EQ(third.path(), HOST_CORE_TEST_PLUGIN);
  }
  EXPECT_FALSE(mapped(HOST_CORE_TEST_PLUGIN));
}

TEST_F(PluginTest, TheDescriptionTextIsKeptAndAMissingFileNamed) {
  std::string text;
  std::string problem;
  EXPECT_FALSE(loadDescription("/nonexistent/apps.json", &text, &problem));
  EXPECT_EQ(problem.rfind("/nonexistent/apps.json: cannot be opened", 0), 0U) << problem;
  ASSERT_TRUE(loadDescription(HOST_CORE_TEST_APPS, &text, &problem));
  EXPECT_NE(text.find("\"applications\""), std::string::npos);
}

}  // namespace
}  // namespace host_core
