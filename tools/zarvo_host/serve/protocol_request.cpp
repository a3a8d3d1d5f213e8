#include "serve/protocol_request.h"

#include <limits>

#include "pocketjson/parser.h"
#include "pocketjson/value.h"

namespace zarvo_host::serve {
namespace {

// The body as a JSON object, or a problem.
bool parseObject(const std::string& body, pocketjson::Value* out, std::string* problem) {
  pocketjson::Parser parser;
  if (!parser.tryParse(*out, body)) {
    const std::string reason = parser.error().empty() ? "invalid JSON text" : parser.error();
    *problem = "request body is not valid JSON (" + reason + ")";
    return false;
  }
  if (!out->isObject()) {
    *problem = "request body is not a JSON object";
    return false;
  }
  return true;
}

// Member `key` must be a string without NUL characters.
bool readString(const std::string& key, const pocketjson::Value& value, std::string* out,
                std::string* problem) {
  if (!value.isString()) {
    *problem = "member '" + key + "' must be a string";
    return false;
  }
  if (value.asString().find('\0') != std::string::npos) {
    *problem = "member '" + key + "' contains a NUL character";
    return false;
  }
  *out = value.asString();
  return true;
}

bool readNonEmpty(const std::string& key, const pocketjson::Value& object, std::string* out,
                  std::string* problem) {
  if (!object.has(key)) {
    *problem = "member '" + key + "' is required";
    return false;
  }
  if (!readString(key, object.get(key), out, problem)) return false;
  if (out->empty()) {
    *problem = "member '" + key + "' must not be empty";
    return false;
  }
  return true;
}

bool readCount(const pocketjson::Value& value, long long* out, std::string* problem) {
  if (!value.isInteger() || value.asInteger() < 1 || value.asInteger() > kMaxRaiseCount) {
    *problem = "member 'count' must be an integer from 1 to " + std::to_string(kMaxRaiseCount);
    return false;
  }
  *out = value.asInteger();
  return true;
}

}  // namespace

bool parseResourceRequest(const std::string& body, ResourceRequest* out, std::string* problem) {
  pocketjson::Value object;
  if (!parseObject(body, &object, problem)) return false;
  ResourceRequest request;
  for (const auto& [key, value] : object.asObject()) {
    std::string* field = key == "options"      ? &request.options
                         : key == "parameters" ? &request.parameters
                         : key == "extra"      ? &request.extra
                         : key == "body"       ? &request.body
                                               : nullptr;
    if (field == nullptr) {
      *problem = "unknown member '" + key + "'";
      return false;
    }
    if (!readString(key, value, field, problem)) return false;
  }
  *out = std::move(request);
  return true;
}

bool parseRaiseRequest(const std::string& body, RaiseRequest* out, std::string* problem) {
  pocketjson::Value object;
  if (!parseObject(body, &object, problem)) return false;
  for (const auto& member : object.asObject()) {
    const std::string& key = member.first;
    if (key != "app" && key != "type" && key != "payload" && key != "count") {
      *problem = "unknown member '" + key + "'";
      return false;
    }
  }
  RaiseRequest request;
  if (!readNonEmpty("app", object, &request.app, problem) ||
      !readNonEmpty("type", object, &request.type, problem)) {
    return false;
  }
  if (object.has("payload") &&
      !readString("payload", object.get("payload"), &request.payload, problem)) {
    return false;
  }
  if (object.has("count") && !readCount(object.get("count"), &request.count, problem)) {
    return false;
  }
  *out = std::move(request);
  return true;
}

bool parseDisconnectRequest(const std::string& body, std::string* app, std::string* problem) {
  pocketjson::Value object;
  if (!parseObject(body, &object, problem)) return false;
  for (const auto& member : object.asObject()) {
    if (member.first != "app") {
      *problem = "unknown member '" + member.first + "'";
      return false;
    }
  }
  return readNonEmpty("app", object, app, problem);
}

bool parseDecimal(const std::string& text, uint64_t* out) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) return false;
  constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();
  uint64_t value = 0;
  for (const char c : text) {
    const auto digit = static_cast<uint64_t>(c - '0');
    if (value > (kMax - digit) / 10) {
      *out = kMax;
      return true;
    }
    value = value * 10 + digit;
  }
  *out = value;
  return true;
}

}  // namespace zarvo_host::serve
