#include "bridge/resource_request.h"

#include "bridge/application_manager.h"
#include "bridge/messages.h"
#include "pocketjson/parser.h"

namespace bridge {

std::string fieldText(const pocketjson::Value& holder, const std::string& key) {
  return holder.get(key).toString("");
}

void throwNameIsEmpty() {
  throw BridgeResultError(kBridgeStatusBadRequest, messages::kBadRequestError,
                          messages::kNameIsEmpty);
}

void throwApplicationIsNotExisted() {
  throw BridgeResultError(kBridgeStatusBadRequest, messages::kBadRequestError,
                          messages::kApplicationIsNotExisted);
}

void throwNoResponse() {
  throw BridgeResultError(kBridgeStatusInternalServerError, messages::kInternalError,
                          messages::kNoResponse);
}

zarvo::Application& connectedApplication(const std::string& name) {
  zarvo::Application* application = ApplicationManager::Shared().applicationWithName(name);
  if (application == nullptr) throwApplicationIsNotExisted();
  return *application;
}

zarvo::Application& applicationNamedIn(const BridgeData& data) {
  const std::string name = fieldText(data.parameters, "name");
  if (name.empty()) throwNameIsEmpty();
  return connectedApplication(name);
}

pocketjson::Value readApplicationText(const char* json) {
  pocketjson::Value value;
  pocketjson::Parser parser;
  static_cast<void>(parser.tryParse(value, json, pocketjson::ParseOption::kLenient));
  return value;
}

}  // namespace bridge
