#include "bridge/application.h"

#include <string>

#include "bridge/messages.h"
#include "bridge_helper.h"
#include "pocketjson/serializer.h"

namespace zarvo {

Application::~Application() {
  disconnect();
}

void Application::onEvent(const std::string& /*type*/, const pocketjson::Value& /*data*/) {}

void Application::onDidDisconnect() {}

void Application::connect(const std::string& name, const std::string& clientName) {
  // One handle per object: a reconnect closes the previous connection first.
  if (handle != nullptr) {
    disconnect();
  }
  handle = ZrvConnectApplication(name.c_str(), clientName.c_str());
  // Registered whatever the outcome above, so a refused connection hands the library a null
  // handle here; the library ignores it.
  ZrvSetApplicationDidDisconnectCallback(handle, OnApplicationDidDisconnect, this);
}

void Application::disconnect() {
  if (handle == nullptr) {
    return;
  }
  ZrvDisconnectApplication(handle);
  handle = nullptr;
}

void OnApplicationDidDisconnect(void* context) {
  if (context == nullptr) {
    return;
  }
  // The object keeps its handle and its registry entry: the page decides when to disconnect.
  static_cast<Application*>(context)->onDidDisconnect();
}

}  // namespace zarvo

namespace bridge {

void Application::onEvent(const std::string& type, const pocketjson::Value& data) {
  pocketjson::Value event;
  event["app"] = name;
  event["type"] = type;
  event["data"] = data;

  // The serializer's result is not consulted: whatever it wrote is dispatched.
  const std::string text = pocketjson::Serializer::compact(event);
  BridgeHelperDispatchEvent(messages::kEventName, text.c_str());
}

}  // namespace bridge
