// fs::Path construction and joining.
#include "fs/path.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

TEST(FsPath, DefaultIsEmpty) {
  fs::Path path;
  EXPECT_EQ(path.text(), "");
  EXPECT_TRUE(path.empty());
}

TEST(FsPath, HasVirtualDestructor) {
  EXPECT_TRUE(std::has_virtual_destructor<fs::Path>::value);
}

TEST(FsPath, KeepsTextWithoutTrailingSeparator) {
  EXPECT_EQ(fs::Path("/var/opt").text(), "/var/opt");
  EXPECT_EQ(fs::Path("relative/dir").text(), "relative/dir");
  EXPECT_EQ(fs::Path("").text(), "");
}

TEST(FsPath, RemovesOneTrailingSlash) {
  EXPECT_EQ(fs::Path("/var/tmp/").text(), "/var/tmp");
  EXPECT_EQ(fs::Path("/tmp//").text(), "/tmp/");
  EXPECT_EQ(fs::Path("/").text(), "");
}

TEST(FsPath, RemovesOneTrailingBackslash) {
  EXPECT_EQ(fs::Path("dir\\").text(), "dir");
  EXPECT_EQ(fs::Path("\\").text(), "");
  EXPECT_EQ(fs::Path("dir\\\\").text(), "dir\\");
}

TEST(FsPath, KeepsInnerBackslash) {
  EXPECT_EQ(fs::Path("C:\\dir\\").text(), "C:\\dir");
}

TEST(FsPath, SeparatorsAreBothSlashHere) {
  EXPECT_STREQ(fs::Path::kNativeSeparator, "/");
  EXPECT_STREQ(fs::Path::kForeignSeparator, "/");
  EXPECT_EQ(fs::Path("a\\b/c").text(), "a\\b/c");
}

TEST(FsPath, FromCString) {
  EXPECT_EQ(fs::Path("/opt/").text(), "/opt");
  EXPECT_EQ(fs::Path(static_cast<const char*>(nullptr)).text(), "");
}

TEST(FsPath, StrIsText) {
  fs::Path path("/a/b");
  EXPECT_EQ(&path.str(), &path.text());
}

TEST(FsPath, JoinAddsSeparator) {
  EXPECT_EQ(fs::Path("/var/opt").join("VURN/profiles").text(), "/var/opt/VURN/profiles");
}

TEST(FsPath, JoinDropsOneLeadingAndOneTrailingSeparator) {
  EXPECT_EQ(fs::Path("/var/opt").join("/x/").text(), "/var/opt/x");
  EXPECT_EQ(fs::Path("/var/opt").join("\\x").text(), "/var/opt/x");
  EXPECT_EQ(fs::Path("/var/opt").join("//x").text(), "/var/opt//x");
}

TEST(FsPath, JoinDoesNotExamineBase) {
  EXPECT_EQ(fs::Path::verbatim("/var/").join("x").text(), "/var//x");
  EXPECT_EQ(fs::Path().join("x").text(), "/x");
}

TEST(FsPath, JoinEmptyOrSeparatorPart) {
  EXPECT_EQ(fs::Path("/a").join("").text(), "/a");
  EXPECT_EQ(fs::Path("/a").join("/").text(), "/a");
  EXPECT_EQ(fs::Path("/a").join("//").text(), "/a/");
}

TEST(FsPath, SlashOperatorJoins) {
  EXPECT_EQ((fs::Path("/home") / "alice").text(), "/home/alice");
}

TEST(FsPath, VerbatimSkipsRules) {
  EXPECT_EQ(fs::Path::verbatim("/tmp/").text(), "/tmp/");
  EXPECT_EQ(fs::Path::verbatim("/").text(), "/");
}

TEST(FsPath, CopyAndCompare) {
  fs::Path a("/x/");
  fs::Path b = a;
  EXPECT_EQ(a, b);
  EXPECT_EQ(b.text(), "/x");
  b = fs::Path("/y");
  EXPECT_NE(a, b);
  EXPECT_EQ(a.text(), "/x");
}

}  // namespace
