// Serializer: compact and pretty layout, numbers, failure on NaN/infinity, output kinds.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <list>

#include "test_support.h"

using pocketjson::Serializer;
using pocketjson::Value;

namespace {

// The object of the layout examples: arr=[], list=[1, 2.5, true, null], name=x/y.
Value exampleObject() {
  Value o;
  o["name"] = "x/y";
  o["list"].push_back(1);
  o["list"].push_back(2.5);
  o["list"].push_back(true);
  o["list"].push_back(Value());
  o["arr"].setType(pocketjson::kArray);
  return o;
}

Serializer::Attributes prettyAttributes() {
  Serializer::Attributes a;
  a.pretty = true;
  a.indentUnit = "  ";
  a.lineBreak = "\n";
  return a;
}

std::string write(const Value& v, const Serializer::Attributes& a, int depth, bool* ok = nullptr,
                  std::string* error = nullptr) {
  std::string text;
  auto out = std::back_inserter(text);
  const bool result = Serializer().serialize(out, v, a, depth, error);
  if (ok) *ok = result;
  return text;
}

}  // namespace

TEST(Serializer, CompactExamples) {
  EXPECT_EQ(pjtest::compact(Value()), "null");
  EXPECT_EQ(pjtest::compact(Value::of(pocketjson::kObject)), "{}");
  EXPECT_EQ(pjtest::compact(Value(-5)), "-5");
  EXPECT_EQ(pjtest::compact(Value(-0.0)), "0.0");
  EXPECT_EQ(pjtest::compact(Value(1e300)), "1.0000000000000001e+300");
  EXPECT_EQ(pjtest::compact(Value(std::string("a\tb\"c\x01"))), "\"a\\tb\\\"c\\u0001\"");
  EXPECT_EQ(pjtest::compact(exampleObject()),
            "{\"arr\":[],\"list\":[1,2.5,true,null],\"name\":\"x/y\"}");
}

TEST(Serializer, PrettyAtDepthZero) {
  EXPECT_EQ(write(exampleObject(), prettyAttributes(), 0),
            "{\n"
            "  \"arr\": [],\n"
            "  \"list\": [\n"
            "    1,\n"
            "    2.5,\n"
            "    true,\n"
            "    null\n"
            "  ],\n"
            "  \"name\": \"x/y\"\n"
            "}");
  EXPECT_EQ(Serializer::pretty(exampleObject()), write(exampleObject(), prettyAttributes(), 0));
}

TEST(Serializer, PrettyAtDepthMinusOneIsTheMixedForm) {
  EXPECT_EQ(write(exampleObject(), prettyAttributes(), -1),
            "{\"arr\": [],\"list\": [1,2.5,true,null],\"name\": \"x/y\"}");
}

TEST(Serializer, PrettyAtDeeperStartingDepth) {
  Value a;
  a.push_back(1);
  EXPECT_EQ(write(a, prettyAttributes(), 2), "[\n      1\n    ]");
  Value o;
  o["k"] = a;
  EXPECT_EQ(write(o, prettyAttributes(), 1), "{\n    \"k\": [\n      1\n    ]\n  }");
}

TEST(Serializer, PrettyWithCustomUnits) {
  Serializer::Attributes a;
  a.pretty = true;
  a.indentUnit = "\t";
  a.lineBreak = "\r\n";
  Value v;
  v["a"]["b"] = 1;
  EXPECT_EQ(write(v, a, 0), "{\r\n\t\"a\": {\r\n\t\t\"b\": 1\r\n\t}\r\n}");
}

TEST(Serializer, EmptyContainersStayEmptyWhenPretty) {
  EXPECT_EQ(write(Value::of(pocketjson::kArray), prettyAttributes(), 0), "[]");
  EXPECT_EQ(write(Value::of(pocketjson::kObject), prettyAttributes(), 0), "{}");
  Value v;
  v["e"].setType(pocketjson::kObject);
  EXPECT_EQ(write(v, prettyAttributes(), 0), "{\n  \"e\": {}\n}");
}

TEST(Serializer, NotPrettyIgnoresUnitsAndDepth) {
  Serializer::Attributes a;
  a.indentUnit = "XX";
  a.lineBreak = "YY";
  EXPECT_EQ(write(exampleObject(), a, 3),
            "{\"arr\":[],\"list\":[1,2.5,true,null],\"name\":\"x/y\"}");
}

TEST(Serializer, IndentWritesLineBreakThenUnits) {
  std::string text;
  auto out = std::back_inserter(text);
  Serializer::indent(out, prettyAttributes(), 3);
  EXPECT_EQ(text, "\n      ");
  text.clear();
  Serializer::indent(out, prettyAttributes(), 0);
  Serializer::indent(out, prettyAttributes(), -2);
  EXPECT_EQ(text, "\n\n");
}

TEST(Serializer, NanInsideArrayTruncatesAndFails) {
  Value a;
  a.push_back(1);
  a.push_back(2);
  a.push_back(std::nan(""));
  bool ok = true;
  std::string error;
  EXPECT_EQ(write(a, Serializer::Attributes(), -1, &ok, &error), "[1,2,");
  EXPECT_FALSE(ok);
  EXPECT_EQ(error, "Floating point is nan or inf.");
}

TEST(Serializer, InfinityInsideObjectStopsBeforeClosingBrace) {
  Value o;
  o["a"] = 1;
  o["b"]["c"] = -std::numeric_limits<double>::infinity();
  o["d"] = 2;
  bool ok = true;
  std::string error = "untouched";
  EXPECT_EQ(write(o, prettyAttributes(), 0, &ok, &error),
            "{\n  \"a\": 1,\n  \"b\": {\n    \"c\": ");
  EXPECT_FALSE(ok);
  EXPECT_EQ(error, "Floating point is nan or inf.");
  // Without an error string the failure is still reported by the result.
  EXPECT_EQ(write(Value(std::numeric_limits<double>::infinity()), Serializer::Attributes(), -1, &ok,
                  nullptr),
            "");
  EXPECT_FALSE(ok);
}

TEST(Serializer, SuccessLeavesErrorStringAlone) {
  std::string error = "untouched";
  bool ok = false;
  write(exampleObject(), Serializer::Attributes(), -1, &ok, &error);
  EXPECT_TRUE(ok);
  EXPECT_EQ(error, "untouched");
}

TEST(Serializer, Numbers) {
  EXPECT_EQ(pjtest::compact(Value(100.0)), "100");
  EXPECT_EQ(pjtest::compact(Value(1e17)), "1e+17");
  EXPECT_EQ(pjtest::compact(Value(0.1)), "0.10000000000000001");
  EXPECT_EQ(pjtest::compact(Value(-2.5)), "-2.5");
  EXPECT_EQ(pjtest::compact(Value(5e-324)), "4.9406564584124654e-324");
  EXPECT_EQ(pjtest::compact(Value(1.7976931348623157e308)), "1.7976931348623157e+308");
  EXPECT_EQ(pjtest::compact(Value(0.0)), "0.0");
  EXPECT_EQ(pjtest::compact(Value(std::numeric_limits<int64_t>::min())), "-9223372036854775808");
  EXPECT_EQ(pjtest::compact(Value(true)), "true");
  EXPECT_EQ(pjtest::compact(Value(false)), "false");
}

TEST(Serializer, KeyWithQuoteIsEscaped) {
  Value o;
  o["a\"b"] = 1;
  EXPECT_EQ(pjtest::compact(o), "{\"a\\\"b\":1}");
}

TEST(Serializer, TwoByteUtf8IsWrittenRaw) {
  EXPECT_EQ(pjtest::compact(Value("\xC3\xA9")), "\"\xC3\xA9\"");
}

TEST(Serializer, StringOverloadAndIteratorOverloadAgree) {
  const Value v = pjtest::parse(pjtest::readFile(pjtest::dataDir() + "/corpus/twitter.json")).value;
  std::string viaString;
  ASSERT_TRUE(Serializer().serialize(viaString, v, Serializer::Attributes(), -1, nullptr));
  // A generic output iterator (one byte at a time into a list).
  std::list<char> bytes;
  auto out = std::back_inserter(bytes);
  ASSERT_TRUE(Serializer().serialize(out, v, Serializer::Attributes(), -1, nullptr));
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), viaString);
  EXPECT_EQ(pjtest::compact(v), viaString);
  EXPECT_EQ(Serializer::compact(v), viaString);
}

TEST(Serializer, StringOverloadAppends) {
  std::string text = "prefix:";
  Serializer().serialize(text, Value(1), Serializer::Attributes(), -1, nullptr);
  EXPECT_EQ(text, "prefix:1");
  std::string more = "p:";
  auto out = std::back_inserter(more);
  Serializer().serialize(out, Value(2), Serializer::Attributes(), -1, nullptr);
  EXPECT_EQ(more, "p:2");
}

TEST(Serializer, AppendCompactAppendsTheCompactText) {
  std::string text = "prefix:";
  EXPECT_TRUE(Serializer::appendCompact(text, exampleObject()));
  EXPECT_EQ(text, "prefix:{\"arr\":[],\"list\":[1,2.5,true,null],\"name\":\"x/y\"}");
  EXPECT_EQ(Serializer::compact(exampleObject()), text.substr(7));
}

TEST(Serializer, AppendCompactStopsAtNonFiniteAndReportsIt) {
  Value a;
  a.push_back(1);
  a.push_back(std::numeric_limits<double>::quiet_NaN());
  a.push_back(2);
  std::string text = "p:";
  EXPECT_FALSE(Serializer::appendCompact(text, a));
  EXPECT_EQ(text, "p:[1,");
  // compact() keeps the same partial text and drops the verdict.
  EXPECT_EQ(Serializer::compact(a), "[1,");
}

TEST(Serializer, PointerIteratorOutput) {
  char buffer[64] = {};
  char* out = buffer;
  Value v;
  v.push_back("x");
  ASSERT_TRUE(Serializer().serialize(out, v, Serializer::Attributes(), -1, nullptr));
  EXPECT_EQ(std::string(buffer), "[\"x\"]");
  EXPECT_EQ(out - buffer, 5);
}

TEST(Serializer, DoubleFormatter) {
  using pocketjson::Double;
  bool ok = false;
  EXPECT_EQ(Double(0.0).toString(&ok), "0.0");
  EXPECT_TRUE(ok);
  EXPECT_EQ(Double(-0.0).toString(&ok), "0.0");
  EXPECT_TRUE(ok);
  EXPECT_EQ(Double(2.5).toString(&ok), "2.5");
  EXPECT_TRUE(ok);
  EXPECT_EQ(Double(0.1).toString(&ok), "0.10000000000000001");
  EXPECT_TRUE(ok);
  EXPECT_EQ(Double(std::nan("")).toString(&ok), "nan");
  EXPECT_FALSE(ok);
  EXPECT_EQ(Double(std::numeric_limits<double>::infinity()).toString(&ok), "inf");
  EXPECT_FALSE(ok);
  EXPECT_EQ(Double(-std::numeric_limits<double>::infinity()).toString(&ok), "-inf");
  EXPECT_FALSE(ok);
  std::string text;
  EXPECT_TRUE(Double(1e17).toString(std::back_inserter(text)));
  EXPECT_EQ(text, "1e+17");
}
