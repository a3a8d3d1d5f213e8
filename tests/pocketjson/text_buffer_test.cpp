// TextBuffer keeps a short text in its inline array and moves to the heap when the text
// outgrows it; the serializer's TextBuffer overloads write exactly the text of the std::string
// ones, numbers and escapes included, on both sides of that change.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>

#include "pocketjson/serializer.h"
#include "pocketjson/text_buffer.h"
#include "test_support.h"

namespace {

using pocketjson::Serializer;
using pocketjson::TextBuffer;
using pocketjson::Value;

TEST(TextBuffer, StartsEmptyAndTerminated) {
  TextBuffer text;
  EXPECT_EQ(text.size(), 0U);
  EXPECT_STREQ(text.c_str(), "");
  EXPECT_FALSE(text.onHeap());
  EXPECT_EQ(text.spare(), TextBuffer::kInlineSize - 1);
}

TEST(TextBuffer, StaysInlineUpToItsLastByteThenMovesAndKeepsTheText) {
  TextBuffer text;
  std::string expected;
  for (size_t i = 0; i + 1 < TextBuffer::kInlineSize; ++i) {
    const char c = static_cast<char>('a' + i % 26);
    text.push_back(c);
    expected += c;
  }
  EXPECT_FALSE(text.onHeap());
  EXPECT_EQ(text.spare(), 0U);
  EXPECT_EQ(text.str(), expected);
  text.push_back('!');
  expected += '!';
  EXPECT_TRUE(text.onHeap());
  EXPECT_EQ(text.str(), expected);
  EXPECT_EQ(std::string(text.c_str()), expected);
  // Growth keeps doubling and keeps every byte.
  const std::string block(5000, 'x');
  text.append(block.data(), block.size());
  expected += block;
  EXPECT_EQ(text.str(), expected);
  EXPECT_EQ(text.c_str()[text.size()], '\0');
}

TEST(TextBuffer, AppendOfARunThatDoesNotFitMovesOnce) {
  TextBuffer text;
  text.appendLiteral("ab");
  const std::string run(TextBuffer::kInlineSize, 'r');
  text.append(run.data(), run.size());
  EXPECT_TRUE(text.onHeap());
  EXPECT_EQ(text.str(), "ab" + run);
  text.append("", 0);
  EXPECT_EQ(text.size(), run.size() + 2);
}

TEST(TextBuffer, RoomAndCommit) {
  TextBuffer text;
  text.appendLiteral("n=");
  char* room = text.room(3);
  room[0] = '4';
  room[1] = '2';
  text.commit(2);
  EXPECT_STREQ(text.c_str(), "n=42");
  room = text.room(2 * TextBuffer::kInlineSize);
  EXPECT_TRUE(text.onHeap());
  room[0] = '7';
  text.commit(1);
  EXPECT_STREQ(text.c_str(), "n=427");
}

// The compact text of `value` appended after `prefix`, both ways.
void expectSameText(const std::string& prefix, const Value& value) {
  std::string expected = prefix;
  const bool expectedOk = Serializer::appendCompact(expected, value);
  TextBuffer text;
  text.append(prefix.data(), prefix.size());
  EXPECT_EQ(Serializer::appendCompact(text, value), expectedOk);
  EXPECT_EQ(text.str(), expected) << "prefix of " << prefix.size() << " bytes";
}

TEST(TextBuffer, CompactTextMatchesTheStringOverloadAroundTheInlineSize) {
  Value value = Value::of(pocketjson::kObject);
  value["n"] = std::numeric_limits<int64_t>::min();
  value["d"] = -1.2345678901234567e-300;
  value["s"] = std::string("tab\t\"quote\" \x01 \x7f end");
  value["a"] = Value::of(pocketjson::kArray);
  value["a"].push_back(Value(true));
  value["a"].push_back(Value(0.0));
  // Every prefix length from well inside to beyond the inline array, so that each number is
  // formatted both into the buffer's room and aside, and the move happens at every point.
  for (size_t length = 0; length < TextBuffer::kInlineSize + 64; ++length) {
    expectSameText(std::string(length, 'p'), value);
  }
}

TEST(TextBuffer, NonFiniteNumberStopsTheTextAsInAString) {
  Value value = Value::of(pocketjson::kArray);
  value.push_back(Value(1));
  value.push_back(Value(std::nan("")));
  value.push_back(Value(2));
  TextBuffer text;
  EXPECT_FALSE(Serializer::appendCompact(text, value));
  EXPECT_STREQ(text.c_str(), "[1,");
  expectSameText("x", value);
}

TEST(TextBuffer, QuotedStringMatchesTheIteratorForm) {
  const std::string s = std::string("a\0b\"\\\n/\xc3\xa9", 9) + std::string(300, 'z');
  std::string expected;
  auto out = std::back_inserter(expected);
  Serializer::serialize_string(out, s);
  TextBuffer text;
  Serializer::appendString(text, s);
  EXPECT_EQ(text.str(), expected);
  EXPECT_EQ(text.str().substr(0, 12), "\"a\\u0000b\\\"\\");
}

}  // namespace
