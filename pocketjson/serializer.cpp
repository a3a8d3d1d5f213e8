#include "pocketjson/serializer.h"

#include "pocketjson/internal/escape_tables.h"

namespace pocketjson {

const char (&Serializer::kEscape)[256] = detail::kEscapeLetter;
const char (&Serializer::kHexDigits)[17] = detail::kHexDigits;

bool Serializer::serialize(std::string& out, const Value& value, const Attributes& attributes,
                           const int& depth, std::string* error) const {
  detail::StringSink sink(out);
  return detail::writeTree(sink, value, attributes, depth, error);
}

bool Serializer::appendCompact(std::string& out, const Value& value) {
  return Serializer().serialize(out, value, Attributes(), -1, nullptr);
}

namespace {

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

}  // namespace

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

std::string Double::toString(bool* ok) const {
  std::string text;
  const bool result = toString(std::back_inserter(text));
  if (ok) *ok = result;
  return text;
}

}  // namespace pocketjson
