// Round trip over every corpus document: parse, serialize, parse again, serialize again; the two
// texts are identical and the values equal.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "test_support.h"

namespace {

std::vector<std::string> corpusFiles() {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(pjtest::dataDir() + "/corpus")) {
    files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

TEST(CorpusRoundTrip, EveryFile) {
  const auto files = corpusFiles();
  ASSERT_EQ(files.size(), 8u);
  for (const std::string& path : files) {
    bool found = false;
    const std::string text = pjtest::readFile(path, &found);
    ASSERT_TRUE(found) << path;
    const auto first = pjtest::parse(text);
    ASSERT_TRUE(first.ok) << path << ": " << first.message;
    bool ok = false;
    const std::string once = pjtest::compact(first.value, &ok);
    ASSERT_TRUE(ok) << path;
    const auto second = pjtest::parse(once);
    ASSERT_TRUE(second.ok) << path << ": " << second.message;
    const std::string twice = pjtest::compact(second.value, &ok);
    ASSERT_TRUE(ok) << path;
    EXPECT_EQ(once, twice) << path;
    EXPECT_GT(once.size(), 0u);
    // Compact output has no whitespace outside strings.
    const auto third = pjtest::parse(twice);
    EXPECT_TRUE(second.value == third.value) << path;
  }
}

TEST(CorpusRoundTrip, KnownShapes) {
  const auto twitter =
      pjtest::parse(pjtest::readFile(pjtest::dataDir() + "/corpus/twitter.json")).value;
  EXPECT_EQ(twitter.get("statuses").size(), 100u);
  const auto numbers =
      pjtest::parse(pjtest::readFile(pjtest::dataDir() + "/corpus/numbers.json")).value;
  EXPECT_EQ(numbers.size(), 10001u);
  const auto canada =
      pjtest::parse(pjtest::readFile(pjtest::dataDir() + "/corpus/canada.json")).value;
  EXPECT_EQ(canada.get("type").asString(), "FeatureCollection");
}

TEST(CorpusRoundTrip, PrettyTextParsesToTheSameValue) {
  for (const std::string& path : corpusFiles()) {
    const auto first = pjtest::parse(pjtest::readFile(path));
    ASSERT_TRUE(first.ok);
    const std::string pretty = pocketjson::Serializer::pretty(first.value);
    const auto again = pjtest::parse(pretty);
    ASSERT_TRUE(again.ok) << path << ": " << again.message;
    EXPECT_EQ(pjtest::compact(first.value), pjtest::compact(again.value)) << path;
  }
}
