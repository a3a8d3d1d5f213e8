// Test harness for the application resources, driven through the built plug-in.
//
// Design note
// -----------
// The plug-in file is loaded once per process with dlopen (its path is a compile definition) and
// its five exported functions are resolved by name, so the tests exercise exactly what a host
// sees. The test executable links the stand-in host library and the simulated application
// library itself; the plug-in binds to the same copies, so the tests program the simulator, read
// its call log and capture the host's responses and events through their control interfaces.
//
// State: the registry, the simulator and the stand-in host are process-wide. ResourceTest resets
// all three before each test (TearDown of the plug-in first, so no connection of an earlier test
// reaches the fresh log) and tears the registry down again after it.
//
// Threads: the response sink runs inside each entry-point call on the test thread; the event sink
// runs on the simulator's event threads. Captured data is guarded by one mutex; read it through
// the accessors only.
#ifndef TESTS_RESOURCES_PLUGIN_HARNESS_H
#define TESTS_RESOURCES_PLUGIN_HARNESS_H

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "zarvo_simulator.h"

namespace restest {

using EntryPoint = int (*)(const char*, const char*, const char*, const char*);

// The loaded plug-in's exported functions.
struct Plugin {
  EntryPoint application = nullptr;  //!< ZarvoApplication
  EntryPoint bridge = nullptr;       //!< ZarvoApplicationBridge
  EntryPoint event = nullptr;        //!< ZarvoApplicationEvent
  EntryPoint custom = nullptr;       //!< ZarvoApplicationCustom
  void (*tearDown)() = nullptr;      //!< TearDown

  // Loads the plug-in on first use; aborts the process with a message when that fails.
  static const Plugin& get();
};

// One BridgeHelperSetResponse as the stand-in host received it.
struct Response {
  int promise = 0;
  int status = 0;
  std::string text;
};

// One BridgeHelperDispatchEvent as the stand-in host received it.
struct Event {
  std::string name;
  std::string text;
  std::thread::id thread;  //!< the thread the host function was called on
};

// Everything the stand-in host's sinks received; installed by ResourceTest.
class HostCapture {
 public:
  // Registers this object's sinks with the stand-in host.
  void install();
  std::vector<Response> responses() const;
  std::vector<Event> events() const;

 private:
  static void onResponse(int promiseId, int statusCode, const char* json, void* userData);
  static void onEvent(const char* eventName, const char* json, void* userData);

  mutable std::mutex mutex_;
  std::vector<Response> responses_;
  std::vector<Event> events_;
};

// The envelope of a success without a value.
extern const char kOkText[];
// The envelope of an error.
std::string errorText(const std::string& message, const std::string& name);
// The simulator's call log, one canonical line per call.
std::vector<std::string> callLog();
// The file name of the running executable (what the plug-in derives the client name from).
std::string executableFileName();
// The two log lines of a successful connect of `name` that got the handle `handle`.
std::vector<std::string> connectLines(const std::string& name, int handle,
                                      const std::string& clientName);
// Every process-wide state back to the start: plug-in TearDown, simulator, stand-in host.
void resetAll();

class ResourceTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Calls `entry` with options {"method":<method>}, expects exactly one response for the
  // returned promise identifier and returns it.
  Response call(EntryPoint entry, const std::string& method, const std::string& parameters,
                const std::string& body = "", const std::string& extra = "{}");
  Response application(const std::string& method, const std::string& parameters,
                       const std::string& body = "") {
    return call(plugin().application, method, parameters, body);
  }
  Response bridge(const std::string& method, const std::string& parameters,
                  const std::string& body = "") {
    return call(plugin().bridge, method, parameters, body);
  }
  Response event(const std::string& method, const std::string& parameters,
                 const std::string& body = "") {
    return call(plugin().event, method, parameters, body);
  }
  Response custom(const std::string& method, const std::string& parameters,
                  const std::string& body = "") {
    return call(plugin().custom, method, parameters, body);
  }
  // POSTs {"name":<name>} to ZarvoApplication and expects 200.
  void connect(const std::string& name);
  // The connect lines for this executable's client name.
  std::vector<std::string> connected(const std::string& name, int handle) const {
    return connectLines(name, handle, clientName_);
  }
  // Programs the simulator: the defaults, changed by `change`.
  template <typename Change>
  void program(Change change) {
    ZrvSimProgram p;
    ZrvSimDefaultProgram(&p);
    change(p);
    ZrvSimSetProgram(&p);
  }

  static const Plugin& plugin() { return Plugin::get(); }
  const HostCapture& host() const { return capture_; }
  const std::string& clientName() const { return clientName_; }

 private:
  HostCapture capture_;
  std::string clientName_;
};

}  // namespace restest

#endif  // TESTS_RESOURCES_PLUGIN_HARNESS_H
