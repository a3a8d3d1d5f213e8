// Word-at-a-time byte tests shared by the parser's and the serializer's string scans.
//
// Design note
// -----------
// A scan for the next interesting byte of a string reads eight bytes into one word and asks, for
// all eight at once, "is this byte equal to c" or "is this byte below c". Each test sets the high
// bit of a byte that matches. A borrow can also flag a byte above a true match, but never the
// lowest true match itself, so the lowest flagged byte of any combination of tests is always a
// real match, which is all a forward scan needs. Bytes >= 0x80 are never flagged.
//
// Only little-endian machines take this path (the lowest byte in memory is the lowest in the
// word); elsewhere callers fall back to a byte-by-byte loop. Stateless; any thread.
#ifndef POCKETJSON_INTERNAL_BYTE_SCAN_H
#define POCKETJSON_INTERNAL_BYTE_SCAN_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define POCKETJSON_WORD_SCAN 1
#else
#define POCKETJSON_WORD_SCAN 0
#endif

namespace pocketjson {
namespace detail {

constexpr uint64_t kByteOnes = 0x0101010101010101ull;
constexpr uint64_t kByteHighs = 0x8080808080808080ull;

// The eight bytes at `p`, the first in the lowest byte of the word on little-endian machines.
inline uint64_t loadWord(const char* p) noexcept {
  uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

// High bit set in each byte of `word` below `c` (c at most 0x80).
inline uint64_t bytesBelow(uint64_t word, unsigned char c) noexcept {
  return (word - kByteOnes * c) & ~word & kByteHighs;
}

// High bit set in each byte of `word` equal to `c`.
inline uint64_t bytesEqual(uint64_t word, unsigned char c) noexcept {
  return bytesBelow(word ^ (kByteOnes * c), 1);
}

// Index of the lowest flagged byte of a non-zero test result.
inline size_t firstFlaggedByte(uint64_t flags) noexcept {
  return static_cast<size_t>(__builtin_ctzll(flags) >> 3);
}

}  // namespace detail
}  // namespace pocketjson

#endif  // POCKETJSON_INTERNAL_BYTE_SCAN_H
