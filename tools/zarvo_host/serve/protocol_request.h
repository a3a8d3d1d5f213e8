// Reading and checking the request bodies and query values of the serve protocol.
//
// Design note
// -----------
// Bodies are parsed with pocketjson (no native recursion, so any nesting depth is safe) and
// checked strictly: every member the protocol does not name, and every member of the wrong kind,
// is a problem reported by its name, so a typo never passes silently. A problem is one English
// text that the server sends back as a 400 "BadProtocolRequest" answer. The entry points take
// NUL-terminated texts, so a string that holds a NUL character is refused rather than cut.
//
// Threads: all functions are stateless; any thread.
#ifndef ZARVO_HOST_SERVE_PROTOCOL_REQUEST_H
#define ZARVO_HOST_SERVE_PROTOCOL_REQUEST_H

#include <cstdint>
#include <string>

#include "serve/plugin_calls.h"

namespace zarvo_host::serve {

constexpr long long kMaxRaiseCount = 1000000;

// POST /simulator/raise
struct RaiseRequest {
  std::string app;
  std::string type;
  std::string payload = "null";
  long long count = 1;
};

// The body of POST /bridge/<Resource>: an object whose members "options", "parameters",
// "extra", "body" are optional strings (a missing one is the empty text).
bool parseResourceRequest(const std::string& body, ResourceRequest* out, std::string* problem);
// The body of POST /simulator/raise.
bool parseRaiseRequest(const std::string& body, RaiseRequest* out, std::string* problem);
// The body of POST /simulator/disconnect: {"app":"<name>"}.
bool parseDisconnectRequest(const std::string& body, std::string* app, std::string* problem);
// A decimal sequence number or index (digits only, at least one). Values too large for 64 bits
// become the largest value, which is beyond any real sequence number.
bool parseDecimal(const std::string& text, uint64_t* out);

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_PROTOCOL_REQUEST_H
