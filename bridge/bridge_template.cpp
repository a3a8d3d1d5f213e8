#include "bridge/bridge_template.h"

#include <cctype>
#include <string>

#include "bridge_helper.h"
#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"

namespace bridge {

namespace {

// Parses one request text into `out` the way every request field is read. Failures are not
// reported: whatever the parser left in `out` stands, and trailing text is ignored.
void parseRequestText(const char* text, pocketjson::Value& out) {
  const std::string copy(text);  // a null pointer throws std::logic_error here, uncaught
  std::string::const_iterator first = copy.begin();
  const std::string::const_iterator last = copy.end();

  // A UTF-8 byte-order mark, or any leading part of one, is skipped.
  if (first != last && static_cast<unsigned char>(*first) == 0xEF) {
    ++first;
    if (first != last && static_cast<unsigned char>(*first) == 0xBB) {
      ++first;
      if (first != last && static_cast<unsigned char>(*first) == 0xBF) ++first;
    }
  }

  const pocketjson::ParseOption option;  // all flags clear
  pocketjson::Parser parser;
  pocketjson::Parser::TextIterator iterator(first, last);
  const bool parsed = parser.parse_value(&out, nullptr, iterator, option);

  // The trailing-text check of a top-level parse. Its verdict is computed like everywhere else
  // and then dropped together with the parser's own message: a request text with garbage after
  // its value keeps the value.
  std::string error;
  if (parsed && (option.flags & pocketjson::ParseOption::kIgnoreTrailingText) == 0) {
    while (iterator.current != iterator.end &&
           (*iterator.current == ' ' || *iterator.current == '\t' || *iterator.current == '\n' ||
            *iterator.current == '\r')) {
      ++iterator.current;
    }
    if (iterator.current != iterator.end && *iterator.current != '\0') {
      error = "Gabage string exists after json string.";
    }
  }
  static_cast<void>(error);
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
  const std::string bodyText(body);

  BridgeData data;
  parseRequestText(options, data.options);
  parseRequestText(parameters, data.parameters);
  parseRequestText(extra, data.extra);
  parseRequestText(body, data.body);

  // A body that is not JSON reaches the handler as its raw text, byte-order mark and all; this
  // also turns the text null into a four-letter string, on purpose.
  if (data.body.isNull() && !bodyText.empty()) data.body = bodyText;

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
    result = BridgeResultError(kBridgeStatusInternalServerError, "UnknownError",
                               "Unknown error occurred.");
  }

  onEndBridge(data, result);
  return result;
}

void BridgeTemplate::onBeginBridge(const BridgeData& /*data*/) {}

void BridgeTemplate::onEndBridge(const BridgeData& /*data*/, const BridgeResult& /*result*/) {}

BridgeResult BridgeTemplate::Get(const BridgeData& /*data*/) {
  throw BridgeResultError(kBridgeStatusMethodNotAllowed, "MethodError",
                          "GET method is not allowed.");
}

BridgeResult BridgeTemplate::Put(const BridgeData& /*data*/) {
  throw BridgeResultError(kBridgeStatusMethodNotAllowed, "MethodError",
                          "PUT method is not allowed.");
}

BridgeResult BridgeTemplate::Post(const BridgeData& /*data*/) {
  throw BridgeResultError(kBridgeStatusMethodNotAllowed, "MethodError",
                          "POST method is not allowed.");
}

BridgeResult BridgeTemplate::Delete(const BridgeData& /*data*/) {
  throw BridgeResultError(kBridgeStatusMethodNotAllowed, "MethodError",
                          "DELETE method is not allowed.");
}

std::string BridgeTemplate::envelope(const BridgeResult& result) {
  pocketjson::Value envelope;
  if (result.hasError()) {
    // details is the base of the error object; assigning through operator[] then detaches it
    // from the result (copy on write) or, for a non-object, replaces it with a fresh object.
    pocketjson::Value& error = envelope["error"];
    error = result.error.details;
    error["name"] = result.error.name;
    error["message"] = result.error.message;
  } else {
    envelope["error"] = pocketjson::Value();
  }
  envelope["value"] = result.value;

  pocketjson::Serializer serializer;
  pocketjson::Serializer::Attributes attributes;  // compact: no pretty, empty strings
  const int depth = -1;
  std::string text;
  // The only failure is a NaN or infinite number; the text written up to it is sent as it is.
  static_cast<void>(serializer.serialize(text, envelope, attributes, depth, nullptr));
  return text;
}

int BridgeTemplate::operator()(const char* options, const char* parameters, const char* extra,
                               const char* body) {
  const int promiseId = BridgeHelperCreatePromiseID();
  const BridgeResult result = execute(options, parameters, extra, body);
  const std::string text = envelope(result);
  BridgeHelperSetResponse(promiseId, static_cast<int>(result.code), text.c_str());
  return promiseId;
}

}  // namespace bridge
