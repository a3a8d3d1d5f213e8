// fuzz_answers: what applications send back. One fuzzed text becomes the programmed bridge-cross
// answer, the programmed custom-task answer and a raised event payload, and every text the page
// receives must be exactly the one expected.
//
// Input layout (texts end at the next 0 byte or at the end of the input):
//   byte 0   bits 0-1 paths: 0 bridge-cross, 1 custom task, 2 event, 3 all three;
//            bit 2 the event is posted (queued) and flushed instead of raised;
//            bit 3 the event is raised a second time with a null context (nothing dispatched)
//   byte 1-2 bridge-cross status (int16, little endian)
//   texts    answer/payload, custom-task type (default "done"), event type (default "progress")
//
// Expected texts, built from the same answer parsed the way the bridge parses it
// (ParseOption::kLenient):
//   {"error":null,"value":{"data":<answer>,"statuscode":<status>}}
//   {"error":null,"value":{"data":<answer>,"type":<type>}}
//   zarvoEvent {"app":"viewer","data":<payload>,"type":<event type>}
// An answer holding a double outside the finite range cannot be written as JSON; the serializer
// stops there, so the expected text is then cut at the same place. Every other text must also
// parse (harness.h).
#include <cstddef>
#include <cstdint>
#include <string>

#include "harness.h"

namespace {

using fuzzbridge::call;
using fuzzbridge::fail;
using fuzzbridge::Resource;

const char kPost[] = "{\"method\":\"post\"}";
const char kViewer[] = "{\"name\":\"viewer\"}";

// `prefix` + compact text of `value` (cut where the serializer stops) + `suffix` when complete.
std::string expectedText(const std::string& prefix, const pocketjson::Value& value,
                         const std::string& suffix, bool& complete) {
  std::string text = prefix;
  complete = fuzzbridge::compactText(value, text);
  if (complete) text += suffix;
  return text;
}

void checkBridge(const pocketjson::Value& answer, int status) {
  const fuzzbridge::Response response =
      call(Resource::kBridge, kPost, kViewer, "{}", "{\"uri\":\"/fuzz\"}", true);
  bool complete = false;
  const std::string expected =
      expectedText("{\"error\":null,\"value\":{\"data\":", answer,
                   ",\"statuscode\":" + std::to_string(status) + "}}", complete);
  if (response.status != 200 || response.text != expected) {
    fail("bridge-cross answer", response.text + "\n  expected " + expected);
  }
}

void checkCustom(const pocketjson::Value& answer, const std::string& type) {
  const fuzzbridge::Response response =
      call(Resource::kCustom, kPost, kViewer, "{}", "{\"type\":\"task\"}", true);
  bool complete = false;
  const std::string expected =
      expectedText("{\"error\":null,\"value\":{\"data\":", answer,
                   ",\"type\":" + fuzzbridge::quoted(type) + "}}", complete);
  if (response.status != 200 || response.text != expected) {
    fail("custom-task answer", response.text + "\n  expected " + expected);
  }
}

void checkEvent(const pocketjson::Value& payloadValue, const std::string& payload,
                const std::string& type, unsigned flags) {
  const std::string parameters =
      std::string("{\"name\":\"viewer\",\"type\":") + fuzzbridge::quoted(type) + "}";
  call(Resource::kEvent, kPost, parameters, "{}", "", false);
  const ZrvApplicationHandle handle =
      bridge::ApplicationManager::Shared().applicationWithName("viewer")->handle;

  const long before = ZrvSimEventCallbackCount();
  if ((flags & 4u) != 0) {
    ZrvSimPostEvent(handle, type.c_str(), payload.c_str());
    ZrvSimFlush();
  } else if (ZrvSimRaiseEvent(handle, type.c_str(), payload.c_str()) != 1) {
    fail("one subscription, but not one callback", type);
  }
  if (ZrvSimEventCallbackCount() != before + 1) fail("event callbacks made", type);
  std::vector<fuzzbridge::Event> events = fuzzbridge::takeEvents();
  if (events.size() != 1) fail("events dispatched", std::to_string(events.size()));

  bool complete = false;
  const std::string expected =
      expectedText("{\"app\":\"viewer\",\"data\":", payloadValue,
                   ",\"type\":" + fuzzbridge::quoted(type) + "}", complete);
  fuzzbridge::checkEvent(events[0], !complete);
  if (events[0].text != expected) fail("event text", events[0].text + "\n  expected " + expected);

  if ((flags & 8u) != 0) {
    ZrvSimRaiseEventWithNullContext(handle, type.c_str(), payload.c_str());
    if (!fuzzbridge::takeEvents().empty()) fail("event dispatched for a null context", type);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzzbridge::installHost();
  fuzzbridge::resetSimulator(2);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  const uint8_t* end = data + size;
  const unsigned flags = data[0];
  const int16_t status = static_cast<int16_t>(static_cast<uint16_t>(data[1] | (data[2] << 8)));
  data += 3;
  std::string answer;
  std::string customType;
  std::string eventType;
  fuzzbridge::nextText(data, end, answer);
  if (!fuzzbridge::nextText(data, end, customType)) customType = "done";
  if (!fuzzbridge::nextText(data, end, eventType) || eventType.empty()) eventType = "progress";

  ZrvSimProgram program;
  ZrvSimDefaultProgram(&program);
  program.bridgeCrossStatus = status;
  program.bridgeCrossAnswer = answer.c_str();
  program.customTaskType = customType.c_str();
  program.customTaskAnswer = answer.c_str();
  ZrvSimSetProgram(&program);

  const pocketjson::Value answerValue = fuzzbridge::parseLenient(answer);
  const fuzzbridge::Response connected =
      call(Resource::kApplication, kPost, kViewer, "{}", "", false);
  if (connected.status != 200) fail("connect viewer", connected.text);

  const unsigned paths = flags & 3u;
  if (paths == 0 || paths == 3) checkBridge(answerValue, status);
  if (paths == 1 || paths == 3) checkCustom(answerValue, customType);
  if (paths == 2 || paths == 3) checkEvent(answerValue, answer, eventType, flags);

  const ZrvApplicationHandle handle =
      bridge::ApplicationManager::Shared().applicationWithName("viewer")->handle;
  bridge::ApplicationManager::Shared().clear();  // TearDown
  ZrvSimFlush();
  if (ZrvSimRaiseEvent(handle, eventType.c_str(), "1") != 0) fail("event after TearDown", "");
  if (!fuzzbridge::takeEvents().empty()) fail("event dispatched after TearDown", "");
  fuzzbridge::resetSimulator(2);
  return 0;
}
