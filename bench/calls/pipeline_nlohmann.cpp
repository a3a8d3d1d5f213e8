// The bridge-cross pipeline on nlohmann::json (see pipelines.h).
#include <benchmark/benchmark.h>

#include <cctype>
#include <nlohmann/json.hpp>
#include <string>

#include "pipelines.h"

namespace callbench {

namespace {

using nlohmann::json;

json parseText(const char* text) {
  // A UTF-8 byte-order mark is skipped, as the plug-in does; a failed parse stays "discarded".
  if (static_cast<unsigned char>(text[0]) == 0xEF && static_cast<unsigned char>(text[1]) == 0xBB &&
      static_cast<unsigned char>(text[2]) == 0xBF) {
    text += 3;
  }
  return json::parse(text, nullptr, false);
}

std::string textOf(const json& holder, const char* key) {
  if (!holder.is_object()) return std::string();
  const auto it = holder.find(key);
  if (it == holder.end()) return std::string();
  if (it->is_string()) return it->get<std::string>();
  if (it->is_boolean() || it->is_number()) return it->dump();
  return std::string();
}

std::string dumpMember(const json& holder, const char* key) {
  if (!holder.is_object()) return "null";
  const auto it = holder.find(key);
  return it == holder.end() ? std::string("null") : it->dump();
}

}  // namespace

int callNlohmann(const std::string& bodyText, const std::string& answerText) {
  const char* body = bodyText.c_str();
  json data[4] = {parseText(kPost), parseText(kParameters), parseText(kExtra), parseText(body)};
  if (data[3].is_discarded() && body[0] != '\0') data[3] = std::string(body);
  std::string method = textOf(data[0], "method");
  for (char& c : method) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  const std::string name = textOf(data[1], "name");
  const std::string uri = textOf(data[3], "uri");
  const std::string target = textOf(data[3], "target");
  if (method != "post" || name.empty() || uri.empty()) return 400;
  const std::string requestData = dumpMember(data[3], "requestData");
  const std::string settings = dumpMember(data[3], "settings");
  benchmark::DoNotOptimize(requestData.data());
  benchmark::DoNotOptimize(settings.data());
  // What the application sends back, parsed as the answer callback does.
  json answer = parseText(answerText.c_str());
  if (answer.is_discarded()) answer = nullptr;
  json value = json::object();
  value["data"] = std::move(answer);
  value["statuscode"] = 200;
  json envelope = json::object();
  envelope["error"] = nullptr;
  envelope["value"] = std::move(value);
  const std::string text = envelope.dump();
  deliver(200, text.c_str());
  return 200;
}

}  // namespace callbench
