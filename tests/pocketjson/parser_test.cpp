// Parser in document mode: the documented examples, leniencies, options and partial results.
#include <gtest/gtest.h>

#include "test_support.h"

using pocketjson::Parser;
using pocketjson::Value;

namespace {

// Expects success and the compact text of the result.
void expectParses(const std::string& text, uint8_t option, const std::string& compact) {
  const auto parsed = pjtest::parse(text, option);
  EXPECT_TRUE(parsed.ok) << "input: " << text << " message: " << parsed.message;
  EXPECT_EQ(parsed.message, "") << "input: " << text;
  EXPECT_EQ(pjtest::compact(parsed.value), compact) << "input: " << text;
}

void expectFails(const std::string& text, uint8_t option, const std::string& message) {
  const auto parsed = pjtest::parse(text, option);
  EXPECT_FALSE(parsed.ok) << "input: " << text;
  EXPECT_EQ(parsed.message, message) << "input: " << text;
}

}  // namespace

TEST(Parser, DocumentedExamples) {
  expectFails("", 0, "Unexpected character exists while parsing.");
  expectFails("   ", 0, "Unexpected character exists while parsing.");
  expectParses("[", 0, "[]");
  expectParses("[1,", 0, "[1]");
  expectParses("{", 0, "{}");
  expectParses("{\"a\":1,", 0, "{\"a\":1}");
  expectFails("[1,]", 0, "Unexpected comma exists while parsing array.");
  expectParses("[1,]", 1, "[1]");
  expectParses("{\"a\":1,\"a\":2}", 0, "{\"a\":1}");
  expectParses("{x \"a\":1}", 0, "{\"a\":1}");
  expectFails("01", 0, "Unexpected '0' character is found while parsing number.");
  expectFails("[1] x", 0, "Gabage string exists after json string.");
  expectParses("[1] x", 2, "[1]");
  expectParses("\xEF\xBB\xBF[1]", 0, "[1]");
}

TEST(Parser, DocumentedNumberExamples) {
  auto v = pjtest::parse("-0").value;
  EXPECT_EQ(v.type(), pocketjson::kInteger);
  EXPECT_EQ(v.asInteger(), 0);
  v = pjtest::parse("9223372036854775807").value;
  EXPECT_EQ(v.type(), pocketjson::kInteger);
  EXPECT_EQ(v.asInteger(), INT64_MAX);
  v = pjtest::parse("9223372036854775808").value;
  EXPECT_EQ(v.type(), pocketjson::kFloat);
  EXPECT_EQ(v.toString(""), "9.2233720368547758e+18");
  v = pjtest::parse("-9223372036854775808").value;
  EXPECT_EQ(v.type(), pocketjson::kFloat);
  EXPECT_EQ(v.toString(""), "-9.2233720368547758e+18");
  v = pjtest::parse("1.5e0").value;
  EXPECT_EQ(v.type(), pocketjson::kFloat);
  EXPECT_EQ(v.asFloat(), 1.5);
  v = pjtest::parse("2E+0").value;
  EXPECT_EQ(v.type(), pocketjson::kInteger);
  EXPECT_EQ(v.asInteger(), 2);
}

TEST(Parser, DocumentedStringExamples) {
  auto parsed = pjtest::parse("\"\\uD83D\\uDE00\"");
  ASSERT_TRUE(parsed.ok);
  EXPECT_EQ(parsed.value.asString(), "\xF0\x9F\x98\x80");
  parsed = pjtest::parse("\"\\uDE00\"");
  EXPECT_FALSE(parsed.ok);
  EXPECT_EQ(parsed.message, "");
  // parse() reports only the (empty) message.
  Parser parser;
  Value out;
  EXPECT_EQ(parser.parse(out, "\"\\uDE00\""), "");
}

TEST(Parser, ScalarsAndWhitespace) {
  expectParses(" \t\r\n true \t\r\n", 0, "true");
  expectParses("false", 0, "false");
  expectParses("null", 0, "null");
  expectParses("\"s\"", 0, "\"s\"");
  expectParses("[ 1 , 2 ]", 0, "[1,2]");
  expectParses("{ \"a\" : { } , \"b\" : [ ] }", 0, "{\"a\":{},\"b\":[]}");
  // Form feed and vertical tab are not whitespace.
  expectFails("\f1", 0, "Unexpected character exists while parsing.");
  expectFails("1\f", 0, "Gabage string exists after json string.");
  expectFails("[1\v]", 0, "Unexpected string exists while parsing array.");
}

TEST(Parser, LiteralsMatchOnlyTheirLetters) {
  expectFails("nullx", 0, "Gabage string exists after json string.");
  expectParses("nullx", 2, "null");
  expectParses("[true]", 0, "[true]");
  expectFails("[truex]", 0, "Unexpected string exists while parsing array.");
}

TEST(Parser, TrailingNulCountsAsEnd) {
  expectParses(std::string("[1]\0garbage", 11), 0, "[1]");
  expectParses(std::string("[1] \0", 5), 0, "[1]");
  expectFails(std::string("\0", 1), 0, "Unexpected character exists while parsing.");
}

TEST(Parser, ByteOrderMarkPartsAreSkippedIndependently) {
  expectParses("\xEF[1]", 0, "[1]");
  expectParses("\xEF\xBB[1]", 0, "[1]");
  expectParses("\xBB\xBF[1]", 0, "[1]");
  expectParses("\xBF[1]", 0, "[1]");
  expectFails("\xBF\xBB[1]", 0, "Unexpected character exists while parsing.");
  expectFails("\xEF\xBB\xBF\xEF[1]", 0, "Unexpected character exists while parsing.");
  expectFails("\xEF\xBB\xBF", 0, "Unexpected character exists while parsing.");
}

TEST(Parser, ContainersEndingWithTheInput) {
  expectParses("[1, 2,", 0, "[1,2]");
  expectParses("{\"a\":[1],", 0, "{\"a\":[1]}");
  expectParses("{   ", 0, "{}");  // whitespace to the end where a key is expected
  expectParses("{\"a\":1,   ", 0, "{\"a\":1}");
  expectParses("{x", 0, "{}");
  expectFails("[[", 0, "Unexpected string exists while parsing array.");
  expectFails("[{", 0, "Unexpected string exists while parsing array.");
  expectFails("{\"a\":[", 0, "Unexpected string exists while parsing object.");
  expectFails("[1", 0, "Unexpected string exists while parsing array.");
  expectFails("[1 ", 0, "Unexpected string exists while parsing array.");
  expectFails("[ ", 0, "Unexpected character exists while parsing.");
  expectFails("{\"a\":1", 0, "Unexpected string exists while parsing object.");
}

TEST(Parser, StrayBytesWhereKeyExpected) {
  expectParses("{x}", 0, "{}");
  expectParses("{,}", 0, "{}");
  expectParses("{null:null,null:null}", 0, "{}");
  expectParses("{1:1}", 0, "{}");
  expectParses("{\"a\":\"b\",,\"c\":\"d\"}", 0, "{\"a\":\"b\",\"c\":\"d\"}");
  expectParses("{'a':1}", 0, "{}");
  expectParses("{]", 0, "{}");
  expectParses("{\"a\":1, x \"b\":2}", 0, "{\"a\":1,\"b\":2}");
  // A '}' after a comma and stray bytes is a trailing comma.
  expectFails("{\"a\":1,x}", 0, "Unexpected comma exists while parsing object.");
  expectParses("{\"a\":1,x}", 1, "{\"a\":1}");
}

TEST(Parser, TrailingCommaOption) {
  expectFails("{\"a\":1,}", 0, "Unexpected comma exists while parsing object.");
  expectParses("{\"a\":1,}", 1, "{\"a\":1}");
  expectParses("[[1,],{\"k\":[],},]", 1, "[[1],{\"k\":[]}]");
  expectFails("[,]", 1, "Unexpected character exists while parsing.");
  expectParses("[]", 1, "[]");
  expectParses("[1,]x", 3, "[1]");
}

TEST(Parser, DuplicateKeysFirstWins) {
  expectParses("{\"a\":{\"x\":1},\"a\":[1,2,{\"y\":3}],\"b\":2}", 0, "{\"a\":{\"x\":1},\"b\":2}");
  expectParses("{\"a\":1,\"b\":2,\"a\":3,\"b\":[4]}", 0, "{\"a\":1,\"b\":2}");
  // The value of a duplicate key is still parsed, and its errors count.
  expectFails("{\"a\":1,\"a\":[1,}", 0, "Unexpected character exists while parsing.");
}

TEST(Parser, KeysAreSortedWhateverTheInputOrder) {
  expectParses("{\"c\":3,\"a\":1,\"b\":2}", 0, "{\"a\":1,\"b\":2,\"c\":3}");
  expectParses("{\"b\":1,\"a\":2,\"\":0}", 0, "{\"\":0,\"a\":2,\"b\":1}");
}

TEST(Parser, PartialResultsOnFailure) {
  // A failed array element is still appended (as far as it was built).
  auto parsed = pjtest::parse("[1,[2,tru]]");
  EXPECT_FALSE(parsed.ok);
  EXPECT_EQ(parsed.message, "Invalid boolean type string exists.");
  EXPECT_EQ(pjtest::compact(parsed.value), "[1,[2,null]]");
  // A failed object member is inserted before the failure propagates.
  parsed = pjtest::parse("{\"a\":1,\"b\":{\"c\":[1,2,x]}}");
  EXPECT_FALSE(parsed.ok);
  EXPECT_EQ(parsed.message, "Unexpected character exists while parsing.");
  EXPECT_EQ(pjtest::compact(parsed.value), "{\"a\":1,\"b\":{\"c\":[1,2,null]}}");
  parsed = pjtest::parse("{\"a\":\"unterminated");
  EXPECT_FALSE(parsed.ok);
  EXPECT_EQ(pjtest::compact(parsed.value), "{\"a\":null}");
  // A failed key adds nothing.
  parsed = pjtest::parse("{\"a\":1,\"b");
  EXPECT_FALSE(parsed.ok);
  EXPECT_EQ(pjtest::compact(parsed.value), "{\"a\":1}");
  // Missing ':' after a key adds nothing.
  parsed = pjtest::parse("{\"a\" 1}");
  EXPECT_FALSE(parsed.ok);
  EXPECT_EQ(parsed.message, "Unexpected string exists while parsing object.");
  EXPECT_EQ(pjtest::compact(parsed.value), "{}");
  // Trailing garbage keeps the complete value.
  parsed = pjtest::parse("{\"a\":[1]} }");
  EXPECT_FALSE(parsed.ok);
  EXPECT_EQ(pjtest::compact(parsed.value), "{\"a\":[1]}");
}

TEST(Parser, PartialResultsOfNestedArrays) {
  struct Case {
    const char* text;
    const char* message;
    const char* compact;
  } cases[] = {
      {"[1,[2,[3,tru", "Invalid boolean type string exists.", "[1,[2,[3,null]]]"},
      {"[[1,2],[3,", "Unexpected string exists while parsing array.", "[[1,2],[3]]"},
      {"[[1,2],[3,]]", "Unexpected comma exists while parsing array.", "[[1,2],[3]]"},
      {"[{\"a\":[1,{\"b\":[2,3 4]}]},5]", "Unexpected string exists while parsing array.",
       "[{\"a\":[1,{\"b\":[2,3]}]}]"},
      {"{\"x\":[[],[1],[2,[\"s\",\"t", "Expected string ending character '\"' is not found.",
       "{\"x\":[[],[1],[2,[\"s\",null]]]}"},
      {"[1,2,3]]", "Gabage string exists after json string.", "[1,2,3]"},
  };
  for (const Case& c : cases) {
    const auto parsed = pjtest::parse(c.text);
    EXPECT_FALSE(parsed.ok) << c.text;
    EXPECT_EQ(parsed.message, c.message) << c.text;
    EXPECT_EQ(pjtest::compact(parsed.value), c.compact) << c.text;
  }
  // Into an existing array: the elements parsed before the failure are appended.
  Value existing;
  existing.push_back("kept");
  Parser parser;
  EXPECT_EQ(parser.parse(existing, "[1,[2,x"), "Unexpected character exists while parsing.");
  EXPECT_EQ(pjtest::compact(existing), "[\"kept\",1,[2,null]]");
}

TEST(Parser, PartialResultWhenHandlerCancelsInDocumentMode) {
  // onEndArray of the inner array cancels: the document holds what was built up to there.
  const std::string text = "[[1,2],[3]]";
  pjtest::RecordingHandler handler(0);
  Parser parser;
  Value out;
  Parser::TextIterator iterator(text.begin(), text.end());
  EXPECT_FALSE(parser.parse_value(&out, &handler, iterator, pocketjson::ParseOption()));
  EXPECT_EQ(parser.error(), "SAX handler cancels parsing.");
  EXPECT_EQ(pjtest::compact(out), "[[1,2]]");
}

TEST(Parser, ParsesIntoExistingValue) {
  // An existing array keeps its elements; parsed ones are appended.
  Value v;
  v.push_back(0);
  Parser parser;
  EXPECT_EQ(parser.parse(v, "[1,2]"), "");
  EXPECT_EQ(pjtest::compact(v), "[0,1,2]");
  // An existing object keeps its members; existing keys win.
  Value o;
  o["a"] = 5;
  EXPECT_EQ(parser.parse(o, "{\"a\":1,\"b\":2}"), "");
  EXPECT_EQ(pjtest::compact(o), "{\"a\":5,\"b\":2}");
  // A shared existing array is detached before appending.
  Value shared;
  shared.push_back(0);
  Value copy = shared;
  EXPECT_EQ(parser.parse(shared, "[9]"), "");
  EXPECT_EQ(pjtest::compact(shared), "[0,9]");
  EXPECT_EQ(pjtest::compact(copy), "[0]");
  // A shared existing object likewise.
  Value sharedObject;
  sharedObject["a"] = 1;
  Value objectCopy = sharedObject;
  EXPECT_EQ(parser.parse(sharedObject, "{\"b\":2}"), "");
  EXPECT_EQ(pjtest::compact(sharedObject), "{\"a\":1,\"b\":2}");
  EXPECT_EQ(pjtest::compact(objectCopy), "{\"a\":1}");
  // An existing unshared string is overwritten; other types are replaced.
  Value s = "old";
  EXPECT_EQ(parser.parse(s, "\"new\""), "");
  EXPECT_EQ(s.asString(), "new");
  Value a;
  a.push_back(1);
  EXPECT_EQ(parser.parse(a, "{\"k\":1}"), "");
  EXPECT_EQ(pjtest::compact(a), "{\"k\":1}");
  EXPECT_EQ(parser.parse(a, "null"), "");
  EXPECT_EQ(a.type(), pocketjson::kNull);
  // A failed scalar leaves the existing value alone.
  Value keep = 7;
  EXPECT_NE(parser.parse(keep, "tru"), "");
  EXPECT_EQ(keep.asInteger(), 7);
}

TEST(Parser, MessageIsClearedByNextParse) {
  Parser parser;
  Value v;
  EXPECT_NE(parser.parse(v, "["), "x");
  EXPECT_EQ(parser.parse(v, "]"), "Unexpected character exists while parsing.");
  EXPECT_EQ(parser.error(), "Unexpected character exists while parsing.");
  Value w;
  EXPECT_EQ(parser.parse(w, "1"), "");
  EXPECT_EQ(parser.error(), "");
}

TEST(Parser, ValueLevelFunctionsAdvanceTheIterator) {
  Parser parser;
  const std::string text = "  [1, {\"a\":2}] tail";
  Parser::TextIterator iterator(text.begin(), text.end());
  Value v;
  ASSERT_TRUE(parser.parse_value(&v, nullptr, iterator, pocketjson::ParseOption()));
  EXPECT_EQ(std::string(iterator.current, iterator.end), " tail");
  EXPECT_EQ(pjtest::compact(v), "[1,{\"a\":2}]");

  const std::string arrayText = "[true] rest";
  Parser::TextIterator arrayIterator(arrayText.begin(), arrayText.end());
  Value a;
  ASSERT_TRUE(parser.parse_array(&a, nullptr, arrayIterator, pocketjson::ParseOption()));
  EXPECT_EQ(std::string(arrayIterator.current, arrayIterator.end), " rest");
  EXPECT_EQ(pjtest::compact(a), "[true]");

  const std::string objectText = "{\"k\":null}!";
  Parser::TextIterator objectIterator(objectText.begin(), objectText.end());
  Value o;
  ASSERT_TRUE(parser.parse_object(&o, nullptr, objectIterator, pocketjson::ParseOption()));
  EXPECT_EQ(std::string(objectIterator.current, objectIterator.end), "!");
  EXPECT_EQ(pjtest::compact(o), "{\"k\":null}");

  const std::string stringText = "\"a\\nb\"x";
  Parser::TextIterator stringIterator(stringText.begin(), stringText.end());
  std::string s = "prefix:";
  ASSERT_TRUE(parser.parse_string(s, stringIterator));
  EXPECT_EQ(s, "prefix:a\nb");
  EXPECT_EQ(std::string(stringIterator.current, stringIterator.end), "x");

  const std::string numberText = "-12.5e1,";
  Parser::TextIterator numberIterator(numberText.begin(), numberText.end());
  Value n;
  ASSERT_TRUE(parser.parse_number(&n, nullptr, numberIterator));
  EXPECT_EQ(n.asFloat(), -125.0);
  EXPECT_EQ(std::string(numberIterator.current, numberIterator.end), ",");

  const std::string hexText = "00e9z";
  Parser::TextIterator hexIterator(hexText.begin(), hexText.end());
  unsigned short unit = 0;
  ASSERT_TRUE(parser.parse_hex(unit, hexIterator));
  EXPECT_EQ(unit, 0xE9);
  EXPECT_EQ(std::string(hexIterator.current, hexIterator.end), "z");

  const std::string shortHex = "0a";
  Parser::TextIterator shortIterator(shortHex.begin(), shortHex.end());
  EXPECT_FALSE(parser.parse_hex(unit, shortIterator));
  EXPECT_EQ(parser.error(), "Invalid unicode hex string is found while parsing string.");

  const std::string empty;
  Parser::TextIterator emptyIterator(empty.begin(), empty.end());
  Value e;
  EXPECT_FALSE(parser.parse_value(&e, nullptr, emptyIterator, pocketjson::ParseOption()));
  EXPECT_EQ(parser.error(), "Unexpected character exists while parsing.");
}

TEST(Parser, ValidationModeAgreesWithDocumentMode) {
  const char* texts[] = {"[1,2]",
                         "{\"a\":",
                         "[1,]",
                         "{x}",
                         "01",
                         "\"\\uDE00\"",
                         "[1] x",
                         "{\"a\":1,\"a\":[}",
                         "1e999",
                         "\"\\u12\"",
                         "[\"a\",{\"b\":[true]}]"};
  for (const char* text : texts) {
    for (uint8_t option = 0; option < 4; ++option) {
      const auto document = pjtest::parse(text, option);
      Parser parser;
      const bool ok = parser.validate(text, pocketjson::ParseOption(option));
      EXPECT_EQ(ok, document.ok) << text;
      EXPECT_EQ(parser.error(), document.message) << text;
    }
  }
}

TEST(ParseOption, NamedFlagsAreTheOptionBits) {
  EXPECT_EQ(pocketjson::ParseOption::kStrict, 0);
  EXPECT_EQ(pocketjson::ParseOption::kAllowTrailingComma, 1);
  EXPECT_EQ(pocketjson::ParseOption::kIgnoreTrailingText, 2);
  EXPECT_EQ(pocketjson::ParseOption::kLenient, 3);
  EXPECT_EQ(pocketjson::ParseOption().flags, pocketjson::ParseOption::kStrict);
}

TEST(ParseOption, LenientAllowsTrailingCommaAndTrailingText) {
  const std::string text = "[1,] x";
  Value lenient;
  Parser parser;
  EXPECT_TRUE(parser.tryParse(lenient, text, pocketjson::ParseOption::kLenient));
  EXPECT_EQ(pjtest::compact(lenient), "[1]");
  Value commaOnly;
  EXPECT_EQ(parser.parse(commaOnly, text, pocketjson::ParseOption::kAllowTrailingComma),
            "Gabage string exists after json string.");
  Value textOnly;
  EXPECT_EQ(parser.parse(textOnly, text, pocketjson::ParseOption::kIgnoreTrailingText),
            "Unexpected comma exists while parsing array.");
  Value strict;
  EXPECT_EQ(parser.parse(strict, "[1] x", pocketjson::ParseOption::kStrict),
            "Gabage string exists after json string.");
}
