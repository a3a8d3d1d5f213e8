// pocketjson number text helpers shared by the value, the serializer and the parser (defined in
// number_format.cpp).
//
// Design note
// -----------
// Numbers are always written and read with '.' as the decimal point, whatever the process locale.
// The reference behaviour is the C library's: "%lld" and "%.17g" through snprintf, with every
// byte equal to the first byte of the locale's decimal point written as '.', and strtod after the
// first '.' of the text has been replaced by that byte. std::to_chars / std::from_chars produce
// exactly the same results whenever the locale's decimal point is one byte that cannot occur in a
// number text; `NumberLocale` decides once per top-level call which path applies, so the output
// never differs from the C library path.
//
// Ownership: plain functions writing into caller buffers. Threads: reads the calling thread's
// locale only. Failure: none beyond the documented return values.
#ifndef POCKETJSON_INTERNAL_NUMBER_FORMAT_H
#define POCKETJSON_INTERNAL_NUMBER_FORMAT_H

#include <cstddef>
#include <cstdint>

namespace pocketjson {
namespace detail {

// Size of every number buffer (snprintf limit is one less).
constexpr size_t kNumberBufferSize = 128;

// The current C locale's decimal point, sampled once.
struct NumberLocale {
  char point = '.';  // first byte of localeconv()->decimal_point (0 when it is empty)
  bool fast = true;  // to_chars/from_chars give the same text/values as the C library path
  // Samples localeconv() now.
  static NumberLocale current() noexcept;
};

// "%lld" of `v` into `buf` (kNumberBufferSize bytes); returns the number of characters.
size_t formatInteger(char* buf, int64_t v) noexcept;

// "%.17g" of a finite `v` with the locale decimal point written as '.'; returns the number of
// characters (0 when the formatter reported none).
size_t formatDouble(char* buf, double v, const NumberLocale& locale) noexcept;

// The text of a lone double: "0.0" for both zeros, "nan", "inf" or "-inf", else formatDouble
// under the current locale. Returns the number of characters; `finite` is false for NaN and the
// infinities.
size_t formatDoubleText(char* buf, double v, bool& finite) noexcept;

// True when the bits of `v` are those of +0.0 or -0.0.
inline bool isZeroBits(uint64_t bits) noexcept {
  return (bits & ~(uint64_t{1} << 63)) == 0;
}
// True when the exponent bits are all ones (NaN or an infinity).
inline bool isNanOrInfBits(uint64_t bits) noexcept {
  return (bits & (uint64_t{0x7FF} << 52)) == (uint64_t{0x7FF} << 52);
}

}  // namespace detail
}  // namespace pocketjson

#endif  // POCKETJSON_INTERNAL_NUMBER_FORMAT_H
