// Whole-process behaviour: the client name derived from the executable's file name, and process
// exit without TearDown. Each case runs this test executable again as a child process (optionally
// copied under another name) in a child mode selected by the environment; the simulator writes
// the child's call log to the file named by ZRV_SIM_EXIT_LOG when the child exits.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "plugin_harness.h"

extern char** environ;

namespace restest {
namespace {

namespace stdfs = std::filesystem;
using Lines = std::vector<std::string>;

const char kChildModeVariable[] = "ZARVO_RESOURCES_CHILD";

// ---- Child side -------------------------------------------------------------------------------

int post(EntryPoint entry, const char* parameters, const char* body) {
  return entry(R"({"method":"post"})", parameters, "{}", body);
}

// Runs a child mode and returns the process exit code; -1 when `mode` is unknown.
int runChild(const std::string& mode) {
  const Plugin& plugin = Plugin::get();
  if (mode == "connect-once") {
    post(plugin.application, R"({"name":"x"})", "");
    plugin.tearDown();
    return 0;
  }
  if (mode == "exit-without-teardown" || mode == "exit-after-teardown") {
    post(plugin.application, R"({"name":"b"})", "");
    post(plugin.application, R"({"name":"a"})", "");
    post(plugin.event, R"({"name":"a","type":"progress"})", "");
    if (mode == "exit-after-teardown") {
      plugin.tearDown();
    }
    return 0;  // static destructors run, the registry's among them
  }
  return -1;
}

// ---- Parent side ------------------------------------------------------------------------------

class ChildProcess : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (stdfs::temp_directory_path() / "zarvo-resources-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    directory_ = pattern;
  }
  void TearDown() override {
    std::error_code ignored;
    stdfs::remove_all(directory_, ignored);
  }

  // Runs `executable` in child `mode`; returns the exit log's lines (the child must exit 0).
  Lines runChildProcess(const stdfs::path& executable, const std::string& mode) {
    const stdfs::path logFile = directory_ / ("exit-" + std::to_string(++runs_) + ".log");
    std::vector<std::string> environment;
    for (char** variable = environ; *variable != nullptr; ++variable) {
      const std::string entry(*variable);
      if (entry.rfind("ZRV_SIM_EXIT_LOG=", 0) != 0 && entry.rfind("ASAN_OPTIONS=", 0) != 0 &&
          entry.rfind(kChildModeVariable, 0) != 0) {
        environment.push_back(entry);
      }
    }
    environment.push_back("ZRV_SIM_EXIT_LOG=" + logFile.string());
    environment.push_back(std::string(kChildModeVariable) + "=" + mode);
    // Exiting without TearDown leaves the application objects to the library by design; a leak
    // checker would report them.
    const char* asanOptions = std::getenv("ASAN_OPTIONS");
    environment.push_back(std::string("ASAN_OPTIONS=") +
                          (asanOptions != nullptr ? std::string(asanOptions) + ":" : "") +
                          "detect_leaks=0");
    std::vector<char*> envp;
    envp.reserve(environment.size() + 1);
    for (std::string& entry : environment) envp.push_back(entry.data());
    envp.push_back(nullptr);
    std::string program = executable.string();
    char* argv[] = {program.data(), nullptr};

    pid_t child = 0;
    const int spawned = posix_spawn(&child, program.c_str(), nullptr, nullptr, argv, envp.data());
    EXPECT_EQ(spawned, 0) << program;
    if (spawned != 0) return {};
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << program;
    EXPECT_EQ(WEXITSTATUS(status), 0) << program;

    std::ifstream in(logFile);
    EXPECT_TRUE(in.good()) << "no exit log " << logFile;
    Lines lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }

  // This test executable copied into the temporary directory as `name`.
  stdfs::path copyOfSelf(const std::string& name) {
    stdfs::path copy = directory_ / name;
    stdfs::copy_file("/proc/self/exe", copy);
    stdfs::permissions(copy, stdfs::perms::owner_all);
    return copy;
  }

  stdfs::path directory_;
  int runs_ = 0;
};

// The running test executable's own file (the target of /proc/self/exe).
stdfs::path self() {
  return stdfs::read_symlink("/proc/self/exe");
}

bool hasLineStartingWith(const Lines& lines, const std::string& prefix) {
  for (const std::string& line : lines) {
    if (line.rfind(prefix, 0) == 0) return true;
  }
  return false;
}

TEST_F(ChildProcess, ClientNameOfThisExecutable) {
  const std::string fileName = executableFileName();
  const Lines lines = runChildProcess(self(), "connect-once");
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], "ZrvConnectApplication(\"x\", \"" + fileName + "\") -> 1");
}

TEST_F(ChildProcess, ClientNameDropsTheLastExtension) {
  const Lines viewer = runChildProcess(copyOfSelf("viewer.bin"), "connect-once");
  ASSERT_FALSE(viewer.empty());
  EXPECT_EQ(viewer[0], R"(ZrvConnectApplication("x", "viewer") -> 1)");

  const Lines beta = runChildProcess(copyOfSelf("app.beta.run"), "connect-once");
  ASSERT_FALSE(beta.empty());
  EXPECT_EQ(beta[0], R"(ZrvConnectApplication("x", "app.beta") -> 1)");
}

TEST_F(ChildProcess, ClientNameKeepsALeadingDot) {
  const Lines hidden = runChildProcess(copyOfSelf(".hidden"), "connect-once");
  ASSERT_FALSE(hidden.empty());
  EXPECT_EQ(hidden[0], R"(ZrvConnectApplication("x", ".hidden") -> 1)");
}

TEST_F(ChildProcess, ExitWithoutTearDownClosesNothing) {
  const Lines lines = runChildProcess(self(), "exit-without-teardown");
  const std::string client = executableFileName();
  EXPECT_EQ(lines, (Lines{"ZrvConnectApplication(\"b\", \"" + client + "\") -> 1",
                          "ZrvSetApplicationDidDisconnectCallback(1, callback, context) -> 1",
                          "ZrvConnectApplication(\"a\", \"" + client + "\") -> 2",
                          "ZrvSetApplicationDidDisconnectCallback(2, callback, context) -> 1",
                          R"(ZrvRegisterEvent(2, "", "progress", callback, context) -> 1)"}));
  EXPECT_FALSE(hasLineStartingWith(lines, "ZrvDisconnectApplication"));
}

TEST_F(ChildProcess, ExitAfterTearDownClosesInNameOrder) {
  // The control case: the same child with TearDown does close, so the log can show it.
  const Lines lines = runChildProcess(self(), "exit-after-teardown");
  ASSERT_EQ(lines.size(), 7u);
  EXPECT_EQ(lines[5], "ZrvDisconnectApplication(2) -> 1");
  EXPECT_EQ(lines[6], "ZrvDisconnectApplication(1) -> 1");
}

}  // namespace
}  // namespace restest

int main(int argc, char** argv) {
  if (const char* mode = std::getenv(restest::kChildModeVariable)) {
    return restest::runChild(mode);
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
