// Depth: a million nested arrays or objects parse, serialize, copy and are destroyed on a thread
// with a 256 KiB stack (native stack use must not grow with depth), in every parse mode.
#include <gtest/gtest.h>

#include "test_support.h"

using pocketjson::Value;

namespace {

constexpr size_t kSmallStack = 256 * 1024;
constexpr size_t kDepth = 1000000;

std::string nestedArrays(size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

std::string nestedObjects(size_t depth) {
  std::string text;
  text.reserve(depth * 6 + 1);
  for (size_t i = 0; i < depth; ++i) text += "{\"a\":";
  text += "null";
  text.append(depth, '}');
  return text;
}

struct DeepResult {
  bool started = false;
  bool parsed = false;
  std::string message = "not run";
  bool serialized = false;
  size_t length = 0;
  bool sameText = false;
  size_t measuredDepth = 0;
  bool validated = false;
  bool eventsOk = false;
  size_t eventCount = 0;
};

// Counts events without storing them.
class CountingHandler : public pocketjson::AbstractParseHandler {
 public:
  size_t count = 0;
  bool onNull() override { return ++count, true; }
  bool onBool(const bool&) override { return ++count, true; }
  bool onInteger(const int64_t&) override { return ++count, true; }
  bool onFloat(const double&) override { return ++count, true; }
  bool onString(const std::string&) override { return ++count, true; }
  bool onStartArray() override { return ++count, true; }
  bool onEndArray(const size_t&) override { return ++count, true; }
  bool onStartObject() override { return ++count, true; }
  bool onKey(const std::string&) override { return ++count, true; }
  bool onEndObject(const size_t&) override { return ++count, true; }
};

DeepResult runDeep(const std::string& text, bool objects) {
  DeepResult result;
  result.started = pjtest::runOnSmallStack(kSmallStack, [&] {
    {
      Value value;
      pocketjson::Parser parser;
      result.parsed = parser.tryParse(value, text);
      result.message = parser.error();
      // Walk down to measure the depth.
      const Value* v = &value;
      size_t depth = 0;
      while (v->type() == (objects ? pocketjson::kObject : pocketjson::kArray)) {
        ++depth;
        if (objects) {
          v = &v->get("a");
        } else {
          v = v->asArray().empty() ? &Value::s_null() : &v->asArray()[0];
        }
      }
      result.measuredDepth = depth;
      std::string out;
      result.serialized = pocketjson::Serializer().serialize(
          out, value, pocketjson::Serializer::Attributes(), -1, nullptr);
      result.length = out.size();
      result.sameText = out == text;
      // Copies share; the last of them frees the whole tree.
      Value copy = value;
      value = Value();
    }  // `copy` destroyed here: a million levels released on the small stack
    pocketjson::Parser validator;
    result.validated = validator.validate(text);
    CountingHandler handler;
    pocketjson::Parser events;
    result.eventsOk = events.parse(handler, text, pocketjson::ParseOption());
    result.eventCount = handler.count;
  });
  return result;
}

}  // namespace

TEST(DeepNesting, MillionNestedArraysOnSmallStack) {
  const std::string text = nestedArrays(kDepth);
  const DeepResult r = runDeep(text, false);
  ASSERT_TRUE(r.started);
  EXPECT_TRUE(r.parsed) << r.message;
  EXPECT_EQ(r.measuredDepth, kDepth);
  EXPECT_TRUE(r.serialized);
  EXPECT_EQ(r.length, 2 * kDepth);
  EXPECT_TRUE(r.sameText);
  EXPECT_TRUE(r.validated);
  EXPECT_TRUE(r.eventsOk);
  EXPECT_EQ(r.eventCount, 2 * kDepth);
}

TEST(DeepNesting, MillionNestedObjectsOnSmallStack) {
  const std::string text = nestedObjects(kDepth);
  const DeepResult r = runDeep(text, true);
  ASSERT_TRUE(r.started);
  EXPECT_TRUE(r.parsed) << r.message;
  EXPECT_EQ(r.measuredDepth, kDepth);
  EXPECT_TRUE(r.serialized);
  EXPECT_EQ(r.length, text.size());
  EXPECT_TRUE(r.sameText);
  EXPECT_TRUE(r.validated);
  EXPECT_TRUE(r.eventsOk);
  EXPECT_EQ(r.eventCount, 3 * kDepth + 1);  // start, key, end per level, and the null
}

TEST(DeepNesting, PrettyDeepOnSmallStack) {
  const size_t depth = 100000;
  std::string text = nestedArrays(depth);
  bool ok = false;
  size_t length = 0;
  ASSERT_TRUE(pjtest::runOnSmallStack(kSmallStack, [&] {
    Value value = pjtest::parse(text).value;
    pocketjson::Serializer::Attributes attributes;
    attributes.pretty = true;
    attributes.lineBreak = "\n";
    attributes.indentUnit = " ";
    std::string out;
    ok = pocketjson::Serializer().serialize(out, value, attributes, -1, nullptr);
    length = out.size();
  }));
  EXPECT_TRUE(ok);
  EXPECT_EQ(length, 2 * depth);  // depth -1: no line breaks, arrays have no blank
}

TEST(DeepNesting, UnclosedAndMixedDeepInputs) {
  // A million '[' without closing: the innermost array ends with the input, its parent fails.
  const std::string open(kDepth, '[');
  std::string message;
  bool ok = true;
  size_t length = 0;
  ASSERT_TRUE(pjtest::runOnSmallStack(kSmallStack, [&] {
    auto parsed = pjtest::parse(open);
    ok = parsed.ok;
    message = parsed.message;
    length = pjtest::compact(parsed.value).size();
  }));
  EXPECT_FALSE(ok);
  EXPECT_EQ(message, "Unexpected string exists while parsing array.");
  EXPECT_EQ(length, 2 * kDepth);  // partial tree: every level was built

  // Alternating objects and arrays with a failure at the bottom.
  std::string mixed;
  for (size_t i = 0; i < kDepth / 2; ++i) mixed += "{\"k\":[";
  mixed += "tru";
  ASSERT_TRUE(pjtest::runOnSmallStack(kSmallStack, [&] {
    auto parsed = pjtest::parse(mixed);
    ok = parsed.ok;
    message = parsed.message;
    length = pjtest::compact(parsed.value).size();
  }));
  EXPECT_FALSE(ok);
  EXPECT_EQ(message, "Invalid boolean type string exists.");
  // Each level "{\"k\":[" plus "]}" and the failed null at the bottom.
  EXPECT_EQ(length, (kDepth / 2) * 8 + 4);
}

TEST(DeepNesting, BuiltByHandDeepTreeCopiesComparesAndFrees) {
  bool equal = false;
  ASSERT_TRUE(pjtest::runOnSmallStack(kSmallStack, [&] {
    Value root;
    Value* cursor = &root;
    for (size_t i = 0; i < kDepth; ++i) cursor = &(*cursor)["x"];
    *cursor = 1;
    Value other = pjtest::parse(pjtest::compact(root)).value;
    equal = root == other;
  }));
  EXPECT_TRUE(equal);
}

TEST(DeepNesting, TestSuiteDeepFiles) {
  const std::string dir = pjtest::dataDir() + "/JSONTestSuite/test_parsing/";
  struct Expectation {
    const char* name;
    bool ok;
    const char* message;
  } files[] = {
      {"n_structure_100000_opening_arrays.json", false,
       "Unexpected string exists while parsing array."},
      // Ends with a key and ':' then a line feed: the value is missing.
      {"n_structure_open_array_object.json", false, "Unexpected character exists while parsing."},
      {"i_structure_500_nested_arrays.json", true, ""},
  };
  for (const auto& file : files) {
    bool found = false;
    const std::string text = pjtest::readFile(dir + file.name, &found);
    ASSERT_TRUE(found) << file.name;
    bool ok = !file.ok;
    std::string message;
    ASSERT_TRUE(pjtest::runOnSmallStack(kSmallStack, [&] {
      auto parsed = pjtest::parse(text);
      ok = parsed.ok;
      message = parsed.message;
      pjtest::compact(parsed.value);
    }));
    EXPECT_EQ(ok, file.ok) << file.name;
    EXPECT_EQ(message, file.message) << file.name;
  }
}
