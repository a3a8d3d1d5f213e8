#include "bridge/zarvo_application_bridge.h"

#include <string>

#include "bridge/application_manager.h"
#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"
#include "zarvo_x64.h"

namespace bridge {

BridgeResult ZarvoApplicationBridge::Post(const BridgeData& data) {
  const std::string name = data.parameters.get("name").toString("");
  if (name.empty()) {
    throw BridgeResultError(kBridgeStatusBadRequest, "BadRequestError",
                            "URI parameter 'name' is empty.");
  }
  zarvo::Application* application = ApplicationManager::Shared().applicationWithName(name);
  if (application == nullptr) {
    throw BridgeResultError(kBridgeStatusBadRequest, "BadRequestError",
                            "Application instance is not existed.");
  }
  const std::string uri = data.body.get("uri").toString("");
  if (uri.empty()) {
    throw BridgeResultError(kBridgeStatusBadRequest, "BadRequestError", "uri is empty string.");
  }
  const pocketjson::Value& requestData = data.body.get("requestData");
  const pocketjson::Value& settings = data.body.get("settings");
  const std::string target = data.body.get("target").toString("");

  // An absent member is the shared null value and serializes as "null". The serializer's result
  // is not examined.
  const pocketjson::Serializer serializer;
  std::string requestDataText;
  serializer.serialize(requestDataText, requestData, pocketjson::Serializer::Attributes(), -1,
                       nullptr);
  std::string settingsText;
  serializer.serialize(settingsText, settings, pocketjson::Serializer::Attributes(), -1, nullptr);

  zarvo::BridgeCrossResponse response;
  if (ZrvBridgeCross(application->handle, target.c_str(), uri.c_str(), settingsText.c_str(),
                     requestDataText.c_str(), zarvo::OnBridgeResponse, &response) == 0) {
    // The record is filled as for a failed exchange, although only `received` decides below and
    // this error object never reaches the page.
    response.received = false;
    response.statusCode = 500;
    response.data["error"]["name"] = "InternalError";
    response.data["error"]["message"] = "No response or disconnected from application.";
  }
  if (!response.received) {
    throw BridgeResultError(kBridgeStatusInternalServerError, "InternalError",
                            "No response from the application.");
  }

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
  // Option 3: a byte-order mark is skipped and text after the first complete value is ignored.
  // The parsed value replaces `data` whether or not the parse succeeded.
  pocketjson::Value answer;
  pocketjson::Parser parser;
  parser.tryParse(answer, json, pocketjson::ParseOption(3));
  response->data = answer;
}

}  // namespace zarvo
