#include "serve/socket_messages.h"

#include <string_view>
#include <utility>

#include "host_core/json_text.h"
#include "host_core/protocol_body.h"
#include "host_core/utf8_text.h"
#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"

namespace zarvo_host::serve {
namespace {

using host_core::badProtocolRequest;
using host_core::HostError;
using pocketjson::Value;

bool refuse(HostError* error, std::string message) {
  *error = badProtocolRequest(std::move(message));
  return false;
}

bool parseObject(const std::string& text, Value* out, HostError* error) {
  pocketjson::Parser parser;
  if (!parser.tryParse(*out, text)) {
    const std::string reason = parser.error().empty() ? "invalid JSON text" : parser.error();
    return refuse(error, "message is not valid JSON (" + reason + ")");
  }
  if (!out->isObject()) return refuse(error, "message is not a JSON object");
  return true;
}

// The id's JSON text, when the message has a readable one.
bool readId(const Value& object, std::string* id, HostError* error) {
  if (!object.has("id")) return refuse(error, "member 'id' is required");
  const Value& value = object.get("id");
  const bool integer =
      value.isInteger() && value.asInteger() >= 0 && value.asInteger() <= kMaxIntegerId;
  // A string id goes back in a text frame exactly as it came, so it must be UTF-8 (the socket
  // refuses a frame that is not before it is read; this holds for a message from elsewhere too).
  const bool string = value.isString() && value.asString().size() <= kMaxIdBytes &&
                      host_core::isValidUtf8(value.asString());
  if (!integer && !string) {
    return refuse(error, "member 'id' must be an integer from 0 to " +
                             std::to_string(kMaxIntegerId) + " or a string of at most " +
                             std::to_string(kMaxIdBytes) + " bytes");
  }
  *id = host_core::compactJson(value);
  return true;
}

bool readOp(const Value& object, std::string* op, HostError* error) {
  if (!object.has("op")) return refuse(error, "member 'op' is required");
  if (!object.get("op").isString()) return refuse(error, "member 'op' must be a string");
  *op = object.get("op").asString();
  return true;
}

bool readCall(const Value& object, ClientMessage* out, HostError* error) {
  std::string problem;
  std::string name;
  if (!host_core::onlyMembers(
          object, {"op", "id", "resource", "options", "parameters", "extra", "body"}, &problem) ||
      !host_core::readNonEmpty("resource", object, &name, &problem) ||
      !host_core::readRequestTexts(object, &out->texts, &problem)) {
    return refuse(error, problem);
  }
  const auto resource = host_core::resourceNamed(name);
  if (!resource) {
    *error = host_core::notFound("unknown resource '" + name + "'");
    return false;
  }
  out->resource = *resource;
  return true;
}

bool readAfter(const Value& object, ClientMessage* out, HostError* error) {
  std::string problem;
  if (!host_core::onlyMembers(object, {"op", "after"}, &problem)) return refuse(error, problem);
  if (!object.has("after") || object.get("after").isNull()) return true;
  const Value& after = object.get("after");
  if (!after.isInteger() || after.asInteger() < 0) {
    return refuse(error, "member 'after' must be null or an integer from 0");
  }
  out->after = static_cast<uint64_t>(after.asInteger());
  return true;
}

// The members of an op with nothing but `op` and, when `withId`, `id`.
bool readBare(const Value& object, bool withId, HostError* error) {
  std::string problem;
  const bool known = withId ? host_core::onlyMembers(object, {"op", "id"}, &problem)
                            : host_core::onlyMembers(object, {"op"}, &problem);
  return known || refuse(error, problem);
}

}  // namespace

bool readClientMessage(const std::string& text, ClientMessage* out, HostError* error) {
  *out = ClientMessage();
  Value object;
  if (!parseObject(text, &object, error)) return false;
  // Read first, so that any refusal below names the message it refuses.
  HostError idProblem;
  const bool idRead = readId(object, &out->id, &idProblem);
  std::string op;
  if (!readOp(object, &op, error)) return false;
  if (op == "events" || op == "stop") {
    out->id = "null";  // these carry no id
    out->op = op == "events" ? ClientMessage::Op::kEvents : ClientMessage::Op::kStop;
    return op == "events" ? readAfter(object, out, error) : readBare(object, false, error);
  }
  if (op != "call" && op != "teardown") return refuse(error, "unknown op '" + op + "'");
  if (!idRead) {
    *error = idProblem;
    return false;
  }
  if (op == "teardown") {
    out->op = ClientMessage::Op::kTeardown;
    return readBare(object, true, error);
  }
  out->op = ClientMessage::Op::kCall;
  return readCall(object, out, error);
}

namespace {

// `text` quoted and escaped exactly as pocketjson's serializer writes it (its escape table), but
// with the runs between escapes appended whole: event batches are quoted on the loop's thread.
void appendQuoted(std::string* out, std::string_view text) {
  using pocketjson::Serializer;
  *out += '"';
  size_t run = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const char letter = Serializer::kEscape[byte];
    if (letter == 0) continue;
    out->append(text, run, i - run);
    *out += '\\';
    *out += letter;
    if (letter == 'u') {
      *out += "00";
      *out += Serializer::kHexDigits[byte >> 4];
      *out += Serializer::kHexDigits[byte & 15];
    }
    run = i + 1;
  }
  out->append(text, run, text.size() - run);
  *out += '"';
}

}  // namespace

void appendRepairedString(std::string* out, const std::string& text) {
  if (host_core::isValidUtf8(text)) {
    appendQuoted(out, text);
    return;
  }
  std::string repaired;
  repaired.reserve(text.size() + 8);
  host_core::appendValidUtf8(&repaired, text);
  appendQuoted(out, repaired);
}

std::string helloMessage(const std::string& instance, size_t messageLimit) {
  return "{\"op\":\"hello\",\"instance\":" + host_core::quoteJson(instance) +
         ",\"limits\":{\"message\":" + std::to_string(messageLimit) +
         "},\"protocol\":" + std::to_string(kSocketProtocol) + "}";
}

std::string answerMessage(const std::string& id, const host_core::Answer& answer) {
  std::string out = "{\"op\":\"answer\",\"id\":" + id +
                    ",\"promise\":" + std::to_string(answer.promise) +
                    ",\"status\":" + std::to_string(answer.status) + ",\"text\":";
  out.reserve(out.size() + answer.text.size() + 8);
  appendRepairedString(&out, answer.text);
  out += '}';
  return out;
}

std::string doneMessage(const std::string& id) {
  return "{\"op\":\"done\",\"id\":" + id + "}";
}

std::string errorMessage(const std::string& id, const HostError& error) {
  std::string out = "{\"op\":\"error\",\"id\":" + id +
                    ",\"status\":" + std::to_string(error.status) +
                    ",\"code\":" + host_core::quoteJson(error.code) + ",\"message\":";
  appendRepairedString(&out, error.message);
  out += '}';
  return out;
}

std::string streamingMessage(uint64_t after) {
  return "{\"op\":\"streaming\",\"after\":" + std::to_string(after) + "}";
}

std::string gapMessage(const host_core::Gap& gap) {
  return "{\"op\":\"gap\",\"first\":" + std::to_string(gap.first) +
         ",\"last\":" + std::to_string(gap.last) + ",\"lost\":" + std::to_string(gap.lost()) + "}";
}

std::string eventsMessage(uint64_t first, const std::vector<std::string>& texts) {
  size_t bytes = 48;
  for (const std::string& text : texts) bytes += text.size() + 3;
  std::string out;
  out.reserve(bytes);
  out += "{\"op\":\"events\",\"first\":" + std::to_string(first) + ",\"texts\":[";
  for (size_t i = 0; i < texts.size(); ++i) {
    if (i > 0) out += ',';
    appendRepairedString(&out, texts[i]);
  }
  out += "]}";
  return out;
}

}  // namespace zarvo_host::serve
