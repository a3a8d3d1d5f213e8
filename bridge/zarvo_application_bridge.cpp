#include "bridge/zarvo_application_bridge.h"

#include <string>

#include "bridge/application.h"
#include "bridge/messages.h"
#include "bridge/resource_request.h"
#include "pocketjson/serializer.h"
#include "zarvo_x64.h"

namespace bridge {

BridgeResult ZarvoApplicationBridge::Post(const BridgeData& data) {
  zarvo::Application& application = applicationNamedIn(data);
  const std::string uri = fieldText(data.body, "uri");
  if (uri.empty()) {
    throw BridgeResultError(kBridgeStatusBadRequest, messages::kBadRequestError,
                            messages::kUriIsEmpty);
  }
  const pocketjson::Value& requestData = data.body.get("requestData");
  const pocketjson::Value& settings = data.body.get("settings");
  const std::string target = fieldText(data.body, "target");

  // An absent member is the shared null value and serializes as "null". The serializer's result
  // is not examined.
  const std::string requestDataText = pocketjson::Serializer::compact(requestData);
  const std::string settingsText = pocketjson::Serializer::compact(settings);

  zarvo::BridgeCrossResponse response;
  if (ZrvBridgeCross(application.handle, target.c_str(), uri.c_str(), settingsText.c_str(),
                     requestDataText.c_str(), zarvo::OnBridgeResponse, &response) == 0) {
    // The record is filled as for a failed exchange. Only `received` decides below, so the status
    // and this error object are discarded and never reach the page: deliberate dead stores,
    // required behaviour that is kept as it is (the record must look like a failed exchange).
    response.received = false;
    response.statusCode = 500;
    response.data["error"]["name"] = messages::kInternalError;
    response.data["error"]["message"] = messages::kNoResponseOrDisconnected;
  }
  if (!response.received) throwNoResponse();

  pocketjson::Value value;
  value["statuscode"] = static_cast<int64_t>(response.statusCode);
  value["data"] = response.data;  // shared with the record, which is gone after the return
  return BridgeResult::ok(value);
}

}  // namespace bridge

namespace zarvo {

void OnBridgeResponse(int statusCode, const char* json, void* context) {
  if (context == nullptr) {
    return;
  }
  auto* response = static_cast<BridgeCrossResponse*>(context);
  response->statusCode = statusCode;
  response->received = 1;
  // The parsed value replaces `data` whether or not the parse succeeded.
  response->data = bridge::readApplicationText(json);
}

}  // namespace zarvo
