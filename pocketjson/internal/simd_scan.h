// Sixteen-bytes-at-a-time scans for the parser and the serializer, on SSE2 where the compiler
// offers it, with a portable byte-by-byte fallback that gives the same answers.
//
// Design note
// -----------
// SSE2 is part of every x86-64 processor, so on x86-64 the vector path is always taken. Defining
// POCKETJSON_PORTABLE_SCAN (CMake: -DZARVO_POCKETJSON_PORTABLE_SCAN=ON) forces the fallback, so
// that it is built and tested on x86-64 too. This is the only place that uses intrinsics.
//
// A scan never reads outside [p, end): the vector loop runs only while sixteen whole bytes remain,
// and the rest is scanned a byte at a time. Stateless; any thread.
#ifndef POCKETJSON_INTERNAL_SIMD_SCAN_H
#define POCKETJSON_INTERNAL_SIMD_SCAN_H

#if defined(__SSE2__) && !defined(POCKETJSON_PORTABLE_SCAN)
#define POCKETJSON_SSE2_SCAN 1
#include <emmintrin.h>
#else
#define POCKETJSON_SSE2_SCAN 0
#endif

namespace pocketjson {
namespace detail {

// The four whitespace bytes of JSON: space, tab, line feed, carriage return.
inline bool isJsonSpace(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// The first byte in [p, end) that is not JSON whitespace, or `end`.
inline const char* skipJsonSpace(const char* p, const char* end) noexcept {
#if POCKETJSON_SSE2_SCAN
  const __m128i space = _mm_set1_epi8(' ');
  const __m128i tab = _mm_set1_epi8('\t');
  const __m128i lineFeed = _mm_set1_epi8('\n');
  const __m128i carriageReturn = _mm_set1_epi8('\r');
  while (end - p >= 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i blank = _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi8(bytes, space), _mm_cmpeq_epi8(bytes, tab)),
        _mm_or_si128(_mm_cmpeq_epi8(bytes, lineFeed), _mm_cmpeq_epi8(bytes, carriageReturn)));
    const unsigned other = ~static_cast<unsigned>(_mm_movemask_epi8(blank)) & 0xFFFFu;
    if (other != 0) return p + __builtin_ctz(other);
    p += 16;
  }
#endif
  while (p != end && isJsonSpace(*p)) ++p;
  return p;
}

// Skips whole sixteen-byte blocks that hold no '"' and no '\\'. Returns the first such byte, or
// the place where fewer than sixteen bytes are left (the caller scans on from there); without
// SSE2 it returns `p`.
inline const char* skipBlocksWithoutQuoteOrBackslash(const char* p, const char* end) noexcept {
#if POCKETJSON_SSE2_SCAN
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i backslash = _mm_set1_epi8('\\');
  while (end - p >= 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i hit =
        _mm_or_si128(_mm_cmpeq_epi8(bytes, quote), _mm_cmpeq_epi8(bytes, backslash));
    const unsigned found = static_cast<unsigned>(_mm_movemask_epi8(hit));
    if (found != 0) return p + __builtin_ctz(found);
    p += 16;
  }
#else
  static_cast<void>(end);
#endif
  return p;
}

// The same for the bytes the serializer may have to escape: below 0x20, '"', '\\' and 0x7F.
inline const char* skipBlocksWithoutEscapeCandidate(const char* p, const char* end) noexcept {
#if POCKETJSON_SSE2_SCAN
  const __m128i lastControl = _mm_set1_epi8(0x1F);
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i backslash = _mm_set1_epi8('\\');
  const __m128i del = _mm_set1_epi8(0x7F);
  while (end - p >= 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    // Unsigned "byte <= 0x1F": the larger of byte and 0x1F is 0x1F only then.
    const __m128i control = _mm_cmpeq_epi8(_mm_max_epu8(bytes, lastControl), lastControl);
    const __m128i hit =
        _mm_or_si128(_mm_or_si128(control, _mm_cmpeq_epi8(bytes, del)),
                     _mm_or_si128(_mm_cmpeq_epi8(bytes, quote), _mm_cmpeq_epi8(bytes, backslash)));
    const unsigned found = static_cast<unsigned>(_mm_movemask_epi8(hit));
    if (found != 0) return p + __builtin_ctz(found);
    p += 16;
  }
#else
  static_cast<void>(end);
#endif
  return p;
}

}  // namespace detail
}  // namespace pocketjson

#endif  // POCKETJSON_INTERNAL_SIMD_SCAN_H
