// fuzz_entry_points: sequences of host calls through all four resources, with the simulated
// application library programmed from the same input, and events raised on its threads.
//
// Input layout (every text ends at the next 0 byte or at the end of the input):
//   4 program bytes
//     p0  bit 0 connect fails; bits 1-2 ZrvRegisterEvent result; bits 3-4 ZrvUnregisterEvent
//         result; bits 5-6 ZrvBridgeCross result (results: 0, 1, -1, 7); bit 7 no bridge-cross
//         callback
//     p1  bits 0-1 ZrvExecuteCustomTask result; bit 2 no custom-task callback; bits 3-4 event
//         thread count - 1
//     p2 p3  bridge-cross status (int16, little endian)
//   3 texts: bridge-cross answer, custom-task type, custom-task answer
//   then up to kMaxRecords records, each a selector byte followed by 4 texts:
//     selector bits 0-2  0 ZarvoApplication, 1 ZarvoApplicationBridge, 2 ZarvoApplicationEvent,
//                        3 ZarvoApplicationCustom (texts: options, parameters, extra, body);
//                        4 TearDown; 5 raise an event and wait; 7 post an event and go on
//                        (checked at the next raise, TearDown or the end of the input)
//                        (texts: type, payload, application name); 6 report the connection lost
//                        (text: application name)
//     bit 3              connect first: POST ZarvoApplication with the record's parameters
//     bit 4              raised events (5) and lost-connection notices (6) with a null context
//     bits 5-7           calls: 1 get, 2 post, 3 put, 4 delete replace the options text;
//                        events: handle number - 1 when the name is not connected
//
// Checks: harness.h for every response and event, plus registry invariants: only a 200 from
// ZarvoApplication changes the registry, by exactly one entry; entries map their own name to a
// connected object; a lost-connection notice changes nothing; TearDown empties the registry and
// no event is dispatched for a torn-down connection.
#include <cstddef>
#include <cstdint>
#include <string>

#include "harness.h"

namespace {

using fuzzbridge::call;
using fuzzbridge::fail;
using fuzzbridge::Resource;

constexpr int kMaxRecords = 24;

int resultFromBits(unsigned bits) {
  static const int kResults[4] = {0, 1, -1, 7};
  return kResults[bits & 3u];
}

// What the harness knows about the registry: the names of successful connects not yet
// disconnected. Kept in step with every 200 from ZarvoApplication and checked against the
// registry after every call.
struct Session {
  std::vector<std::string> names;
  std::vector<std::string> everConnected;  // every name connected during this input
  // Events posted without waiting: delivered on the simulator's threads while the calls go on
  // (disconnects and TearDown included), checked at the next flush.
  std::vector<std::string> postedTypes;
  bool postedTruncates = false;
  bool postedOutstanding = false;
  long callbacksChecked = 0;  // event callbacks accounted for so far
  bool answerTruncates = false;
  int bridgeStatus = 200;
  std::string customType;

  void checkRegistry() const {
    bridge::ApplicationManager& registry = bridge::ApplicationManager::Shared();
    for (const std::string& name : names) {
      zarvo::Application* app = registry.applicationWithName(name);
      if (app == nullptr) fail("connected name missing from the registry", name);
      if (app->handle == nullptr) fail("registered application without a handle", name);
      if (static_cast<bridge::Application*>(app)->name != name) fail("object name != key", name);
    }
  }

  std::string nameOf(ZrvApplicationHandle handle) const {
    for (const std::string& name : names) {
      zarvo::Application* app = bridge::ApplicationManager::Shared().applicationWithName(name);
      if (app != nullptr && app->handle == handle) return name;
    }
    return std::string();
  }
};

std::string methodOptions(unsigned selector, const std::string& options) {
  switch ((selector >> 5) & 7u) {
    case 1:
      return "{\"method\":\"get\"}";
    case 2:
      return "{\"method\":\"post\"}";
    case 3:
      return "{\"method\":\"put\"}";
    case 4:
      return "{\"method\":\"delete\"}";
    default:
      return options;
  }
}

// One resource call plus the registry bookkeeping around it.
void resourceCall(Session& session, Resource resource, const std::string& options,
                  const std::string& parameters, const std::string& extra,
                  const std::string& body) {
  bridge::ApplicationManager& registry = bridge::ApplicationManager::Shared();
  // The name the call may connect or disconnect, as the resource reads it.
  pocketjson::Value params;
  {
    // The frame skips a (partial) byte-order mark and ignores trailing text; parse the same way
    // so that we know which name a 200 refers to.
    std::string text = parameters;
    size_t skip = 0;
    if (skip < text.size() && static_cast<unsigned char>(text[skip]) == 0xEF) {
      ++skip;
      if (skip < text.size() && static_cast<unsigned char>(text[skip]) == 0xBB) {
        ++skip;
        if (skip < text.size() && static_cast<unsigned char>(text[skip]) == 0xBF) ++skip;
      }
    }
    pocketjson::Parser parser;
    pocketjson::Parser::TextIterator it(text.cbegin() + static_cast<std::ptrdiff_t>(skip),
                                        text.cend());
    parser.parse_value(&params, nullptr, it, pocketjson::ParseOption::kStrict);
  }
  const std::string name = params.get("name").toString("");
  const bool wasConnected = !name.empty() && registry.contains(name);

  const bool mayTruncate =
      session.answerTruncates && (resource == Resource::kBridge || resource == Resource::kCustom);
  const fuzzbridge::Response response =
      call(resource, options, parameters, extra, body, mayTruncate);

  if (resource == Resource::kApplication && response.status == 200) {
    if (name.empty()) fail("200 for an empty name", parameters);
    if (registry.contains(name) == wasConnected) fail("200 without a registry change", name);
    if (wasConnected) {
      for (size_t i = 0; i < session.names.size(); ++i) {
        if (session.names[i] == name) {
          session.names.erase(session.names.begin() + static_cast<std::ptrdiff_t>(i));
          break;
        }
      }
    } else {
      session.names.push_back(name);
      session.everConnected.push_back(name);
    }
  } else if (!name.empty() && registry.contains(name) != wasConnected) {
    fail("registry changed without a successful connect or disconnect", name);
  }
  session.checkRegistry();

  if (response.status != 200) return;
  pocketjson::Value envelope;
  if (!fuzzbridge::parseStrict(response.text, envelope)) return;  // truncated by design
  const pocketjson::Value& value = envelope.get("value");
  switch (resource) {
    case Resource::kApplication:
    case Resource::kEvent:
      if (!value.isNull()) fail("connect/subscribe answered with a value", response.text);
      break;
    case Resource::kBridge:
      if (!fuzzbridge::hasExactMembers(value, {"data", "statuscode"}) ||
          value.get("statuscode").asInteger() != session.bridgeStatus) {
        fail("bridge-cross value", response.text);
      }
      break;
    case Resource::kCustom:
      if (!fuzzbridge::hasExactMembers(value, {"data", "type"}) ||
          value.get("type").asString() != session.customType) {
        fail("custom-task value", response.text);
      }
      break;
  }
}

void checkEvents(const Session& session, const std::string& type, const std::string& payload,
                 ZrvApplicationHandle handle, long callbacks, bool nullContext) {
  std::vector<fuzzbridge::Event> events = fuzzbridge::takeEvents();
  const size_t expected = nullContext ? 0u : static_cast<size_t>(callbacks);
  if (events.size() != expected) {
    fail("events dispatched != callbacks made",
         std::to_string(events.size()) + " vs " + std::to_string(expected));
  }
  const std::string app = session.nameOf(handle);
  const bool payloadTruncates = fuzzbridge::holdsNonFinite(fuzzbridge::parseLenient(payload));
  for (const fuzzbridge::Event& event : events) {
    pocketjson::Value parsed = fuzzbridge::checkEvent(event, payloadTruncates);
    if (parsed.isNull()) continue;
    if (parsed.get("type").asString() != type) fail("event type", event.text);
    if (parsed.get("app").asString() != app) fail("event app", event.text);
  }
}

// Waits for the posted events and checks them: one dispatch per callback made, each a well-formed
// event of a posted type from an application connected at some point of this input.
void flushPosted(Session& session) {
  if (!session.postedOutstanding) return;
  ZrvSimFlush();
  const long made = ZrvSimEventCallbackCount() - session.callbacksChecked;
  std::vector<fuzzbridge::Event> events = fuzzbridge::takeEvents();
  if (static_cast<long>(events.size()) != made) {
    fail("posted events dispatched != callbacks made",
         std::to_string(events.size()) + " vs " + std::to_string(made));
  }
  for (const fuzzbridge::Event& event : events) {
    pocketjson::Value parsed = fuzzbridge::checkEvent(event, session.postedTruncates);
    if (parsed.isNull()) continue;
    const std::string& type = parsed.get("type").asString();
    const std::string& app = parsed.get("app").asString();
    bool knownType = false;
    for (const std::string& posted : session.postedTypes) knownType = knownType || posted == type;
    bool knownApp = false;
    for (const std::string& name : session.everConnected) knownApp = knownApp || name == app;
    if (!knownType || !knownApp) fail("posted event from nowhere", event.text);
  }
  session.postedTypes.clear();
  session.postedTruncates = false;
  session.postedOutstanding = false;
  session.callbacksChecked = ZrvSimEventCallbackCount();
}

void raiseEvent(Session& session, unsigned selector, const std::string& typeText,
                const std::string& payload, const std::string& appName, bool post) {
  const std::string type = typeText.empty() ? std::string("progress") : typeText;
  ZrvApplicationHandle handle = nullptr;
  if (zarvo::Application* app = bridge::ApplicationManager::Shared().applicationWithName(appName)) {
    handle = app->handle;
  } else {
    handle = reinterpret_cast<ZrvApplicationHandle>(static_cast<uintptr_t>((selector >> 5) + 1));
  }
  const bool nullContext = (selector & 0x10u) != 0;
  if (post) {
    ZrvSimPostEvent(handle, type.c_str(), payload.c_str());
    session.postedTypes.push_back(type);
    session.postedTruncates =
        session.postedTruncates || fuzzbridge::holdsNonFinite(fuzzbridge::parseLenient(payload));
    session.postedOutstanding = true;
    return;
  }
  flushPosted(session);
  const long before = ZrvSimEventCallbackCount();
  if (nullContext) {
    ZrvSimRaiseEventWithNullContext(handle, type.c_str(), payload.c_str());
  } else {
    const int made = ZrvSimRaiseEvent(handle, type.c_str(), payload.c_str());
    if (made != ZrvSimEventCallbackCount() - before) fail("raise result != callbacks made", type);
  }
  checkEvents(session, type, payload, handle, ZrvSimEventCallbackCount() - before, nullContext);
  session.callbacksChecked = ZrvSimEventCallbackCount();
}

void tearDown(Session& session) {
  std::vector<ZrvApplicationHandle> handles;
  for (const std::string& name : session.names) {
    handles.push_back(bridge::ApplicationManager::Shared().applicationWithName(name)->handle);
  }
  bridge::ApplicationManager::Shared().clear();
  for (const std::string& name : session.names) {
    if (bridge::ApplicationManager::Shared().contains(name)) fail("TearDown left", name);
  }
  session.names.clear();
  // Events posted before the TearDown were delivered before the disconnects returned, or not at
  // all; torn-down connections must never produce an event afterwards.
  flushPosted(session);
  const long before = ZrvSimEventCallbackCount();
  for (ZrvApplicationHandle handle : handles) ZrvSimRaiseEvent(handle, "progress", "1");
  if (ZrvSimEventCallbackCount() != before) fail("event after TearDown", "");
  if (!fuzzbridge::takeEvents().empty()) fail("event dispatched after TearDown", "");
  session.callbacksChecked = ZrvSimEventCallbackCount();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzzbridge::installHost();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 4) return 0;
  const uint8_t* end = data + size;
  const unsigned p0 = data[0];
  const unsigned p1 = data[1];
  const int16_t status = static_cast<int16_t>(static_cast<uint16_t>(data[2] | (data[3] << 8)));
  data += 4;

  std::string bridgeAnswer;
  std::string customType;
  std::string customAnswer;
  fuzzbridge::nextText(data, end, bridgeAnswer);
  fuzzbridge::nextText(data, end, customType);
  fuzzbridge::nextText(data, end, customAnswer);

  ZrvSimProgram program;
  ZrvSimDefaultProgram(&program);
  program.connectFails = static_cast<int>(p0 & 1u);
  program.registerResult = resultFromBits(p0 >> 1);
  program.unregisterResult = resultFromBits(p0 >> 3);
  program.bridgeCrossResult = resultFromBits(p0 >> 5);
  program.bridgeCrossCallsBack = (p0 & 0x80u) ? 0 : 1;
  program.bridgeCrossStatus = status;
  program.bridgeCrossAnswer = bridgeAnswer.c_str();
  program.customTaskResult = resultFromBits(p1);
  program.customTaskCallsBack = (p1 & 4u) ? 0 : 1;
  program.customTaskType = customType.c_str();
  program.customTaskAnswer = customAnswer.c_str();
  ZrvSimSetProgram(&program);
  // The simulator is reset after every input (one event thread again).
  const int threads = static_cast<int>((p1 >> 3) & 3u) + 1;
  if (threads != 1) ZrvSimSetEventThreadCount(threads);

  Session session;
  session.bridgeStatus = status;
  session.customType = customType;
  session.answerTruncates = fuzzbridge::holdsNonFinite(fuzzbridge::parseLenient(bridgeAnswer)) ||
                            fuzzbridge::holdsNonFinite(fuzzbridge::parseLenient(customAnswer));

  for (int record = 0; record < kMaxRecords && data < end; ++record) {
    const unsigned selector = *data++;
    std::string texts[4];
    for (std::string& text : texts) fuzzbridge::nextText(data, end, text);
    const unsigned kind = selector & 7u;
    if ((selector & 8u) != 0 && kind < 4) {
      resourceCall(session, Resource::kApplication, "{\"method\":\"post\"}", texts[1], "{}", "");
    }
    switch (kind) {
      case 0:
      case 1:
      case 2:
      case 3:
        resourceCall(session, static_cast<Resource>(kind), methodOptions(selector, texts[0]),
                     texts[1], texts[2], texts[3]);
        break;
      case 4:
        tearDown(session);
        break;
      case 5:
      case 7:
        raiseEvent(session, selector, texts[0], texts[1], texts[2], kind == 7);
        break;
      case 6: {
        zarvo::Application* app =
            bridge::ApplicationManager::Shared().applicationWithName(texts[0]);
        if (app != nullptr) {
          const ZrvApplicationHandle handle = app->handle;
          ZrvSimRaiseDidDisconnect(handle, (selector & 0x10u) ? 1 : 0);
          // The notice changes nothing: the name stays connected with its handle.
          if (bridge::ApplicationManager::Shared().applicationWithName(texts[0]) != app ||
              app->handle != handle) {
            fail("lost-connection notice changed the registry", texts[0]);
          }
        }
        break;
      }
    }
  }
  tearDown(session);
  fuzzbridge::resetSimulator(1);
  return 0;
}
