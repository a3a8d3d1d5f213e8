// Where a host finds its plug-in, description and web folder: the build tree's paths, or the
// installed prefix around the executable.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "host_core/default_paths.h"

namespace host_core {
namespace {

const DefaultPaths kBuildTree{"/build/libzarvo_bridging.so.2", "/src/examples/applications.json",
                              "/src/web"};

class DefaultPathsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/host_core_prefix_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    prefix_ = pattern;
    ASSERT_EQ(mkdir((prefix_ + "/bin").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((prefix_ + "/lib").c_str(), 0700), 0);
  }
  void TearDown() override { std::system(("rm -rf '" + prefix_ + "'").c_str()); }
  std::string prefix_;
};

TEST_F(DefaultPathsTest, AnInstalledPrefixGivesTheFilesInstalledBesideTheExecutable) {
  std::ofstream(prefix_ + "/lib/libzarvo_bridging.so.2") << "";
  const DefaultPaths paths = defaultPathsFor(prefix_ + "/bin/zarvo_host", kBuildTree, {});
  EXPECT_EQ(paths.plugin, prefix_ + "/lib/libzarvo_bridging.so.2");
  EXPECT_EQ(paths.applications, prefix_ + "/share/zarvo_bridging/applications.json");
  EXPECT_EQ(paths.web, prefix_ + "/share/zarvo_bridging/web");
}

TEST_F(DefaultPathsTest, TheLibdirFollowsTheLayout) {
  ASSERT_EQ(mkdir((prefix_ + "/lib64").c_str(), 0700), 0);
  std::ofstream(prefix_ + "/lib64/libzarvo_bridging.so.2") << "";
  InstallLayout layout;
  layout.libdir = "lib64";
  EXPECT_EQ(defaultPathsFor(prefix_ + "/bin/zarvo_view", kBuildTree, layout).plugin,
            prefix_ + "/lib64/libzarvo_bridging.so.2");
  EXPECT_EQ(defaultPathsFor(prefix_ + "/bin/zarvo_view", kBuildTree, {}).plugin, kBuildTree.plugin);
}

TEST_F(DefaultPathsTest, WithoutAnInstalledPluginTheBuildTreeWins) {
  EXPECT_EQ(defaultPathsFor(prefix_ + "/bin/zarvo_host", kBuildTree, {}).plugin, kBuildTree.plugin);
  std::ofstream(prefix_ + "/lib/libzarvo_bridging.so.2") << "";
  EXPECT_EQ(defaultPathsFor(prefix_ + "/tools/zarvo_host", kBuildTree, {}).web, kBuildTree.web)
      << "not in a bin folder";
  EXPECT_EQ(defaultPathsFor("", kBuildTree, {}).applications, kBuildTree.applications);
}

TEST(RunningExecutable, IsThisTest) {
  const std::string path = runningExecutable();
  EXPECT_NE(path.find("host_core_units_test"), std::string::npos) << path;
}

}  // namespace
}  // namespace host_core
