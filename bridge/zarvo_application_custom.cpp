#include "bridge/zarvo_application_custom.h"

#include <cstring>
#include <string>

#include "bridge/application.h"
#include "bridge/messages.h"
#include "bridge/resource_request.h"
#include "pocketjson/serializer.h"
#include "zarvo_x64.h"

namespace bridge {

BridgeResult ZarvoApplicationCustom::Post(const BridgeData& data) {
  zarvo::Application& application = applicationNamedIn(data);
  const std::string type = fieldText(data.body, "type");
  if (type.empty()) {
    throw BridgeResultError(kBridgeStatusBadRequest, messages::kBadRequestError,
                            messages::kTaskTypeIsEmpty);
  }
  const pocketjson::Value& taskData = data.body.get("data");
  const std::string target = fieldText(data.body, "target");

  // An absent member is the shared null value and serializes as "null"; the result is not
  // examined.
  const std::string taskDataText = pocketjson::Serializer::compact(taskData);

  zarvo::CustomTaskResponse response;
  if (ZrvExecuteCustomTask(application.handle, target.c_str(), type.c_str(), taskDataText.c_str(),
                           zarvo::OnCustomTaskResponse, &response) == 0) {
    // Unlike a bridge-cross request, nothing else is written into the record on this path.
    response.received = false;
  }
  if (!response.received) throwNoResponse();

  pocketjson::Value value;
  value["type"] = response.type;
  value["data"] = response.data;  // shared with the record, which is gone after the return
  return BridgeResult::ok(value);
}

}  // namespace bridge

namespace zarvo {

void OnCustomTaskResponse(const char* type, const char* json, void* context) {
  if (context == nullptr) {
    return;
  }
  auto* response = static_cast<CustomTaskResponse*>(context);
  response->received = 1;
  // The first text is taken whole and uninterpreted.
  response->type.assign(type, std::strlen(type));
  // Parsed exactly as a bridge-cross answer: ParseOption::kLenient, the value replaces `data`
  // whatever the parse reported.
  response->data = bridge::readApplicationText(json);
}

}  // namespace zarvo
