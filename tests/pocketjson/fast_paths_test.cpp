// The byte-range fast paths: parsing straight over raw bytes gives exactly what parsing over a
// std::string gives (value, success, message, stop position), and the word-at-a-time escape scan
// of the serializer writes the same text as a byte-by-byte reference wherever in an eight-byte
// word the byte to escape sits.
#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "test_support.h"

using pocketjson::ParseOption;
using pocketjson::Parser;
using pocketjson::Serializer;
using pocketjson::Value;

namespace {

struct Outcome {
  bool ok;
  std::string error;
  size_t consumed;
  std::string text;  // the compact text of what was built
};

Outcome parseOverString(const std::string& text, const ParseOption& option) {
  Parser parser;
  Value out;
  Parser::TextIterator iterator(text.begin(), text.end());
  const bool ok = parser.parse_value(&out, nullptr, iterator, option);
  return Outcome{ok, parser.error(), static_cast<size_t>(iterator.current - text.begin()),
                 Serializer::compact(out)};
}

Outcome parseOverBytes(const std::string& text, const ParseOption& option) {
  Parser parser;
  Value out;
  Parser::RawIterator iterator(text.data(), text.data() + text.size());
  const bool ok = parser.parse_value(&out, nullptr, iterator, option);
  return Outcome{ok, parser.error(), static_cast<size_t>(iterator.current - text.data()),
                 Serializer::compact(out)};
}

// The serializer's escaping, one byte at a time.
std::string referenceQuoted(const std::string& s) {
  std::string out = "\"";
  for (const char c : s) {
    const unsigned char b = static_cast<unsigned char>(c);
    const char letter = Serializer::kEscape[b];
    if (letter == 0) {
      out += c;
    } else if (letter == 'u') {
      out += "\\u00";
      out += Serializer::kHexDigits[b >> 4];
      out += Serializer::kHexDigits[b & 15];
    } else {
      out += '\\';
      out += letter;
    }
  }
  return out + "\"";
}

std::string serializerQuoted(const std::string& s) {
  std::string out;
  auto inserter = std::back_inserter(out);
  Serializer::serialize_string(inserter, s);
  return out;
}

}  // namespace

TEST(FastPaths, RawBytesParseLikeStringIterators) {
  const std::vector<std::string> texts = {
      "",
      "   ",
      "null",
      "nul",
      "{\"b\":1,\"a\":[true,false,null,\"x\\u00e9\"]} trailing",
      "[1,2,{\"k\":\"v\"}",
      "[1,",
      "{x \"a\":1}",
      "{\"a\":1,\"a\":2}",
      "\"unterminated",
      "\"\\uDC00\"",
      "-0.5e-3,",
      "12345678901234567890",
      "[1,]",
      "{\"a\":{\"b\":{\"c\":[[[]]]}}}",
      std::string("[1]\0[2]", 7),
  };
  for (const std::string& text : texts) {
    for (const uint8_t flags : {uint8_t{0}, uint8_t{1}, uint8_t{2}, uint8_t{3}}) {
      const Outcome a = parseOverString(text, ParseOption(flags));
      const Outcome b = parseOverBytes(text, ParseOption(flags));
      EXPECT_EQ(a.ok, b.ok) << text;
      EXPECT_EQ(a.error, b.error) << text;
      EXPECT_EQ(a.consumed, b.consumed) << text;
      EXPECT_EQ(a.text, b.text) << text;
    }
  }
}

TEST(FastPaths, RawBytesStopBehindTheValue) {
  const std::string text = "{\"a\":\"b\"}  x";
  Parser parser;
  Value out;
  Parser::RawIterator iterator(text.data(), text.data() + text.size());
  ASSERT_TRUE(parser.parse_value(&out, nullptr, iterator, ParseOption()));
  EXPECT_EQ(iterator.current, text.data() + 9);
  EXPECT_EQ(Serializer::compact(out), "{\"a\":\"b\"}");
}

TEST(FastPaths, EmptyRawRangeFails) {
  Parser parser;
  Value out;
  Parser::RawIterator iterator(nullptr, nullptr);
  EXPECT_FALSE(parser.parse_value(&out, nullptr, iterator, ParseOption()));
  EXPECT_EQ(parser.error(), "Unexpected character exists while parsing.");
  EXPECT_TRUE(out.isNull());
}

TEST(FastPaths, EscapeScanAtEveryPositionOfAWord) {
  // Every byte value at every offset of a 20-byte run of plain or high bytes, so the byte to
  // escape (or not) sits in each lane of the first, second and third word and in the tail.
  for (const char filler : {'a', static_cast<char>(0x80), static_cast<char>(0xFF), ' '}) {
    for (int b = 0; b < 256; ++b) {
      for (size_t position = 0; position < 20; ++position) {
        std::string s(20, filler);
        s[position] = static_cast<char>(b);
        ASSERT_EQ(serializerQuoted(s), referenceQuoted(s)) << "byte " << b << " at " << position;
      }
    }
  }
}

TEST(FastPaths, EscapeScanWithSeveralCandidatesInOneWord) {
  // Borrows between lanes must neither hide a later escape nor invent one.
  const std::vector<std::string> texts = {
      std::string("\x1f\x20\x21\x22\x5b\x5c\x5d\x7e\x7f\x80", 10),
      std::string("ab\x01\x7f\"\\cdefgh\x00ij", 15),
      "\"\"\"\"\"\"\"\"\"",
      "\\\\\\\\\\\\\\\\x",
      std::string(17, '\x7f'),
      std::string("\x20\x21\x23\x5b\x5d\x7e\x80\xa0\xc0\xff", 10),
  };
  for (const std::string& s : texts) EXPECT_EQ(serializerQuoted(s), referenceQuoted(s));
  Value object;
  object[std::string("k\x01y\x7fz", 5)] = std::string("v\"al\\ue\x1f", 8);
  EXPECT_EQ(Serializer::compact(object), "{\"k\\u0001y\\u007fz\":\"v\\\"al\\\\ue\\u001f\"}");
}

TEST(FastPaths, ManyEscapesInARow) {
  // Decoded escapes are gathered in a buffer of 64 bytes: runs of every escape length across
  // that size, with plain bytes between them, decode as written.
  const std::vector<std::pair<std::string, std::string>> escapes = {
      {"\\n", "\n"},
      {"\\u00e9", "\xc3\xa9"},
      {"\\u20ac", "\xe2\x82\xac"},
      {"\\ud83d\\ude00", "\xf0\x9f\x98\x80"},
  };
  for (const auto& escape : escapes) {
    for (size_t count : {1u, 15u, 16u, 17u, 21u, 22u, 64u, 65u, 200u}) {
      std::string text = "\"";
      std::string expected;
      for (size_t i = 0; i < count; ++i) {
        text += escape.first;
        expected += escape.second;
        if (i % 7 == 6) {
          text += "ab";
          expected += "ab";
        }
      }
      text += "\"";
      Value out;
      Parser parser;
      ASSERT_TRUE(parser.tryParse(out, text)) << text;
      EXPECT_EQ(out.asString(), expected) << text;
    }
  }
}

TEST(FastPaths, DecodedBytesBeforeAFailureAreKept) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"\"a\\u00e9\\u00e9\\q", "a\xc3\xa9\xc3\xa9"},
      {"\"\\t\\t\\ud800x", "\t\t"},
      {"\"\\u0041\\u004", "A"},
      {"\"x\\u0041\\udc00", "xA"},
      {"\"\\u0041\\\\", "A\\"},
  };
  for (const auto& c : cases) {
    Parser parser;
    std::string result;
    Parser::TextIterator iterator(c.first.begin(), c.first.end());
    EXPECT_FALSE(parser.parse_string(result, iterator)) << c.first;
    EXPECT_EQ(result, c.second) << c.first;
  }
}
