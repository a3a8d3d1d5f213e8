// String escaping: the escape table, every byte value, and strings as keys and values.
#include <gtest/gtest.h>

#include <cstdio>

#include "test_support.h"

using pocketjson::Serializer;

TEST(Escape, TableFirstThirtyTwoEntries) {
  EXPECT_EQ(std::string(Serializer::kEscape, 32), "uuuuuuuubtnufruuuuuuuuuuuuuuuuuu");
  EXPECT_EQ(std::string(Serializer::kHexDigits), "0123456789abcdef");
}

TEST(Escape, TableRemainingEntries) {
  for (int b = 32; b < 256; ++b) {
    char expected = 0;
    if (b == '"') expected = '"';
    if (b == '\\') expected = '\\';
    if (b == 127) expected = 'u';
    EXPECT_EQ(Serializer::kEscape[b], expected) << "byte " << b;
  }
}

TEST(Escape, EveryByteAlone) {
  for (int b = 0; b < 256; ++b) {
    std::string expected = "\"";
    if (b < 32 || b == 127) {
      switch (b) {
        case 8:
          expected += "\\b";
          break;
        case 9:
          expected += "\\t";
          break;
        case 10:
          expected += "\\n";
          break;
        case 12:
          expected += "\\f";
          break;
        case 13:
          expected += "\\r";
          break;
        default: {
          char hex[8];
          std::snprintf(hex, sizeof hex, "\\u%04x", b);
          expected += hex;
        }
      }
    } else if (b == '"') {
      expected += "\\\"";
    } else if (b == '\\') {
      expected += "\\\\";
    } else {
      expected += static_cast<char>(b);
    }
    expected += "\"";
    const std::string s(1, static_cast<char>(b));
    EXPECT_EQ(pjtest::compact(pocketjson::Value(s)), expected) << "byte " << b;
    std::string direct;
    auto out = std::back_inserter(direct);
    Serializer::serialize_string(out, s);
    EXPECT_EQ(direct, expected) << "byte " << b;
  }
}

TEST(Escape, SpecificBytes) {
  EXPECT_EQ(pjtest::compact(pocketjson::Value(std::string("\x7f"))), "\"\\u007f\"");
  EXPECT_EQ(pjtest::compact(pocketjson::Value(std::string("\x0b"))), "\"\\u000b\"");
  EXPECT_EQ(pjtest::compact(pocketjson::Value(std::string("\x08"))), "\"\\b\"");
  EXPECT_EQ(pjtest::compact(pocketjson::Value(std::string("a\0b", 3))), "\"a\\u0000b\"");
  EXPECT_EQ(pjtest::compact(pocketjson::Value(std::string("\x1f"))), "\"\\u001f\"");
  EXPECT_EQ(pjtest::compact(pocketjson::Value(std::string("a/b"))), "\"a/b\"");
}

TEST(Escape, AllBytesInOneStringRoundTrip) {
  std::string all;
  for (int b = 0; b < 256; ++b) all += static_cast<char>(b);
  const std::string text = pjtest::compact(pocketjson::Value(all));
  const auto parsed = pjtest::parse(text);
  ASSERT_TRUE(parsed.ok) << parsed.message;
  EXPECT_EQ(parsed.value.asString(), all);
  // As a key too.
  pocketjson::Value o;
  o[all] = all;
  const auto again = pjtest::parse(pjtest::compact(o));
  ASSERT_TRUE(again.ok);
  EXPECT_EQ(again.value.get(all).asString(), all);
}

TEST(Escape, GenericIteratorMatchesStringPath) {
  std::string all;
  for (int round = 0; round < 3; ++round) {
    for (int b = 0; b < 256; ++b) all += static_cast<char>(b);
  }
  std::vector<char> bytes;
  auto out = std::back_inserter(bytes);
  Serializer::serialize_string(out, all);
  std::string viaString;
  auto sout = std::back_inserter(viaString);
  Serializer::serialize_string(sout, all);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), viaString);
}
