#include "bridge/bridge_result.h"

#include <utility>

namespace bridge {

BridgeResult& BridgeResult::operator=(const BridgeResult& other) {
  code = other.code;
  error.name = other.error.name;
  error.message = other.error.message;
  // Value's own copy assignment already ignores self-assignment; the guard keeps the two shares
  // untouched for a self-copy of the whole record as well.
  if (this != &other) {
    error.details = other.error.details;
    value = other.value;
  }
  return *this;
}

BridgeResult& BridgeResult::operator=(BridgeResult&& other) noexcept {
  code = other.code;
  // The strings are exchanged rather than moved so that the source keeps our former texts; a
  // member swap of a string with itself is a no-op.
  error.name.swap(other.error.name);
  error.message.swap(other.error.message);
  if (this != &other) {
    std::swap(error.details, other.error.details);
    std::swap(value, other.value);
  }
  return *this;
}

BridgeResult BridgeResult::ok(const pocketjson::Value& answer) {
  BridgeResult result;
  result.code = kBridgeStatusOK;
  result.value = answer;
  return result;
}

bool BridgeResult::hasError() const {
  if (!error.name.empty() || !error.message.empty()) return true;
  // Only a non-empty container counts; null, booleans and numbers never make an error.
  const pocketjson::Value& details = error.details;
  switch (details.type()) {
    case pocketjson::kString:
    case pocketjson::kObject:
    case pocketjson::kArray:
      return details.size() != 0;
    default:
      return false;
  }
}

BridgeResultError::BridgeResultError(const BridgeStatusCode& statusCode, const std::string& name,
                                     const std::string& message) {
  code = statusCode;
  error.name = name;
  error.message = message;
}

}  // namespace bridge
