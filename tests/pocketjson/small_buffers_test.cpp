// The small inline buffers of the parser and the serializer: the explicit stacks keep their first
// levels inside the object and move to the heap beyond them, and the string writer formats a
// number aside when the string has less room left than a number's worst case. Each is checked
// where it changes over.
#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "pocketjson/internal/small_stack.h"
#include "test_support.h"

namespace {

struct Entry {
  int value;
  const void* pointer;
};

TEST(SmallStack, KeepsEveryEntryAcrossTheMoveToTheHeap) {
  pocketjson::detail::SmallStack<Entry, 4> stack;
  EXPECT_TRUE(stack.empty());
  for (int i = 0; i < 1000; ++i) {
    stack.push_back(Entry{i, &stack});
    ASSERT_EQ(stack.size(), static_cast<size_t>(i + 1));
    ASSERT_EQ(stack.back().value, i);
  }
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(stack[static_cast<size_t>(i)].value, i);
  stack.back().value = -1;
  EXPECT_EQ(stack[999].value, -1);
  for (int i = 999; i >= 0; --i) {
    stack.pop_back();
    ASSERT_EQ(stack.size(), static_cast<size_t>(i));
  }
  EXPECT_TRUE(stack.empty());
}

// Nesting around the inline depth of the parser and the serializer (16 levels), with a duplicate
// key at every level, so that the scratch value of each level is used too.
TEST(SmallStack, NestingAroundTheInlineDepthRoundTrips) {
  for (int depth = 1; depth <= 40; ++depth) {
    std::string text;
    std::string expected;
    for (int i = 0; i < depth; ++i) {
      text += "{\"d\":0,\"d\":[1,{\"x\":2,\"x\":3}],\"k\":";
      expected += "{\"d\":0,\"k\":";
    }
    text += "[]";
    expected += "[]";
    for (int i = 0; i < depth; ++i) {
      text += "}";
      expected += "}";
    }
    const pjtest::Parsed parsed = pjtest::parse(text);
    ASSERT_TRUE(parsed.ok) << depth << ": " << parsed.message;
    EXPECT_EQ(pocketjson::Serializer::compact(parsed.value), expected) << depth;
    EXPECT_EQ(pjtest::compact(parsed.value), expected) << depth;
  }
}

// The string path against the iterator path for a number after text of every length up to past
// the point where the string leaves its inline buffer and past the number buffer's size.
TEST(StringWriter, NumbersAtEveryOffsetMatchTheIteratorPath) {
  for (size_t length = 0; length < 300; ++length) {
    for (const pocketjson::Value& number :
         {pocketjson::Value(-9223372036854775807LL - 1), pocketjson::Value(7),
          pocketjson::Value(-1.2345678901234567e-300), pocketjson::Value(0.5)}) {
      pocketjson::Value array;
      array.push_back(std::string(length, 'a'));
      array.push_back(number);
      const std::string viaString = pocketjson::Serializer::compact(array);
      EXPECT_EQ(viaString, pjtest::compact(array)) << length;
      EXPECT_EQ(viaString.substr(0, length + 4), "[\"" + std::string(length, 'a') + "\",");
    }
  }
}

TEST(StringWriter, AppendsBehindTextAlreadyInTheString) {
  for (size_t length = 0; length < 40; ++length) {
    std::string out(length, '#');
    const pocketjson::Value value = pjtest::parse("{\"n\":123456,\"s\":\"x\"}").value;
    ASSERT_TRUE(pocketjson::Serializer().serialize(out, value, {}, -1, nullptr));
    EXPECT_EQ(out, std::string(length, '#') + "{\"n\":123456,\"s\":\"x\"}");
  }
}

}  // namespace
