// Durations on the hosts' command lines, always written with their unit.
//
// A bare number is ambiguous (one host read milliseconds, another seconds), so every duration
// option takes a number with a unit: "1500ms", "30s", "2min". The parse is strict: digits, then
// one of the units, nothing else; a missing or unknown unit is refused with a message that shows
// the accepted forms, so a mistake is caught at the command line rather than as a wrong wait.
//
// Threads: stateless; any thread.
#ifndef ZARVO_HOST_CORE_DURATION_TEXT_H
#define ZARVO_HOST_CORE_DURATION_TEXT_H

#include <chrono>
#include <string>

namespace host_core {

// Parses `text` into `out`; at most `max`. False with `problem` set ("needs a unit, as in 1500ms,
// 30s or 2min, not '…'" / "is at most …").
bool parseDuration(const std::string& text, std::chrono::milliseconds max,
                   std::chrono::milliseconds* out, std::string* problem);
// The shortest exact text of `duration` with a unit ("1500ms", "30s", "2min").
std::string durationText(std::chrono::milliseconds duration);

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_DURATION_TEXT_H
