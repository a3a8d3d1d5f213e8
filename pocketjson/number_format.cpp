// Number texts of pocketjson: "%lld" and "%.17g" with '.' as the decimal point whatever the
// process locale (see internal/number_format.h for the rules and when the fast paths apply).
#include "pocketjson/internal/number_format.h"

#include <charconv>
#include <clocale>
#include <cstdio>
#include <cstring>

namespace pocketjson {
namespace detail {

NumberLocale NumberLocale::current() noexcept {
  NumberLocale result;
  const struct lconv* conv = std::localeconv();
  const char* point = conv && conv->decimal_point ? conv->decimal_point : "";
  result.point = point[0];
  // The fast paths are exact only for a one-byte point that no number text can contain.
  result.fast =
      point[0] != '\0' && point[1] == '\0' && std::strchr("0123456789+-eE", point[0]) == nullptr;
  return result;
}

size_t formatInteger(char* buf, int64_t v) noexcept {
  auto r = std::to_chars(buf, buf + kNumberBufferSize - 1, static_cast<long long>(v));
  return static_cast<size_t>(r.ptr - buf);
}

namespace {

__extension__ typedef unsigned __int128 Uint128;  // GCC and Clang on x86-64

// 5^0 .. 5^32: all below 2^75, so a 53-bit significand times any of them fits in 128 bits.
struct PowersOfFive {
  Uint128 value[33];
  constexpr PowersOfFive() : value() {
    Uint128 p = 1;
    for (int i = 0; i <= 32; ++i) {
      value[i] = p;
      p *= 5;
    }
  }
};
constexpr PowersOfFive kPowersOfFive;

constexpr uint64_t kTen16 = 10000000000000000ull;
constexpr uint64_t kTen17 = 100000000000000000ull;

// floor(a / b) for b > 0.
constexpr int floorDiv(int a, int b) {
  return a >= 0 ? a / b : -((-a + b - 1) / b);
}

// The 17 significant decimal digits of a positive normal double, correctly rounded (to nearest,
// ties to even) from its exact binary value, as the integer `digits` in [1e16, 1e17) and the
// decimal exponent of the first digit. Exact integer arithmetic: v = m * 2^e, and
// v * 10^q = m * 5^q * 2^(e+q) with q = 16 - exponent in [0, 32]. Returns false outside that
// range (about 1e-16 .. 1e17) and for subnormals; the caller then takes the general path.
bool seventeenDigits(uint64_t bits, uint64_t& digits, int& exponent) noexcept {
  const int biased = static_cast<int>((bits >> 52) & 0x7FF);
  if (biased == 0) return false;
  const uint64_t m = (bits & ((uint64_t{1} << 52) - 1)) | (uint64_t{1} << 52);
  const int e = biased - 1075;
  // floor(log10(2^(biased-1023))) is the exponent or one below it.
  int k = floorDiv((biased - 1023) * 78913, 1 << 18);
  for (int attempt = 0; attempt < 2; ++attempt, ++k) {
    const int q = 16 - k;
    if (q < 0 || q > 32) return false;
    const Uint128 n = static_cast<Uint128>(m) * kPowersOfFive.value[q];
    const int s = e + q;
    Uint128 whole;
    bool roundUp = false;
    if (s >= 0) {
      if (s >= 64 || (n >> (64 - s)) != 0) return false;
      whole = n << s;
    } else {
      const int t = -s;
      if (t >= 128) return false;
      whole = n >> t;
      const Uint128 rest = n & ((Uint128{1} << t) - 1);
      const Uint128 half = Uint128{1} << (t - 1);
      roundUp = rest > half || (rest == half && (whole & 1) != 0);
    }
    if (whole >= kTen17) continue;     // the exponent is one higher
    if (whole < kTen16) return false;  // cannot happen for the estimate; stay safe
    uint64_t d = static_cast<uint64_t>(whole) + (roundUp ? 1 : 0);
    if (d == kTen17) {
      d = kTen16;
      ++k;
    }
    digits = d;
    exponent = k;
    return true;
  }
  return false;
}

// Writes the `count` lowest decimal digits of `value` to out[0 .. count), two digits per step.
inline void writeDigits(char* out, uint64_t value, int count) noexcept {
  static constexpr char kPairs[] =
      "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
      "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
      "8081828384858687888990919293949596979899";
  int i = count;
  while (i >= 2) {
    const uint64_t pair = value % 100;
    value /= 100;
    i -= 2;
    std::memcpy(out + i, kPairs + 2 * pair, 2);
  }
  if (i == 1) out[0] = static_cast<char>('0' + value % 10);
}

// Lays out 17 significant digits as "%.17g" does: fixed notation for exponents -4 .. 16,
// otherwise d.ddde+XX; trailing zeros of the fraction and a bare point removed.
size_t layoutSeventeen(char* buf, bool negative, uint64_t value, int exponent) noexcept {
  int n = 17;  // significant digits left after dropping trailing zeros
  while (value % 10 == 0 && n > 1) {
    value /= 10;
    --n;
  }
  char* p = buf;
  if (negative) *p++ = '-';
  if (exponent < -4 || exponent >= 17) {
    writeDigits(p + 1, value, n);
    p[0] = p[1];
    if (n > 1) {
      p[1] = '.';
      p += n + 1;
    } else {
      p += 1;
    }
    *p++ = 'e';
    int x = exponent;
    if (x < 0) {
      *p++ = '-';
      x = -x;
    } else {
      *p++ = '+';
    }
    if (x >= 100) *p++ = static_cast<char>('0' + x / 100);
    *p++ = static_cast<char>('0' + (x / 10) % 10);
    *p++ = static_cast<char>('0' + x % 10);
  } else if (exponent >= 0) {
    const int whole = exponent + 1;
    if (n <= whole) {
      writeDigits(p, value, n);
      p += n;
      for (int i = n; i < whole; ++i) *p++ = '0';
    } else {
      writeDigits(p + 1, value, n);
      for (int i = 0; i < whole; ++i) p[i] = p[i + 1];  // at most 17 bytes: no library call
      p[whole] = '.';
      p += n + 1;
    }
  } else {
    *p++ = '0';
    *p++ = '.';
    for (int i = -1; i > exponent; --i) *p++ = '0';
    writeDigits(p, value, n);
    p += n;
  }
  return static_cast<size_t>(p - buf);
}

}  // namespace

size_t formatDouble(char* buf, double v, const NumberLocale& locale) noexcept {
  if (locale.fast) {
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    uint64_t digits;
    int exponent;
    if (seventeenDigits(bits & ~(uint64_t{1} << 63), digits, exponent)) {
      return layoutSeventeen(buf, (bits >> 63) != 0, digits, exponent);
    }
    auto r = std::to_chars(buf, buf + kNumberBufferSize - 1, v, std::chars_format::general, 17);
    if (r.ec == std::errc()) return static_cast<size_t>(r.ptr - buf);
  }
  std::memset(buf, 0, kNumberBufferSize);
  int n = std::snprintf(buf, kNumberBufferSize, "%.17g", v);
  if (n < 1) return 0;
  size_t length =
      static_cast<size_t>(n) < kNumberBufferSize ? static_cast<size_t>(n) : kNumberBufferSize - 1;
  for (size_t i = 0; i < length; ++i) {
    if (buf[i] == locale.point) buf[i] = '.';
  }
  return length;
}

size_t formatDoubleText(char* buf, double v, bool& finite) noexcept {
  uint64_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  finite = !isNanOrInfBits(bits);
  const char* fixed = nullptr;
  if (isZeroBits(bits)) {
    fixed = "0.0";
  } else if (!finite) {
    fixed = (bits & ((uint64_t{1} << 52) - 1)) ? "nan" : (bits >> 63) ? "-inf" : "inf";
  } else {
    return formatDouble(buf, v, NumberLocale::current());
  }
  const size_t length = std::strlen(fixed);
  std::memcpy(buf, fixed, length + 1);  // the terminator too: the buffer holds a C text
  return length;
}

}  // namespace detail

}  // namespace pocketjson
