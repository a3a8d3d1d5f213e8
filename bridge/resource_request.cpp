#include "bridge/resource_request.h"

#include <cstring>
#include <stdexcept>

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
  if (json == nullptr) throw std::logic_error("basic_string: construction from null is not valid");
  // Parsed straight over the application's bytes, with the top-level rules of the lenient
  // options: each byte of a byte-order mark is skipped when it is the next one, a trailing
  // comma is accepted, and text after the value is not looked at (so the check for it is not
  // run). The text ends at its NUL.
  const char* first = json;
  const char* const last = json + std::strlen(json);
  if (first != last && static_cast<unsigned char>(*first) == 0xEF) ++first;
  if (first != last && static_cast<unsigned char>(*first) == 0xBB) ++first;
  if (first != last && static_cast<unsigned char>(*first) == 0xBF) ++first;
  pocketjson::Value value;
  pocketjson::Parser parser;
  pocketjson::Parser::RawIterator iterator(first, last);
  static_cast<void>(
      parser.parse_value(&value, nullptr, iterator, pocketjson::ParseOption::kLenient));
  return value;
}

}  // namespace bridge
