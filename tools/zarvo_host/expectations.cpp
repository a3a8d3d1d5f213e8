#include "expectations.h"

#include <algorithm>

#include "host_core/json_text.h"

namespace zarvo_host {

using host_core::compactJson;
using host_core::parseJson;
namespace {

using pocketjson::Value;

// The actual side of a JSON comparison: the parsed text, or a note why it is not JSON.
bool parseActual(const std::string& text, Value* out, std::string* display) {
  std::string error;
  if (parseJson(text, out, &error)) {
    *display = text;
    return true;
  }
  *display = text + "  (not JSON: " + error + ")";
  return false;
}

// Whether `event` has every member of `members` with an equal value.
bool hasMembers(const Value& event, const Value& members) {
  if (!event.isObject()) return false;
  for (const auto& member : members.asObject()) {
    if (!event.has(member.first) || event.get(member.first) != member.second) return false;
  }
  return true;
}

}  // namespace

std::vector<CheckResult> checkCall(const CallExpectation& expect, int status,
                                   const std::string& responseText) {
  std::vector<CheckResult> results;
  if (expect.hasStatus) {
    results.push_back(
        {"status", status == expect.status, std::to_string(expect.status), std::to_string(status)});
  }
  if (expect.hasText) {
    results.push_back({"response text", responseText == expect.text, expect.text, responseText});
  }
  if (expect.hasResponse || expect.hasValue) {
    Value actual;
    std::string display;
    const bool isJson = parseActual(responseText, &actual, &display);
    if (expect.hasResponse) {
      results.push_back(
          {"response", isJson && actual == expect.response, compactJson(expect.response), display});
    }
    if (expect.hasValue) {
      const Value& value = actual.get("value");
      results.push_back({"value", isJson && actual.has("value") && value == expect.value,
                         compactJson(expect.value),
                         isJson
                             ? (actual.has("value") ? compactJson(value) : "(no \"value\" member)")
                             : display});
    }
  }
  return results;
}

std::vector<CheckResult> checkEvents(const WaitStep& wait, long long timeoutMs,
                                     const std::vector<std::string>& events) {
  std::vector<CheckResult> results;
  const long long received = static_cast<long long>(events.size());
  results.push_back({"events", received >= wait.count,
                     std::to_string(wait.count) + " within " + std::to_string(timeoutMs) + " ms",
                     std::to_string(received)});
  if (!wait.hasExpect) return results;
  for (size_t i = 0; i < events.size(); ++i) {
    Value actual;
    std::string display;
    const bool isJson = parseActual(events[i], &actual, &display);
    const std::string what = "event " + std::to_string(i + 1) + " of " + std::to_string(wait.count);
    if (wait.expect.isArray()) {
      const Value& expected = wait.expect.asArray()[i];
      results.push_back({what, isJson && actual == expected, compactJson(expected), display});
    } else {
      results.push_back({what, isJson && hasMembers(actual, wait.expect),
                         "members " + compactJson(wait.expect), display});
    }
  }
  return results;
}

std::vector<CheckResult> checkCallLog(const CallLogStep& expect,
                                      const std::vector<std::string>& lines) {
  std::vector<CheckResult> results;
  if (!expect.hasExpect) return results;
  const size_t n = std::max(expect.lines.size(), lines.size());
  for (size_t i = 0; i < n; ++i) {
    const std::string expected = i < expect.lines.size() ? expect.lines[i] : "(no call)";
    const std::string actual = i < lines.size() ? lines[i] : "(no call)";
    results.push_back(
        {"library call " + std::to_string(i + 1), expected == actual, expected, actual});
  }
  return results;
}

}  // namespace zarvo_host
