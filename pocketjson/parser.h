// pocketjson::Parser: JSON text -> Value, or JSON text -> events.
//
// Design note
// -----------
// Three modes, chosen by the arguments of each parse function: with `out` the parser builds the
// value in it (document mode); with no `out` but a `handler` it reports events (event mode); with
// neither it only validates. `onKey`, `onEndArray` and `onEndObject` reach a given handler in
// document mode too.
//
// Accepted text is JSON with these deliberate leniencies:
//   * an input that ends right after '[' , '{' or a ',' inside a container ends that container
//     successfully ("[1," is [1]);
//   * stray bytes where an object key is expected are skipped ("{x \"a\":1}" is {"a":1});
//   * raw control bytes and any byte >= 128 inside strings are taken as they are (no UTF-8 check);
//   * a leading UTF-8 byte-order mark is skipped by `parse`: each of the bytes EF, BB, BF is
//     skipped when it is the next byte, independently, so any part of the mark goes too;
//   * duplicate object keys: the first occurrence wins;
//   * ParseOption::kAllowTrailingComma (bit 0) allows a trailing comma,
//     ParseOption::kIgnoreTrailingText (bit 1) disables the trailing-text check;
//   * a NUL byte after the top-level value counts as the end of the text.
// Integers: the magnitude is accumulated digit by digit (times 10 plus the digit) while it is at
// most 922337203685477579; past that, a digit up to '7' is still accumulated (so a 19-digit value
// above the 64-bit range wraps around) and an '8' or '9' makes the number too large. Numbers with
// a fraction, a non-zero exponent or too large for an integer are doubles ("12e0" is the integer
// 12). Out-of-range doubles become infinities.
//
// Failure: every parse function returns false on failure and leaves one English message in
// `error()` (no line or column). A lone low surrogate escape ("\uDC00".."\uDFFF") fails with an
// empty message, by definition. On failure `out` keeps whatever was built before the failure:
// an array element whose parse failed is in its array (as far as it was built, null for a failed
// scalar), and likewise an object member whose value failed is in its object (unless its key was
// a duplicate); the failure then propagates.
//
// Depth: parsing does not recurse natively (explicit stack of open containers); nesting is
// limited only by memory.
//
// Numbers: '.' is the decimal point in the text whatever the process locale; the conversion
// follows the C library (strtod after the first '.' is replaced by the locale's decimal point),
// with std::from_chars as an exact shortcut when the locale's decimal point is a single byte.
//
// Threads: one Parser object serves one parse on one thread.
#ifndef POCKETJSON_PARSER_H
#define POCKETJSON_PARSER_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "pocketjson/value.h"

namespace pocketjson {

// Parse options: a bit set. Pass the named flags, e.g. `ParseOption::kLenient`, rather than
// their numbers.
struct ParseOption {
  enum Flag : uint8_t {
    kStrict = 0,              //!< no flag: plain JSON, nothing allowed after the value
    kAllowTrailingComma = 1,  //!< accept a ',' directly before ']' or '}'
    kIgnoreTrailingText = 2,  //!< do not check for text after the top-level value
    kLenient = kAllowTrailingComma | kIgnoreTrailingText,  //!< both of the above
  };
  ParseOption() = default;
  ParseOption(uint8_t bits) : flags(bits) {}  // NOLINT(google-explicit-constructor)
  uint8_t flags = 0;
};

// Event receiver for event mode. Every operation returns false to cancel the parse
// ("SAX handler cancels parsing.").
class AbstractParseHandler {
 public:
  virtual ~AbstractParseHandler() = default;
  virtual bool onNull() = 0;
  virtual bool onBool(const bool& value) = 0;
  virtual bool onInteger(const int64_t& value) = 0;
  virtual bool onFloat(const double& value) = 0;
  virtual bool onString(const std::string& value) = 0;
  virtual bool onStartArray() = 0;
  virtual bool onEndArray(const size_t& elementCount) = 0;
  virtual bool onStartObject() = 0;
  virtual bool onKey(const std::string& key) = 0;
  virtual bool onEndObject(const size_t& memberCount) = 0;
};

class Parser {
 public:
  // The read position: `current` advances in place; after a parse it stands just behind the text
  // consumed. `end` is one past the last byte.
  template <typename CharIterator>
  struct Iterator {
    Iterator(CharIterator first, CharIterator last) : current(first), end(last) {}
    CharIterator current;
    CharIterator end;
  };
  using TextIterator = Iterator<std::string::const_iterator>;
  // The same over raw bytes, for callers that hold a C string and need no std::string copy.
  using RawIterator = Iterator<const char*>;

  // Top-level parse in document mode: skips a (partial) byte-order mark, parses one value into
  // `out` and, unless kIgnoreTrailingText, fails on non-whitespace text after it. Returns the error
  // message, empty on success (and also on the silent lone-low-surrogate failure; use
  // `tryParse` when that difference matters).
  std::string parse(Value& out, const std::string& text, const ParseOption& option = {});
  // The same, returning success and leaving the message in `error()`.
  bool tryParse(Value& out, const std::string& text, const ParseOption& option = {});
  // Top-level parse in event mode (handler calls, no value built).
  bool parse(AbstractParseHandler& handler, const std::string& text, const ParseOption& option);
  // Top-level validation only.
  bool validate(const std::string& text, const ParseOption& option = {});

  // Value-level functions (document, event or validation mode as in the design note).
  bool parse_value(Value* out, AbstractParseHandler* handler, TextIterator& iterator,
                   const ParseOption& option);
  // The same over the bytes [iterator.current, iterator.end); identical results.
  bool parse_value(Value* out, AbstractParseHandler* handler, RawIterator& iterator,
                   const ParseOption& option);
  bool parse_object(Value* out, AbstractParseHandler* handler, TextIterator& iterator,
                    const ParseOption& option);
  bool parse_array(Value* out, AbstractParseHandler* handler, TextIterator& iterator,
                   const ParseOption& option);
  // Entered on the opening quote; appends the decoded bytes to `result`.
  bool parse_string(std::string& result, TextIterator& iterator);
  // Reads exactly four hexadecimal digits, starting at the iterator (which stands on the first
  // digit); on success it stands behind the fourth.
  bool parse_hex(unsigned short& result, TextIterator& iterator);
  // Entered on '-' or a digit.
  bool parse_number(Value* out, AbstractParseHandler* handler, TextIterator& iterator);

  // The message of the last failure ("" before any failure and after a success).
  const std::string& error() const noexcept { return error_; }

 private:
  std::string error_;
};

}  // namespace pocketjson

#endif  // POCKETJSON_PARSER_H
