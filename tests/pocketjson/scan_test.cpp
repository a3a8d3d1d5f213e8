// The parser's whitespace scan, white-box: every length, every position of the first
// non-whitespace byte, every whitespace byte, and the bytes that only look like whitespace. This
// file is built twice, once with the SSE2 scan and once with POCKETJSON_PORTABLE_SCAN (the
// portable fallback); both builds must give the same answers.
#include <gtest/gtest.h>

#include <string>

#include "pocketjson/internal/simd_scan.h"

namespace {

using pocketjson::detail::skipBlocksWithoutEscapeCandidate;
using pocketjson::detail::skipBlocksWithoutQuoteOrBackslash;
using pocketjson::detail::skipJsonSpace;

// The expected answer, one byte at a time.
size_t reference(const std::string& text) {
  size_t i = 0;
  while (i < text.size() &&
         (text[i] == ' ' || text[i] == '\t' || text[i] == '\n' || text[i] == '\r')) {
    ++i;
  }
  return i;
}

size_t scanned(const std::string& text) {
  return static_cast<size_t>(skipJsonSpace(text.data(), text.data() + text.size()) - text.data());
}

TEST(WhitespaceScan, ImplementationInThisBuild) {
#ifdef POCKETJSON_PORTABLE_SCAN
  EXPECT_EQ(POCKETJSON_SSE2_SCAN, 0);
#elif defined(__SSE2__)
  EXPECT_EQ(POCKETJSON_SSE2_SCAN, 1);
#endif
}

TEST(WhitespaceScan, StopsAtTheFirstOtherByteAtEveryPositionAndLength) {
  const char blanks[] = {' ', '\t', '\n', '\r'};
  for (size_t length = 0; length <= 50; ++length) {
    for (size_t stop = 0; stop <= length; ++stop) {
      std::string text;
      for (size_t i = 0; i < stop; ++i) text.push_back(blanks[(i + length) % 4]);
      if (stop < length) text.push_back('x');
      while (text.size() < length) text.push_back(' ');
      EXPECT_EQ(scanned(text), stop) << "length " << length << " stop " << stop;
    }
  }
}

TEST(WhitespaceScan, OnlyTheFourJsonBlanksAreSkipped) {
  for (int byte = 0; byte < 256; ++byte) {
    for (size_t at : {size_t{0}, size_t{7}, size_t{16}, size_t{21}}) {
      std::string text(at, ' ');
      text.push_back(static_cast<char>(byte));
      text += std::string(20, '\n');
      text.push_back('}');
      const size_t expected = reference(text);
      EXPECT_EQ(scanned(text), expected) << "byte " << byte << " at " << at;
      const bool blank = byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
      EXPECT_EQ(expected == at, !blank) << "byte " << byte;
    }
  }
}

TEST(WhitespaceScan, AllWhitespaceRunsToTheEndAndNeverPastIt) {
  for (size_t length = 0; length <= 70; ++length) {
    // The bytes after `end` are not whitespace: a scan that read past the end would stop later.
    const std::string buffer = std::string(length, '\t') + std::string(32, 'x');
    EXPECT_EQ(skipJsonSpace(buffer.data(), buffer.data() + length), buffer.data() + length);
    const std::string spaces = std::string(length, ' ') + std::string(32, ' ');
    EXPECT_EQ(skipJsonSpace(spaces.data(), spaces.data() + length), spaces.data() + length);
  }
}

bool isQuoteOrBackslash(unsigned char c) {
  return c == '"' || c == '\\';
}
bool isEscapeCandidate(unsigned char c) {
  return c < 0x20 || c == '"' || c == '\\' || c == 0x7F;
}

// What a block skip must do: return the first interesting byte when it lies in a whole block,
// otherwise stop at or before the last partial block (at `p` itself without SSE2), never past an
// interesting byte and never beyond `end`.
template <typename Skip, typename Interesting>
void checkBlockSkip(Skip skip, Interesting interesting, const std::string& text) {
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  size_t first = 0;
  while (first < text.size() && !interesting(static_cast<unsigned char>(text[first]))) ++first;
  const size_t got = static_cast<size_t>(skip(begin, end) - begin);
  ASSERT_LE(got, first) << text.size();
  if (got < first) {
    // Stopped early: only where fewer than sixteen bytes are left, or without SSE2 at once.
    EXPECT_TRUE(text.size() - got < 16 || (POCKETJSON_SSE2_SCAN == 0 && got == 0))
        << text.size() << " " << got;
  }
#if POCKETJSON_SSE2_SCAN
  if (first < text.size() - text.size() % 16) {
    EXPECT_EQ(got, first) << text.size();
  }
#endif
}

TEST(BlockScans, EveryInterestingByteAtEveryPosition) {
  for (int byte = 0; byte < 256; ++byte) {
    for (size_t length : {size_t{15}, size_t{16}, size_t{17}, size_t{32}, size_t{47}}) {
      for (size_t at = 0; at < length; ++at) {
        std::string text(length, 'a');
        text[at] = static_cast<char>(byte);
        // Bytes >= 0x80 around it must not count.
        if (at + 1 < length) text[at + 1] = static_cast<char>(0xE3);
        checkBlockSkip(skipBlocksWithoutQuoteOrBackslash, isQuoteOrBackslash, text);
        checkBlockSkip(skipBlocksWithoutEscapeCandidate, isEscapeCandidate, text);
      }
    }
  }
}

TEST(BlockScans, NothingInterestingRunsToTheLastPartialBlock) {
  for (size_t length = 0; length <= 70; ++length) {
    const std::string text(length, static_cast<char>(0xC3));
    const char* const end = text.data() + length;
    const size_t expected = POCKETJSON_SSE2_SCAN ? length - length % 16 : 0;
    EXPECT_EQ(
        static_cast<size_t>(skipBlocksWithoutQuoteOrBackslash(text.data(), end) - text.data()),
        expected);
    EXPECT_EQ(static_cast<size_t>(skipBlocksWithoutEscapeCandidate(text.data(), end) - text.data()),
              expected);
  }
}

}  // namespace
