// ZRV_SIM_EXIT_LOG: the call log written at process exit includes the calls made by static
// destructors, and a process that exits with event threads running exits cleanly.
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

// Runs the probe in `mode` with ZRV_SIM_EXIT_LOG=`logPath`; returns its exit status.
int runProbe(const std::string& mode, const std::string& logPath) {
  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (std::string(*entry).rfind("ZRV_SIM_EXIT_LOG=", 0) != 0) environment.push_back(*entry);
  }
  if (!logPath.empty()) environment.push_back("ZRV_SIM_EXIT_LOG=" + logPath);
  std::vector<char*> envp;
  for (std::string& entry : environment) envp.push_back(&entry[0]);
  envp.push_back(nullptr);
  std::string program = ZARVO_SIM_EXIT_PROBE;
  std::string argument = mode;
  char* argv[] = {&program[0], &argument[0], nullptr};
  pid_t pid = 0;
  if (posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv, envp.data()) != 0) return -1;
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

class ExitLog : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/zarvo_sim_exit_XXXXXX";
    const int fd = mkstemp(pattern);
    ASSERT_GE(fd, 0);
    close(fd);
    path_ = pattern;
    std::remove(path_.c_str());
  }
  void TearDown() override { std::remove(path_.c_str()); }
  std::string path_;
};

TEST_F(ExitLog, IncludesCallsFromStaticDestructors) {
  ASSERT_EQ(runProbe("static-disconnect", path_), 0);
  EXPECT_EQ(readFile(path_),
            "ZrvConnectApplication(\"viewer\", \"probe\") -> 1\n"
            "ZrvRegisterEvent(1, \"\", \"tick\", callback, NULL) -> 1\n"
            "ZrvUnregisterEvent(1, \"\", \"tick\") -> 1\n"
            "ZrvDisconnectApplication(1) -> 1\n");
}

TEST_F(ExitLog, NoDisconnectWhenNobodyDisconnects) {
  ASSERT_EQ(runProbe("no-disconnect", path_), 0);
  EXPECT_EQ(readFile(path_),
            "ZrvConnectApplication(\"viewer\", \"probe\") -> 1\n"
            "ZrvRegisterEvent(1, \"\", \"tick\", callback, NULL) -> 1\n"
            "ZrvUnregisterEvent(1, \"\", \"tick\") -> 1\n");
}

TEST_F(ExitLog, NothingWrittenWithoutVariable) {
  ASSERT_EQ(runProbe("no-disconnect", ""), 0);
  std::ifstream in(path_);
  EXPECT_FALSE(in.good());
}

}  // namespace
