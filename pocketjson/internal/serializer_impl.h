// Template definitions of pocketjson::Serializer and pocketjson::Double (included by
// serializer.h; not a header of its own).
//
// Design note
// -----------
// One writer, `detail::writeTree`, produces the text for every output kind through a small sink
// (`put` one byte, `write` a run of bytes). Nesting is walked with an explicit stack of frames, so
// the native stack use is the same for any depth. The text is exactly what a member-by-member
// recursive writer produces: members in map order, ',' directly after the previous member, the
// line break and indentation before each member only when the level is >= 0 and pretty is set,
// the blank after ':' whenever pretty is set, and on failure nothing more (no closing brackets).
#ifndef POCKETJSON_INTERNAL_SERIALIZER_IMPL_H
#define POCKETJSON_INTERNAL_SERIALIZER_IMPL_H

#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include "pocketjson/internal/byte_scan.h"
#include "pocketjson/internal/escape_tables.h"
#include "pocketjson/internal/number_format.h"
#include "pocketjson/internal/simd_scan.h"
#include "pocketjson/internal/small_stack.h"
#include "pocketjson/serializer.h"

namespace pocketjson {
namespace detail {

// Sink over any output iterator: one assignment per byte.
template <typename OutputIterator>
struct IteratorSink {
  OutputIterator& out;
  void put(char c) {
    *out = c;
    ++out;
  }
  void write(const char* p, size_t n) {
    for (size_t i = 0; i < n; ++i) put(p[i]);
  }
  // Runs `format(buffer)` (at most kNumberBufferSize bytes, returns the count) and writes them.
  template <typename Format>
  void format(Format&& format) {
    char buffer[kNumberBufferSize];
    write(buffer, format(buffer));
  }
};

// Sink appending to a string: writes go straight into the string's own buffer, which grows
// geometrically; the destructor trims the string to the bytes written (also when unwinding).
class StringSink {
 public:
  explicit StringSink(std::string& out) : out_(out), length_(out.size()) {}
  StringSink(const StringSink&) = delete;
  StringSink& operator=(const StringSink&) = delete;
  ~StringSink() { out_.resize(length_); }

  void put(char c) {
    if (length_ == out_.size()) grow(1);
    out_[length_++] = c;
  }
  void write(const char* p, size_t n) {
    if (out_.size() - length_ < n) grow(n);
    std::memcpy(&out_[length_], p, n);
    length_ += n;
  }
  // Runs `format(buffer)` directly on the string's spare room (see IteratorSink::format).
  // Without that much room left, the number is formatted aside and written, so that a short
  // text does not leave the string's own inline buffer for a number's worst case.
  template <typename Format>
  void format(Format&& format) {
    if (out_.size() - length_ >= kNumberBufferSize) {
      length_ += format(&out_[length_]);
      return;
    }
    char buffer[kNumberBufferSize];
    write(buffer, format(buffer));
  }

 private:
  // The room the string already has is used first (for a short text: its inline buffer), then
  // the size doubles, by at least `n` and 64 bytes.
  void grow(size_t n) {
    const size_t needed = length_ + n;
    if (needed <= out_.capacity()) {
      out_.resize(out_.capacity());
      return;
    }
    const size_t doubled = out_.size() * 2;
    out_.resize(doubled > needed + 64 ? doubled : needed + 64);
  }

  std::string& out_;
  size_t length_;  // bytes of `out_` that hold text; the rest is spare room
};

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

// Writes `root` at nesting level `depth` (see the design note).
template <typename Sink>
bool writeTree(Sink& sink, const Value& root, const Serializer::Attributes& attributes, int depth,
               std::string* error) {
  struct Frame {
    bool isObject;
    int depth;  // the container's local level (already incremented when >= 0)
    bool first;
    Value::Object::const_iterator member, memberEnd;
    const Value* element;
    const Value* elementEnd;
  };
  NumberLocale locale;
  bool localeKnown = false;
  SmallStack<Frame, 16> stack;  // the open containers; no allocation for 16 levels
  const bool pretty = attributes.pretty;
  const Value* value = &root;
  int level = depth;
  for (;;) {
    // Open or write `value` at `level`.
    const Type type = value->type();
    if (type == kObject) {
      const Value::Object& members = value->asObject();
      sink.put('{');
      if (members.empty()) {
        sink.put('}');
      } else {
        stack.push_back(Frame{true, level >= 0 ? level + 1 : level, true, members.begin(),
                              members.end(), nullptr, nullptr});
      }
    } else if (type == kArray) {
      const Value::Array& elements = value->asArray();
      sink.put('[');
      if (elements.empty()) {
        sink.put(']');
      } else {
        stack.push_back(Frame{true,
                              level >= 0 ? level + 1 : level,
                              true,
                              {},
                              {},
                              elements.data(),
                              elements.data() + elements.size()});
        stack.back().isObject = false;
      }
    } else if (!writeScalar(sink, *value, locale, localeKnown, error)) {
      return false;
    }
    // Find the next value to write, closing finished containers on the way.
    value = nullptr;
    while (!stack.empty()) {
      Frame& frame = stack.back();
      if (frame.isObject ? frame.member != frame.memberEnd : frame.element != frame.elementEnd) {
        if (!frame.first) sink.put(',');
        frame.first = false;
        if (frame.depth >= 0 && pretty) writeIndent(sink, attributes, frame.depth);
        if (frame.isObject) {
          writeString(sink, frame.member->first);
          sink.put(':');
          if (pretty) sink.put(' ');
          value = &frame.member->second;
          ++frame.member;
        } else {
          value = frame.element++;
        }
        level = frame.depth;
        break;
      }
      // Closing: only non-empty containers have a frame.
      if (frame.depth >= 0 && pretty) writeIndent(sink, attributes, frame.depth - 1);
      sink.put(frame.isObject ? '}' : ']');
      stack.pop_back();
    }
    if (!value) return true;
  }
}

// The string behind a back-insert iterator into std::string, so that the common case appends in
// runs instead of byte by byte.
struct BackInserterAccess : std::back_insert_iterator<std::string> {
  static std::string& target(std::back_insert_iterator<std::string>& it) {
    return *(it.*(&BackInserterAccess::container));
  }
};

template <typename OutputIterator, typename Function>
auto withSink(OutputIterator& out, Function&& function) {
  if constexpr (std::is_same<OutputIterator, std::back_insert_iterator<std::string>>::value) {
    StringSink sink(BackInserterAccess::target(out));
    return function(sink);
  } else {
    IteratorSink<OutputIterator> sink{out};
    return function(sink);
  }
}

}  // namespace detail

template <typename OutputIterator>
bool Serializer::serialize(OutputIterator& out, const Value& value, const Attributes& attributes,
                           const int& depth, std::string* error) const {
  return detail::withSink(
      out, [&](auto& sink) { return detail::writeTree(sink, value, attributes, depth, error); });
}

template <typename OutputIterator>
void Serializer::serialize_string(OutputIterator& out, const std::string& s) {
  detail::withSink(out, [&](auto& sink) {
    detail::writeString(sink, s);
    return true;
  });
}

template <typename OutputIterator>
void Serializer::indent(OutputIterator& out, const Attributes& attributes, const int& depth) {
  detail::withSink(out, [&](auto& sink) {
    detail::writeIndent(sink, attributes, depth);
    return true;
  });
}

template <typename OutputIterator>
bool Double::toString(OutputIterator out) const {
  auto emit = [&out](const char* p, size_t n) {
    for (size_t i = 0; i < n; ++i) {
      *out = p[i];
      ++out;
    }
  };
  char buffer[detail::kNumberBufferSize];
  bool finite = true;
  emit(buffer, detail::formatDoubleText(buffer, value_, finite));
  return finite;
}

}  // namespace pocketjson

#endif  // POCKETJSON_INTERNAL_SERIALIZER_IMPL_H
