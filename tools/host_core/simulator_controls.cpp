#include "host_core/simulator_controls.h"

#include <utility>

#include "host_core/json_text.h"
#include "host_core/protocol_body.h"
#include "zarvo_simulator.h"

namespace host_core {
namespace {

// Events a raise queues with the simulator before it waits for their delivery.
constexpr long long kRaiseRun = 4096;

bool readCount(const pocketjson::Value& value, long long maxCount, long long* out,
               std::string* problem) {
  if (!value.isInteger() || value.asInteger() < 1 || value.asInteger() > maxCount) {
    *problem = "member 'count' must be an integer from 1 to " + std::to_string(maxCount);
    return false;
  }
  *out = value.asInteger();
  return true;
}

ControlOutcome refused(HostError error) {
  return ControlOutcome{std::move(error), std::string()};
}

ControlOutcome answer(std::string json) {
  return ControlOutcome{std::nullopt, std::move(json)};
}

}  // namespace

bool parseRaiseRequest(const std::string& body, long long maxCount, RaiseRequest* out,
                       std::string* problem) {
  pocketjson::Value object;
  if (!parseObjectBody(body, &object, problem) ||
      !onlyMembers(object, {"app", "type", "payload", "count"}, problem)) {
    return false;
  }
  RaiseRequest request;
  if (!readNonEmpty("app", object, &request.app, problem) ||
      !readNonEmpty("type", object, &request.type, problem)) {
    return false;
  }
  if (object.has("payload") &&
      !readString("payload", object.get("payload"), &request.payload, problem)) {
    return false;
  }
  if (object.has("count") && !readCount(object.get("count"), maxCount, &request.count, problem)) {
    return false;
  }
  *out = std::move(request);
  return true;
}

bool parseDisconnectRequest(const std::string& body, std::string* app, std::string* problem) {
  pocketjson::Value object;
  return parseObjectBody(body, &object, problem) && onlyMembers(object, {"app"}, problem) &&
         readNonEmpty("app", object, app, problem);
}

SimulatorControls::SimulatorControls(std::string applicationsText, const Limits& limits)
    : applicationsText_(std::move(applicationsText)), maxRaiseCount_(limits.maxRaiseCount) {}

ControlOutcome SimulatorControls::raise(const std::string& body) const {
  RaiseRequest request;
  std::string problem;
  if (!parseRaiseRequest(body, maxRaiseCount_, &request, &problem)) {
    return refused(badProtocolRequest(problem));
  }
  return raise(request);
}

ControlOutcome SimulatorControls::raise(const RaiseRequest& request) const {
  ZrvApplicationHandle handle = ZrvSimConnectionNamed(request.app.c_str());
  if (handle == nullptr) return refused(notConnected(request.app));
  if (request.count == 1) {
    ZrvSimRaiseEvent(handle, request.type.c_str(), request.payload.c_str());
  } else {
    // Queued in runs and flushed after each: one by one a million events would take seconds,
    // and queued all at once they would hold a million copies of the payload in the simulator.
    for (long long i = 0; i < request.count; ++i) {
      ZrvSimPostEvent(handle, request.type.c_str(), request.payload.c_str());
      if ((i + 1) % kRaiseRun == 0) ZrvSimFlush();
    }
    ZrvSimFlush();
  }
  return answer("{\"raised\":" + std::to_string(request.count) + "}");
}

ControlOutcome SimulatorControls::reportLostConnection(const std::string& body) const {
  std::string app;
  std::string problem;
  if (!parseDisconnectRequest(body, &app, &problem)) return refused(badProtocolRequest(problem));
  if (lostConnection(app) < 0) return refused(notConnected(app));
  return answer("{\"notified\":true}");
}

ControlOutcome SimulatorControls::callLog(const std::string& fromText) const {
  uint64_t from = 0;
  if (!parseDecimal(fromText, &from)) {
    return refused(badProtocolRequest("from '" + fromText + "' is not a decimal number"));
  }
  return callLog(from);
}

ControlOutcome SimulatorControls::callLog(uint64_t from) const {
  const size_t total = ZrvSimCallCount();
  std::string out = "{\"calls\":[";
  bool first = true;
  for (uint64_t index = from; index < total; ++index) {
    ZrvSimCall call{};
    if (ZrvSimGetCall(static_cast<size_t>(index), &call) == 0) break;
    if (!first) out += ',';
    first = false;
    appendQuotedJson(&out, call.text != nullptr ? call.text : "");
  }
  out += "],\"next\":" + std::to_string(total) + "}";
  return answer(std::move(out));
}

long long SimulatorControls::raiseCounted(const RaiseRequest& request) {
  ZrvApplicationHandle handle = ZrvSimConnectionNamed(request.app.c_str());
  if (handle == nullptr) return -1;
  long long delivered = 0;
  for (long long i = 0; i < request.count; ++i) {
    delivered += ZrvSimRaiseEvent(handle, request.type.c_str(), request.payload.c_str());
  }
  return delivered;
}

int SimulatorControls::lostConnection(const std::string& app) {
  ZrvApplicationHandle handle = ZrvSimConnectionNamed(app.c_str());
  if (handle == nullptr) return -1;
  return ZrvSimRaiseDidDisconnect(handle, 0) != 0 ? 1 : 0;
}

}  // namespace host_core
