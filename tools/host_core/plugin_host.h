// Playing the web-view host for a loaded plug-in: the host library's sinks, calls with their one
// answer, and the events the plug-in dispatches.
//
// Design note
// -----------
// The stand-in host library (libQtWebKitBridgeHelper.so.2) hands every BridgeHelperSetResponse
// and BridgeHelperDispatchEvent to the sinks a host registers with it. A PluginHost registers
// both for its lifetime and removes them in its destructor.
//   - Responses: the plug-in sets the response inside the call, on the calling thread. `call`
//     opens an answer slot, calls the entry point, closes the slot and checks the plug-in's
//     contract: exactly one response, for the promise the entry point returned. A broken
//     contract is a 502 "PluginFault" with a message saying what happened, so every call gets
//     exactly one outcome whatever the plug-in does.
//   - Events arrive on the application library's threads and go straight to the EventReceiver
//     (usually an EventLog); the receiver must not call back into the host library.
//
// Threads: `call` and `tearDown` from one thread at a time (the plug-in takes no lock); the
// receiver is called from any thread. There is one pair of sinks per process, so at most one
// PluginHost exists at a time. Lifetime: construct after the Plugin and destroy before it (the
// Plugin's destructor tears down and unloads); the destructor returns only when no sink call is
// running any more, so the receiver may be destroyed right after it.
#ifndef ZARVO_HOST_CORE_PLUGIN_HOST_H
#define ZARVO_HOST_CORE_PLUGIN_HOST_H

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "host_core/host_error.h"
#include "host_core/plugin.h"
#include "host_core/resource.h"

namespace host_core {

// Where the plug-in's dispatched events go. Called on the application library's threads, one
// call at a time (the host library serialises its sinks); must not block for long.
class EventReceiver {
 public:
  virtual ~EventReceiver() = default;
  virtual void receive(std::string_view name, std::string_view text) = 0;
};

// The plug-in's answer to one call.
struct Answer {
  int status = 0;
  std::string text;  // the envelope exactly as set
  int promise = 0;
};

// Either the plug-in's answer or the reason there is none. `answer.promise` is the promise id the
// entry point returned in both cases.
struct CallOutcome {
  std::optional<HostError> fault;
  Answer answer;
  bool ok() const { return !fault.has_value(); }
};

class PluginHost {
 public:
  // Restarts the host library's promise identifiers at 1 and registers both sinks.
  PluginHost(const Plugin& plugin, EventReceiver& events);
  ~PluginHost();
  PluginHost(const PluginHost&) = delete;
  PluginHost& operator=(const PluginHost&) = delete;

  // Calls `resource` with `texts` on this thread and returns its one answer, or a fault.
  CallOutcome call(Resource resource, const RequestTexts& texts);
  // The same by name; an unknown name is a 404 "NotFound" fault and calls nothing.
  CallOutcome call(std::string_view resource, const RequestTexts& texts);
  // Calls the plug-in's TearDown.
  void tearDown() { plugin_.tearDown(); }

 private:
  struct Slot {
    int responses = 0;
    int promise = 0;
    int status = 0;
    std::string text;
  };
  static void onResponse(int promiseId, int statusCode, const char* json, void* self);
  static void onEvent(const char* eventName, const char* json, void* receiver);
  static CallOutcome judge(Resource resource, int promise, Slot slot);

  const Plugin& plugin_;
  std::mutex mutex_;         // guards current_ against a response from another thread
  Slot* current_ = nullptr;  // the slot of the call running now
};

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_PLUGIN_HOST_H
