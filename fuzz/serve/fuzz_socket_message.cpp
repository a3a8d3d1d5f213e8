// fuzz_socket_message: bytes as one WebSocket text message from a page, through the reading of
// client messages and back out through the server's messages. No sockets.
//
// Checks: nothing crashes, leaks or overruns (the sanitizers), and:
//   - a refused message gets an error message that parses as JSON, with status 400 or 404 and
//     the id as read ("null" when unreadable);
//   - an accepted call's id parses back to the value sent and is an integer in 0..2^53-1 or a
//     string of at most 256 bytes;
//   - every server message built from the input (the error, an answer carrying the input as the
//     plug-in's text, an events message of it) is valid UTF-8 and parses as a JSON object.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host_core/json_text.h"
#include "host_core/utf8_text.h"
#include "serve/socket_messages.h"

namespace {

using zarvo_host::serve::ClientMessage;

[[noreturn]] void fail(const char* what, const std::string& detail) {
  std::fprintf(stderr, "fuzz_socket_message: %s: %s\n", what, detail.c_str());
  std::abort();
}

pocketjson::Value mustParse(const std::string& text) {
  if (!host_core::isValidUtf8(text)) fail("server message is not UTF-8", text);
  pocketjson::Value value;
  std::string problem;
  if (!host_core::parseJson(text, &value, &problem) || !value.isObject()) {
    fail("server message is not a JSON object", text);
  }
  return value;
}

void checkId(const std::string& id) {
  const pocketjson::Value value = mustParse("{\"id\":" + id + "}").get("id");
  const bool integer = value.isInteger() && value.asInteger() >= 0 &&
                       value.asInteger() <= zarvo_host::serve::kMaxIntegerId;
  const bool string = value.isString() && value.asString().size() <= zarvo_host::serve::kMaxIdBytes;
  if (!integer && !string) fail("accepted id breaks the rule", id);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  ClientMessage message;
  host_core::HostError error;
  if (!zarvo_host::serve::readClientMessage(text, &message, &error)) {
    if (error.status != 400 && error.status != 404) fail("refusal status", error.message);
    const pocketjson::Value reply = mustParse(zarvo_host::serve::errorMessage(message.id, error));
    if (reply.get("status").asInteger() != error.status) fail("error status", error.message);
  } else if (message.op == ClientMessage::Op::kCall || message.op == ClientMessage::Op::kTeardown) {
    checkId(message.id);
  }
  // Whatever the input, as a plug-in's answer text and as an event text it must go out as UTF-8.
  mustParse(zarvo_host::serve::answerMessage(message.id, host_core::Answer{200, text, 1}));
  mustParse(zarvo_host::serve::eventsMessage(1, {text, text}));
  return 0;
}
