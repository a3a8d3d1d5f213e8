// The development controls of the simulated application library, for every host: raise events,
// report a lost connection, read the library's call log and the application description.
//
// Design note
// -----------
// A real web-view host has no such controls; they exist because the application library behind
// the plug-in is the simulator, and a page author needs to play the application's side. Each
// host only carries them (HTTP endpoints, web-channel methods, script steps); the rules live here:
// the request bodies (the same JSON whatever carries them), the limits, the error names and
// messages, and the answers' JSON texts:
//   raise       {"app":NAME,"type":TYPE,"payload":TEXT,"count":N}  ->  {"raised":N}
//   disconnect  {"app":NAME}                                        ->  {"notified":true}
//   call log    from index N                                        ->  {"calls":[...],"next":M}
// An application that has no open connection is 404 "NotConnected"; a body the rules refuse is
// 400 "BadProtocolRequest" naming the member.
//
// Threads: any thread; the simulator serialises itself. Raising waits until the events have been
// handed to the plug-in (which only queues them in the host's event log), never for a page.
#ifndef ZARVO_HOST_CORE_SIMULATOR_CONTROLS_H
#define ZARVO_HOST_CORE_SIMULATOR_CONTROLS_H

#include <cstdint>
#include <optional>
#include <string>

#include "host_core/host_error.h"
#include "host_core/limits.h"

namespace host_core {

struct RaiseRequest {
  std::string app;
  std::string type;
  std::string payload = "null";  // the payload text handed to the library
  long long count = 1;
};

// A control's answer: its JSON text, or why there is none.
struct ControlOutcome {
  std::optional<HostError> error;
  std::string json;
};

// The raise body; "count" from 1 to `maxCount`.
bool parseRaiseRequest(const std::string& body, long long maxCount, RaiseRequest* out,
                       std::string* problem);
// The disconnect body {"app":NAME}.
bool parseDisconnectRequest(const std::string& body, std::string* app, std::string* problem);

class SimulatorControls {
 public:
  // `applicationsText`: the description as loaded, answered by applicationsText().
  SimulatorControls(std::string applicationsText, const Limits& limits);

  ControlOutcome raise(const std::string& body) const;
  ControlOutcome raise(const RaiseRequest& request) const;
  ControlOutcome reportLostConnection(const std::string& body) const;
  // The call log from entry `fromText` (a decimal index) on.
  ControlOutcome callLog(const std::string& fromText) const;
  ControlOutcome callLog(uint64_t from) const;
  const std::string& applicationsText() const { return applicationsText_; }

  // For the reference host's steps, which report deliveries: raises `count` times, each waiting
  // for delivery; the number of event callbacks made, or -1 when `app` has no open connection.
  static long long raiseCounted(const RaiseRequest& request);
  // Reports `app`'s connection lost; 1 when a did-disconnect callback ran, 0 when none did,
  // -1 when `app` has no open connection.
  static int lostConnection(const std::string& app);

 private:
  std::string applicationsText_;
  long long maxRaiseCount_;
};

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_SIMULATOR_CONTROLS_H
