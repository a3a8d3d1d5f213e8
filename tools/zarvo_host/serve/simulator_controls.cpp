#include "serve/simulator_controls.h"

#include "host_core/json_text.h"
#include "serve/host_answer.h"
#include "serve/protocol_request.h"
#include "zarvo_simulator.h"

namespace zarvo_host::serve {

using host_core::quoteJson;
namespace {

ZrvApplicationHandle connectionOf(const std::string& app, httplib::Response& res) {
  ZrvApplicationHandle handle = ZrvSimConnectionNamed(app.c_str());
  if (handle == nullptr) {
    setHostError(res, 404, kNotConnected, "application '" + app + "' is not connected");
  }
  return handle;
}

}  // namespace

void raiseEvents(const std::string& body, httplib::Response& res) {
  RaiseRequest request;
  std::string problem;
  if (!parseRaiseRequest(body, &request, &problem)) {
    setHostError(res, 400, kBadProtocolRequest, problem);
    return;
  }
  ZrvApplicationHandle handle = connectionOf(request.app, res);
  if (handle == nullptr) return;
  if (request.count == 1) {
    ZrvSimRaiseEvent(handle, request.type.c_str(), request.payload.c_str());
  } else {
    for (long long i = 0; i < request.count; ++i) {
      ZrvSimPostEvent(handle, request.type.c_str(), request.payload.c_str());
    }
    ZrvSimFlush();
  }
  res.status = 200;
  res.set_content("{\"raised\":" + std::to_string(request.count) + "}", "application/json");
}

void reportDisconnect(const std::string& body, httplib::Response& res) {
  std::string app;
  std::string problem;
  if (!parseDisconnectRequest(body, &app, &problem)) {
    setHostError(res, 400, kBadProtocolRequest, problem);
    return;
  }
  ZrvApplicationHandle handle = connectionOf(app, res);
  if (handle == nullptr) return;
  ZrvSimRaiseDidDisconnect(handle, 0);
  res.status = 200;
  res.set_content("{\"notified\":true}", "application/json");
}

void callLog(uint64_t from, httplib::Response& res) {
  const size_t total = ZrvSimCallCount();
  std::string out = "{\"calls\":[";
  bool first = true;
  for (uint64_t index = from; index < total; ++index) {
    ZrvSimCall call{};
    if (ZrvSimGetCall(static_cast<size_t>(index), &call) == 0) break;
    if (!first) out += ',';
    first = false;
    out += quoteJson(call.text != nullptr ? call.text : "");
  }
  out += "],\"next\":" + std::to_string(total) + "}";
  res.status = 200;
  res.set_content(out, "application/json");
}

}  // namespace zarvo_host::serve
