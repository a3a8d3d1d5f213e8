#include "bridge/zarvo_application_event.h"

#include <string>

#include "bridge/application.h"
#include "bridge/messages.h"
#include "bridge/resource_request.h"
#include "zarvo_x64.h"

namespace bridge {

namespace {

// What both handlers need from a request, validated in the order of the error table.
struct EventRequest {
  zarvo::Application* application = nullptr;
  std::string type;
  std::string target;
};

EventRequest readEventRequest(const BridgeData& data) {
  // Both parameters are read before either is checked, so a request lacking both reports the
  // name.
  const std::string name = fieldText(data.parameters, "name");
  EventRequest request;
  request.type = fieldText(data.parameters, "type");
  if (name.empty()) throwNameIsEmpty();
  if (request.type.empty()) {
    throw BridgeResultError(kBridgeStatusBadRequest, messages::kBadRequestError,
                            messages::kTypeIsEmpty);
  }
  request.application = &connectedApplication(name);
  request.target = fieldText(data.body, "target");
  return request;
}

}  // namespace

BridgeResult ZarvoApplicationEvent::Post(const BridgeData& data) {
  const EventRequest request = readEventRequest(data);
  // The application object is the context: it outlives the subscription, which the library
  // drops when the connection is closed in the object's destructor.
  if (ZrvRegisterEvent(request.application->handle, request.target.c_str(), request.type.c_str(),
                       zarvo::OnEvent, request.application) == 0) {
    throwNoResponse();
  }
  return BridgeResult::ok();
}

BridgeResult ZarvoApplicationEvent::Delete(const BridgeData& data) {
  const EventRequest request = readEventRequest(data);
  if (ZrvUnregisterEvent(request.application->handle, request.target.c_str(),
                         request.type.c_str()) == 0) {
    throwNoResponse();
  }
  return BridgeResult::ok();
}

}  // namespace bridge

namespace zarvo {

void OnEvent(const char* type, const char* json, void* context) {
  if (context == nullptr) {
    return;
  }
  // ParseOption::kLenient: a trailing comma is accepted and text after the payload is ignored. A
  // failed parse still produces an event, carrying whatever value the parser left.
  static_cast<Application*>(context)->onEvent(type, bridge::readApplicationText(json));
}

}  // namespace zarvo
