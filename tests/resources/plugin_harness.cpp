#include "plugin_harness.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "bridge_helper_stand_in.h"

namespace restest {

namespace {

template <typename Function>
Function resolve(void* library, const char* name) {
  void* symbol = dlsym(library, name);
  if (symbol == nullptr) {
    std::fprintf(stderr, "plug-in %s does not export %s\n", ZARVO_BRIDGING_PLUGIN, name);
    std::abort();
  }
  return reinterpret_cast<Function>(symbol);
}

Plugin load() {
  // Never closed: the registry inside lives until process exit, as in a real host.
  void* library = dlopen(ZARVO_BRIDGING_PLUGIN, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "cannot load %s: %s\n", ZARVO_BRIDGING_PLUGIN, dlerror());
    std::abort();
  }
  Plugin plugin;
  plugin.application = resolve<EntryPoint>(library, "ZarvoApplication");
  plugin.bridge = resolve<EntryPoint>(library, "ZarvoApplicationBridge");
  plugin.event = resolve<EntryPoint>(library, "ZarvoApplicationEvent");
  plugin.custom = resolve<EntryPoint>(library, "ZarvoApplicationCustom");
  plugin.tearDown = resolve<void (*)()>(library, "TearDown");
  return plugin;
}

}  // namespace

const Plugin& Plugin::get() {
  static const Plugin plugin = load();
  return plugin;
}

const char kOkText[] = R"({"error":null,"value":null})";

std::string errorText(const std::string& message, const std::string& name) {
  return R"({"error":{"message":")" + message + R"(","name":")" + name + R"("},"value":null})";
}

std::vector<std::string> callLog() {
  std::vector<std::string> lines;
  const size_t count = ZrvSimCallCount();
  for (size_t i = 0; i < count; ++i) {
    ZrvSimCall call;
    if (ZrvSimGetCall(i, &call) != 0) {
      lines.emplace_back(call.text);
    }
  }
  return lines;
}

std::string executableFileName() {
  char buffer[4096] = {};
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  const std::string path(buffer, length > 0 ? static_cast<size_t>(length) : 0);
  return path.substr(path.rfind('/') + 1);
}

std::vector<std::string> connectLines(const std::string& name, int handle,
                                      const std::string& clientName) {
  const std::string h = std::to_string(handle);
  return {"ZrvConnectApplication(\"" + name + "\", \"" + clientName + "\") -> " + h,
          "ZrvSetApplicationDidDisconnectCallback(" + h + ", callback, context) -> 1"};
}

void resetAll() {
  // TearDown first: connections of an earlier test close against the old log, which the reset
  // then drops.
  Plugin::get().tearDown();
  ZrvSimReset();
  BridgeHelperStandInReset();
}

void HostCapture::install() {
  BridgeHelperStandInSetResponseSink(&HostCapture::onResponse, this);
  BridgeHelperStandInSetEventSink(&HostCapture::onEvent, this);
}

std::vector<Response> HostCapture::responses() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return responses_;
}

std::vector<Event> HostCapture::events() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return events_;
}

void HostCapture::onResponse(int promiseId, int statusCode, const char* json, void* userData) {
  auto* self = static_cast<HostCapture*>(userData);
  std::lock_guard<std::mutex> lock(self->mutex_);
  self->responses_.push_back(Response{promiseId, statusCode, json});
}

void HostCapture::onEvent(const char* eventName, const char* json, void* userData) {
  auto* self = static_cast<HostCapture*>(userData);
  std::lock_guard<std::mutex> lock(self->mutex_);
  self->events_.push_back(Event{eventName, json, std::this_thread::get_id()});
}

void ResourceTest::SetUp() {
  resetAll();
  capture_.install();
  clientName_ = executableFileName();
  // The executables are named without a dot, so the client name is the whole file name.
  ASSERT_EQ(clientName_.find('.'), std::string::npos) << clientName_;
  ASSERT_FALSE(clientName_.empty());
}

void ResourceTest::TearDown() {
  Plugin::get().tearDown();
  ZrvSimFlush();
  BridgeHelperStandInReset();  // the sinks point into this fixture
}

Response ResourceTest::call(EntryPoint entry, const std::string& method,
                            const std::string& parameters, const std::string& body,
                            const std::string& extra) {
  const std::string options = "{\"method\":\"" + method + "\"}";
  const size_t before = capture_.responses().size();
  const int promise = entry(options.c_str(), parameters.c_str(), extra.c_str(), body.c_str());
  const std::vector<Response> after = capture_.responses();
  EXPECT_EQ(after.size(), before + 1) << "exactly one response per call";
  if (after.size() != before + 1) {
    return Response{promise, -1, "<no single response>"};
  }
  EXPECT_EQ(after.back().promise, promise);
  return after.back();
}

void ResourceTest::connect(const std::string& name) {
  const Response r = application("post", "{\"name\":\"" + name + "\"}");
  EXPECT_EQ(r.status, 200) << name;
  EXPECT_EQ(r.text, kOkText) << name;
}

}  // namespace restest
