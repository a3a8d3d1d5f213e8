#include "host_core/protocol_body.h"

#include <limits>
#include <utility>

#include "pocketjson/parser.h"

namespace host_core {

bool parseObjectBody(const std::string& body, pocketjson::Value* out, std::string* problem) {
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

bool onlyMembers(const pocketjson::Value& object, std::initializer_list<const char*> known,
                 std::string* problem) {
  for (const auto& member : object.asObject()) {
    bool found = false;
    for (const char* name : known) found = found || member.first == name;
    if (!found) {
      *problem = "unknown member '" + member.first + "'";
      return false;
    }
  }
  return true;
}

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

bool readRequestTexts(const pocketjson::Value& object, RequestTexts* out, std::string* problem) {
  RequestTexts texts;
  const std::pair<const char*, std::string*> fields[] = {{"options", &texts.options},
                                                         {"parameters", &texts.parameters},
                                                         {"extra", &texts.extra},
                                                         {"body", &texts.body}};
  for (const auto& [key, field] : fields) {
    if (object.has(key) && !readString(key, object.get(key), field, problem)) return false;
  }
  *out = std::move(texts);
  return true;
}

bool parseResourceRequest(const std::string& body, RequestTexts* out, std::string* problem) {
  pocketjson::Value object;
  return parseObjectBody(body, &object, problem) &&
         onlyMembers(object, {"options", "parameters", "extra", "body"}, problem) &&
         readRequestTexts(object, out, problem);
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

}  // namespace host_core
