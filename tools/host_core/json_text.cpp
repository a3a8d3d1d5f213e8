#include "host_core/json_text.h"

#include <iterator>

#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"

namespace host_core {

bool parseJson(const std::string& text, pocketjson::Value* out, std::string* error) {
  pocketjson::Parser parser;
  *out = pocketjson::Value();
  if (parser.tryParse(*out, text)) return true;
  // The parser leaves an empty message for one failure it reports silently; give it a name.
  *error = parser.error().empty() ? std::string("invalid JSON text.") : parser.error();
  return false;
}

std::string compactJson(const pocketjson::Value& value) {
  return pocketjson::Serializer::compact(value);
}

void appendQuotedJson(std::string* out, const std::string& text) {
  auto it = std::back_inserter(*out);
  pocketjson::Serializer::serialize_string(it, text);
}

std::string quoteJson(const std::string& text) {
  std::string out;
  out.reserve(text.size() + 2);
  appendQuotedJson(&out, text);
  return out;
}

const char* kindName(const pocketjson::Value& value) {
  switch (value.type()) {
    case pocketjson::kNull:
      return "null";
    case pocketjson::kBool:
      return "boolean";
    case pocketjson::kInteger:
      return "integer";
    case pocketjson::kFloat:
      return "number";
    case pocketjson::kString:
      return "string";
    case pocketjson::kObject:
      return "object";
    case pocketjson::kArray:
      return "array";
  }
  return "unknown";
}

}  // namespace host_core
