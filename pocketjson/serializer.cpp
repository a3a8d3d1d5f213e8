#include "pocketjson/serializer.h"

#include <cstring>

#include "pocketjson/internal/escape_tables.h"
#include "pocketjson/internal/json_writer.h"
#include "pocketjson/internal/number_format.h"

namespace pocketjson {

const char (&Serializer::kEscape)[256] = detail::kEscapeLetter;
const char (&Serializer::kHexDigits)[17] = detail::kHexDigits;

namespace {

// The sinks of the writer (internal/json_writer.h), one per kind of output: `put` one byte,
// `write` a run of bytes, `format(f)` runs `f(buffer)` on kNumberBufferSize bytes of room and
// keeps the count it returns.

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
  // Formats directly into the string's spare room. Without that much room left, the number is
  // formatted aside and written, so that a short text does not leave the string's own inline
  // buffer for a number's worst case.
  template <typename Format>
  void format(Format&& format) {
    if (out_.size() - length_ >= detail::kNumberBufferSize) {
      length_ += format(&out_[length_]);
      return;
    }
    char buffer[detail::kNumberBufferSize];
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

// Sink appending to a TextBuffer; numbers are formatted straight into its room.
class TextBufferSink {
 public:
  explicit TextBufferSink(TextBuffer& out) : out_(out) {}
  void put(char c) { out_.push_back(c); }
  void write(const char* p, size_t n) { out_.append(p, n); }
  template <typename Format>
  void format(Format&& format) {
    if (out_.spare() > detail::kNumberBufferSize) {
      out_.commit(format(out_.room(detail::kNumberBufferSize)));
      return;
    }
    char buffer[detail::kNumberBufferSize];
    write(buffer, format(buffer));
  }

 private:
  TextBuffer& out_;
};

// Sink for an output iterator's write function (serializer.h). Bytes collect in a small buffer
// that goes to the iterator in runs, so that a call through the function pointer is not made for
// every byte; `flush` hands over the rest.
class IteratorSink {
 public:
  using WriteFunction = void (*)(void* iterator, const char* bytes, size_t count);
  IteratorSink(void* iterator, WriteFunction write) : iterator_(iterator), write_(write) {}

  void put(char c) {
    if (used_ == sizeof buffer_) flush();
    buffer_[used_++] = c;
  }
  void write(const char* p, size_t n) {
    if (n > sizeof buffer_ - used_) {
      flush();
      if (n > sizeof buffer_) {
        write_(iterator_, p, n);
        return;
      }
    }
    std::memcpy(buffer_ + used_, p, n);
    used_ += n;
  }
  template <typename Format>
  void format(Format&& format) {
    char buffer[detail::kNumberBufferSize];
    write(buffer, format(buffer));
  }
  void flush() {
    const size_t count = used_;
    used_ = 0;  // first: a write that throws is not repeated by a second flush
    if (count != 0) write_(iterator_, buffer_, count);
  }

 private:
  void* iterator_;
  WriteFunction write_;
  char buffer_[256];
  size_t used_ = 0;
};

// Runs `write(sink)` on the sink for `text` when it is set (the string of a back-insert
// iterator), else on an IteratorSink, whose buffered bytes reach the iterator also when an
// exception ends the write.
template <typename Write>
bool withSink(std::string* text, void* iterator, IteratorSink::WriteFunction writeBytes,
              Write&& write) {
  if (text) {
    StringSink sink(*text);
    return write(sink);
  }
  IteratorSink sink(iterator, writeBytes);
  try {
    const bool result = write(sink);
    sink.flush();
    return result;
  } catch (...) {
    sink.flush();
    throw;
  }
}

}  // namespace

bool Serializer::serialize(std::string& out, const Value& value, const Attributes& attributes,
                           const int& depth, std::string* error) const {
  StringSink sink(out);
  return detail::writeTree(sink, value, attributes, depth, error);
}

bool Serializer::serializeTo(const Output& out, const Value& value, const Attributes& attributes,
                             int depth, std::string* error) {
  return withSink(out.text, out.iterator, out.write, [&](auto& sink) {
    return detail::writeTree(sink, value, attributes, depth, error);
  });
}

void Serializer::stringTo(const Output& out, const std::string& s) {
  withSink(out.text, out.iterator, out.write, [&](auto& sink) {
    detail::writeString(sink, s);
    return true;
  });
}

void Serializer::indentTo(const Output& out, const Attributes& attributes, int depth) {
  withSink(out.text, out.iterator, out.write, [&](auto& sink) {
    detail::writeIndent(sink, attributes, depth);
    return true;
  });
}

bool Serializer::appendCompact(std::string& out, const Value& value) {
  return Serializer().serialize(out, value, Attributes(), -1, nullptr);
}

bool Serializer::appendCompact(TextBuffer& out, const Value& value) {
  TextBufferSink sink(out);
  return detail::writeTree(sink, value, Attributes(), -1, nullptr);
}

void Serializer::appendString(TextBuffer& out, const std::string& s) {
  TextBufferSink sink(out);
  detail::writeString(sink, s);
}

std::string Serializer::compact(const Value& value) {
  std::string text;
  static_cast<void>(appendCompact(text, value));
  return text;
}

std::string Serializer::pretty(const Value& value, const std::string& indentUnit) {
  std::string text;
  Attributes attributes;
  attributes.pretty = true;
  attributes.indentUnit = indentUnit;
  attributes.lineBreak = "\n";
  Serializer().serialize(text, value, attributes, 0, nullptr);
  return text;
}

size_t Double::text(char* buffer, bool& finite) const {
  static_assert(kTextCapacity == detail::kNumberBufferSize, "the formatter's buffer size");
  return detail::formatDoubleText(buffer, value_, finite);
}

std::string Double::toString(bool* ok) const {
  char buffer[kTextCapacity];
  bool finite = true;
  std::string result(buffer, text(buffer, finite));
  if (ok) *ok = finite;
  return result;
}

}  // namespace pocketjson
