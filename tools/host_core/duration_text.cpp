#include "host_core/duration_text.h"

#include <cstdint>

namespace host_core {
namespace {

struct Unit {
  const char* name;
  int64_t milliseconds;
};

constexpr Unit kUnits[] = {{"ms", 1}, {"s", 1000}, {"min", 60000}};

}  // namespace

bool parseDuration(const std::string& text, std::chrono::milliseconds max,
                   std::chrono::milliseconds* out, std::string* problem) {
  const size_t digits = text.find_first_not_of("0123456789");
  const std::string unit = digits == std::string::npos ? "" : text.substr(digits);
  const Unit* found = nullptr;
  for (const Unit& known : kUnits) {
    if (unit == known.name) found = &known;
  }
  if (digits == 0 || digits == std::string::npos || found == nullptr || digits > 12) {
    *problem = "needs a number with a unit, as in 1500ms, 30s or 2min, not '" + text + "'";
    return false;
  }
  const int64_t value = std::stoll(text.substr(0, digits)) * found->milliseconds;
  if (value > max.count()) {
    *problem = "is at most " + durationText(max) + ", not '" + text + "'";
    return false;
  }
  *out = std::chrono::milliseconds(value);
  return true;
}

std::string durationText(std::chrono::milliseconds duration) {
  const int64_t ms = duration.count();
  if (ms != 0 && ms % 60000 == 0) return std::to_string(ms / 60000) + "min";
  if (ms != 0 && ms % 1000 == 0) return std::to_string(ms / 1000) + "s";
  return std::to_string(ms) + "ms";
}

}  // namespace host_core
