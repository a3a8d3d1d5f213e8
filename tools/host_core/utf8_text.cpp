#include "host_core/utf8_text.h"

#include <cstdint>

namespace host_core {
namespace {

// The length of the well-formed sequence at `p`, or 0 when it is ill-formed; `*maximal` is set to
// the length of its maximal well-formed prefix (at least 1), which is what one U+FFFD replaces.
size_t sequenceAt(const unsigned char* p, const unsigned char* end, size_t* maximal) {
  *maximal = 1;
  const unsigned char lead = p[0];
  if (lead < 0x80) return 1;
  size_t length = 0;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;   // no overlong forms
    if (lead == 0xED) high = 0x9F;  // no surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;   // no overlong forms
    if (lead == 0xF4) high = 0x8F;  // nothing above U+10FFFF
  } else {
    return 0;
  }
  for (size_t i = 1; i < length; ++i) {
    if (p + i >= end) return 0;
    const unsigned char byte = p[i];
    const unsigned char min = i == 1 ? low : 0x80;
    const unsigned char max = i == 1 ? high : 0xBF;
    if (byte < min || byte > max) return 0;
    *maximal = i + 1;
  }
  return length;
}

}  // namespace

bool isValidUtf8(std::string_view text) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const unsigned char* const end = p + text.size();
  while (p != end) {
    if (*p < 0x80) {
      ++p;
      continue;
    }
    size_t maximal = 0;
    const size_t length = sequenceAt(p, end, &maximal);
    if (length == 0) return false;
    p += length;
  }
  return true;
}

void appendValidUtf8(std::string* out, std::string_view text) {
  if (isValidUtf8(text)) {
    out->append(text);
    return;
  }
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const unsigned char* const end = p + text.size();
  while (p != end) {
    size_t maximal = 0;
    const size_t length = sequenceAt(p, end, &maximal);
    if (length == 0) {
      out->append("\xEF\xBF\xBD");
      p += maximal;
    } else {
      out->append(reinterpret_cast<const char*>(p), length);
      p += length;
    }
  }
}

}  // namespace host_core
