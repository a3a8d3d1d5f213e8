// The parser's number scanner: the text rules, the integer rule of parser.h, and the double
// conversion that follows the C library (see internal/parse_scanners.h).
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <system_error>

#include "pocketjson/internal/number_format.h"
#include "pocketjson/internal/parse_scanners.h"

namespace pocketjson {
namespace detail {

namespace {

const char kNumberLeadingZero[] = "Unexpected '0' character is found while parsing number.";
const char kNumberNoDigit[] = "Digit is not found while parsing number.";
const char kNumberNoFractionDigit[] =
    "Digit is not found after the decimal point while parsing number.";
const char kNumberNoExponentDigit[] =
    "Digit is not found after exponent keyword while parsing number.";
const char kNumberBadFloat[] = "Failed to parse floating point.";

// Largest magnitude that is still multiplied by 10 without looking at the next digit.
constexpr int64_t kIntegerThreshold = 922337203685477579;

inline bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// What the scan of a number text found besides its extent.
struct NumberShape {
  uint64_t magnitude = 0;      // the integer digits, accumulated by the integer rule
  bool tooLarge = false;       // an '8' or '9' came when the magnitude was past the threshold
  bool hasFraction = false;    // a '.' and its digits
  bool hasExponent = false;    // an 'e' or 'E', its sign and its digits
  bool exponentIsZero = true;  // no exponent, or one of only '0' digits
};

// The integer digits, `in.p` on the first. The magnitude is a signed 64-bit accumulator in the
// integer rule of parser.h; it is kept unsigned here so that the wrap-around of long digit runs
// is defined, and compared as signed.
bool scanIntegerDigits(ParseCursor& in, NumberShape& shape) {
  const char* p = in.p;
  const char* const end = in.end;
  if (p == end || !isDigit(*p)) return in.fail(kNumberNoDigit);
  if (*p == '0' && p + 1 != end && isDigit(p[1])) return in.fail(kNumberLeadingZero);
  uint64_t magnitude = 0;
  do {
    const unsigned digit = static_cast<unsigned>(*p - '0');
    if (static_cast<int64_t>(magnitude) <= kIntegerThreshold || digit <= 7) {
      magnitude = magnitude * 10 + digit;
    } else {
      shape.tooLarge = true;
    }
    ++p;
  } while (p != end && isDigit(*p));
  shape.magnitude = magnitude;
  in.p = p;
  return true;
}

// A '.' and its digits, when `in.p` stands on a '.'.
bool scanFraction(ParseCursor& in, NumberShape& shape) {
  if (in.p == in.end || *in.p != '.') return true;
  shape.hasFraction = true;
  ++in.p;
  if (in.p == in.end || !isDigit(*in.p)) return in.fail(kNumberNoFractionDigit);
  do ++in.p;
  while (in.p != in.end && isDigit(*in.p));
  return true;
}

// An exponent, when `in.p` stands on 'e' or 'E'.
bool scanExponent(ParseCursor& in, NumberShape& shape) {
  if (in.p == in.end || (*in.p != 'e' && *in.p != 'E')) return true;
  shape.hasExponent = true;
  ++in.p;
  if (in.p != in.end && (*in.p == '+' || *in.p == '-')) ++in.p;
  if (in.p == in.end || !isDigit(*in.p)) return in.fail(kNumberNoExponentDigit);
  do {
    if (*in.p != '0') shape.exponentIsZero = false;
    ++in.p;
  } while (in.p != in.end && isDigit(*in.p));
  return true;
}

}  // namespace

bool NumberReader::read(ParseCursor& in, ScannedNumber& number) {
  const char* first = in.p;
  const bool negative = *in.p == '-';
  if (negative) ++in.p;
  NumberShape shape;
  if (!scanIntegerDigits(in, shape) || !scanFraction(in, shape) || !scanExponent(in, shape)) {
    return false;
  }
  number.isInteger = !shape.hasFraction && shape.exponentIsZero && !shape.tooLarge;
  if (number.isInteger) {
    number.integer =
        static_cast<int64_t>(negative ? uint64_t{0} - shape.magnitude : shape.magnitude);
    return true;
  }
  bool ok;
  number.real = toDouble(first, in.p, shape.hasExponent, shape.exponentIsZero, ok);
  if (!ok) return in.fail(kNumberBadFloat);
  return true;
}

// The C library conversion of the number text [first, last), after these text rules: 'E' written
// as 'e', '+' dropped, a zero exponent removed, the first '.' replaced by the locale's decimal
// point. The from_chars path is taken when it is known to give the same value.
double NumberReader::toDouble(const char* first, const char* last, bool hasExponent,
                              bool exponentIsZero, bool& ok) {
  if (!localeKnown_) {
    locale_ = NumberLocale::current();
    localeKnown_ = true;
  }
  ok = true;
  if (locale_.fast) {
    double value = 0;
    auto r = std::from_chars(first, last, value);
    if (r.ec == std::errc() && r.ptr == last) return value;
    // out of range (infinity, underflow): the C library decides, as below
  }
  digits_.clear();
  bool pointReplaced = false;
  for (const char* q = first; q != last; ++q) {
    char c = *q;
    if (c == 'e' || c == 'E') {
      if (hasExponent && exponentIsZero) break;
      c = 'e';
    } else if (c == '+') {
      continue;
    } else if (c == '.' && !pointReplaced) {
      c = locale_.point;
      pointReplaced = true;
    }
    digits_.push_back(c);
  }
  char* stop = nullptr;
  errno = 0;
  const double value = std::strtod(digits_.c_str(), &stop);
  if (stop != digits_.c_str() + digits_.size()) ok = false;
  return value;
}

}  // namespace detail
}  // namespace pocketjson
