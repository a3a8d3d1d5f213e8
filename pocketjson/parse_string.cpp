// The parser's string scanner: plain runs, one-letter escapes, "\u" escapes with their surrogate
// pairs, written as UTF-8 (see internal/parse_scanners.h).
#include <cstddef>
#include <cstdint>
#include <string>

#include "pocketjson/internal/escape_tables.h"
#include "pocketjson/internal/parse_scanners.h"

namespace pocketjson {
namespace detail {

namespace {

const char kStringNotTerminated[] = "Expected string ending character '\"' is not found.";
const char kStringBadEscape[] = "Unexpected escape character is found while parsing string.";
const char kStringBadHex[] = "Invalid unicode hex string is found while parsing string.";
const char kStringBadSurrogate[] = "Invalid unicode surrogate pair is found while parsing string.";

inline int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Exactly four hexadecimal digits (see readHex); inlined into the escape decoding.
inline bool readHexUnit(ParseCursor& in, unsigned& unit) {
  unit = 0;
  for (int i = 0; i < 4; ++i) {
    const int digit = in.p != in.end ? hexValue(*in.p) : -1;
    if (digit < 0) return in.fail(kStringBadHex);
    unit = (unit << 4) | static_cast<unsigned>(digit);
    ++in.p;
  }
  return true;
}

// Writes `codePoint` (at most 0x10FFFF) as UTF-8 at `bytes`; returns the count (1 to 4).
inline size_t writeUtf8(char* bytes, uint32_t codePoint) {
  if (codePoint < 0x80) {
    bytes[0] = static_cast<char>(codePoint);
    return 1;
  }
  if (codePoint < 0x800) {
    bytes[0] = static_cast<char>(0xC0 | (codePoint >> 6));
    bytes[1] = static_cast<char>(0x80 | (codePoint & 0x3F));
    return 2;
  }
  if (codePoint < 0x10000) {
    bytes[0] = static_cast<char>(0xE0 | (codePoint >> 12));
    bytes[1] = static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
    bytes[2] = static_cast<char>(0x80 | (codePoint & 0x3F));
    return 3;
  }
  bytes[0] = static_cast<char>(0xF0 | (codePoint >> 18));
  bytes[1] = static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
  bytes[2] = static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
  bytes[3] = static_cast<char>(0x80 | (codePoint & 0x3F));
  return 4;
}

// `in.p` stands behind "\u": the four hex digits of one code unit and, for a high surrogate, the
// "\u" escape of the low surrogate that must follow. A lone low surrogate fails without a
// message.
bool readCodePoint(ParseCursor& in, uint32_t& codePoint) {
  unsigned unit;
  if (!readHexUnit(in, unit)) return false;
  if (unit >= 0xDC00 && unit <= 0xDFFF) return false;
  codePoint = unit;
  if (unit < 0xD800 || unit > 0xDBFF) return true;
  const char* p = in.p;
  if (p == in.end || *p != '\\' || p + 1 == in.end || p[1] != 'u') {
    return in.fail(kStringBadSurrogate);
  }
  in.p += 2;
  unsigned low;
  if (!readHexUnit(in, low)) return false;
  if (low < 0xDC00 || low > 0xDFFF) return in.fail(kStringBadSurrogate);
  codePoint = ((unit - 0xD800) << 10) + (low & 0x3FF) + 0x10000;
  return true;
}

// `in.p` stands behind a backslash: writes the escape's bytes (at most four) at `bytes` and
// returns their count, with `in.p` behind the escape; 0 on failure.
size_t decodeEscape(ParseCursor& in, char* bytes) {
  if (in.p == in.end) {
    in.fail(kStringBadEscape);
    return 0;
  }
  if (*in.p == 'u') {
    ++in.p;
    uint32_t codePoint;
    return readCodePoint(in, codePoint) ? writeUtf8(bytes, codePoint) : 0;
  }
  const char byte = kUnescapedByte[static_cast<unsigned char>(*in.p)];
  if (byte == 0) {
    in.fail(kStringBadEscape);
    return 0;
  }
  bytes[0] = byte;
  ++in.p;
  return 1;
}

// Hands the decoded bytes waiting in `pending` to `out`; the one way they reach it.
inline void flushPending(std::string& out, const char* pending, size_t& used) {
  if (used != 0) out.append(pending, used);
  used = 0;
}

// The rest of a string from its first backslash (or its unterminated end). Escapes are decoded
// into a small local buffer that goes to `out` in one piece with the next plain run (or when
// full, or when the decode ends, failures included), so a string of many escapes is not appended
// to byte by byte.
bool decodeEscapes(ParseCursor& in, std::string& out) {
  char pending[64];
  size_t used = 0;
  bool ok = false;
  for (;;) {
    if (in.p == in.end) {
      in.fail(kStringNotTerminated);
      break;
    }
    if (*in.p == '"') {
      ++in.p;
      ok = true;
      break;
    }
    if (used > sizeof pending - 4) flushPending(out, pending, used);  // room for four bytes
    ++in.p;                                                           // the backslash
    const size_t count = decodeEscape(in, pending + used);
    if (count == 0) break;
    used += count;
    const char* run = in.p;
    in.p = findQuoteOrBackslash(in.p, in.end);
    if (in.p != run) {
      flushPending(out, pending, used);
      out.append(run, static_cast<size_t>(in.p - run));
    }
  }
  flushPending(out, pending, used);
  return ok;
}

}  // namespace

bool readHex(ParseCursor& in, unsigned& unit) {
  return readHexUnit(in, unit);
}

bool decodeString(ParseCursor& in, std::string& out) {
  ++in.p;
  const char* run = in.p;
  in.p = findQuoteOrBackslash(in.p, in.end);
  if (in.p != run) out.append(run, static_cast<size_t>(in.p - run));
  if (in.p != in.end && *in.p == '"') {  // no escape: the usual case
    ++in.p;
    return true;
  }
  return decodeEscapes(in, out);
}

}  // namespace detail
}  // namespace pocketjson
