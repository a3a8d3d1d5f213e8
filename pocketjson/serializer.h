// pocketjson::Serializer: Value -> JSON text.
//
// Design note
// -----------
// The system always writes compact text (no whitespace at all, object members in byte-wise key
// order); the pretty attributes exist for tools and behave exactly as documented below, including
// the deliberate mixed form at depth -1 (blank after ':' kept, no line breaks or indentation).
//
// Escaping: bytes 0..31 and 127 are escaped ("\b", "\t", "\n", "\f", "\r" or "\u00XX" with lower
// hex digits), '"' and '\\' are escaped, everything else, '/' and bytes 128..255 included, is
// copied unchanged (UTF-8 passes through unvalidated; a NUL byte becomes "\u0000").
//
// Numbers: integers as "%lld"; doubles as "0.0" for both zeros, otherwise "%.17g" with the
// process locale's decimal point written as '.', so output never depends on the locale.
//
// Failure: the only failure is a NaN or infinite double: output stops at that value, the text
// written so far stays, the result is false and "Floating point is nan or inf." is stored in the
// optional error string.
//
// Output iterators: the writer is compiled once, in serializer.cpp; the iterator templates below
// only hand it their output. A back_insert_iterator<std::string> has its string appended to in
// runs (as the std::string overloads do); any other iterator receives one assignment per byte,
// the bytes collected in runs of up to 256 first.
//
// Depth: serialization does not recurse natively; any nesting depth is written with an explicit
// stack. Stateless otherwise; safe on any thread for values not modified concurrently.
#ifndef POCKETJSON_SERIALIZER_H
#define POCKETJSON_SERIALIZER_H

#include <cstddef>
#include <iterator>
#include <string>
#include <type_traits>

#include "pocketjson/text_buffer.h"
#include "pocketjson/value.h"

namespace pocketjson {

class Serializer {
 public:
  // Layout of the text. Default: compact (pretty off, empty strings).
  struct Attributes {
    bool pretty = false;     // false disables newlines, indentation and the blank after ':'
    std::string indentUnit;  // written once per nesting level at the start of each line
    std::string lineBreak;   // written before each member/element and before a closing bracket
  };

  // Appends the text of `value` to `out`. `depth` < 0 switches off line breaks and indentation
  // (not the blank after ':' when pretty); >= 0 is the current nesting level. Returns false on a
  // NaN/infinite double (see the design note).
  template <typename OutputIterator>
  bool serialize(OutputIterator& out, const Value& value, const Attributes& attributes,
                 const int& depth, std::string* error) const;

  // Writes `s` quoted and escaped.
  template <typename OutputIterator>
  static void serialize_string(OutputIterator& out, const std::string& s);

  // Writes `lineBreak`, then `indentUnit` `depth` times (nothing further when depth < 1).
  template <typename OutputIterator>
  static void indent(OutputIterator& out, const Attributes& attributes, const int& depth);

  // Fast path used by the system: appends to a string directly (same text as above).
  bool serialize(std::string& out, const Value& value, const Attributes& attributes,
                 const int& depth, std::string* error) const;

  // Compact JSON, the form the system writes everywhere (default attributes, depth -1):
  // `appendCompact` appends the text of `value` to `out` and returns false on a NaN/infinite
  // double (the text written up to it stays); `compact` returns the text, ignoring that result.
  static bool appendCompact(std::string& out, const Value& value);
  static std::string compact(const Value& value);
  // The same two writes into a TextBuffer, which keeps a short text off the heap: the compact
  // text of `value` (false on a NaN/infinite double, as above) and `s` quoted and escaped.
  static bool appendCompact(TextBuffer& out, const Value& value);
  static void appendString(TextBuffer& out, const std::string& s);
  // Convenience: pretty text with the given indent unit and "\n", depth 0.
  static std::string pretty(const Value& value, const std::string& indentUnit = "  ");

  // Escape table: 0 = copy the byte, otherwise the letter written after '\'; the hex digits of
  // "\u00XX".
  static const char (&kEscape)[256];
  static const char (&kHexDigits)[17];

 private:
  // Where the iterator templates send their text: the string behind a
  // back_insert_iterator<std::string> when `text` is set, else `write`, called with each run of
  // bytes in order.
  struct Output {
    std::string* text;
    void* iterator;
    void (*write)(void* iterator, const char* bytes, size_t count);
  };
  // The string a back_insert_iterator<std::string> appends to (its protected member).
  struct InsertedString : std::back_insert_iterator<std::string> {
    static std::string& of(std::back_insert_iterator<std::string>& inserter) {
      return *(inserter.*(&InsertedString::container));
    }
  };
  template <typename OutputIterator>
  static void writeBytes(void* iterator, const char* bytes, size_t count) {
    OutputIterator& out = *static_cast<OutputIterator*>(iterator);
    for (size_t i = 0; i < count; ++i) {
      *out = bytes[i];
      ++out;
    }
  }
  template <typename OutputIterator>
  static Output outputOf(OutputIterator& out) {
    if constexpr (std::is_same<OutputIterator, std::back_insert_iterator<std::string>>::value) {
      return Output{&InsertedString::of(out), nullptr, nullptr};
    } else {
      return Output{nullptr, &out, &writeBytes<OutputIterator>};
    }
  }
  // The three writes behind the templates (serializer.cpp).
  static bool serializeTo(const Output& out, const Value& value, const Attributes& attributes,
                          int depth, std::string* error);
  static void stringTo(const Output& out, const std::string& s);
  static void indentTo(const Output& out, const Attributes& attributes, int depth);
};

template <typename OutputIterator>
bool Serializer::serialize(OutputIterator& out, const Value& value, const Attributes& attributes,
                           const int& depth, std::string* error) const {
  return serializeTo(outputOf(out), value, attributes, depth, error);
}

template <typename OutputIterator>
void Serializer::serialize_string(OutputIterator& out, const std::string& s) {
  stringTo(outputOf(out), s);
}

template <typename OutputIterator>
void Serializer::indent(OutputIterator& out, const Attributes& attributes, const int& depth) {
  indentTo(outputOf(out), attributes, depth);
}

// Formatter for one lone double.
class Double {
 public:
  explicit Double(double value) : value_(value) {}
  // Writes "0.0" for both zeros (true), "nan"/"inf"/"-inf" (false), else "%.17g" with '.' (true).
  template <typename OutputIterator>
  bool toString(OutputIterator out) const;
  // The same text as a string; `ok` receives the result when not null.
  std::string toString(bool* ok = nullptr) const;

 private:
  // Room for any text of a double (serializer.cpp checks it against the formatter's buffer).
  static constexpr size_t kTextCapacity = 128;
  // Writes the text into `buffer` (kTextCapacity bytes); returns its length.
  size_t text(char* buffer, bool& finite) const;

  double value_;
};

template <typename OutputIterator>
bool Double::toString(OutputIterator out) const {
  char buffer[kTextCapacity];
  bool finite = true;
  const size_t length = text(buffer, finite);
  for (size_t i = 0; i < length; ++i) {
    *out = buffer[i];
    ++out;
  }
  return finite;
}

}  // namespace pocketjson

#endif  // POCKETJSON_SERIALIZER_H
