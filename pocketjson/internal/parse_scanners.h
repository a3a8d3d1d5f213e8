// The parser's scanners for the two kinds of token that are more than a fixed word: strings
// (parse_string.cpp) and numbers (parse_number.cpp). The state machine in parser.cpp drives them,
// as do the Parser functions that read one string, one hex unit or one number.
//
// Design note
// -----------
// A scanner reads from a `ParseCursor`: it is entered with `p` on the token's first byte and
// leaves `p` behind the token on success, or where it stopped on failure, with the message in
// `error` (the failures of parser.h: English text, no position). Scanners never look behind
// `end` and allocate only through the strings they are given.
//
// Threads: a cursor and a NumberReader serve one parse on one thread.
#ifndef POCKETJSON_INTERNAL_PARSE_SCANNERS_H
#define POCKETJSON_INTERNAL_PARSE_SCANNERS_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "pocketjson/internal/byte_scan.h"
#include "pocketjson/internal/number_format.h"
#include "pocketjson/internal/simd_scan.h"

namespace pocketjson {
namespace detail {

// The read position in [p, end) and where a failure message goes.
struct ParseCursor {
  ParseCursor(const char* first, const char* last, std::string& message)
      : p(first), end(last), error(message) {}

  // Stores `message` and returns false. Failures are the rare way out of every scan; marked cold
  // so that the normal paths are laid out straight.
  [[gnu::cold]] bool fail(const char* message) {
    error = message;
    return false;
  }

  const char* p;
  const char* end;
  std::string& error;
};

// First byte in [p, end) that is '"' or '\\', or `end`; sixteen, then eight bytes per step where
// possible.
inline const char* findQuoteOrBackslash(const char* p, const char* end) {
  p = skipBlocksWithoutQuoteOrBackslash(p, end);
#if POCKETJSON_WORD_SCAN
  while (end - p >= 8) {
    const uint64_t word = loadWord(p);
    const uint64_t found = bytesEqual(word, '"') | bytesEqual(word, '\\');
    if (found) return p + firstFlaggedByte(found);
    p += 8;
  }
#endif
  while (p != end && *p != '"' && *p != '\\') ++p;
  return p;
}

// Entered on the opening quote; on success `in.p` stands behind the closing quote. The decoded
// bytes are appended to `out`, on failure as far as they were decoded. A lone low surrogate
// escape fails without a message.
bool decodeString(ParseCursor& in, std::string& out);

// Exactly four hexadecimal digits into `unit`; on success `in.p` stands behind the fourth.
bool readHex(ParseCursor& in, unsigned& unit);

// A number as read: an integer (the integer rule of parser.h) or a double.
struct ScannedNumber {
  bool isInteger;
  int64_t integer;
  double real;
};

// Reads the numbers of one parse. The locale's decimal point is sampled at the first double, once
// per parse.
class NumberReader {
 public:
  // Entered on '-' or a digit; on success `in.p` stands behind the number.
  bool read(ParseCursor& in, ScannedNumber& number);

 private:
  double toDouble(const char* first, const char* last, bool hasExponent, bool exponentIsZero,
                  bool& ok);

  NumberLocale locale_;
  bool localeKnown_ = false;
  std::string digits_;  // number text for the C library conversion
};

}  // namespace detail
}  // namespace pocketjson

#endif  // POCKETJSON_INTERNAL_PARSE_SCANNERS_H
