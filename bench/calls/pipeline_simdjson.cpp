// The bridge-cross pipeline on simdjson's DOM (see pipelines.h): one parser per text kept for the
// whole run, members in input order, texts written with simdjson::to_string. The upper bound: it
// skips what the others must do (sorted objects, a tree the caller owns and can change).
#include <benchmark/benchmark.h>

#include <simdjson.h>
#include <cctype>
#include <string>
#include <string_view>

#include "pipelines.h"

namespace callbench {

namespace {

using simdjson::dom::element;

std::string_view withoutBom(const std::string_view text) {
  if (text.size() >= 3 && static_cast<unsigned char>(text[0]) == 0xEF &&
      static_cast<unsigned char>(text[1]) == 0xBB && static_cast<unsigned char>(text[2]) == 0xBF) {
    return text.substr(3);
  }
  return text;
}

// Parses `text` with `parser`; a null element when it is not JSON.
element parseText(simdjson::dom::parser& parser, std::string_view text, bool* ok = nullptr) {
  element result;
  const auto error = parser.parse(withoutBom(text)).get(result);
  if (ok != nullptr) *ok = !error;
  return error ? element() : result;
}

std::string textOf(element holder, const char* key) {
  element member;
  if (!holder.is_object() || holder[key].get(member)) return std::string();
  if (member.is_string()) return std::string(std::string_view(member));
  if (member.is_bool() || member.is_number()) return simdjson::to_string(member);
  return std::string();
}

std::string writeMember(element holder, const char* key) {
  element member;
  if (!holder.is_object() || holder[key].get(member)) return "null";
  return simdjson::to_string(member);
}

}  // namespace

int callSimdjson(const std::string& body, const std::string& answerText) {
  static simdjson::dom::parser parsers[5];
  const element options = parseText(parsers[0], kPost);
  const element parameters = parseText(parsers[1], kParameters);
  parseText(parsers[2], kExtra);
  bool bodyOk = false;
  const element request = parseText(parsers[3], body, &bodyOk);
  std::string method = textOf(options, "method");
  for (char& c : method) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  const std::string name = textOf(parameters, "name");
  const std::string uri = bodyOk ? textOf(request, "uri") : std::string();
  const std::string target = bodyOk ? textOf(request, "target") : std::string();
  if (method != "post" || name.empty() || uri.empty()) return 400;
  const std::string requestData = writeMember(request, "requestData");
  const std::string settings = writeMember(request, "settings");
  benchmark::DoNotOptimize(requestData.data());
  benchmark::DoNotOptimize(settings.data());
  bool answerOk = false;
  const element answer = parseText(parsers[4], answerText, &answerOk);
  std::string text = "{\"error\":null,\"value\":{\"data\":";
  text += answerOk ? simdjson::to_string(answer) : std::string("null");
  text += ",\"statuscode\":200}}";
  deliver(200, text.c_str());
  return 200;
}

}  // namespace callbench
