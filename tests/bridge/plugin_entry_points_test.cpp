// The built plug-in as a host sees it: loaded with dlopen from its file, its five C functions
// looked up by name, every call answered through the stand-in host. Each test resets the
// stand-in and calls TearDown first, because the registry is process-wide.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "bridge_helper_stand_in.h"
#include "response_capture.h"

#ifndef ZARVO_BRIDGING_PLUGIN
#error "ZARVO_BRIDGING_PLUGIN must name the built plug-in file"
#endif

namespace {

using bridge_test::ResponseCapture;

using ResourceFunction = int (*)(const char*, const char*, const char*, const char*);
using TearDownFunction = void (*)();

const char kGetRefused[] =
    "{\"error\":{\"message\":\"GET method is not allowed.\",\"name\":\"MethodError\"},"
    "\"value\":null}";
const char kPutRefused[] =
    "{\"error\":{\"message\":\"PUT method is not allowed.\",\"name\":\"MethodError\"},"
    "\"value\":null}";
const char kDeleteRefused[] =
    "{\"error\":{\"message\":\"DELETE method is not allowed.\",\"name\":\"MethodError\"},"
    "\"value\":null}";

// The plug-in, loaded once for the process like a host loads it and never unloaded.
struct Plugin {
  void* handle = nullptr;
  std::string loadError;
  ResourceFunction application = nullptr;
  ResourceFunction applicationBridge = nullptr;
  ResourceFunction applicationEvent = nullptr;
  ResourceFunction applicationCustom = nullptr;
  TearDownFunction tearDown = nullptr;

  static const Plugin& instance() {
    static const Plugin plugin;
    return plugin;
  }

 private:
  Plugin() {
    handle = dlopen(ZARVO_BRIDGING_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
      const char* error = dlerror();
      loadError = error != nullptr ? error : "dlopen failed";
      return;
    }
    application = reinterpret_cast<ResourceFunction>(dlsym(handle, "ZarvoApplication"));
    applicationBridge = reinterpret_cast<ResourceFunction>(dlsym(handle, "ZarvoApplicationBridge"));
    applicationEvent = reinterpret_cast<ResourceFunction>(dlsym(handle, "ZarvoApplicationEvent"));
    applicationCustom = reinterpret_cast<ResourceFunction>(dlsym(handle, "ZarvoApplicationCustom"));
    tearDown = reinterpret_cast<TearDownFunction>(dlsym(handle, "TearDown"));
  }
};

struct NamedResource {
  const char* name;
  ResourceFunction function;
};

class PluginEntryPointsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const Plugin& plugin = Plugin::instance();
    ASSERT_NE(plugin.handle, nullptr) << plugin.loadError;
    ASSERT_NE(plugin.application, nullptr);
    ASSERT_NE(plugin.applicationBridge, nullptr);
    ASSERT_NE(plugin.applicationEvent, nullptr);
    ASSERT_NE(plugin.applicationCustom, nullptr);
    ASSERT_NE(plugin.tearDown, nullptr);
    // Registry first, then the host: TearDown talks to no host function, and the capture's
    // reset restarts the promise counter at 1.
    plugin.tearDown();
    capture.reset(new ResponseCapture());
  }
  void TearDown() override { capture.reset(); }

  // Calls `function` once and checks the one-response contract; returns the response.
  bridge_test::Response call(ResourceFunction function, const char* options,
                             const char* parameters = "{}", const char* extra = "{}",
                             const char* body = "") {
    const size_t before = capture->responses().size();
    const long promisesBefore = BridgeHelperStandInPromiseCount();
    const int promiseId = function(options, parameters, extra, body);
    EXPECT_EQ(capture->responses().size(), before + 1) << options;
    EXPECT_EQ(BridgeHelperStandInPromiseCount(), promisesBefore + 1) << options;
    const bridge_test::Response response = capture->last();
    EXPECT_EQ(response.promiseId, promiseId) << options;
    return response;
  }

  static std::vector<NamedResource> allResources() {
    const Plugin& plugin = Plugin::instance();
    return {{"ZarvoApplication", plugin.application},
            {"ZarvoApplicationBridge", plugin.applicationBridge},
            {"ZarvoApplicationEvent", plugin.applicationEvent},
            {"ZarvoApplicationCustom", plugin.applicationCustom}};
  }

  std::unique_ptr<ResponseCapture> capture;
};

TEST_F(PluginEntryPointsTest, GetIsRefusedByEveryResourceInEverySpelling) {
  const char* const spellings[] = {"{\"method\":\"get\"}",
                                   "{\"method\":\"GET\"}",
                                   "{\"method\":\"Get\"}",
                                   "{\"method\":\"gEt\"}",
                                   "{}",
                                   "",
                                   "[]",
                                   "\"post\"",
                                   "{\"method\":\"patch\"}",
                                   "{\"method\":true}",
                                   "{\"method\":1}",
                                   "{\"method\":1.5}",
                                   "{\"method\":null}",
                                   "{\"method\":\"\"}",
                                   "not json",
                                   "\xEF\xBB\xBF{\"method\":\"GET\"}"};
  for (const NamedResource& resource : allResources()) {
    for (const char* options : spellings) {
      const bridge_test::Response response = call(resource.function, options);
      EXPECT_EQ(response.status, 405) << resource.name << " " << options;
      EXPECT_EQ(response.text, kGetRefused) << resource.name << " " << options;
    }
  }
}

TEST_F(PluginEntryPointsTest, PutIsRefusedByEveryResourceInEverySpelling) {
  const char* const spellings[] = {"{\"method\":\"put\"}",
                                   "{\"method\":\"PUT\"}",
                                   "{\"method\":\"Put\"}",
                                   "{\"method\":\"pUT\"}",
                                   "{\"method\":\"put\"} trailing text",
                                   "\xEF\xBB\xBF{\"method\":\"put\"}"};
  for (const NamedResource& resource : allResources()) {
    for (const char* options : spellings) {
      const bridge_test::Response response = call(resource.function, options);
      EXPECT_EQ(response.status, 405) << resource.name << " " << options;
      EXPECT_EQ(response.text, kPutRefused) << resource.name << " " << options;
    }
  }
}

TEST_F(PluginEntryPointsTest, DeleteIsRefusedByTheRequestResources) {
  const Plugin& plugin = Plugin::instance();
  const NamedResource resources[] = {{"ZarvoApplicationBridge", plugin.applicationBridge},
                                     {"ZarvoApplicationCustom", plugin.applicationCustom}};
  const char* const spellings[] = {"{\"method\":\"delete\"}", "{\"method\":\"DELETE\"}",
                                   "{\"method\":\"Delete\"}", "{\"method\":\"dElEtE\"}"};
  for (const NamedResource& resource : resources) {
    for (const char* options : spellings) {
      const bridge_test::Response response =
          call(resource.function, options, "{\"name\":\"viewer\"}", "{}", "{}");
      EXPECT_EQ(response.status, 405) << resource.name << " " << options;
      EXPECT_EQ(response.text, kDeleteRefused) << resource.name << " " << options;
    }
  }
}

TEST_F(PluginEntryPointsTest, PostIsNotTakenForGetOrPut) {
  // Whatever a resource answers to POST, it is not the GET or PUT refusal: the method was read.
  const char* const spellings[] = {"{\"method\":\"post\"}", "{\"method\":\"POST\"}",
                                   "{\"method\":\"Post\"}"};
  for (const NamedResource& resource : allResources()) {
    for (const char* options : spellings) {
      const bridge_test::Response response = call(resource.function, options);
      EXPECT_NE(response.text, kGetRefused) << resource.name << " " << options;
      EXPECT_NE(response.text, kPutRefused) << resource.name << " " << options;
      EXPECT_NE(response.text, kDeleteRefused) << resource.name << " " << options;
      EXPECT_FALSE(response.text.empty());
    }
  }
}

TEST_F(PluginEntryPointsTest, PostReachesTheBridgeResourceInEverySpelling) {
  // ZarvoApplicationBridge implements POST; with no "name" its handler refuses the request
  // itself, which only happens when the method was selected as POST.
  const char kNameEmpty[] =
      "{\"error\":{\"message\":\"URI parameter 'name' is empty.\",\"name\":\"BadRequestError\"},"
      "\"value\":null}";
  const char* const spellings[] = {"{\"method\":\"post\"}", "{\"method\":\"POST\"}",
                                   "{\"method\":\"Post\"}", "{\"method\":\"pOsT\"}",
                                   "\xEF\xBB\xBF{\"method\":\"post\"}"};
  for (const char* options : spellings) {
    const bridge_test::Response response =
        call(Plugin::instance().applicationBridge, options, "{}", "{}", "");
    EXPECT_EQ(response.status, 400) << options;
    EXPECT_EQ(response.text, kNameEmpty) << options;
  }
}

TEST_F(PluginEntryPointsTest, PromiseIdentifierIsReturnedAndSetOncePerCall) {
  std::vector<int> returned;
  for (int round = 0; round < 3; ++round) {
    for (const NamedResource& resource : allResources()) {
      returned.push_back(resource.function("{\"method\":\"get\"}", "{}", "{}", ""));
    }
  }
  ASSERT_EQ(capture->responses().size(), returned.size());
  EXPECT_EQ(BridgeHelperStandInResponseCount(), static_cast<long>(returned.size()));
  EXPECT_EQ(BridgeHelperStandInPromiseCount(), static_cast<long>(returned.size()));
  for (size_t i = 0; i < returned.size(); ++i) {
    EXPECT_EQ(returned[i], static_cast<int>(i + 1));
    EXPECT_EQ(capture->responses()[i].promiseId, returned[i]);
  }
}

TEST_F(PluginEntryPointsTest, AnsweredAlsoWithoutAResponseSink) {
  // With no sink the host's answer is 0; the plug-in does not care and still returns the id.
  BridgeHelperStandInReset();
  EXPECT_EQ(Plugin::instance().applicationBridge("{\"method\":\"get\"}", "{}", "{}", ""), 1);
  EXPECT_EQ(Plugin::instance().applicationEvent("{\"method\":\"put\"}", "{}", "{}", ""), 2);
  EXPECT_EQ(BridgeHelperStandInResponseCount(), 2);
  EXPECT_TRUE(capture->responses().empty());
}

TEST_F(PluginEntryPointsTest, TearDownTwiceIsHarmlessAndEntryPointsStayUsable) {
  const Plugin& plugin = Plugin::instance();
  plugin.tearDown();
  plugin.tearDown();
  EXPECT_EQ(BridgeHelperStandInPromiseCount(), 0);
  EXPECT_EQ(BridgeHelperStandInResponseCount(), 0);
  EXPECT_EQ(BridgeHelperStandInEventCount(), 0);

  const bridge_test::Response get = call(plugin.applicationBridge, "{\"method\":\"get\"}");
  EXPECT_EQ(get.promiseId, 1);
  EXPECT_EQ(get.status, 405);
  EXPECT_EQ(get.text, kGetRefused);
  plugin.tearDown();
  const bridge_test::Response put = call(plugin.application, "{\"method\":\"put\"}");
  EXPECT_EQ(put.promiseId, 2);
  EXPECT_EQ(put.status, 405);
  EXPECT_EQ(put.text, kPutRefused);
}

TEST_F(PluginEntryPointsTest, InternalsAreNotExported) {
  void* handle = Plugin::instance().handle;
  const char* const hidden[] = {
      "_ZN6bridge14BridgeTemplateclEPKcS2_S2_S2_",  // BridgeTemplate::operator()
      "_ZN6bridge14BridgeTemplate8envelopeB5cxx11ERKNS_12BridgeResultE",
      "_ZTIN6bridge12BridgeResultE",
      "_ZN6bridge18ApplicationManager6SharedEv",
      "_ZN10pocketjson5Value6s_nullEv",
      "_ZTIN6bridge17BridgeResultErrorE",  // typeinfo of the thrown type
      "_ZTVN6bridge14BridgeTemplateE",
  };
  for (const char* name : hidden) {
    // Searches the plug-in and its dependencies; none of them may offer these names.
    EXPECT_EQ(dlsym(handle, name), nullptr) << name;
  }
}

}  // namespace
