// Locale independence: numbers are written and read with '.' whatever the process locale's
// decimal point is. Each test switches the locale and always restores "C".
#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>

#include "test_support.h"

using pocketjson::Value;

namespace {

// Switches LC_ALL for one test; restores "C" on destruction.
class ScopedLocale {
 public:
  explicit ScopedLocale(const char* name) : ok_(std::setlocale(LC_ALL, name) != nullptr) {}
  ~ScopedLocale() { std::setlocale(LC_ALL, "C"); }
  bool ok() const { return ok_; }

 private:
  bool ok_;
};

}  // namespace

TEST(Locale, CommaDecimalPointBothDirections) {
  ScopedLocale locale("de_DE.UTF-8");
  if (!locale.ok()) {
    GTEST_SKIP() << "locale de_DE.UTF-8 is not available (generate it: localedef -i de_DE -f "
                    "UTF-8 de_DE.UTF-8)";
  }
  ASSERT_STREQ(std::localeconv()->decimal_point, ",");
  char check[32];
  std::snprintf(check, sizeof check, "%.17g", 2.5);
  ASSERT_STREQ(check, "2,5");  // the C library itself writes ','

  EXPECT_EQ(pjtest::compact(Value(2.5)), "2.5");
  EXPECT_EQ(pjtest::compact(Value(0.1)), "0.10000000000000001");
  EXPECT_EQ(pjtest::compact(Value(-1.25e-7)), "-1.2499999999999999e-07");
  EXPECT_EQ(Value(2.5).toString(""), "2.5");
  EXPECT_EQ(pocketjson::Double(2.5).toString(), "2.5");

  auto parsed = pjtest::parse("[2.5,-0.125,1e2,1.5e-3,3]");
  ASSERT_TRUE(parsed.ok) << parsed.message;
  EXPECT_EQ(parsed.value.asArray()[0].asFloat(), 2.5);
  EXPECT_EQ(parsed.value.asArray()[1].asFloat(), -0.125);
  EXPECT_EQ(parsed.value.asArray()[2].asFloat(), 100.0);
  EXPECT_EQ(parsed.value.asArray()[3].asFloat(), 0.0015);
  EXPECT_EQ(parsed.value.asArray()[4].asInteger(), 3);
  EXPECT_EQ(pjtest::compact(parsed.value), "[2.5,-0.125,100,0.0015,3]");
  // The ',' of the locale is no decimal point in JSON text.
  parsed = pjtest::parse("2,5");
  EXPECT_FALSE(parsed.ok);
  EXPECT_EQ(parsed.message, "Gabage string exists after json string.");
  // A corpus round trip gives the same text as under "C".
  const std::string text = pjtest::readFile(pjtest::dataDir() + "/corpus/canada.json");
  const std::string underGerman = pjtest::compact(pjtest::parse(text).value);
  std::setlocale(LC_ALL, "C");
  const std::string underC = pjtest::compact(pjtest::parse(text).value);
  EXPECT_EQ(underGerman, underC);
}

TEST(Locale, MultiByteDecimalPointFollowsTheByteRule) {
  // ps_AF writes U+066B (bytes D9 AB) as decimal point. Writing replaces only bytes equal to its
  // first byte; reading puts that first byte alone in place of '.', which strtod rejects.
  ScopedLocale locale("ps_AF.UTF-8");
  if (!locale.ok()) {
    GTEST_SKIP() << "locale ps_AF.UTF-8 is not available (generate it: localedef -i ps_AF -f "
                    "UTF-8 ps_AF.UTF-8)";
  }
  ASSERT_STREQ(std::localeconv()->decimal_point, "\xD9\xAB");
  EXPECT_EQ(pjtest::compact(Value(2.5)),
            "2.\xAB"
            "5");
  EXPECT_EQ(Value(2.5).toString(""),
            "2.\xAB"
            "5");
  EXPECT_EQ(pjtest::compact(Value(1e17)), "1e+17");
  auto parsed = pjtest::parse("2.5");
  EXPECT_FALSE(parsed.ok);
  EXPECT_EQ(parsed.message, "Failed to parse floating point.");
  parsed = pjtest::parse("[1e2,7]");
  ASSERT_TRUE(parsed.ok) << parsed.message;
  EXPECT_EQ(pjtest::compact(parsed.value), "[100,7]");
  // Event and validation modes convert too, and fail the same way.
  pocketjson::Parser validator;
  EXPECT_FALSE(validator.validate("[0.5]"));
  EXPECT_EQ(validator.error(), "Failed to parse floating point.");
  pjtest::RecordingHandler handler;
  pocketjson::Parser events;
  EXPECT_FALSE(events.parse(handler, "[0.5]", pocketjson::ParseOption()));
  EXPECT_EQ(events.error(), "Failed to parse floating point.");
}

TEST(Locale, RestoredToC) {
  EXPECT_STREQ(std::localeconv()->decimal_point, ".");
  EXPECT_EQ(pjtest::compact(Value(2.5)), "2.5");
}
