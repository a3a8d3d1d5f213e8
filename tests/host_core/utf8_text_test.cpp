// Repairing byte texts into UTF-8 the way browsers' decoders do.
#include <gtest/gtest.h>

#include <string>

#include "host_core/utf8_text.h"

namespace host_core {
namespace {

std::string repaired(const std::string& text) {
  std::string out;
  appendValidUtf8(&out, text);
  return out;
}

const std::string kFffd = "\xEF\xBF\xBD";

TEST(Utf8Text, ValidTextPassesUnchanged) {
  const std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF";
  EXPECT_TRUE(isValidUtf8(text));
  EXPECT_EQ(repaired(text), text);
  EXPECT_TRUE(isValidUtf8(std::string("\0", 1)));
}

TEST(Utf8Text, EachMaximalSubpartBecomesOneReplacement) {
  EXPECT_EQ(repaired("\x80"), kFffd);
  EXPECT_EQ(repaired("a\xFF"
                     "b"),
            "a" + kFffd + "b");
  EXPECT_EQ(repaired("\xC0\xAF"), kFffd + kFffd) << "overlong: neither byte starts a sequence";
  EXPECT_EQ(repaired("\xE2\x82"), kFffd) << "a cut sequence is one replacement";
  EXPECT_EQ(repaired("\xE2\x82"
                     "a"),
            kFffd + "a");
  EXPECT_EQ(repaired("\xED\xA0\x80"), kFffd + kFffd + kFffd) << "a surrogate is not UTF-8";
  EXPECT_EQ(repaired("\xF0\x9F\x98"), kFffd);
  EXPECT_EQ(repaired("\xF4\x90\x80\x80"), kFffd + kFffd + kFffd + kFffd) << "above U+10FFFF";
  EXPECT_EQ(repaired("\xE0\x80\x80"), kFffd + kFffd + kFffd) << "overlong three bytes";
  EXPECT_FALSE(isValidUtf8("\xF8\x88\x80\x80\x80"));
}

}  // namespace
}  // namespace host_core
