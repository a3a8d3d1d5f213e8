// Strings: escapes, \u decoding to UTF-8 at every length boundary, surrogate pairs, raw bytes.
#include <gtest/gtest.h>

#include <cstdio>

#include "test_support.h"

namespace {

std::string decoded(const std::string& jsonText) {
  const auto parsed = pjtest::parse(jsonText);
  EXPECT_TRUE(parsed.ok) << jsonText << ": " << parsed.message;
  return parsed.value.asString();
}

// Reference UTF-8 encoder for the test.
std::string utf8(uint32_t cp) {
  std::string out;
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
  return out;
}

}  // namespace

TEST(Unicode, ShortEscapes) {
  EXPECT_EQ(decoded("\"\\\"\\\\\\/\\b\\f\\n\\r\\t\""), "\"\\/\b\f\n\r\t");
}

TEST(Unicode, LengthBoundaries) {
  EXPECT_EQ(decoded("\"\\u0000\""), std::string(1, '\0'));
  EXPECT_EQ(decoded("\"\\u007F\""), "\x7F");
  EXPECT_EQ(decoded("\"\\u0080\""), "\xC2\x80");
  EXPECT_EQ(decoded("\"\\u07ff\""), "\xDF\xBF");
  EXPECT_EQ(decoded("\"\\u0800\""), "\xE0\xA0\x80");
  EXPECT_EQ(decoded("\"\\uFFFF\""), "\xEF\xBF\xBF");
  EXPECT_EQ(decoded("\"\\uD800\\uDC00\""), "\xF0\x90\x80\x80");
  EXPECT_EQ(decoded("\"\\uDBFF\\uDFFF\""), "\xF4\x8F\xBF\xBF");
  EXPECT_EQ(decoded("\"\\uD83D\\uDE00\""), "\xF0\x9F\x98\x80");
  EXPECT_EQ(decoded("\"\\uAbCd\""), utf8(0xABCD));
}

TEST(Unicode, EveryBmpUnitOutsideSurrogates) {
  for (uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
    if (unit >= 0xD800 && unit <= 0xDFFF) continue;
    char text[16];
    std::snprintf(text, sizeof text, "\"\\u%04X\"", unit);
    const auto parsed = pjtest::parse(text);
    ASSERT_TRUE(parsed.ok) << text;
    ASSERT_EQ(parsed.value.asString(), utf8(unit)) << text;
  }
}

TEST(Unicode, EverySurrogatePairSample) {
  for (uint32_t high = 0xD800; high <= 0xDBFF; high += 0x11) {
    for (uint32_t low = 0xDC00; low <= 0xDFFF; low += 0x13) {
      char text[32];
      std::snprintf(text, sizeof text, "\"\\u%04x\\u%04x\"", high, low);
      const uint32_t cp = ((high - 0xD800) << 10) + (low & 0x3FF) + 0x10000;
      const auto parsed = pjtest::parse(text);
      ASSERT_TRUE(parsed.ok) << text;
      ASSERT_EQ(parsed.value.asString(), utf8(cp)) << text;
    }
  }
}

TEST(Unicode, LoneLowSurrogateFailsSilently) {
  for (uint32_t unit : {0xDC00u, 0xDE00u, 0xDFFFu}) {
    char text[16];
    std::snprintf(text, sizeof text, "\"\\u%04X\"", unit);
    const auto parsed = pjtest::parse(text);
    EXPECT_FALSE(parsed.ok);
    EXPECT_EQ(parsed.message, "");
  }
  // Also as the second unit of an inverted pair.
  const auto inverted = pjtest::parse("\"\\uDd1e\\uD834\"");
  EXPECT_FALSE(inverted.ok);
  EXPECT_EQ(inverted.message, "");
}

TEST(Unicode, RawBytesAreTakenAsTheyAre) {
  std::string raw;
  for (int b = 1; b < 256; ++b) {
    if (b != '"' && b != '\\') raw += static_cast<char>(b);
  }
  raw += std::string(1, '\0');
  EXPECT_EQ(decoded("\"" + raw + "\""), raw);
  // Invalid UTF-8 and overlong sequences are not checked.
  EXPECT_EQ(decoded("\"\xC0\xAF\xFF\xFE\""), "\xC0\xAF\xFF\xFE");
  // Keys too.
  const auto parsed = pjtest::parse("{\"\xE6\x97\xA5\\u672c\":1}");
  ASSERT_TRUE(parsed.ok);
  EXPECT_TRUE(parsed.value.has("\xE6\x97\xA5\xE6\x9C\xAC"));
}

TEST(Unicode, EscapedAndRawCorpusFilesAgree) {
  const auto raw = pjtest::parse(pjtest::readFile(pjtest::dataDir() + "/corpus/twitter.json"));
  const auto escaped =
      pjtest::parse(pjtest::readFile(pjtest::dataDir() + "/corpus/twitterescaped.json"));
  ASSERT_TRUE(raw.ok);
  ASSERT_TRUE(escaped.ok);
  EXPECT_TRUE(raw.value == escaped.value);
  EXPECT_EQ(pjtest::compact(raw.value), pjtest::compact(escaped.value));
}

TEST(Unicode, SerializedStringsParseBack) {
  std::string all;
  for (uint32_t cp : {0x24u, 0xA2u, 0x20ACu, 0x10348u, 0x1F600u, 0x10FFFFu}) all += utf8(cp);
  const std::string text = pjtest::compact(pocketjson::Value(all));
  EXPECT_EQ(text, "\"" + all + "\"");
  EXPECT_EQ(decoded(text), all);
}
