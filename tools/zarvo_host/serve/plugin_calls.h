// Calls into the plug-in for the server: each on the host thread, each with its one response.
//
// Design note
// -----------
// The stand-in host library hands every BridgeHelperSetResponse to the response sink registered
// here. The plug-in sets the response inside the call, on the calling thread, which is always the
// host thread, so the sink writes into the record of the call that is running (no other call can
// run meanwhile) and the record is read after the call has returned. Events go to the sink
// registered by `attach` with the event ring.
//
// Threads: `call` and `tearDown` may be called from any number of HTTP workers at once; they
// queue on the host thread. Lifetime: `attach` before the first call; `detach` after the last one
// (it removes both sinks, so the plug-in can then be unloaded).
#ifndef ZARVO_HOST_SERVE_PLUGIN_CALLS_H
#define ZARVO_HOST_SERVE_PLUGIN_CALLS_H

#include <string>

#include "plugin.h"
#include "serve/event_ring.h"
#include "serve/host_thread.h"

namespace zarvo_host::serve {

using zarvo_tools::Plugin;
using zarvo_tools::ResourceFunction;
using zarvo_tools::TearDownFunction;

// The four request texts of a resource call.
struct ResourceRequest {
  std::string options;
  std::string parameters;
  std::string extra;
  std::string body;
};

// What the plug-in answered.
struct ResourceAnswer {
  int promise = 0;          // the identifier the entry point returned
  int responses = 0;        // responses set during the call (the plug-in promises exactly one)
  int answeredPromise = 0;  // the identifier the response was set for
  int status = 0;
  std::string text;
};

class PluginCalls {
 public:
  PluginCalls(const Plugin& plugin, HostThread& host) : plugin_(plugin), host_(host) {}
  PluginCalls(const PluginCalls&) = delete;
  PluginCalls& operator=(const PluginCalls&) = delete;

  // Restarts the stand-in host (promise identifiers from 1) and registers the response sink and
  // an event sink that appends to `ring`.
  void attach(EventRing& ring);
  // Removes both sinks.
  void detach();
  // Calls `resource` (one of the four names) on the host thread. False when the host thread has
  // stopped (the server is shutting down) or the name is unknown.
  bool call(const std::string& resource, const ResourceRequest& request, ResourceAnswer* answer);
  // Calls TearDown on the host thread; false when the host thread has stopped.
  bool tearDown();

 private:
  static void onResponse(int promiseId, int statusCode, const char* json, void* self);
  static void onEvent(const char* eventName, const char* json, void* ring);

  const Plugin& plugin_;
  HostThread& host_;
  ResourceAnswer* current_ = nullptr;  // the call running on the host thread
};

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_PLUGIN_CALLS_H
