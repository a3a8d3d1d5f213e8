// Shared harness of the bridge fuzz targets: stand-in host sinks that check every answer, and the
// small helpers both targets use to cut one fuzz input into request texts.
//
// Design note
// -----------
// The targets link zarvo_bridge_core directly and call the resources through
// BridgeTemplate::operator(), the very path the exported entry points take, so libFuzzer sees the
// coverage of the frame, the registry and the resources. The stand-in host library counts
// promises and responses; the response sink below records the one answer of the call in flight,
// the event sink records every dispatched event. A check that fails calls abort(), which
// libFuzzer reports as a crash together with the input.
//
// What is checked for every call:
//   * exactly one new promise, exactly one response, for that promise, and operator() returns it;
//   * the response text parses (strict) as an object with exactly the members "error" and
//     "value"; status 200 goes with "error" null, 400/405/500 with an "error" object holding the
//     strings "message" and "name"; no other status appears.
// The one deliberate exception: a double outside the finite range (an answer holding 1e999)
// cannot be written as JSON, and the serializer then stops; the frame sends what was written.
// Callers pass `truncationAllowed` when the answer they programmed holds such a number.
//
// What is checked for every event: the name is "zarvoEvent" and the text parses as an object with
// exactly "app", "data" and "type", "app" and "type" being strings (same truncation exception).
//
// Threads: the response sink runs on the calling thread, the event sink on the simulator's event
// threads; both only touch `HarnessState` under its mutex. The stand-in serialises sink calls.
#ifndef FUZZ_BRIDGE_HARNESS_H
#define FUZZ_BRIDGE_HARNESS_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include "bridge/application_manager.h"
#include "bridge/zarvo_application.h"
#include "bridge/zarvo_application_bridge.h"
#include "bridge/zarvo_application_custom.h"
#include "bridge/zarvo_application_event.h"
#include "bridge_helper_stand_in.h"
#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"
#include "pocketjson/value.h"
#include "zarvo_simulator.h"

namespace fuzzbridge {

// Stops the process with a message; libFuzzer saves the input that led here.
[[noreturn]] inline void fail(const char* what, const std::string& detail) {
  std::fprintf(stderr, "bridge fuzz check failed: %s\n  %.2000s\n", what, detail.c_str());
  std::fflush(stderr);
  std::abort();
}

struct Response {
  int promiseId = 0;
  int status = 0;
  std::string text;
};

struct Event {
  std::string name;
  std::string text;
};

// Everything the sinks record; guarded by `mutex`.
struct HarnessState {
  std::mutex mutex;
  std::vector<Response> responses;  // since the last takeResponses()
  std::vector<Event> events;        // since the last takeEvents()
};

inline HarnessState& state() {
  static HarnessState* s = new HarnessState();  // never destroyed: sinks may run at exit
  return *s;
}

inline void responseSink(int promiseId, int statusCode, const char* json, void*) {
  HarnessState& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  s.responses.push_back(Response{promiseId, statusCode, json == nullptr ? "" : json});
  if (json == nullptr) fail("null response text", "");
}

inline void eventSink(const char* eventName, const char* json, void*) {
  HarnessState& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  if (eventName == nullptr || json == nullptr) fail("null event text", "");
  s.events.push_back(Event{eventName, json});
}

inline std::vector<Response> takeResponses() {
  HarnessState& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  std::vector<Response> out;
  out.swap(s.responses);
  return out;
}

inline std::vector<Event> takeEvents() {
  HarnessState& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  std::vector<Event> out;
  out.swap(s.events);
  return out;
}

// One-time setup: stand-in sinks installed, simulator in its initial programmed state.
inline void installHost() {
  BridgeHelperStandInReset();
  BridgeHelperStandInSetResponseSink(responseSink, nullptr);
  BridgeHelperStandInSetEventSink(eventSink, nullptr);
  ZrvSimReset();
}

// Back to the simulator's initial state with `threads` event threads. The simulator keeps a
// record of every connection until it is reset (and its call log), so the targets reset it after
// every input: memory stays flat across inputs, which keeps libFuzzer's per-input leak check
// meaningful (and fast: it only looks for leaks when an input ends with more allocations than
// frees).
inline void resetSimulator(int threads) {
  ZrvSimReset();
  if (threads != 1) ZrvSimSetEventThreadCount(threads);
}

// Strict parse; true when `text` is one complete JSON value.
inline bool parseStrict(const std::string& text, pocketjson::Value& out) {
  pocketjson::Parser parser;
  return parser.tryParse(out, text, pocketjson::ParseOption::kStrict);
}

// The value the bridge makes of an answer or event payload text (ParseOption::kLenient, errors
// dropped).
inline pocketjson::Value parseLenient(const std::string& text) {
  pocketjson::Value out;
  pocketjson::Parser parser;
  parser.tryParse(out, text, pocketjson::ParseOption::kLenient);
  return out;
}

// The compact text of `value` and whether it could be written completely.
inline bool compactText(const pocketjson::Value& value, std::string& out) {
  return pocketjson::Serializer::appendCompact(out, value);
}

// True when the value holds a double that JSON cannot express (the serializer stops there).
inline bool holdsNonFinite(const pocketjson::Value& value) {
  std::string ignored;
  return !compactText(value, ignored);
}

// `text` as a JSON string literal, escaped the way the bridge escapes.
inline std::string quoted(const std::string& text) {
  std::string out;
  std::back_insert_iterator<std::string> it(out);
  pocketjson::Serializer::serialize_string(it, text);
  return out;
}

inline bool hasExactMembers(const pocketjson::Value& v, std::initializer_list<const char*> keys) {
  if (!v.isObject() || v.size() != keys.size()) return false;
  for (const char* key : keys) {
    if (!v.has(key)) return false;
  }
  return true;
}

// Checks one response envelope (see the design note).
inline void checkEnvelope(const Response& response, bool truncationAllowed) {
  pocketjson::Value envelope;
  if (!parseStrict(response.text, envelope)) {
    if (truncationAllowed && response.status == 200 &&
        response.text.rfind("{\"error\":null,\"value\":", 0) == 0) {
      return;
    }
    fail("response text is not JSON", response.text);
  }
  if (!hasExactMembers(envelope, {"error", "value"})) {
    fail("envelope members are not exactly error, value", response.text);
  }
  const pocketjson::Value& error = envelope.get("error");
  switch (response.status) {
    case 200:
      if (!error.isNull()) fail("status 200 with an error", response.text);
      break;
    case 400:
    case 405:
    case 500:
      if (!hasExactMembers(error, {"message", "name"}) || !error.get("message").isString() ||
          !error.get("name").isString() || error.get("message").asString().empty()) {
        fail("error object malformed", response.text);
      }
      if (!envelope.get("value").isNull()) fail("error response with a value", response.text);
      break;
    default:
      fail("unexpected status", std::to_string(response.status) + " " + response.text);
  }
}

// Checks one dispatched event; returns its parsed object (null when truncated by design).
inline pocketjson::Value checkEvent(const Event& event, bool truncationAllowed) {
  if (event.name != "zarvoEvent") fail("event name", event.name);
  pocketjson::Value parsed;
  if (!parseStrict(event.text, parsed)) {
    if (truncationAllowed && event.text.rfind("{\"app\":", 0) == 0) return pocketjson::Value();
    fail("event text is not JSON", event.text);
  }
  if (!hasExactMembers(parsed, {"app", "data", "type"}) || !parsed.get("app").isString() ||
      !parsed.get("type").isString()) {
    fail("event members are not exactly app, data, type", event.text);
  }
  return parsed;
}

// The resources, as the exported entry points call them.
enum class Resource { kApplication, kBridge, kEvent, kCustom };

// Makes one call through the frame and checks the exactly-once contract and the envelope.
// Returns the one response.
inline Response call(Resource resource, const std::string& options, const std::string& parameters,
                     const std::string& extra, const std::string& body, bool truncationAllowed) {
  const long promisesBefore = BridgeHelperStandInPromiseCount();
  const long responsesBefore = BridgeHelperStandInResponseCount();
  int id = 0;
  switch (resource) {
    case Resource::kApplication:
      id = bridge::ZarvoApplication()(options.c_str(), parameters.c_str(), extra.c_str(),
                                      body.c_str());
      break;
    case Resource::kBridge:
      id = bridge::ZarvoApplicationBridge()(options.c_str(), parameters.c_str(), extra.c_str(),
                                            body.c_str());
      break;
    case Resource::kEvent:
      id = bridge::ZarvoApplicationEvent()(options.c_str(), parameters.c_str(), extra.c_str(),
                                           body.c_str());
      break;
    case Resource::kCustom:
      id = bridge::ZarvoApplicationCustom()(options.c_str(), parameters.c_str(), extra.c_str(),
                                            body.c_str());
      break;
  }
  if (BridgeHelperStandInPromiseCount() != promisesBefore + 1) fail("promise count", options);
  if (BridgeHelperStandInResponseCount() != responsesBefore + 1) fail("response count", options);
  std::vector<Response> responses = takeResponses();
  if (responses.size() != 1) fail("responses recorded", std::to_string(responses.size()));
  if (responses[0].promiseId != id) fail("promise id returned differs from the one answered", "");
  checkEnvelope(responses[0], truncationAllowed);
  return responses[0];
}

// Reads the next text of an input: everything up to the next 0 byte or the end. Returns false
// when the input is exhausted before any byte could be read.
inline bool nextText(const uint8_t*& data, const uint8_t* end, std::string& out) {
  out.clear();
  if (data >= end) return false;
  const uint8_t* start = data;
  while (data < end && *data != 0) ++data;
  out.assign(reinterpret_cast<const char*>(start), static_cast<size_t>(data - start));
  if (data < end) ++data;  // past the separator
  return true;
}

}  // namespace fuzzbridge

#endif  // FUZZ_BRIDGE_HARNESS_H
