#include "bridge/bridge_template.h"

#include <cctype>
#include <cstring>
#include <stdexcept>
#include <string>

#include "bridge/messages.h"
#include "bridge_helper.h"
#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"

namespace bridge {

namespace {

// The C strings arrive from the host; a null one is refused the way making a std::string of it
// would be, before anything else happens.
void requireText(const char* text) {
  if (text == nullptr) throw std::logic_error("basic_string: construction from null is not valid");
}

// Parses one request text into `out` the way every request field is read, straight over the
// caller's bytes. Failures are not reported: whatever the parser left in `out` stands, and
// trailing text is ignored.
void parseRequestText(const char* text, pocketjson::Value& out) {
  const char* first = text;
  const char* const last = text + std::strlen(text);

  // A UTF-8 byte-order mark, or any leading part of one, is skipped.
  if (first != last && static_cast<unsigned char>(*first) == 0xEF) {
    ++first;
    if (first != last && static_cast<unsigned char>(*first) == 0xBB) {
      ++first;
      if (first != last && static_cast<unsigned char>(*first) == 0xBF) ++first;
    }
  }

  pocketjson::Parser parser;
  pocketjson::Parser::RawIterator iterator(first, last);
  static_cast<void>(parser.parse_value(&out, nullptr, iterator, pocketjson::ParseOption::kStrict));

  // A top-level parse would now check for text after the value ("Gabage string exists after
  // json string."). Here that verdict is thrown away together with the parser's own message: a
  // request text with garbage after its value keeps the value, so the check is not run.
}

// The request's method text: "method" of an object `options`, lower-cased; "" when absent or
// not a string, boolean or number.
std::string methodText(const pocketjson::Value& options) {
  if (!options.has("method")) return std::string();
  const pocketjson::Value& method = options.get("method");
  std::string text;
  if (method.type() == pocketjson::kFloat) {
    text = pocketjson::Double(method.asFloat()).toString();
  } else {
    text = method.toString(std::string());
  }
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

enum class Method { kGet, kPost, kPut, kDelete };

Method selectMethod(const pocketjson::Value& options) {
  const std::string text = methodText(options);
  if (text == "get") return Method::kGet;
  if (text == "post") return Method::kPost;
  if (text == "put") return Method::kPut;
  if (text == "delete") return Method::kDelete;
  return Method::kGet;
}

}  // namespace

BridgeResult BridgeTemplate::execute(const char* options, const char* parameters, const char* extra,
                                     const char* body) {
  requireText(body);
  requireText(options);
  requireText(parameters);
  requireText(extra);

  BridgeData data;
  parseRequestText(options, data.options);
  parseRequestText(parameters, data.parameters);
  parseRequestText(extra, data.extra);
  parseRequestText(body, data.body);

  // A body that is not JSON reaches the handler as its raw text, byte-order mark and all; this
  // also turns the text null into a four-letter string, on purpose.
  if (data.body.isNull() && body[0] != '\0') data.body = std::string(body);

  const Method method = selectMethod(data.options);

  onBeginBridge(data);

  BridgeResult result;
  try {
    switch (method) {
      case Method::kGet:
        result = Get(data);
        break;
      case Method::kPost:
        result = Post(data);
        break;
      case Method::kPut:
        result = Put(data);
        break;
      case Method::kDelete:
        result = Delete(data);
        break;
    }
  } catch (const BridgeResultError& error) {
    result = error;
  } catch (...) {
    result = BridgeResultError(kBridgeStatusInternalServerError, messages::kUnknownError,
                               messages::kUnknownErrorOccurred);
  }

  onEndBridge(data, result);
  return result;
}

void BridgeTemplate::onBeginBridge(const BridgeData& /*data*/) {}

void BridgeTemplate::onEndBridge(const BridgeData& /*data*/, const BridgeResult& /*result*/) {}

BridgeResult BridgeTemplate::Get(const BridgeData& /*data*/) {
  throw BridgeResultError(kBridgeStatusMethodNotAllowed, messages::kMethodError,
                          messages::kGetNotAllowed);
}

BridgeResult BridgeTemplate::Put(const BridgeData& /*data*/) {
  throw BridgeResultError(kBridgeStatusMethodNotAllowed, messages::kMethodError,
                          messages::kPutNotAllowed);
}

BridgeResult BridgeTemplate::Post(const BridgeData& /*data*/) {
  throw BridgeResultError(kBridgeStatusMethodNotAllowed, messages::kMethodError,
                          messages::kPostNotAllowed);
}

BridgeResult BridgeTemplate::Delete(const BridgeData& /*data*/) {
  throw BridgeResultError(kBridgeStatusMethodNotAllowed, messages::kMethodError,
                          messages::kDeleteNotAllowed);
}

std::string BridgeTemplate::envelope(const BridgeResult& result) {
  pocketjson::TextBuffer text;
  writeEnvelope(text, result);
  return text.str();
}

void BridgeTemplate::writeEnvelope(pocketjson::TextBuffer& text, const BridgeResult& result) {
  if (!result.hasError() || result.error.details.isNull()) {
    // The envelope's two members and an error object of only "message" and "name" are written
    // as the compact serializer would write them, without building the envelope object first.
    // The only serializer failure is a NaN or infinite number: the text written up to it is
    // sent as it is, so the closing brace is left out exactly as the serializer would.
    if (result.hasError()) {
      text.appendLiteral("{\"error\":{\"message\":");
      pocketjson::Serializer::appendString(text, result.error.message);
      text.appendLiteral(",\"name\":");
      pocketjson::Serializer::appendString(text, result.error.name);
      text.appendLiteral("},\"value\":");
    } else {
      text.appendLiteral("{\"error\":null,\"value\":");
    }
    if (pocketjson::Serializer::appendCompact(text, result.value)) text.push_back('}');
    return;
  }

  // An error with details: details is the base of the error object; assigning through
  // operator[] then detaches it from the result (copy on write) or, for a non-object, replaces
  // it with a fresh object.
  pocketjson::Value envelope;
  pocketjson::Value& error = envelope["error"];
  error = result.error.details;
  error["name"] = result.error.name;
  error["message"] = result.error.message;
  envelope["value"] = result.value;
  static_cast<void>(pocketjson::Serializer::appendCompact(text, envelope));
}

int BridgeTemplate::operator()(const char* options, const char* parameters, const char* extra,
                               const char* body) {
  const int promiseId = BridgeHelperCreatePromiseID();
  const BridgeResult result = execute(options, parameters, extra, body);
  pocketjson::TextBuffer text;
  writeEnvelope(text, result);
  BridgeHelperSetResponse(promiseId, static_cast<int>(result.code), text.c_str());
  return promiseId;
}

}  // namespace bridge
