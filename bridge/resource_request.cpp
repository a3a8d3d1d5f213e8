#include "bridge/resource_request.h"

#include "bridge/application_manager.h"
#include "pocketjson/parser.h"

namespace bridge {

std::string fieldText(const pocketjson::Value& holder, const std::string& key) {
  return holder.get(key).toString("");
}

void throwNameIsEmpty() {
  throw BridgeResultError(kBridgeStatusBadRequest, "BadRequestError",
                          "URI parameter 'name' is empty.");
}

void throwApplicationIsNotExisted() {
  throw BridgeResultError(kBridgeStatusBadRequest, "BadRequestError",
                          "Application instance is not existed.");
}

void throwNoResponse() {
  throw BridgeResultError(kBridgeStatusInternalServerError, "InternalError",
                          "No response from the application.");
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
