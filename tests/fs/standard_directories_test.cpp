// The standard directories, the running executable's path and its client name.
#include "fs/standard_directories.h"

#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>

#include "fs/client_name.h"

namespace {

// Sets or unsets "TMPDIR" for one test and restores the previous state afterwards.
class TmpdirGuard {
 public:
  TmpdirGuard() {
    const char* old = getenv("TMPDIR");
    hadValue_ = old != nullptr;
    if (hadValue_) old_ = old;
  }
  ~TmpdirGuard() {
    if (hadValue_) {
      setenv("TMPDIR", old_.c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
  }
  void set(const char* value) { ASSERT_EQ(setenv("TMPDIR", value, 1), 0); }
  void unset() { ASSERT_EQ(unsetenv("TMPDIR"), 0); }

 private:
  bool hadValue_ = false;
  std::string old_;
};

TEST(FsTemporaryDirectory, UnsetGivesTmp) {
  TmpdirGuard guard;
  guard.unset();
  EXPECT_EQ(fs::temporary_directory().text(), "/tmp");
}

TEST(FsTemporaryDirectory, EmptyGivesTmp) {
  TmpdirGuard guard;
  guard.set("");
  EXPECT_EQ(fs::temporary_directory().text(), "/tmp");
}

TEST(FsTemporaryDirectory, ValueIsTaken) {
  TmpdirGuard guard;
  guard.set("/var/tmp");
  EXPECT_EQ(fs::temporary_directory().text(), "/var/tmp");
}

TEST(FsTemporaryDirectory, TrailingSlashRemoved) {
  TmpdirGuard guard;
  guard.set("/var/tmp/");
  EXPECT_EQ(fs::temporary_directory().text(), "/var/tmp");
}

TEST(FsTemporaryDirectory, LoneSlashGivesEmptyPath) {
  TmpdirGuard guard;
  guard.set("/");
  EXPECT_EQ(fs::temporary_directory().text(), "");
}

TEST(FsTemporaryDirectory, RelativeValueKept) {
  TmpdirGuard guard;
  guard.set("relative/dir/");
  EXPECT_EQ(fs::temporary_directory().text(), "relative/dir");
}

TEST(FsTemporaryDirectory, ReadOnEveryCall) {
  TmpdirGuard guard;
  guard.set("/first");
  EXPECT_EQ(fs::temporary_directory().text(), "/first");
  guard.set("/second");
  EXPECT_EQ(fs::temporary_directory().text(), "/second");
}

TEST(FsTemporaryDirectory, PureRule) {
  EXPECT_EQ(fs::temporary_directory_for(nullptr).text(), "/tmp");
  EXPECT_EQ(fs::temporary_directory_for("").text(), "/tmp");
  EXPECT_EQ(fs::temporary_directory_for("/").text(), "");
  EXPECT_EQ(fs::temporary_directory_for("/tmp//").text(), "/tmp/");
}

TEST(FsFixedDirectories, CommonApplicationData) {
  EXPECT_EQ(fs::common_application_data_directory().text(), "/var/opt");
}

TEST(FsFixedDirectories, CommonColorProfiles) {
  EXPECT_EQ(fs::common_color_profile_directory().text(), "/var/opt/VURN/profiles");
}

TEST(FsHomeDirectory, Alice) {
  EXPECT_EQ(fs::home_directory_for("alice").text(), "/home/alice");
}

TEST(FsHomeDirectory, RootAndEmptyGiveRoot) {
  EXPECT_EQ(fs::home_directory_for("root").text(), "/root");
  EXPECT_EQ(fs::home_directory_for("").text(), "/root");
}

TEST(FsHomeDirectory, NameIsUsedAsItIs) {
  EXPECT_EQ(fs::home_directory_for("Root").text(), "/home/Root");
  EXPECT_EQ(fs::home_directory_for("a/b").text(), "/home/a/b");
  EXPECT_EQ(fs::home_directory_for("/bob/").text(), "/home/bob");
}

TEST(FsHomeDirectory, DerivedDirectoriesForAlice) {
  EXPECT_EQ(fs::user_application_data_directory_for("alice").text(), "/home/alice/.local/share");
  EXPECT_EQ(fs::user_color_profile_directory_for("alice").text(), "/home/alice/.local/share/icc");
  EXPECT_EQ(fs::desktop_directory_for("alice").text(), "/home/alice/Desktop");
}

TEST(FsHomeDirectory, DerivedDirectoriesForRootAndNoLogin) {
  for (const char* login : {"root", ""}) {
    EXPECT_EQ(fs::user_application_data_directory_for(login).text(), "/root/.local/share") << login;
    EXPECT_EQ(fs::user_color_profile_directory_for(login).text(), "/root/.local/share/icc")
        << login;
    EXPECT_EQ(fs::desktop_directory_for(login).text(), "/root/Desktop") << login;
  }
}

TEST(FsHomeDirectory, DerivedDirectoriesForNameWithSlash) {
  EXPECT_EQ(fs::desktop_directory_for("a/b").text(), "/home/a/b/Desktop");
}

// The process's own login name (whatever the test environment has: a terminal or none).
TEST(FsHomeDirectory, PublicFunctionsAgreeWithLogin) {
  const std::string login = fs::user_name_for_linux();
  const std::string home = fs::home_directory_for(login).text();
  EXPECT_EQ(fs::home_directory().text(), home);
  EXPECT_EQ(fs::user_application_data_directory().text(), home + "/.local/share");
  EXPECT_EQ(fs::user_color_profile_directory().text(), home + "/.local/share/icc");
  EXPECT_EQ(fs::desktop_directory().text(), home + "/Desktop");
}

TEST(FsUserName, MatchesGetloginR) {
  char buffer[1024] = {};
  const std::string expected = getlogin_r(buffer, sizeof buffer - 1) == 0 ? buffer : "";
  EXPECT_EQ(fs::user_name_for_linux(), expected);
}

TEST(FsExecutablePath, IsRealpathOfProcSelfExe) {
  char resolved[PATH_MAX] = {};
  ASSERT_NE(realpath("/proc/self/exe", resolved), nullptr);
  const fs::Path path = fs::executable_path();
  EXPECT_EQ(path.text(), std::string(resolved));
  EXPECT_EQ(path.text().front(), '/');
}

TEST(FsBundleDirectory, OfThisExecutable) {
  char resolved[PATH_MAX] = {};
  ASSERT_NE(realpath("/proc/self/exe", resolved), nullptr);
  std::string expected = resolved;
  expected.erase(expected.rfind('/'));
  EXPECT_EQ(fs::bundle_directory().text(), expected);
}

TEST(FsBundleDirectory, CutRule) {
  EXPECT_EQ(fs::bundle_directory_of(fs::Path("/opt/app/bin/app")).text(), "/opt/app/bin");
  EXPECT_EQ(fs::bundle_directory_of(fs::Path("/app")).text(), "/app");
  EXPECT_EQ(fs::bundle_directory_of(fs::Path("")).text(), "");
  EXPECT_EQ(fs::bundle_directory_of(fs::Path("app")).text(), "app");
}

TEST(FsBundleDirectory, BackslashDoesNotCount) {
  EXPECT_EQ(fs::bundle_directory_of(fs::Path("/opt\\app")).text(), "/opt\\app");
  EXPECT_EQ(fs::bundle_directory_of(fs::Path("/a/b\\c")).text(), "/a");
}

TEST(FsBundleDirectory, ResultIsNotNormalisedAgain) {
  // "/a//b" cut before its last '/' is "/a/": the kept text is copied, not constructed.
  EXPECT_EQ(fs::bundle_directory_of(fs::Path("/a//b")).text(), "/a/");
}

}  // namespace

TEST(FsClientName, FileNameWithoutItsLastExtension) {
  EXPECT_EQ(fs::client_name_of("/opt/viewer/bin/viewer.bin"), "viewer");
  EXPECT_EQ(fs::client_name_of("/usr/bin/viewer"), "viewer");
  EXPECT_EQ(fs::client_name_of("/usr/lib/app.beta.run"), "app.beta");
  EXPECT_EQ(fs::client_name_of("/a/b."), "b");
  EXPECT_EQ(fs::client_name_of("/a.d/b"), "b");
  EXPECT_EQ(fs::client_name_of("/a/b\\c.d"), "b\\c");
}

TEST(FsClientName, SeparatorOrDotAtPositionZeroCountsAsNone) {
  EXPECT_EQ(fs::client_name_of("/usr/bin/.hidden"), ".hidden");
  EXPECT_EQ(fs::client_name_of("/usr/bin/.hidden.x"), ".hidden");
  EXPECT_EQ(fs::client_name_of("/viewer"), "");
  EXPECT_EQ(fs::client_name_of("viewer.bin"), "");
  EXPECT_EQ(fs::client_name_of(""), "");
  EXPECT_EQ(fs::client_name_of("/"), "");
  EXPECT_EQ(fs::client_name_of("/usr/bin/"), "");
  EXPECT_EQ(fs::client_name_of("//x.y"), "x");
}

TEST(FsClientName, OfThisExecutable) {
  EXPECT_EQ(fs::client_name(), fs::client_name_of(fs::executable_path().text()));
  EXPECT_EQ(fs::client_name(), "fs_standard_directories_test");
}
