// Event mode: the handler call sequences, the calls that also reach a handler in document mode,
// and validation-only mode.
#include <gtest/gtest.h>

#include "test_support.h"

namespace {

std::vector<std::string> events(const std::string& text, uint8_t option = 0, bool* ok = nullptr) {
  pjtest::RecordingHandler handler;
  pocketjson::Parser parser;
  const bool result = parser.parse(handler, text, pocketjson::ParseOption(option));
  if (ok) *ok = result;
  return handler.calls;
}

using Calls = std::vector<std::string>;

}  // namespace

TEST(Events, Scalars) {
  EXPECT_EQ(events("null"), Calls{"null"});
  EXPECT_EQ(events("true"), Calls{"bool true"});
  EXPECT_EQ(events("false"), Calls{"bool false"});
  EXPECT_EQ(events("-12"), Calls{"integer -12"});
  EXPECT_EQ(events("12e0"), Calls{"integer 12"});
  EXPECT_EQ(events("1e5"), Calls{"float 100000"});
  EXPECT_EQ(events("0.5"), Calls{"float 0.5"});
  EXPECT_EQ(events("\"a\\u0041\""), Calls{"string aA"});
}

TEST(Events, NestedSequence) {
  EXPECT_EQ(events("{\"b\":[1,{\"c\":null}],\"a\":\"x\"}"),
            (Calls{"start object", "key b", "start array", "integer 1", "start object", "key c",
                   "null", "end object 1", "end array 2", "key a", "string x", "end object 2"}));
  EXPECT_EQ(events("[]"), (Calls{"start array", "end array 0"}));
  EXPECT_EQ(events("{}"), (Calls{"start object", "end object 0"}));
  EXPECT_EQ(events("[[],{}]"), (Calls{"start array", "start array", "end array 0", "start object",
                                      "end object 0", "end array 2"}));
}

TEST(Events, DuplicateKeysAreReportedBoth) {
  EXPECT_EQ(events("{\"a\":1,\"a\":2}"),
            (Calls{"start object", "key a", "integer 1", "key a", "integer 2", "end object 2"}));
}

TEST(Events, TrailingCommaCountsCompletedElements) {
  EXPECT_EQ(events("[1,2,]", 1), (Calls{"start array", "integer 1", "integer 2", "end array 2"}));
  EXPECT_EQ(events("{\"a\":1,}", 1), (Calls{"start object", "key a", "integer 1", "end object 1"}));
}

TEST(Events, ContainerEndingWithInputHasNoEndCall) {
  bool ok = false;
  EXPECT_EQ(events("[1,", 0, &ok), (Calls{"start array", "integer 1"}));
  EXPECT_TRUE(ok);
  EXPECT_EQ(events("{\"a\":1,", 0, &ok), (Calls{"start object", "key a", "integer 1"}));
  EXPECT_TRUE(ok);
  EXPECT_EQ(events("{x", 0, &ok), (Calls{"start object"}));
  EXPECT_TRUE(ok);
}

TEST(Events, FailureStopsTheSequence) {
  bool ok = true;
  EXPECT_EQ(events("[1,{\"a\":tru}]", 0, &ok),
            (Calls{"start array", "integer 1", "start object", "key a"}));
  EXPECT_FALSE(ok);
  // The key is reported before the missing ':' is noticed.
  EXPECT_EQ(events("{\"a\" 1}", 0, &ok), (Calls{"start object", "key a"}));
  EXPECT_FALSE(ok);
  // Trailing text fails after the complete sequence.
  EXPECT_EQ(events("[1] x", 0, &ok), (Calls{"start array", "integer 1", "end array 1"}));
  EXPECT_FALSE(ok);
}

TEST(Events, DocumentModeReportsOnlyKeysAndEnds) {
  const std::string text = "{\"b\":[1,{\"c\":null}],\"a\":\"x\"}";
  pjtest::RecordingHandler handler;
  pocketjson::Parser parser;
  pocketjson::Value out;
  pocketjson::Parser::TextIterator iterator(text.begin(), text.end());
  ASSERT_TRUE(parser.parse_value(&out, &handler, iterator, pocketjson::ParseOption()));
  EXPECT_EQ(handler.calls,
            (Calls{"key b", "key c", "end object 1", "end array 2", "key a", "end object 2"}));
  EXPECT_EQ(pjtest::compact(out), "{\"a\":\"x\",\"b\":[1,{\"c\":null}]}");
}

TEST(Events, DocumentModeDuplicateKeyValueStillReportsItsEnds) {
  const std::string text = "{\"a\":[1],\"a\":{\"z\":[]}}";
  pjtest::RecordingHandler handler;
  pocketjson::Parser parser;
  pocketjson::Value out;
  pocketjson::Parser::TextIterator iterator(text.begin(), text.end());
  ASSERT_TRUE(parser.parse_value(&out, &handler, iterator, pocketjson::ParseOption()));
  EXPECT_EQ(handler.calls, (Calls{"key a", "end array 1", "key a", "key z", "end array 0",
                                  "end object 1", "end object 2"}));
  EXPECT_EQ(pjtest::compact(out), "{\"a\":[1]}");
}

TEST(Events, ValidationModeMakesNoCallsAndBuildsNothing) {
  pocketjson::Parser parser;
  EXPECT_TRUE(parser.validate("{\"a\":[1,2.5,\"x\",null,true]}"));
  EXPECT_EQ(parser.error(), "");
  EXPECT_TRUE(parser.validate("[1,]", pocketjson::ParseOption::kAllowTrailingComma));
  EXPECT_FALSE(parser.validate("[1,]"));
  EXPECT_EQ(parser.error(), "Unexpected comma exists while parsing array.");
  // The value-level function with neither out nor handler validates too.
  const std::string text = "[1,{\"a\":2}] ";
  pocketjson::Parser::TextIterator iterator(text.begin(), text.end());
  EXPECT_TRUE(parser.parse_value(nullptr, nullptr, iterator, pocketjson::ParseOption()));
  EXPECT_EQ(std::string(iterator.current, iterator.end), " ");
}

TEST(Events, EventModeOnCorpusMatchesDocument) {
  // Counting events over a real document: one scalar or start event per value.
  const std::string text = pjtest::readFile(pjtest::dataDir() + "/corpus/github_events.json");
  pjtest::RecordingHandler handler;
  pocketjson::Parser parser;
  ASSERT_TRUE(parser.parse(handler, text, pocketjson::ParseOption()));
  size_t keys = 0, starts = 0, ends = 0;
  for (const auto& call : handler.calls) {
    if (call.rfind("key ", 0) == 0) ++keys;
    if (call.rfind("start ", 0) == 0) ++starts;
    if (call.rfind("end ", 0) == 0) ++ends;
  }
  EXPECT_EQ(keys, 1139u);  // as counted for that file (no duplicate keys)
  EXPECT_EQ(starts, 180u + 19u);
  EXPECT_EQ(ends, starts);
}
