// The bridge-cross pipeline on RapidJSON (see pipelines.h): full-precision parse, every object's
// members stable-sorted by key (byte-wise, a shorter prefix first) so the text has the plug-in's
// key order, written with rapidjson::Writer.
#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "pipelines.h"

namespace callbench {

namespace {

using rapidjson::Document;
using rapidjson::Value;

constexpr unsigned kFlags = rapidjson::kParseFullPrecisionFlag;

bool keyLess(const Value::Member& a, const Value::Member& b) {
  const size_t la = a.name.GetStringLength();
  const size_t lb = b.name.GetStringLength();
  const int c = std::memcmp(a.name.GetString(), b.name.GetString(), std::min(la, lb));
  return c < 0 || (c == 0 && la < lb);
}

// Sorts the members of every object below `root`, with an explicit stack (no recursion).
void sortMembers(Value& root) {
  std::vector<Value*> pending{&root};
  while (!pending.empty()) {
    Value* v = pending.back();
    pending.pop_back();
    if (v->IsObject()) {
      std::stable_sort(v->MemberBegin(), v->MemberEnd(), keyLess);
      for (auto m = v->MemberBegin(); m != v->MemberEnd(); ++m) {
        if (m->value.IsObject() || m->value.IsArray()) pending.push_back(&m->value);
      }
    } else if (v->IsArray()) {
      for (auto e = v->Begin(); e != v->End(); ++e) {
        if (e->IsObject() || e->IsArray()) pending.push_back(&*e);
      }
    }
  }
}

// Parses `text` (a byte-order mark skipped) and sorts it; false when it is not JSON.
bool parseText(Document& document, const char* text) {
  if (static_cast<unsigned char>(text[0]) == 0xEF && static_cast<unsigned char>(text[1]) == 0xBB &&
      static_cast<unsigned char>(text[2]) == 0xBF) {
    text += 3;
  }
  document.Parse<kFlags>(text);
  if (document.HasParseError()) {
    document.SetNull();
    return false;
  }
  sortMembers(document);
  return true;
}

std::string textOf(const Value& holder, const char* key) {
  if (!holder.IsObject()) return std::string();
  const auto it = holder.FindMember(key);
  if (it == holder.MemberEnd()) return std::string();
  if (it->value.IsString()) return std::string(it->value.GetString(), it->value.GetStringLength());
  if (it->value.IsBool() || it->value.IsNumber()) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    it->value.Accept(writer);
    return std::string(buffer.GetString(), buffer.GetSize());
  }
  return std::string();
}

std::string writeMember(const Value& holder, const char* key) {
  if (!holder.IsObject()) return "null";
  const auto it = holder.FindMember(key);
  if (it == holder.MemberEnd()) return "null";
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  it->value.Accept(writer);
  return std::string(buffer.GetString(), buffer.GetSize());
}

}  // namespace

int callRapidjson(const std::string& bodyText, const std::string& answerText) {
  const char* body = bodyText.c_str();
  Document data[4];
  parseText(data[0], kPost);
  parseText(data[1], kParameters);
  parseText(data[2], kExtra);
  if (!parseText(data[3], body) && body[0] != '\0') {
    data[3].SetString(body, static_cast<rapidjson::SizeType>(bodyText.size()),
                      data[3].GetAllocator());
  }
  std::string method = textOf(data[0], "method");
  for (char& c : method) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  const std::string name = textOf(data[1], "name");
  const std::string uri = textOf(data[3], "uri");
  const std::string target = textOf(data[3], "target");
  if (method != "post" || name.empty() || uri.empty()) return 400;
  const std::string requestData = writeMember(data[3], "requestData");
  const std::string settings = writeMember(data[3], "settings");
  benchmark::DoNotOptimize(requestData.data());
  benchmark::DoNotOptimize(settings.data());
  // What the application sends back, parsed as the answer callback does.
  Document envelope(rapidjson::kObjectType);
  Document::AllocatorType& allocator = envelope.GetAllocator();
  Document answer(&allocator);
  parseText(answer, answerText.c_str());
  Value value(rapidjson::kObjectType);
  value.AddMember("data", static_cast<Value&>(answer), allocator);
  value.AddMember("statuscode", 200, allocator);
  envelope.AddMember("error", Value(), allocator);
  envelope.AddMember("value", value, allocator);
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  envelope.Accept(writer);
  deliver(200, buffer.GetString());
  return 200;
}

}  // namespace callbench
