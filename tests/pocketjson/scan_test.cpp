// The parser's whitespace scan, white-box: every length, every position of the first
// non-whitespace byte, every whitespace byte, and the bytes that only look like whitespace. This
// file is built twice, once with the SSE2 scan and once with POCKETJSON_PORTABLE_SCAN (the
// portable fallback); both builds must give the same answers.
#include <gtest/gtest.h>

#include <string>

#include "pocketjson/internal/simd_scan.h"

namespace {

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

}  // namespace
