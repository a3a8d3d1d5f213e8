// The serializer's writer (included by serializer.cpp only): the text of a value, of a quoted
// string and of an indentation, written through a sink.
//
// Design note
// -----------
// One writer, `writeTree`, produces the text for every output kind through a small sink (`put`
// one byte, `write` a run of bytes, `format` a number into a buffer of kNumberBufferSize bytes).
// Nesting is walked with an explicit stack of frames, so the native stack use is the same for any
// depth. The text is exactly what a member-by-member recursive writer produces: members in map
// order, ',' directly after the previous member, the line break and indentation before each
// member only when the level is >= 0 and pretty is set, the blank after ':' whenever pretty is
// set, and on failure nothing more (no closing brackets).
#ifndef POCKETJSON_INTERNAL_JSON_WRITER_H
#define POCKETJSON_INTERNAL_JSON_WRITER_H

#include <cstdint>
#include <cstring>
#include <string>

#include "pocketjson/internal/byte_scan.h"
#include "pocketjson/internal/escape_tables.h"
#include "pocketjson/internal/number_format.h"
#include "pocketjson/internal/simd_scan.h"
#include "pocketjson/internal/small_stack.h"
#include "pocketjson/serializer.h"
#include "pocketjson/value.h"

namespace pocketjson {
namespace detail {

// First byte in [p, end) that may need an escape (below 0x20, '"', '\\' or 0x7F), or `end`;
// eight bytes per step where possible.
inline const char* findEscapeCandidate(const char* p, const char* end) {
  p = skipBlocksWithoutEscapeCandidate(p, end);
#if POCKETJSON_WORD_SCAN
  while (end - p >= 8) {
    const uint64_t word = detail::loadWord(p);
    const uint64_t found = detail::bytesBelow(word, 0x20) | detail::bytesEqual(word, '"') |
                           detail::bytesEqual(word, '\\') | detail::bytesEqual(word, 0x7F);
    if (found) return p + detail::firstFlaggedByte(found);
    p += 8;
  }
#endif
  while (p != end && kEscapeLetter[static_cast<unsigned char>(*p)] == 0) ++p;
  return p;
}

// Writes `s` quoted and escaped; runs of bytes that need no escape are written in one piece.
template <typename Sink>
void writeString(Sink& sink, const std::string& s) {
  sink.put('"');
  const char* p = s.data();
  const char* const end = p + s.size();
  const char* run = p;
  while (p != end) {
    p = findEscapeCandidate(p, end);
    if (p == end) break;
    const char letter = kEscapeLetter[static_cast<unsigned char>(*p)];
    if (letter == 0) {
      ++p;
      continue;
    }
    if (p != run) sink.write(run, static_cast<size_t>(p - run));
    const unsigned char b = static_cast<unsigned char>(*p);
    if (letter == 'u') {
      const char escaped[6] = {'\\', 'u', '0', '0', kHexDigits[(b >> 4) & 15], kHexDigits[b & 15]};
      sink.write(escaped, 6);
    } else {
      const char escaped[2] = {'\\', letter};
      sink.write(escaped, 2);
    }
    run = ++p;
  }
  if (p != run) sink.write(run, static_cast<size_t>(p - run));
  sink.put('"');
}

// Writes `lineBreak`, then `indentUnit` `depth` times.
template <typename Sink>
void writeIndent(Sink& sink, const Serializer::Attributes& attributes, int depth) {
  sink.write(attributes.lineBreak.data(), attributes.lineBreak.size());
  for (int i = 0; i < depth; ++i)
    sink.write(attributes.indentUnit.data(), attributes.indentUnit.size());
}

// Writes one scalar; false (nothing written) for a NaN or infinite double.
template <typename Sink>
bool writeScalar(Sink& sink, const Value& value, NumberLocale& locale, bool& localeKnown,
                 std::string* error) {
  switch (value.type()) {
    case kNull:
      sink.write("null", 4);
      return true;
    case kBool:
      if (value.asBool()) {
        sink.write("true", 4);
      } else {
        sink.write("false", 5);
      }
      return true;
    case kInteger: {
      const int64_t i = value.asInteger();
      sink.format([i](char* buffer) { return formatInteger(buffer, i); });
      return true;
    }
    case kFloat: {
      const double d = value.asFloat();
      uint64_t bits;
      std::memcpy(&bits, &d, sizeof bits);
      if (isNanOrInfBits(bits)) {
        if (error) *error = "Floating point is nan or inf.";
        return false;
      }
      if (isZeroBits(bits)) {
        sink.write("0.0", 3);
        return true;
      }
      if (!localeKnown) {
        locale = NumberLocale::current();
        localeKnown = true;
      }
      const NumberLocale& numberLocale = locale;
      sink.format(
          [d, &numberLocale](char* buffer) { return formatDouble(buffer, d, numberLocale); });
      return true;
    }
    case kString:
      writeString(sink, value.asString());
      return true;
    default:  // codes that never arise: nothing is written
      return true;
  }
}

// One open, non-empty container of writeTree.
struct WriteFrame {
  bool isObject;
  int depth;  // the container's local level (already incremented when >= 0)
  bool first;
  Value::Object::const_iterator member, memberEnd;
  const Value* element;
  const Value* elementEnd;
};
using WriteStack = SmallStack<WriteFrame, 16>;  // no allocation for 16 levels

// Writes `value` at `level`: a scalar or an empty container whole, else the opening bracket, and
// pushes a frame for the contents. False (nothing written) for a NaN or infinite double.
template <typename Sink>
bool openValue(Sink& sink, const Value& value, int level, WriteStack& stack, NumberLocale& locale,
               bool& localeKnown, std::string* error) {
  const Type type = value.type();
  const int inner = level >= 0 ? level + 1 : level;
  if (type == kObject) {
    const Value::Object& members = value.asObject();
    sink.put('{');
    if (members.empty()) {
      sink.put('}');
    } else {
      stack.push_back(
          WriteFrame{true, inner, true, members.begin(), members.end(), nullptr, nullptr});
    }
    return true;
  }
  if (type == kArray) {
    const Value::Array& elements = value.asArray();
    sink.put('[');
    if (elements.empty()) {
      sink.put(']');
    } else {
      stack.push_back(WriteFrame{
          false, inner, true, {}, {}, elements.data(), elements.data() + elements.size()});
    }
    return true;
  }
  return writeScalar(sink, value, locale, localeKnown, error);
}

// Closes the finished containers and starts the next member or element: returns the value to
// write next, with its level in `level`, or null when the whole tree is written.
template <typename Sink>
const Value* nextValue(Sink& sink, WriteStack& stack, const Serializer::Attributes& attributes,
                       int& level) {
  const bool pretty = attributes.pretty;
  while (!stack.empty()) {
    WriteFrame& frame = stack.back();
    if (frame.isObject ? frame.member != frame.memberEnd : frame.element != frame.elementEnd) {
      if (!frame.first) sink.put(',');
      frame.first = false;
      if (frame.depth >= 0 && pretty) writeIndent(sink, attributes, frame.depth);
      level = frame.depth;
      if (!frame.isObject) return frame.element++;
      writeString(sink, frame.member->first);
      sink.put(':');
      if (pretty) sink.put(' ');
      const Value* value = &frame.member->second;
      ++frame.member;
      return value;
    }
    // Closing: only non-empty containers have a frame.
    if (frame.depth >= 0 && pretty) writeIndent(sink, attributes, frame.depth - 1);
    sink.put(frame.isObject ? '}' : ']');
    stack.pop_back();
  }
  return nullptr;
}

// Writes `root` at nesting level `depth` (see the design note).
template <typename Sink>
bool writeTree(Sink& sink, const Value& root, const Serializer::Attributes& attributes, int depth,
               std::string* error) {
  NumberLocale locale;
  bool localeKnown = false;
  WriteStack stack;
  int level = depth;
  for (const Value* value = &root; value != nullptr;
       value = nextValue(sink, stack, attributes, level)) {
    if (!openValue(sink, *value, level, stack, locale, localeKnown, error)) return false;
  }
  return true;
}

}  // namespace detail
}  // namespace pocketjson

#endif  // POCKETJSON_INTERNAL_JSON_WRITER_H
