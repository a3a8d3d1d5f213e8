// The interactive mode's word syntax and Tab completion, without a terminal.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "completion.h"
#include "shorthand.h"

namespace zarvo_host {
namespace {

const Location kWhere{"<stdin>", 4};
const std::vector<std::string> kApps = {"printer", "viewer"};

InteractiveLine parse(const std::string& line) {
  return parseInteractiveLine(line, kWhere);
}

TEST(SplitWords, JsonValuesWithBlanksAreOneWord) {
  std::vector<std::string> words;
  std::string problem;
  ASSERT_TRUE(splitWords(R"(  a {"b": [1, "] }"]}  "c d" [ ] e)", &words, &problem));
  EXPECT_EQ(words, (std::vector<std::string>{"a", R"({"b": [1, "] }"]})", R"("c d")", "[ ]", "e"}));
}

TEST(SplitWords, EscapedQuoteStaysInsideTheString) {
  std::vector<std::string> words;
  std::string problem;
  ASSERT_TRUE(splitWords(R"("a\" b" c)", &words, &problem));
  EXPECT_EQ(words, (std::vector<std::string>{R"("a\" b")", "c"}));
}

TEST(SplitWords, UnclosedBracketOrStringIsReportedWithItsColumn) {
  std::vector<std::string> words;
  std::string problem;
  EXPECT_FALSE(splitWords(R"(x {"a":1)", &words, &problem));
  EXPECT_EQ(problem, "unclosed bracket in the word starting at column 3");
  EXPECT_FALSE(splitWords(R"(x "abc)", &words, &problem));
  EXPECT_EQ(problem, "unclosed string in the word starting at column 3");
}

TEST(InteractiveLine, CallWordsSendTheTextsAsTyped) {
  const InteractiveLine line =
      parse(R"(ZarvoApplicationBridge post {"name": "viewer"} {"uri":"/x"})");
  ASSERT_EQ(line.command, Command::kStep) << line.problem;
  EXPECT_EQ(line.step.kind, StepKind::kCall);
  EXPECT_EQ(line.step.call.resource, "ZarvoApplicationBridge");
  EXPECT_EQ(line.step.call.options, R"({"method":"post"})");
  EXPECT_EQ(line.step.call.parameters, R"({"name": "viewer"})");
  EXPECT_EQ(line.step.call.body, R"({"uri":"/x"})");
  EXPECT_EQ(line.step.call.extra, "{}");
  EXPECT_EQ(line.step.where.text(), "<stdin>:4");
}

TEST(InteractiveLine, RaiseWordsMakeARaiseStep) {
  const InteractiveLine line = parse(R"(raise viewer progress {"percent": 5} 3)");
  ASSERT_EQ(line.command, Command::kStep) << line.problem;
  EXPECT_EQ(line.step.kind, StepKind::kRaise);
  EXPECT_EQ(line.step.raise.app, "viewer");
  EXPECT_EQ(line.step.raise.type, "progress");
  EXPECT_EQ(line.step.raise.payload, R"({"percent": 5})");
  EXPECT_EQ(line.step.raise.count, 3);
  const InteractiveLine bare = parse("raise viewer progress");
  ASSERT_EQ(bare.command, Command::kStep);
  EXPECT_EQ(bare.step.raise.payload, "null");
  EXPECT_EQ(bare.step.raise.count, 1);
}

TEST(InteractiveLine, RaiseCountIsCheckedLikeTheJsonStep) {
  EXPECT_EQ(parse("raise viewer progress null 0").problem,
            "\"count\" must be between 1 and 10000, not 0");
  EXPECT_EQ(parse("raise viewer progress null many").problem,
            "\"count\" must be a whole number, not string");
}

TEST(InteractiveLine, SessionKeywords) {
  InteractiveLine line = parse("lostConnection printer");
  ASSERT_EQ(line.command, Command::kStep);
  EXPECT_EQ(line.step.kind, StepKind::kLostConnection);
  EXPECT_EQ(line.step.note, "printer");
  line = parse("waitEvents 2 150");
  ASSERT_EQ(line.command, Command::kStep);
  EXPECT_EQ(line.step.wait.count, 2);
  EXPECT_EQ(line.step.wait.timeoutMs, 150);
  EXPECT_EQ(parse("sleepMs 5").step.sleepMs, 5);
  EXPECT_EQ(parse("tearDown").step.kind, StepKind::kTearDown);
  EXPECT_EQ(parse("callLog").step.kind, StepKind::kCallLog);
  line = parse("note  two  blanks kept ");
  EXPECT_EQ(line.step.kind, StepKind::kNote);
  EXPECT_EQ(line.step.note, "two  blanks kept ");
}

TEST(InteractiveLine, JsonAndCommentLinesGoToTheScriptParser) {
  EXPECT_EQ(parse(R"({"lostConnection":"viewer"})").step.kind, StepKind::kLostConnection);
  EXPECT_EQ(parse("# comment").command, Command::kSkip);
  EXPECT_EQ(parse("  // comment").command, Command::kSkip);
  EXPECT_EQ(parse("   ").command, Command::kSkip);
  EXPECT_EQ(parse("{\"frobnicate\":1}").command, Command::kError);
}

TEST(InteractiveLine, HelpAndQuit) {
  InteractiveLine line = parse("help");
  EXPECT_EQ(line.command, Command::kHelp);
  EXPECT_EQ(line.topic, "");
  line = parse("help raise");
  EXPECT_EQ(line.command, Command::kHelp);
  EXPECT_EQ(line.topic, "raise");
  EXPECT_EQ(parse("quit").command, Command::kQuit);
  EXPECT_EQ(parse("exit\r").command, Command::kQuit);
  EXPECT_EQ(parse("quit now").problem, "usage: quit");
}

TEST(InteractiveLine, UnknownWordsAndWrongArityAreErrors) {
  EXPECT_EQ(parse("Rise viewer x").problem,
            "unknown word \"Rise\": a line is a resource name, a keyword (type help) or a JSON "
            "object");
  EXPECT_EQ(parse("zarvoapplication post").problem,
            "unknown word \"zarvoapplication\" (did you mean ZarvoApplication?)");
  EXPECT_EQ(parse("LOSTCONNECTION viewer").problem,
            "unknown word \"LOSTCONNECTION\" (did you mean lostConnection?)");
  EXPECT_EQ(parse("lostConnection").problem, "usage: lostConnection APP");
  EXPECT_EQ(parse("ZarvoApplication post 1 2 3 4").problem,
            "usage: ZarvoApplication METHOD [PARAMETERS [BODY [EXTRA]]]");
  EXPECT_EQ(parse("waitEvents").problem, "usage: waitEvents N [TIMEOUT_MS]");
  EXPECT_EQ(parse("tearDown now").problem, "usage: tearDown");
  EXPECT_EQ(parse("sleepMs").problem, "usage: sleepMs MS");
}

TEST(InteractiveHelp, OverviewHasEveryResourceAndKeyword) {
  const std::string overview = interactiveHelp("");
  for (const std::string& word : resourceNames()) {
    EXPECT_NE(overview.find("  " + word + " post {"), std::string::npos) << word;
  }
  for (const std::string& word : shorthandKeywords()) {
    EXPECT_NE(overview.find(word), std::string::npos) << word;
    EXPECT_EQ(interactiveHelp(word).find("no help for"), std::string::npos) << word;
  }
  EXPECT_EQ(interactiveHelp("zzz"), "no help for \"zzz\"; type help for the list\n");
}

TEST(Completion, FirstWordOffersResourcesAndKeywords) {
  EXPECT_EQ(completeWord("", "ZarvoApplicationC", kApps),
            (std::vector<std::string>{"ZarvoApplicationCustom"}));
  EXPECT_EQ(completeWord("", "Zarvo", kApps).size(), 4u);
  EXPECT_EQ(completeWord("  ", "ra", kApps), (std::vector<std::string>{"raise"}));
  EXPECT_EQ(completeWord("", "q", kApps), (std::vector<std::string>{"quit"}));
  EXPECT_TRUE(completeWord("", "x", kApps).empty());
}

TEST(Completion, MethodsAfterAResource) {
  EXPECT_EQ(completeWord("ZarvoApplication ", "", kApps),
            (std::vector<std::string>{"delete", "get", "post", "put"}));
  EXPECT_EQ(completeWord("ZarvoApplicationEvent ", "p", kApps),
            (std::vector<std::string>{"post", "put"}));
}

TEST(Completion, ApplicationNamesAfterRaiseAndLostConnection) {
  EXPECT_EQ(completeWord("raise ", "v", kApps), (std::vector<std::string>{"viewer"}));
  EXPECT_EQ(completeWord("lostConnection ", "", kApps), kApps);
  EXPECT_TRUE(completeWord("raise viewer ", "", kApps).empty());
}

TEST(Completion, HelpTopicsAndNothingInsideJson) {
  EXPECT_EQ(completeWord("help ", "lost", kApps), (std::vector<std::string>{"lostConnection"}));
  EXPECT_TRUE(completeWord("{\"call\":", "Zarvo", kApps).empty());
  EXPECT_TRUE(completeWord("ZarvoApplication post ", "p", kApps).empty());
  EXPECT_TRUE(completeWord("raise {\"open", "", kApps).empty());
}

}  // namespace
}  // namespace zarvo_host
