// Helpers shared by the pocketjson tests: file reading, one-call parse/serialize wrappers, a
// handler that records every event as text, and a runner for code that must work on a small
// thread stack.
#ifndef POCKETJSON_TEST_SUPPORT_H
#define POCKETJSON_TEST_SUPPORT_H

#include <pthread.h>

#include <cstdint>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"
#include "pocketjson/value.h"

namespace pjtest {

#ifdef ZARVO_SHARED_DATA_DIR
// The shared test data folder (ZARVO_TEST_DATA_DIR at configure time); only the topics that
// declare data tests get it.
inline std::string dataDir() {
  return ZARVO_SHARED_DATA_DIR;
}
#endif

// Whole file as bytes; `ok` false when it cannot be opened.
inline std::string readFile(const std::string& path, bool* ok = nullptr) {
  std::ifstream in(path, std::ios::binary);
  if (ok) *ok = static_cast<bool>(in);
  std::stringstream buffer;
  buffer << in.rdbuf();
  return buffer.str();
}

// Result of one document-mode parse.
struct Parsed {
  bool ok;
  std::string message;
  pocketjson::Value value;
};

inline Parsed parse(const std::string& text, uint8_t option = 0) {
  pocketjson::Parser parser;
  Parsed result{false, "", pocketjson::Value()};
  result.ok = parser.tryParse(result.value, text, pocketjson::ParseOption(option));
  result.message = parser.error();
  return result;
}

// Compact text through the back-insert iterator (the system's call).
inline std::string compact(const pocketjson::Value& value, bool* ok = nullptr) {
  std::string text;
  auto out = std::back_inserter(text);
  const bool result = pocketjson::Serializer().serialize(
      out, value, pocketjson::Serializer::Attributes(), -1, nullptr);
  if (ok) *ok = result;
  return text;
}

// Records every handler call as one line; `cancelAt` (0-based call index) returns false there.
class RecordingHandler : public pocketjson::AbstractParseHandler {
 public:
  explicit RecordingHandler(long cancelAt = -1) : cancelAt_(cancelAt) {}
  std::vector<std::string> calls;

  bool onNull() override { return record("null"); }
  bool onBool(const bool& value) override { return record(value ? "bool true" : "bool false"); }
  bool onInteger(const int64_t& value) override {
    return record("integer " + std::to_string(value));
  }
  bool onFloat(const double& value) override {
    return record("float " + pocketjson::Double(value).toString());
  }
  bool onString(const std::string& value) override { return record("string " + value); }
  bool onStartArray() override { return record("start array"); }
  bool onEndArray(const size_t& count) override {
    return record("end array " + std::to_string(count));
  }
  bool onStartObject() override { return record("start object"); }
  bool onKey(const std::string& key) override { return record("key " + key); }
  bool onEndObject(const size_t& count) override {
    return record("end object " + std::to_string(count));
  }

 private:
  bool record(const std::string& line) {
    calls.push_back(line);
    return static_cast<long>(calls.size()) - 1 != cancelAt_;
  }
  long cancelAt_;
};

// Runs `work` on a new thread with a stack of `stackBytes`; false if the thread cannot start.
inline bool runOnSmallStack(size_t stackBytes, const std::function<void()>& work) {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  if (pthread_attr_setstacksize(&attributes, stackBytes) != 0) {
    pthread_attr_destroy(&attributes);
    return false;
  }
  auto entry = [](void* argument) -> void* {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
  };
  pthread_t thread;
  const int started =
      pthread_create(&thread, &attributes, entry, const_cast<std::function<void()>*>(&work));
  pthread_attr_destroy(&attributes);
  if (started != 0) return false;
  pthread_join(thread, nullptr);
  return true;
}

}  // namespace pjtest

#endif  // POCKETJSON_TEST_SUPPORT_H
