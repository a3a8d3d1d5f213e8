// readApplicationText: an application's answer or event payload, parsed straight over its bytes.
// Every case must give exactly what a top-level parse of a copy of the text with option 3 gives,
// partial documents of invalid texts included.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "bridge/resource_request.h"
#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"

namespace {

std::string viaCopy(const std::string& text) {
  pocketjson::Value value;
  pocketjson::Parser parser;
  static_cast<void>(parser.tryParse(value, text, pocketjson::ParseOption(3)));
  return pocketjson::Serializer::compact(value);
}

std::string inPlace(const std::string& text) {
  return pocketjson::Serializer::compact(bridge::readApplicationText(text.c_str()));
}

TEST(ApplicationText, SameValueAsATopLevelParseWithOptionThree) {
  const char* const texts[] = {
      "",
      "{\"ok\":true}",
      "  [1, 2, 3]  ",
      "[1,2,]",
      "{\"a\":1,}",
      "{\"a\":1} and then some",
      "\xEF\xBB\xBF{\"bom\":1}",
      "\xBB\xBF[2]",
      "\xEF\xBF[3]",
      "\xBF\"x\"",
      "\xEF\xBB",
      "[1, {\"b\": tru",
      "{\"k\":\"unterminated",
      "{\"a\":[1,2",
      "12.5e1",
      "\"\\u00e9\"",
      "nul",
  };
  for (const char* text : texts) {
    EXPECT_EQ(inPlace(text), viaCopy(text)) << text;
  }
}

TEST(ApplicationText, ExactValuesOfTheLenientCases) {
  EXPECT_EQ(inPlace("\xEF\xBB\xBF{\"b\":1,\"a\":2,}"), "{\"a\":2,\"b\":1}");
  EXPECT_EQ(inPlace("\xBF[1] trailing"), "[1]");
  EXPECT_EQ(inPlace("[1,{\"x\":"), "[1,{\"x\":null}]");
  EXPECT_EQ(inPlace(""), "null");
}

TEST(ApplicationText, TheTextEndsAtItsNul) {
  const std::string text("[1]\0[2]", 7);
  EXPECT_EQ(pocketjson::Serializer::compact(bridge::readApplicationText(text.data())), "[1]");
}

TEST(ApplicationText, NullTextIsRefusedAsAStringOfItWouldBe) {
  EXPECT_THROW(bridge::readApplicationText(nullptr), std::logic_error);
}

}  // namespace
