// Durations with their unit, as every host's command line takes them.
#include <gtest/gtest.h>

#include <string>

#include "host_core/duration_text.h"

namespace host_core {
namespace {

using std::chrono::milliseconds;

const milliseconds kMax{600000};

TEST(DurationText, NumbersWithAUnit) {
  milliseconds out{0};
  std::string problem;
  ASSERT_TRUE(parseDuration("1500ms", kMax, &out, &problem));
  EXPECT_EQ(out.count(), 1500);
  ASSERT_TRUE(parseDuration("30s", kMax, &out, &problem));
  EXPECT_EQ(out.count(), 30000);
  ASSERT_TRUE(parseDuration("2min", kMax, &out, &problem));
  EXPECT_EQ(out.count(), 120000);
  ASSERT_TRUE(parseDuration("0ms", kMax, &out, &problem));
  EXPECT_EQ(out.count(), 0);
}

TEST(DurationText, RefusalsShowTheForms) {
  milliseconds out{0};
  std::string problem;
  for (const char* text :
       {"2000", "", "s", "1.5s", "-1s", "10 s", "10h", "5sec", "9999999999999s"}) {
    EXPECT_FALSE(parseDuration(text, kMax, &out, &problem)) << text;
    EXPECT_EQ(problem, std::string("needs a number with a unit, as in 1500ms, 30s or 2min, not '") +
                           text + "'");
  }
  EXPECT_FALSE(parseDuration("11min", kMax, &out, &problem));
  EXPECT_EQ(problem, "is at most 10min, not '11min'");
}

TEST(DurationText, ShortestText) {
  EXPECT_EQ(durationText(milliseconds(1500)), "1500ms");
  EXPECT_EQ(durationText(milliseconds(30000)), "30s");
  EXPECT_EQ(durationText(milliseconds(120000)), "2min");
  EXPECT_EQ(durationText(milliseconds(0)), "0ms");
}

}  // namespace
}  // namespace host_core
