// Numbers: the integer accumulation rule, integer/double decision, and the equality of the fast
// conversions with the C library ("%lld", "%.17g", strtod) over corpus numbers and random values.
#include <gtest/gtest.h>

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>

#include "pocketjson/internal/number_format.h"
#include "test_support.h"

using pocketjson::Value;

namespace {

uint64_t bitsOf(double d) {
  uint64_t bits;
  std::memcpy(&bits, &d, sizeof bits);
  return bits;
}

// The C library text of a finite double ("%.17g") under the "C" locale.
std::string printfText(double d) {
  char buffer[128] = {};
  std::snprintf(buffer, sizeof buffer, "%.17g", d);
  return buffer;
}

// Every number token of a JSON text (strings skipped).
std::vector<std::string> numberTokens(const std::string& text) {
  std::vector<std::string> tokens;
  for (size_t i = 0; i < text.size();) {
    const char c = text[i];
    if (c == '"') {
      ++i;
      while (i < text.size() && text[i] != '"') i += text[i] == '\\' ? 2 : 1;
      ++i;
    } else if (c == '-' || (c >= '0' && c <= '9')) {
      size_t j = i;
      while (j < text.size() && std::strchr("+-.eE0123456789", text[j])) ++j;
      tokens.push_back(text.substr(i, j - i));
      i = j;
    } else {
      ++i;
    }
  }
  return tokens;
}

}  // namespace

TEST(Numbers, IntegerRangeEdges) {
  EXPECT_EQ(pjtest::parse("9223372036854775807").value.asInteger(), INT64_MAX);
  EXPECT_EQ(pjtest::parse("-9223372036854775807").value.asInteger(), -INT64_MAX);
  EXPECT_EQ(pjtest::parse("922337203685477579").value.asInteger(), 922337203685477579);
  EXPECT_EQ(pjtest::parse("9223372036854775799").value.asInteger(), 9223372036854775799);
  EXPECT_EQ(pjtest::parse("0").value.type(), pocketjson::kInteger);
  EXPECT_EQ(pjtest::parse("-0").value.asInteger(), 0);
  EXPECT_EQ(pjtest::parse("-0.0").value.type(), pocketjson::kFloat);
  EXPECT_TRUE(std::signbit(pjtest::parse("-0.0").value.asFloat()));
}

TEST(Numbers, DigitRuleAboveThreshold) {
  // Above 922337203685477579 only the next digit is looked at: '8' and '9' make a double.
  auto v = pjtest::parse("9223372036854775808").value;
  EXPECT_EQ(v.type(), pocketjson::kFloat);
  v = pjtest::parse("9223372036854775809").value;
  EXPECT_EQ(v.type(), pocketjson::kFloat);
  // 9999999999999999999 (19 digits): after 999999999999999999 the last '9' is too large.
  v = pjtest::parse("9999999999999999999").value;
  EXPECT_EQ(v.type(), pocketjson::kFloat);
  EXPECT_EQ(v.asFloat(), 1e19);
  // 9999999999999999997: the last digit is below '8': accumulated, wrapping around.
  v = pjtest::parse("9999999999999999997").value;
  EXPECT_EQ(v.type(), pocketjson::kInteger);
  EXPECT_EQ(static_cast<uint64_t>(v.asInteger()), 9999999999999999997ull);
  // Twenty digits: 92233720368547758070 wraps to -10.
  v = pjtest::parse("92233720368547758070").value;
  EXPECT_EQ(v.type(), pocketjson::kInteger);
  EXPECT_EQ(v.asInteger(), -10);
  // The wrapped accumulator is negative, hence at most the threshold: the next '9' is taken.
  v = pjtest::parse("922337203685477580709").value;
  EXPECT_EQ(v.type(), pocketjson::kInteger);
  EXPECT_EQ(v.asInteger(), -91);
  // 12345678901234567890: the 20th digit '0' is accumulated with wrap-around.
  v = pjtest::parse("12345678901234567890").value;
  EXPECT_EQ(v.type(), pocketjson::kInteger);
  EXPECT_EQ(static_cast<uint64_t>(v.asInteger()), 12345678901234567890ull);
  v = pjtest::parse("-12345678901234567890").value;
  EXPECT_EQ(v.type(), pocketjson::kInteger);
  EXPECT_EQ(v.asInteger(), static_cast<int64_t>(0 - 12345678901234567890ull));
  // Too large stays a double whatever follows.
  v = pjtest::parse("92233720368547758080").value;
  EXPECT_EQ(v.type(), pocketjson::kFloat);
  EXPECT_EQ(v.asFloat(), 92233720368547758080.0);
}

TEST(Numbers, IntegerOrDoubleDecision) {
  struct Case {
    const char* text;
    pocketjson::Type type;
    const char* compact;
  } cases[] = {
      {"12e0", pocketjson::kInteger, "12"},
      {"12E+00", pocketjson::kInteger, "12"},
      {"-3e-0", pocketjson::kInteger, "-3"},
      {"1e5", pocketjson::kFloat, "100000"},
      {"1E-2", pocketjson::kFloat, "0.01"},
      {"1.0", pocketjson::kFloat, "1"},
      {"1.50e0", pocketjson::kFloat, "1.5"},
      {"0.0", pocketjson::kFloat, "0.0"},
      {"-0.0e0", pocketjson::kFloat, "0.0"},
      {"1e999", pocketjson::kFloat, ""},
      {"-1e999", pocketjson::kFloat, ""},
      {"1e-400", pocketjson::kFloat, "0.0"},
      {"4.9e-324", pocketjson::kFloat, "4.9406564584124654e-324"},
      {"1e00000000000000000000000", pocketjson::kInteger, "1"},
      {"1e-0000000000000000000000000000001", pocketjson::kFloat, "0.10000000000000001"},
      {"123456789012345678901234567890e-10", pocketjson::kFloat, "1.2345678901234567e+19"},
  };
  for (const Case& c : cases) {
    const auto parsed = pjtest::parse(c.text);
    EXPECT_TRUE(parsed.ok) << c.text << ": " << parsed.message;
    EXPECT_EQ(parsed.value.type(), c.type) << c.text;
    EXPECT_EQ(pjtest::compact(parsed.value), c.compact) << c.text;
  }
  EXPECT_TRUE(std::isinf(pjtest::parse("1e999").value.asFloat()));
  EXPECT_EQ(pjtest::parse("-1e999").value.asFloat(), -std::numeric_limits<double>::infinity());
}

TEST(Numbers, IntegerTextMatchesPrintf) {
  std::mt19937_64 random(12345);
  std::vector<int64_t> values = {0, 1, -1, INT64_MAX, INT64_MIN, 10, -10, 999, 1000000};
  for (int i = 0; i < 20000; ++i) values.push_back(static_cast<int64_t>(random() >> (i % 64)));
  for (int64_t v : values) {
    char expected[128] = {};
    std::snprintf(expected, sizeof expected, "%lld", static_cast<long long>(v));
    EXPECT_EQ(pjtest::compact(Value(v)), expected);
    if (v == INT64_MIN) {
      // Its magnitude is above the threshold and ends in '8': a double, by the digit rule.
      EXPECT_EQ(pjtest::parse(expected).value.type(), pocketjson::kFloat);
    } else {
      EXPECT_EQ(pjtest::parse(expected).value.asInteger(), v);
    }
  }
}

TEST(Numbers, DoubleTextMatchesPrintfForRandomDoubles) {
  std::mt19937_64 random(2024);
  const pocketjson::detail::NumberLocale cLibrary{'.', false};
  const pocketjson::detail::NumberLocale fast{'.', true};
  int checked = 0;
  for (int i = 0; i < 200000; ++i) {
    const uint64_t bits = random();
    double d;
    std::memcpy(&d, &bits, sizeof d);
    if (!std::isfinite(d) || d == 0) continue;
    const std::string expected = printfText(d);
    char a[128], b[128];
    const size_t na = pocketjson::detail::formatDouble(a, d, fast);
    const size_t nb = pocketjson::detail::formatDouble(b, d, cLibrary);
    ASSERT_EQ(std::string(a, na), expected);
    ASSERT_EQ(std::string(b, nb), expected);
    ASSERT_EQ(pjtest::compact(Value(d)), expected);
    ++checked;
  }
  EXPECT_GT(checked, 190000);
  // Values of human scale as well.
  for (int i = 0; i < 100000; ++i) {
    const double d = static_cast<double>(static_cast<int64_t>(random() % 2000000) - 1000000) /
                     static_cast<double>(1 + random() % 100000);
    if (d == 0) continue;
    ASSERT_EQ(pjtest::compact(Value(d)), printfText(d));
  }
}

TEST(Numbers, DoubleTextMatchesPrintfAcrossDecimalExponents) {
  // Every decimal exponent from 1e-30 to 1e30, random significands, both signs.
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> unit(1.0, 10.0);
  for (int exponent = -30; exponent <= 30; ++exponent) {
    for (int i = 0; i < 5000; ++i) {
      double d = unit(random) * std::pow(10.0, exponent);
      if (i % 2) d = -d;
      ASSERT_EQ(pjtest::compact(Value(d)), printfText(d)) << exponent;
    }
  }
  // Neighbours of powers of ten and of the boundaries between fixed and exponent notation.
  for (int exponent = -20; exponent <= 20; ++exponent) {
    const double p = std::pow(10.0, exponent);
    double d = p;
    for (int step = 0; step < 50; ++step) d = std::nextafter(d, 0.0);
    for (int step = 0; step < 100; ++step) {
      ASSERT_EQ(pjtest::compact(Value(d)), printfText(d));
      d = std::nextafter(d, 1e300);
    }
  }
}

TEST(Numbers, DoubleTextRoundsTiesToEvenLikePrintf) {
  // m / 2^j with an 18th significant digit of exactly 5: the 17-digit rounding is a tie.
  int ties = 0;
  for (uint64_t m = 4000000000000001ull; m < 4000000000000001ull + 20000; m += 2) {
    for (int j = 1; j <= 3; ++j) {
      const double d = static_cast<double>(m) / static_cast<double>(1 << j);
      const std::string expected = printfText(d);
      ASSERT_EQ(pjtest::compact(Value(d)), expected);
      ASSERT_EQ(Value(d).toString(""), expected);
      ++ties;
    }
  }
  EXPECT_EQ(pjtest::compact(Value(1000000000000000.25)), "1000000000000000.2");
  EXPECT_EQ(pjtest::compact(Value(1000000000000000.75)), "1000000000000000.8");
  EXPECT_GT(ties, 0);
}

TEST(Numbers, ParsedDoublesMatchStrtodForRandomTexts) {
  std::mt19937_64 random(99);
  for (int i = 0; i < 200000; ++i) {
    const uint64_t bits = random();
    double d;
    std::memcpy(&d, &bits, sizeof d);
    if (!std::isfinite(d) || d == 0) continue;
    const std::string text = printfText(d);
    const auto parsed = pjtest::parse(text);
    ASSERT_TRUE(parsed.ok) << text;
    if (parsed.value.type() != pocketjson::kFloat) continue;  // e.g. "1e+17"-free integers
    ASSERT_EQ(bitsOf(parsed.value.asFloat()), bitsOf(d)) << text;
  }
  // Long mantissas, long exponents, boundaries of the double range.
  std::uniform_int_distribution<int> digit(0, 9);
  for (int i = 0; i < 50000; ++i) {
    std::string text = std::to_string(1 + random() % 9);
    const int length = static_cast<int>(random() % 40);
    for (int k = 0; k < length; ++k) text += static_cast<char>('0' + digit(random));
    text += '.';
    const int fraction = 1 + static_cast<int>(random() % 30);
    for (int k = 0; k < fraction; ++k) text += static_cast<char>('0' + digit(random));
    text += 'e' + std::to_string(static_cast<int>(random() % 700) - 350);
    const auto parsed = pjtest::parse(text);
    ASSERT_TRUE(parsed.ok) << text;
    ASSERT_EQ(bitsOf(parsed.value.asFloat()), bitsOf(std::strtod(text.c_str(), nullptr))) << text;
  }
  const char* edges[] = {"1.7976931348623157e308",
                         "1.7976931348623158e308",
                         "1.7976931348623159e308",
                         "2e308",
                         "2.2250738585072014e-308",
                         "2.2250738585072011e-308",
                         "4.9406564584124654e-324",
                         "2.4703282292062327e-324",
                         "2.4703282292062328e-324",
                         "1e-330",
                         "0.000000000000000000000000000001",
                         "123456789.123456789e-5000",
                         "9007199254740993.0",
                         "0.1e1"};
  for (const char* text : edges) {
    const auto parsed = pjtest::parse(text);
    ASSERT_TRUE(parsed.ok) << text;
    EXPECT_EQ(bitsOf(parsed.value.asFloat()), bitsOf(std::strtod(text, nullptr))) << text;
  }
}

TEST(Numbers, CorpusNumbersMatchStrtod) {
  size_t doubles = 0;
  for (const char* name : {"canada.json", "citm_catalog.json", "twitter.json", "numbers.json",
                           "mesh.json", "random.json", "github_events.json"}) {
    const std::string text = pjtest::readFile(pjtest::dataDir() + "/corpus/" + name);
    for (const std::string& token : numberTokens(text)) {
      const auto parsed = pjtest::parse(token);
      ASSERT_TRUE(parsed.ok) << token;
      if (parsed.value.type() == pocketjson::kInteger) {
        EXPECT_EQ(parsed.value.asInteger(), std::strtoll(token.c_str(), nullptr, 10)) << token;
        continue;
      }
      ++doubles;
      const double expected = std::strtod(token.c_str(), nullptr);
      ASSERT_EQ(bitsOf(parsed.value.asFloat()), bitsOf(expected)) << token;
      ASSERT_EQ(pjtest::compact(parsed.value),
                expected == 0 ? std::string("0.0") : printfText(expected))
          << token;
    }
  }
  EXPECT_GT(doubles, 150000u);
}
