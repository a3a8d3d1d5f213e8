// Differential checks. The iterative parser against a plain recursive-descent reference written
// step by step from the documented rules (fresh value per element, appended or inserted after its
// parse, even on failure). Both run on random and mutated inputs, all option values, document and
// event modes; results, messages, partial documents and handler call sequences must be equal.
// Likewise the iterative serializer against a recursive reference writer (snprintf numbers),
// over random trees, attributes and starting depths. The references recurse, so inputs stay
// shallow.
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>

#include "test_support.h"

using pocketjson::AbstractParseHandler;
using pocketjson::Value;

namespace {

class Reference {
 public:
  Reference(const std::string& text, uint8_t option)
      : p_(text.data()), end_(p_ + text.size()), option_(option) {}

  // The top-level parse of the documented algorithm (document mode when `out`, else events).
  bool parse(Value* out, AbstractParseHandler* handler) {
    if (p_ != end_ && static_cast<unsigned char>(*p_) == 0xEF) ++p_;
    if (p_ != end_ && static_cast<unsigned char>(*p_) == 0xBB) ++p_;
    if (p_ != end_ && static_cast<unsigned char>(*p_) == 0xBF) ++p_;
    if (!value(out, handler)) return false;
    if (!(option_ & 2)) {
      skip();
      if (p_ != end_ && *p_ != 0) return fail("Gabage string exists after json string.");
    }
    return true;
  }
  std::string message;

 private:
  bool fail(const char* m) {
    message = m;
    return false;
  }
  bool cancel() { return fail("SAX handler cancels parsing."); }
  void skip() {
    while (p_ != end_ && (*p_ == ' ' || *p_ == '\t' || *p_ == '\n' || *p_ == '\r')) ++p_;
  }
  bool value(Value* out, AbstractParseHandler* h) {
    skip();
    if (p_ == end_) return fail("Unexpected character exists while parsing.");
    const bool events = !out && h;
    switch (*p_) {
      case '"': {
        std::string s;
        if (!string(s)) return false;
        if (out) {
          *out = s;
        } else if (events && !h->onString(s)) {
          return cancel();
        }
        return true;
      }
      case '{':
        return object(out, h);
      case '[':
        return array(out, h);
      case 't':
      case 'f': {
        const bool b = *p_ == 't';
        const char* rest = b ? "rue" : "alse";
        const size_t n = std::strlen(rest);
        ++p_;
        for (size_t i = 0; i < n; ++i, ++p_) {
          if (p_ == end_ || *p_ != rest[i]) return fail("Invalid boolean type string exists.");
        }
        if (out) {
          *out = b;
        } else if (events && !h->onBool(b)) {
          return cancel();
        }
        return true;
      }
      case 'n': {
        ++p_;
        for (const char* r = "ull"; *r; ++r, ++p_) {
          if (p_ == end_ || *p_ != *r) return fail("Invalid null type string exists.");
        }
        if (out) {
          *out = Value();
        } else if (events && !h->onNull()) {
          return cancel();
        }
        return true;
      }
      default:
        if (*p_ == '-' || (*p_ >= '0' && *p_ <= '9')) return number(out, h);
        return fail("Unexpected character exists while parsing.");
    }
  }
  bool array(Value* out, AbstractParseHandler* h) {
    if (out) {
      out->setType(pocketjson::kArray);
    } else if (h && !h->onStartArray()) {
      return cancel();
    }
    size_t count = 0;
    for (;;) {
      ++p_;
      if (p_ == end_) return true;
      skip();
      if (p_ != end_ && *p_ == ']') {
        if (count == 0 || (option_ & 1)) {
          if (h && !h->onEndArray(count)) return cancel();
          ++p_;
          return true;
        }
        return fail("Unexpected comma exists while parsing array.");
      }
      if (out) {
        Value element;
        const bool ok = value(&element, h);
        out->push_back(element);
        if (!ok) return false;
      } else if (!value(nullptr, h)) {
        return false;
      }
      ++count;
      skip();
      if (p_ == end_ || (*p_ != ',' && *p_ != ']')) {
        return fail("Unexpected string exists while parsing array.");
      }
      if (*p_ == ']') {
        if (h && !h->onEndArray(count)) return cancel();
        ++p_;
        return true;
      }
    }
  }
  bool object(Value* out, AbstractParseHandler* h) {
    if (out) {
      if (out->type() != pocketjson::kObject) out->setType(pocketjson::kObject);
    } else if (h && !h->onStartObject()) {
      return cancel();
    }
    size_t count = 0;
    for (;;) {
      ++p_;
      if (p_ == end_) return true;
      skip();
      if (p_ == end_) return true;
      if (*p_ == '}') {
        if (count != 0 && !(option_ & 1)) {
          return fail("Unexpected comma exists while parsing object.");
        }
        if (h && !h->onEndObject(count)) return cancel();
        ++p_;
        return true;
      }
      if (*p_ != '"') continue;
      std::string key;
      if (!string(key)) return false;
      if (h && !h->onKey(key)) return cancel();
      skip();
      if (p_ == end_ || *p_ != ':') return fail("Unexpected string exists while parsing object.");
      ++p_;
      if (out) {
        Value member;
        const bool ok = value(&member, h);
        out->mutableObject().emplace(key, member);  // only when absent: first wins
        if (!ok) return false;
      } else if (!value(nullptr, h)) {
        return false;
      }
      ++count;
      skip();
      if (p_ == end_ || (*p_ != ',' && *p_ != '}')) {
        return fail("Unexpected string exists while parsing object.");
      }
      if (*p_ == '}') {
        if (h && !h->onEndObject(count)) return cancel();
        ++p_;
        return true;
      }
    }
  }
  bool hex(unsigned& unit) {
    unit = 0;
    for (int i = 0; i < 4; ++i) {
      ++p_;
      if (p_ == end_ || !std::isxdigit(static_cast<unsigned char>(*p_))) {
        return fail("Invalid unicode hex string is found while parsing string.");
      }
      const char c = *p_;
      unit = unit * 16 + static_cast<unsigned>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
    }
    return true;
  }
  bool string(std::string& s) {
    for (;;) {
      ++p_;
      if (p_ == end_) return fail("Expected string ending character '\"' is not found.");
      if (*p_ == '"') {
        ++p_;
        return true;
      }
      if (*p_ != '\\') {
        s += *p_;
        continue;
      }
      ++p_;
      if (p_ == end_) return fail("Unexpected escape character is found while parsing string.");
      const char* simple = std::strchr("\"\\/bfnrt", *p_);
      if (*p_ != 'u') {
        if (!simple || *p_ == 0) {
          return fail("Unexpected escape character is found while parsing string.");
        }
        static const char kDecoded[] = "\"\\/\b\f\n\r\t";
        s += kDecoded[simple - "\"\\/bfnrt"];
        continue;
      }
      unsigned unit;
      if (!hex(unit)) return false;
      uint32_t cp = unit;
      if (unit >= 0xDC00 && unit <= 0xDFFF) return false;
      if (unit >= 0xD800 && unit <= 0xDBFF) {
        if (p_ + 1 == end_ || p_[1] != '\\' || p_ + 2 == end_ || p_[2] != 'u') {
          return fail("Invalid unicode surrogate pair is found while parsing string.");
        }
        p_ += 2;
        unsigned low;
        if (!hex(low)) return false;
        if (low < 0xDC00 || low > 0xDFFF) {
          return fail("Invalid unicode surrogate pair is found while parsing string.");
        }
        cp = ((unit - 0xD800) << 10) + (low & 0x3FF) + 0x10000;
      }
      if (cp < 0x80) {
        s += static_cast<char>(cp);
      } else if (cp < 0x800) {
        s += static_cast<char>(0xC0 | (cp >> 6));
        s += static_cast<char>(0x80 | (cp & 0x3F));
      } else if (cp < 0x10000) {
        s += static_cast<char>(0xE0 | (cp >> 12));
        s += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        s += static_cast<char>(0x80 | (cp & 0x3F));
      } else {
        s += static_cast<char>(0xF0 | (cp >> 18));
        s += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        s += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        s += static_cast<char>(0x80 | (cp & 0x3F));
      }
    }
  }
  static bool digit(const char* p, const char* end) { return p != end && *p >= '0' && *p <= '9'; }
  bool number(Value* out, AbstractParseHandler* h) {
    std::string buffer;
    bool negative = false;
    if (*p_ == '-') {
      negative = true;
      buffer += *p_++;
    }
    if (!digit(p_, end_)) return fail("Digit is not found while parsing number.");
    if (*p_ == '0' && digit(p_ + 1, end_)) {
      return fail("Unexpected '0' character is found while parsing number.");
    }
    uint64_t magnitude = 0;  // the signed accumulator, kept unsigned for defined wrap-around
    bool tooLarge = false;
    while (digit(p_, end_)) {
      const int d = *p_ - '0';
      if (static_cast<int64_t>(magnitude) <= 922337203685477579 || d <= 7) {
        magnitude = magnitude * 10 + static_cast<uint64_t>(d);
      } else {
        tooLarge = true;
      }
      buffer += *p_++;
    }
    bool fraction = false;
    if (p_ != end_ && *p_ == '.') {
      fraction = true;
      buffer += *p_++;
      if (!digit(p_, end_)) {
        return fail("Digit is not found after the decimal point while parsing number.");
      }
      while (digit(p_, end_)) buffer += *p_++;
    }
    bool exponent = false;
    bool exponentZero = true;
    size_t exponentAt = 0;
    if (p_ != end_ && (*p_ == 'e' || *p_ == 'E')) {
      exponent = true;
      exponentAt = buffer.size();
      buffer += 'e';
      ++p_;
      if (p_ != end_ && (*p_ == '+' || *p_ == '-')) {
        if (*p_ == '-') buffer += '-';
        ++p_;
      }
      if (!digit(p_, end_)) {
        return fail("Digit is not found after exponent keyword while parsing number.");
      }
      while (digit(p_, end_)) {
        if (*p_ != '0') exponentZero = false;
        buffer += *p_++;
      }
    }
    if (!fraction && exponentZero && !tooLarge) {
      const int64_t v = static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
      if (out) {
        *out = v;
      } else if (h && !h->onInteger(v)) {
        return cancel();
      }
      return true;
    }
    if (exponent && exponentZero) buffer.erase(exponentAt);
    const size_t point = buffer.find('.');
    if (point != std::string::npos) buffer[point] = std::localeconv()->decimal_point[0];
    char* stop = nullptr;
    const double d = std::strtod(buffer.c_str(), &stop);
    if (stop != buffer.c_str() + buffer.size()) return fail("Failed to parse floating point.");
    if (out) {
      *out = d;
    } else if (h && !h->onFloat(d)) {
      return cancel();
    }
    return true;
  }

  const char* p_;
  const char* end_;
  uint8_t option_;
};

// Compares both implementations on one input in every mode and option.
void compareOn(const std::string& text) {
  for (uint8_t option = 0; option < 4; ++option) {
    Reference reference(text, option);
    Value expected;
    const bool expectedOk = reference.parse(&expected, nullptr);
    const auto actual = pjtest::parse(text, option);
    ASSERT_EQ(actual.ok, expectedOk) << "input: " << text;
    ASSERT_EQ(actual.message, reference.message) << "input: " << text;
    ASSERT_EQ(pjtest::compact(actual.value), pjtest::compact(expected)) << "input: " << text;

    // Event mode, also with a cancellation at a chosen call.
    for (long cancelAt : {-1L, 0L, 3L, 7L}) {
      pjtest::RecordingHandler expectedCalls(cancelAt);
      Reference eventReference(text, option);
      const bool refOk = eventReference.parse(nullptr, &expectedCalls);
      pjtest::RecordingHandler actualCalls(cancelAt);
      pocketjson::Parser parser;
      const bool ok = parser.parse(actualCalls, text, pocketjson::ParseOption(option));
      ASSERT_EQ(ok, refOk) << "input: " << text;
      ASSERT_EQ(parser.error(), eventReference.message) << "input: " << text;
      ASSERT_EQ(actualCalls.calls, expectedCalls.calls) << "input: " << text;
    }

    // Document mode with a handler (keys and ends only) through the value-level entry.
    pjtest::RecordingHandler expectedCalls(5);
    Reference docReference(text, option);
    Value expectedDoc;
    docReference.parse(&expectedDoc, &expectedCalls);
    pjtest::RecordingHandler actualCalls(5);
    pocketjson::Parser parser;
    Value actualDoc;
    std::string trimmed = text;
    // Same leading mark handling as the top-level parse, then the value-level function.
    size_t skip = 0;
    for (unsigned char b : {0xEF, 0xBB, 0xBF}) {
      if (skip < trimmed.size() && static_cast<unsigned char>(trimmed[skip]) == b) ++skip;
    }
    pocketjson::Parser::TextIterator iterator(trimmed.cbegin() + static_cast<long>(skip),
                                              trimmed.cend());
    parser.parse_value(&actualDoc, &actualCalls, iterator, pocketjson::ParseOption(option));
    ASSERT_EQ(actualCalls.calls, expectedCalls.calls) << "input: " << text;
  }
}

// A random, mostly well-formed JSON text with random damage.
std::string randomText(std::mt19937& random, int depth) {
  static const char* const kAtoms[] = {"0",
                                       "-0",
                                       "12",
                                       "-7.5",
                                       "1e5",
                                       "2E+0",
                                       "1.5e-3",
                                       "9223372036854775807",
                                       "9223372036854775808",
                                       "12345678901234567890",
                                       "01",
                                       "1.",
                                       "-",
                                       "1e",
                                       "true",
                                       "false",
                                       "null",
                                       "tru",
                                       "nul",
                                       "\"\"",
                                       "\"a\"",
                                       "\"\\u00e9\"",
                                       "\"\\uD83D\\uDE00\"",
                                       "\"\\uDE00\"",
                                       "\"\\uD83D\"",
                                       "\"\\x\"",
                                       "\"b\\n\\\"c\"",
                                       "\"open",
                                       "x",
                                       "'",
                                       "1e999",
                                       "0.1"};
  const int kind = static_cast<int>(random() % (depth > 4 ? 3 : 8));
  if (kind < 3) return kAtoms[random() % (sizeof kAtoms / sizeof *kAtoms)];
  const bool isObject = kind >= 6;
  std::string text(1, isObject ? '{' : '[');
  const int count = static_cast<int>(random() % 5);
  for (int i = 0; i < count; ++i) {
    if (i) text += random() % 10 ? "," : (random() % 2 ? ",," : " ");
    if (random() % 4 == 0) text += " \n";
    if (isObject) {
      static const char* const kKeys[] = {"\"a\"", "\"b\"", "\"a\"", "\"\"", "x", "\"k\\u0041\""};
      text += kKeys[random() % 6];
      text += random() % 12 ? ":" : " ";
    }
    text += randomText(random, depth + 1);
  }
  if (random() % 8 == 0) text += ",";
  if (random() % 10) text += isObject ? '}' : ']';
  return text;
}

}  // namespace

TEST(Differential, HandWrittenInputs) {
  const char* inputs[] = {"",
                          "[",
                          "[1,",
                          "{",
                          "{\"a\":1,",
                          "[1,]",
                          "{\"a\":1,\"a\":2}",
                          "{x \"a\":1}",
                          "[1] x",
                          "\xEF\xBB\xBF[1]",
                          "{\"a\":[1,{\"b\":tru}]}",
                          "[[[",
                          "{\"a\":{\"a\":{\"a\":",
                          "{\"a\" 1}",
                          "[1 2]",
                          "{   ",
                          "[\"\\uDE00\",1]",
                          "{\"a\":[1],\"a\":[2,{\"x\":}]}",
                          "null\0x"};
  for (const char* input : inputs) compareOn(input);
  compareOn(std::string("[1]\0[", 5));
}

TEST(Differential, RandomInputs) {
  std::mt19937 random(4242);
  for (int i = 0; i < 20000; ++i) {
    std::string text = randomText(random, 0);
    // Truncate or damage some of them.
    if (!text.empty() && random() % 3 == 0) text.resize(random() % text.size());
    if (!text.empty() && random() % 5 == 0)
      text[random() % text.size()] = "[]{},:\" x"[random() % 9];
    if (random() % 7 == 0) text += random() % 2 ? " " : " x";
    compareOn(text);
    if (HasFatalFailure()) return;
  }
}

TEST(Differential, TestSuiteFilesAndTheirPrefixes) {
  const std::string dir = pjtest::dataDir() + "/JSONTestSuite/test_parsing";
  size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    const std::string text = pjtest::readFile(entry.path().string());
    if (text.size() > 2000) continue;  // the deep files are covered elsewhere
    ++files;
    compareOn(text);
    for (size_t cut = 0; cut < text.size(); cut += 1 + text.size() / 7)
      compareOn(text.substr(0, cut));
    if (HasFatalFailure()) return;
  }
  EXPECT_GT(files, 300u);
}

namespace {

// The documented writer, recursively, with the C library's number formatting.
bool referenceWrite(std::string& out, const Value& v, const pocketjson::Serializer::Attributes& a,
                    const int& depth, std::string* error) {
  char buffer[128] = {};
  switch (v.type()) {
    case pocketjson::kNull:
      out += "null";
      return true;
    case pocketjson::kBool:
      out += v.asBool() ? "true" : "false";
      return true;
    case pocketjson::kInteger: {
      const int n = std::snprintf(buffer, 128, "%lld", static_cast<long long>(v.asInteger()));
      out.append(buffer, static_cast<size_t>(n));
      return true;
    }
    case pocketjson::kFloat: {
      const double d = v.asFloat();
      if (std::isnan(d) || std::isinf(d)) {
        if (error) *error = "Floating point is nan or inf.";
        return false;
      }
      if (d == 0) {
        out += "0.0";
        return true;
      }
      const int n = std::snprintf(buffer, 128, "%.17g", d);
      const char point = std::localeconv()->decimal_point[0];
      for (int i = 0; i < n; ++i) out += buffer[i] == point ? '.' : buffer[i];
      return true;
    }
    case pocketjson::kString: {
      out += '"';
      for (unsigned char b : v.asString()) {
        const char e = pocketjson::Serializer::kEscape[b];
        if (!e) {
          out += static_cast<char>(b);
          continue;
        }
        out += '\\';
        out += e;
        if (e == 'u') {
          out += "00";
          out += "0123456789abcdef"[b >> 4];
          out += "0123456789abcdef"[b & 15];
        }
      }
      out += '"';
      return true;
    }
    case pocketjson::kObject:
    case pocketjson::kArray: {
      const bool isObject = v.type() == pocketjson::kObject;
      out += isObject ? '{' : '[';
      int local = depth;
      if (local >= 0) ++local;
      bool first = true;
      auto member = [&](const std::string* key, const Value& element) {
        if (!first) out += ',';
        first = false;
        if (local >= 0 && a.pretty) {
          out += a.lineBreak;
          for (int i = 0; i < local; ++i) out += a.indentUnit;
        }
        if (key) {
          Value keyValue(*key);
          referenceWrite(out, keyValue, a, local, error);
          out += ':';
          if (a.pretty) out += ' ';
        }
        return referenceWrite(out, element, a, local, error);
      };
      if (isObject) {
        for (const auto& m : v.asObject()) {
          if (!member(&m.first, m.second)) return false;
        }
      } else {
        for (const auto& e : v.asArray()) {
          if (!member(nullptr, e)) return false;
        }
      }
      if (local >= 0) {
        --local;
        if (v.size() > 0 && a.pretty) {
          out += a.lineBreak;
          for (int i = 0; i < local; ++i) out += a.indentUnit;
        }
      }
      out += isObject ? '}' : ']';
      return true;
    }
    default:
      return true;
  }
}

// A random tree of every kind of value, occasionally with a NaN or an infinity.
Value randomValue(std::mt19937& random, int depth) {
  const int kind = static_cast<int>(random() % (depth > 4 ? 6 : 8));
  switch (kind) {
    case 0:
      return Value();
    case 1:
      return Value(random() % 2 == 0);
    case 2:
      return Value(static_cast<int64_t>(random()) * (random() % 2 ? 1 : -1000003));
    case 3: {
      if (random() % 40 == 0) return Value(random() % 2 ? std::nan("") : -HUGE_VAL);
      const double scale[] = {1e-300, 1e-20, 1e-5, 1, 1e5, 1e17, 1e300};
      return Value((static_cast<double>(random()) / 1e6 - 2000.0) * scale[random() % 7]);
    }
    case 4:
    case 5: {
      std::string s;
      const int n = static_cast<int>(random() % 6);
      for (int i = 0; i < n; ++i) s += static_cast<char>(random() % 256);
      return Value(s);
    }
    case 6: {
      Value a = Value::of(pocketjson::kArray);
      const int n = static_cast<int>(random() % 4);
      for (int i = 0; i < n; ++i) a.push_back(randomValue(random, depth + 1));
      return a;
    }
    default: {
      Value o = Value::of(pocketjson::kObject);
      const int n = static_cast<int>(random() % 4);
      for (int i = 0; i < n; ++i) {
        o[std::string(1, static_cast<char>('a' + random() % 5))] = randomValue(random, depth + 1);
      }
      return o;
    }
  }
}

}  // namespace

TEST(Differential, SerializerAgainstRecursiveReference) {
  std::mt19937 random(777);
  const char* const kUnits[] = {"", " ", "  ", "\t"};
  const char* const kBreaks[] = {"", "\n", "\r\n"};
  for (int i = 0; i < 20000; ++i) {
    const Value v = randomValue(random, 0);
    pocketjson::Serializer::Attributes a;
    a.pretty = random() % 2 == 0;
    a.indentUnit = kUnits[random() % 4];
    a.lineBreak = kBreaks[random() % 3];
    const int depth = static_cast<int>(random() % 6) - 2;
    std::string expected, expectedError;
    const bool expectedOk = referenceWrite(expected, v, a, depth, &expectedError);
    std::string actual, actualError;
    auto out = std::back_inserter(actual);
    const bool ok = pocketjson::Serializer().serialize(out, v, a, depth, &actualError);
    ASSERT_EQ(ok, expectedOk);
    ASSERT_EQ(actual, expected);
    ASSERT_EQ(actualError, expectedError);
    // The std::string overload and a byte-by-byte iterator give the same text.
    std::string viaString;
    pocketjson::Serializer().serialize(viaString, v, a, depth, nullptr);
    ASSERT_EQ(viaString, expected);
    std::vector<char> bytes;
    auto byteOut = std::back_inserter(bytes);
    pocketjson::Serializer().serialize(byteOut, v, a, depth, nullptr);
    ASSERT_EQ(std::string(bytes.begin(), bytes.end()), expected);
  }
}
