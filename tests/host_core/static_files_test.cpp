// The static-file policy shared by the hosts: resolution inside one folder, traversal and links
// that leave it, directories, redirects that stay on the host, and the MIME table.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "host_core/static_files.h"

namespace host_core {
namespace {

class StaticFilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/host_core_files_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    base_ = pattern;
    ASSERT_EQ(mkdir((base_ + "/page").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((base_ + "/page/sub").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((base_ + "/page/empty").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((base_ + "/modules").c_str(), 0700), 0);
    write("/page/index.html", "<p>page</p>");
    write("/page/sub/index.html", "<p>sub</p>");
    write("/page/app.js", "1");
    write("/modules/zarvo.js", "2");
    write("/secret.txt", "outside");
    ASSERT_EQ(symlink((base_ + "/secret.txt").c_str(), (base_ + "/page/out.txt").c_str()), 0);
    ASSERT_EQ(symlink((base_ + "/page/app.js").c_str(), (base_ + "/page/in.js").c_str()), 0);
    ASSERT_EQ(mkfifo((base_ + "/page/fifo").c_str(), 0600), 0);
  }
  void TearDown() override { std::system(("rm -rf '" + base_ + "'").c_str()); }

  void write(const std::string& path, const std::string& text) {
    std::ofstream(base_ + path) << text;
  }
  StaticFiles files() const { return StaticFiles(base_ + "/page", base_ + "/modules"); }
  std::string real(const std::string& path) const {
    char* resolved = realpath((base_ + path).c_str(), nullptr);
    std::string out(resolved != nullptr ? resolved : "");
    std::free(resolved);  // NOLINT(cppcoreguidelines-no-malloc)
    return out;
  }

  std::string base_;
};

TEST_F(StaticFilesTest, FilesInsideBothFolders) {
  FileLookup found = files().lookUp("/app.js");
  EXPECT_EQ(found.kind, FileLookup::Kind::kFile);
  EXPECT_EQ(found.file, real("/page/app.js"));
  found = files().lookUp("/zarvo/zarvo.js");
  EXPECT_EQ(found.kind, FileLookup::Kind::kFile);
  EXPECT_EQ(found.file, real("/modules/zarvo.js"));
  found = files().lookUp("/./sub//index.html");
  EXPECT_EQ(found.file, real("/page/sub/index.html"));
}

TEST_F(StaticFilesTest, DirectoriesServeTheirIndex) {
  EXPECT_EQ(files().lookUp("/").file, real("/page/index.html"));
  EXPECT_EQ(files().lookUp("/sub/").file, real("/page/sub/index.html"));
  const FileLookup empty = files().lookUp("/empty/");
  EXPECT_EQ(empty.kind, FileLookup::Kind::kMissing);
  EXPECT_EQ(empty.error.message, "no file at '/empty/'");
}

TEST_F(StaticFilesTest, RedirectsNeverLeaveTheHost) {
  FileLookup found = files().lookUp("/sub");
  EXPECT_EQ(found.kind, FileLookup::Kind::kRedirect);
  EXPECT_EQ(found.location, "/sub/");
  found = files().lookUp("//sub");
  EXPECT_EQ(found.kind, FileLookup::Kind::kRedirect);
  EXPECT_EQ(found.location, "/sub/") << "\"//sub/\" would name the host 'sub'";
  found = files().lookUp("///sub/.");
  EXPECT_EQ(found.location, "/sub/");
}

TEST_F(StaticFilesTest, TraversalAndLinksOutAreRefused) {
  for (const char* path :
       {"/../secret.txt", "/sub/../../secret.txt", "/zarvo/../page/app.js", "/out.txt"}) {
    const FileLookup found = files().lookUp(path);
    EXPECT_EQ(found.kind, FileLookup::Kind::kMissing) << path;
    EXPECT_EQ(found.error.code, "NotFound") << path;
    EXPECT_EQ(found.error.message, std::string("path '") + path + "' leaves the served folder");
  }
  EXPECT_EQ(files().lookUp("/in.js").file, real("/page/app.js")) << "a link inside is served";
}

TEST_F(StaticFilesTest, MissingFilesControlBytesAndSpecialFiles) {
  EXPECT_EQ(files().lookUp("/nothing.js").error.message, "no file at '/nothing.js'");
  EXPECT_EQ(files().lookUp(std::string("/app.js\0x", 9)).kind, FileLookup::Kind::kMissing);
  EXPECT_EQ(files().lookUp("/app.js\r\nX: y").kind, FileLookup::Kind::kMissing);
  EXPECT_EQ(files().lookUp("/fifo").error.message, "no file at '/fifo'");
  EXPECT_EQ(StaticFiles(base_ + "/none", base_).lookUp("/").error.message, "no file at '/'");
}

TEST(ContentType, CommonWebTypes) {
  const std::pair<const char*, const char*> expected[] = {
      {"a.html", "text/html; charset=utf-8"},
      {"a.js", "text/javascript; charset=utf-8"},
      {"a.mjs", "text/javascript; charset=utf-8"},
      {"a.css", "text/css; charset=utf-8"},
      {"a.json", "application/json; charset=utf-8"},
      {"a.js.map", "application/json; charset=utf-8"},
      {"a.svg", "image/svg+xml; charset=utf-8"},
      {"a.png", "image/png"},
      {"a.jpg", "image/jpeg"},
      {"A.JPEG", "image/jpeg"},
      {"a.gif", "image/gif"},
      {"a.webp", "image/webp"},
      {"favicon.ico", "image/x-icon"},
      {"a.woff", "font/woff"},
      {"a.woff2", "font/woff2"},
      {"a.wasm", "application/wasm"},
      {"a.txt", "text/plain; charset=utf-8"},
      {"a.exe", "application/octet-stream"},
      {"dir.d/noext", "application/octet-stream"},
      {"noext", "application/octet-stream"},
  };
  for (const auto& [name, type] : expected) EXPECT_EQ(contentTypeFor(name), type) << name;
}

}  // namespace
}  // namespace host_core
