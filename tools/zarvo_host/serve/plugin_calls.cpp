#include "serve/plugin_calls.h"

#include "bridge_helper_stand_in.h"

namespace zarvo_host::serve {

void PluginCalls::attach(EventRing& ring) {
  BridgeHelperStandInReset();
  BridgeHelperStandInSetResponseSink(&PluginCalls::onResponse, this);
  BridgeHelperStandInSetEventSink(&PluginCalls::onEvent, &ring);
}

void PluginCalls::detach() {
  BridgeHelperStandInSetEventSink(nullptr, nullptr);
  BridgeHelperStandInSetResponseSink(nullptr, nullptr);
}

void PluginCalls::onResponse(int promiseId, int statusCode, const char* json, void* self) {
  ResourceAnswer* answer = static_cast<PluginCalls*>(self)->current_;
  if (answer == nullptr) return;  // not inside one of our calls
  ++answer->responses;
  answer->answeredPromise = promiseId;
  answer->status = statusCode;
  answer->text = json != nullptr ? json : "";
}

void PluginCalls::onEvent(const char* eventName, const char* json, void* ring) {
  static_cast<EventRing*>(ring)->append(eventName, json);
}

bool PluginCalls::call(const std::string& resource, const ResourceRequest& request,
                       ResourceAnswer* answer) {
  const ResourceFunction function = plugin_.resource(resource);
  if (function == nullptr) return false;
  *answer = ResourceAnswer();
  return host_.run([&] {
    current_ = answer;
    answer->promise = function(request.options.c_str(), request.parameters.c_str(),
                               request.extra.c_str(), request.body.c_str());
    current_ = nullptr;
  });
}

bool PluginCalls::tearDown() {
  const TearDownFunction function = plugin_.tearDown();
  if (function == nullptr) return false;
  return host_.run([function] { function(); });
}

}  // namespace zarvo_host::serve
