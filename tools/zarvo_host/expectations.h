// Checking what the plug-in answered against what a script expects.
//
// Design note
// -----------
// Every comparison yields one CheckResult, held or not, carrying the expected and the actual
// side as display texts, so the transcript can show both for any mismatch. JSON comparisons are
// structural: both sides are pocketjson values and compared with its equality (member order and
// blanks do not matter; an integer never equals a real). Text comparisons are byte for byte.
// Pure functions of their arguments; safe on any thread.
#ifndef ZARVO_HOST_EXPECTATIONS_H
#define ZARVO_HOST_EXPECTATIONS_H

#include <string>
#include <vector>

#include "script.h"

namespace zarvo_host {

struct CheckResult {
  std::string what;  // "status", "response", "response text", "value", "events", "event 2"
  bool ok = false;
  std::string expected;  // display text of the expected side
  std::string actual;    // display text of the actual side
};

// Checks the parts of `expect` that are present against one answer.
std::vector<CheckResult> checkCall(const CallExpectation& expect, int status,
                                   const std::string& responseText);

// Checks a waitEvents step: first that `wait.count` events arrived within `timeoutMs` (always),
// then each received event against the step's "expect". `events` are the event texts taken.
std::vector<CheckResult> checkEvents(const WaitStep& wait, long long timeoutMs,
                                     const std::vector<std::string>& events);

// Checks the application library's call lines against the expected ones, line by line, and
// their number.
std::vector<CheckResult> checkCallLog(const CallLogStep& expect,
                                      const std::vector<std::string>& lines);

}  // namespace zarvo_host

#endif  // ZARVO_HOST_EXPECTATIONS_H
