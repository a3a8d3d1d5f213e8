#include "host_core/plugin_host.h"

#include <utility>

#include "bridge_helper_stand_in.h"

namespace host_core {

PluginHost::PluginHost(const Plugin& plugin, EventReceiver& events) : plugin_(plugin) {
  BridgeHelperStandInReset();
  BridgeHelperStandInSetResponseSink(&PluginHost::onResponse, this);
  BridgeHelperStandInSetEventSink(&PluginHost::onEvent, &events);
}

PluginHost::~PluginHost() {
  BridgeHelperStandInSetEventSink(nullptr, nullptr);
  BridgeHelperStandInSetResponseSink(nullptr, nullptr);
}

void PluginHost::onResponse(int promiseId, int statusCode, const char* json, void* self) {
  auto* host = static_cast<PluginHost*>(self);
  const std::lock_guard<std::mutex> lock(host->mutex_);
  Slot* slot = host->current_;
  if (slot == nullptr) return;  // outside any call: no caller waits for it
  ++slot->responses;
  slot->promise = promiseId;
  slot->status = statusCode;
  slot->text = json != nullptr ? json : "";
}

void PluginHost::onEvent(const char* eventName, const char* json, void* receiver) {
  static_cast<EventReceiver*>(receiver)->receive(eventName != nullptr ? eventName : "",
                                                 json != nullptr ? json : "");
}

CallOutcome PluginHost::judge(Resource resource, int promise, Slot slot) {
  CallOutcome outcome;
  outcome.answer.promise = promise;
  const std::string name = resourceName(resource);
  if (slot.responses != 1) {
    outcome.fault = pluginFault(name + " set " + std::to_string(slot.responses) +
                                " responses for promise " + std::to_string(promise));
  } else if (slot.promise != promise) {
    outcome.fault = pluginFault(name + " returned promise " + std::to_string(promise) +
                                " but answered promise " + std::to_string(slot.promise));
  } else {
    outcome.answer = Answer{slot.status, std::move(slot.text), promise};
  }
  return outcome;
}

CallOutcome PluginHost::call(Resource resource, const RequestTexts& texts) {
  Slot slot;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    current_ = &slot;
  }
  const int promise = plugin_.call(resource, texts);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    current_ = nullptr;
  }
  return judge(resource, promise, std::move(slot));
}

CallOutcome PluginHost::call(std::string_view resource, const RequestTexts& texts) {
  const std::optional<Resource> known = resourceNamed(resource);
  if (!known) {
    CallOutcome outcome;
    outcome.fault = notFound("unknown resource '" + std::string(resource) + "'");
    return outcome;
  }
  return call(*known, texts);
}

}  // namespace host_core
