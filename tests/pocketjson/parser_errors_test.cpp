// Every failure message of the parser, byte for byte, each raised by an input, in document,
// event and validation modes.
#include <gtest/gtest.h>

#include "test_support.h"

namespace {

struct ErrorCase {
  const char* text;
  size_t length;  // 0: use strlen
  uint8_t option;
  const char* message;
};

const ErrorCase kCases[] = {
    {"", 0, 0, "Unexpected character exists while parsing."},
    {"   ", 0, 0, "Unexpected character exists while parsing."},
    {"@", 0, 0, "Unexpected character exists while parsing."},
    {"[1,@]", 0, 0, "Unexpected character exists while parsing."},
    {"{\"a\":}", 0, 0, "Unexpected character exists while parsing."},
    {"]", 0, 0, "Unexpected character exists while parsing."},
    {"+1", 0, 0, "Unexpected character exists while parsing."},
    {"tru", 0, 0, "Invalid boolean type string exists."},
    {"trUe", 0, 0, "Invalid boolean type string exists."},
    {"fals", 0, 0, "Invalid boolean type string exists."},
    {"[falsy]", 0, 0, "Invalid boolean type string exists."},
    {"nul", 0, 0, "Invalid null type string exists."},
    {"nil", 0, 0, "Invalid null type string exists."},
    {"[1 2]", 0, 0, "Unexpected string exists while parsing array."},
    {"[1", 0, 0, "Unexpected string exists while parsing array."},
    {"[1}", 0, 0, "Unexpected string exists while parsing array."},
    {"[1,]", 0, 0, "Unexpected comma exists while parsing array."},
    {"[1, ]", 0, 0, "Unexpected comma exists while parsing array."},
    {"{\"a\" 1}", 0, 0, "Unexpected string exists while parsing object."},
    {"{\"a\"", 0, 0, "Unexpected string exists while parsing object."},
    {"{\"a\":1 \"b\":2}", 0, 0, "Unexpected string exists while parsing object."},
    {"{\"a\":1]", 0, 0, "Unexpected string exists while parsing object."},
    {"{\"a\":1", 0, 0, "Unexpected string exists while parsing object."},
    {"{\"a\":1,}", 0, 0, "Unexpected comma exists while parsing object."},
    {"\"abc", 0, 0, "Expected string ending character '\"' is not found."},
    {"{\"ab", 0, 0, "Expected string ending character '\"' is not found."},
    {"\"\\", 0, 0, "Unexpected escape character is found while parsing string."},
    {"\"\\x\"", 0, 0, "Unexpected escape character is found while parsing string."},
    {"\"\\U0041\"", 0, 0, "Unexpected escape character is found while parsing string."},
    {"\"\\'\"", 0, 0, "Unexpected escape character is found while parsing string."},
    {"\"\\u12\"", 0, 0, "Invalid unicode hex string is found while parsing string."},
    {"\"\\u12", 0, 0, "Invalid unicode hex string is found while parsing string."},
    {"\"\\uGGGG\"", 0, 0, "Invalid unicode hex string is found while parsing string."},
    {"\"\\uD83D\\u12\"", 0, 0, "Invalid unicode hex string is found while parsing string."},
    {"\"\\uD83D\"", 0, 0, "Invalid unicode surrogate pair is found while parsing string."},
    {"\"\\uD83D", 0, 0, "Invalid unicode surrogate pair is found while parsing string."},
    {"\"\\uD83Dx\"", 0, 0, "Invalid unicode surrogate pair is found while parsing string."},
    {"\"\\uD83D\\n\"", 0, 0, "Invalid unicode surrogate pair is found while parsing string."},
    {"\"\\uD83D\\", 0, 0, "Invalid unicode surrogate pair is found while parsing string."},
    {"\"\\uD83D\\u0041\"", 0, 0, "Invalid unicode surrogate pair is found while parsing string."},
    {"\"\\uD83D\\uD83D\"", 0, 0, "Invalid unicode surrogate pair is found while parsing string."},
    {"\"\\uDE00\"", 0, 0, ""},
    {"\"\\uDFFF\"", 0, 0, ""},
    {"\"\\uDC00", 0, 0, ""},
    {"[\"\\uDC00\",1]", 0, 0, ""},
    {"{\"\\uDC00\":1}", 0, 0, ""},
    {"01", 0, 0, "Unexpected '0' character is found while parsing number."},
    {"-00", 0, 0, "Unexpected '0' character is found while parsing number."},
    {"[00]", 0, 0, "Unexpected '0' character is found while parsing number."},
    {"-", 0, 0, "Digit is not found while parsing number."},
    {"-a", 0, 0, "Digit is not found while parsing number."},
    {"[-]", 0, 0, "Digit is not found while parsing number."},
    {"1.", 0, 0, "Digit is not found after the decimal point while parsing number."},
    {"1.e5", 0, 0, "Digit is not found after the decimal point while parsing number."},
    {"-0.x", 0, 0, "Digit is not found after the decimal point while parsing number."},
    {"1e", 0, 0, "Digit is not found after exponent keyword while parsing number."},
    {"1E+", 0, 0, "Digit is not found after exponent keyword while parsing number."},
    {"1e-x", 0, 0, "Digit is not found after exponent keyword while parsing number."},
    {"1.5e+-1", 0, 0, "Digit is not found after exponent keyword while parsing number."},
    {"[1] x", 0, 0, "Gabage string exists after json string."},
    {"1 2", 0, 0, "Gabage string exists after json string."},
    {"{}}", 0, 0, "Gabage string exists after json string."},
    {"\"a\"\"b\"", 0, 0, "Gabage string exists after json string."},
    {"1.5.", 0, 0, "Gabage string exists after json string."},
    {"-1.0e", 0, 2, "Digit is not found after exponent keyword while parsing number."},
};

}  // namespace

TEST(ParserErrors, EveryMessageInDocumentMode) {
  for (const ErrorCase& c : kCases) {
    const std::string text(c.text, c.length ? c.length : std::strlen(c.text));
    const auto parsed = pjtest::parse(text, c.option);
    EXPECT_FALSE(parsed.ok) << "input: " << text;
    EXPECT_EQ(parsed.message, c.message) << "input: " << text;
    pocketjson::Parser parser;
    pocketjson::Value out;
    EXPECT_EQ(parser.parse(out, text, pocketjson::ParseOption(c.option)), c.message);
  }
}

TEST(ParserErrors, EveryMessageInEventAndValidationModes) {
  for (const ErrorCase& c : kCases) {
    const std::string text(c.text, c.length ? c.length : std::strlen(c.text));
    pjtest::RecordingHandler handler;
    pocketjson::Parser events;
    EXPECT_FALSE(events.parse(handler, text, pocketjson::ParseOption(c.option))) << text;
    EXPECT_EQ(events.error(), c.message) << "input: " << text;
    pocketjson::Parser validator;
    EXPECT_FALSE(validator.validate(text, pocketjson::ParseOption(c.option))) << text;
    EXPECT_EQ(validator.error(), c.message) << "input: " << text;
  }
}

// "Failed to parse floating point." needs a locale whose decimal point strtod cannot take from
// one byte; it is raised in locale_test.cpp (multi-byte decimal point).

TEST(ParserErrors, HandlerCancellation) {
  // Every handler operation can cancel; each returns false at its first call.
  const std::string text = "[null,true,1,2.5,\"s\",{\"k\":[]}]";
  pjtest::RecordingHandler all;
  pocketjson::Parser parser;
  ASSERT_TRUE(parser.parse(all, text, pocketjson::ParseOption()));
  ASSERT_EQ(all.calls.size(), 12u);
  for (size_t cancelAt = 0; cancelAt < all.calls.size(); ++cancelAt) {
    pjtest::RecordingHandler handler(static_cast<long>(cancelAt));
    pocketjson::Parser cancelled;
    EXPECT_FALSE(cancelled.parse(handler, text, pocketjson::ParseOption()));
    EXPECT_EQ(cancelled.error(), "SAX handler cancels parsing.");
    // Parsing stops at the cancelling call.
    EXPECT_EQ(handler.calls.size(), cancelAt + 1);
    EXPECT_EQ(handler.calls.back(), all.calls[cancelAt]);
  }
}

TEST(ParserErrors, HandlerCancellationInDocumentMode) {
  // In document mode only onKey, onEndArray and onEndObject reach the handler.
  const std::string text = "{\"a\":[1]}";
  for (long cancelAt = 0; cancelAt < 3; ++cancelAt) {
    pjtest::RecordingHandler handler(cancelAt);
    pocketjson::Parser parser;
    pocketjson::Value out;
    pocketjson::Parser::TextIterator iterator(text.begin(), text.end());
    EXPECT_FALSE(parser.parse_value(&out, &handler, iterator, pocketjson::ParseOption()));
    EXPECT_EQ(parser.error(), "SAX handler cancels parsing.");
    EXPECT_EQ(handler.calls.size(), static_cast<size_t>(cancelAt + 1));
  }
}
