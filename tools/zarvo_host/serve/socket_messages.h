// The messages of the WebSocket protocol (GET /socket): reading the client's, writing the
// server's. Every message is one text frame holding one compact JSON object with an "op".
//
// Design note
// -----------
// Client messages are read strictly, like the HTTP bodies: a member the message does not name,
// or one of the wrong kind, is refused with 400 "BadProtocolRequest" naming it, and an unknown
// resource with 404 "NotFound". A refusal answers that one message (an "error" carrying its id,
// or null when the id could not be read); the socket stays open.
//
// A call's id is echoed as the same JSON value: an integer from 0 to 2^53 - 1 (exact in a
// JavaScript number) or a string of at most kMaxIdBytes bytes. It is kept as its compact JSON
// text, ready to be written back.
//
// Server messages carry texts from the plug-in and the applications, which need not be UTF-8; a
// WebSocket text frame must be, so every such text is repaired (host_core/utf8_text.h) before it
// is quoted, exactly as a browser's decoder would show it over HTTP.
//
// Threads: stateless; any thread.
#ifndef ZARVO_HOST_SERVE_SOCKET_MESSAGES_H
#define ZARVO_HOST_SERVE_SOCKET_MESSAGES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host_core/event_log.h"
#include "host_core/host_error.h"
#include "host_core/plugin_host.h"
#include "host_core/resource.h"

namespace zarvo_host::serve {

constexpr int kSocketProtocol = 1;
constexpr size_t kMaxIdBytes = 256;
constexpr int64_t kMaxIntegerId = 9007199254740991;  // 2^53 - 1

struct ClientMessage {
  enum class Op {
    kCall,      // {"op":"call","id":…,"resource":…,"options"…"body"}
    kTeardown,  // {"op":"teardown","id":…}
    kEvents,    // {"op":"events","after":N|null}
    kStop,      // {"op":"stop"}
  };
  Op op = Op::kCall;
  std::string id = "null";  // the id's compact JSON text; "null" when there is none
  host_core::Resource resource = host_core::Resource::kApplication;
  host_core::RequestTexts texts;
  std::optional<uint64_t> after;  // kEvents: nothing means from now
};

// Reads one client message. False with `error` set when it is refused; `out->id` then holds the
// id when it could be read, for the error message.
bool readClientMessage(const std::string& text, ClientMessage* out, host_core::HostError* error);

// {"op":"hello","instance":…,"limits":{"message":N},"protocol":1}
std::string helloMessage(const std::string& instance, size_t messageLimit);
// {"op":"answer","id":…,"promise":P,"status":S,"text":…}
std::string answerMessage(const std::string& id, const host_core::Answer& answer);
// {"op":"done","id":…}
std::string doneMessage(const std::string& id);
// {"op":"error","id":…,"status":S,"code":…,"message":…}
std::string errorMessage(const std::string& id, const host_core::HostError& error);
// {"op":"streaming","after":N}
std::string streamingMessage(uint64_t after);
// {"op":"gap","first":A,"last":B,"lost":N}
std::string gapMessage(const host_core::Gap& gap);
// {"op":"events","first":N,"texts":[…]}
std::string eventsMessage(uint64_t first, const std::vector<std::string>& texts);
// Appends `text`, made valid UTF-8, as a quoted JSON string.
void appendRepairedString(std::string* out, const std::string& text);

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_SOCKET_MESSAGES_H
