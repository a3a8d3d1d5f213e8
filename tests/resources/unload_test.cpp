// Unloading the plug-in: a dlclose without TearDown closes every connection before the code goes
// away, so the application library never calls into unmapped code; process exit without
// TearDown still closes nothing, whether the host loaded the plug-in with dlopen (process_test)
// or linked it (here, through linked_exit_probe).
//
// Each test loads the plug-in itself and unloads it again, so this executable links only the two
// stand-ins (which stay loaded and keep the call log) and never the plug-in.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bridge_helper_stand_in.h"
#include "zarvo_simulator.h"

#ifndef ZARVO_BRIDGING_PLUGIN
#error "ZARVO_BRIDGING_PLUGIN must name the built plug-in file"
#endif
#ifndef ZARVO_LINKED_EXIT_PROBE
#error "ZARVO_LINKED_EXIT_PROBE must name the linked_exit_probe executable"
#endif

extern char** environ;

namespace {

using Lines = std::vector<std::string>;
using EntryPoint = int (*)(const char*, const char*, const char*, const char*);

const char kPost[] = R"({"method":"post"})";

Lines callLog() {
  Lines lines;
  const std::string text = ZrvSimCallLog();
  size_t start = 0;
  for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

Lines linesStartingWith(const Lines& lines, const std::string& prefix) {
  Lines found;
  for (const std::string& line : lines) {
    if (line.rfind(prefix, 0) == 0) found.push_back(line);
  }
  return found;
}

void countEvent(const char* /*name*/, const char* /*json*/, void* userData) {
  static_cast<std::atomic<long>*>(userData)->fetch_add(1);
}

class UnloadTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ZrvSimReset();
    ZrvSimSetEventThreadCount(2);
    BridgeHelperStandInReset();
    BridgeHelperStandInSetEventSink(&countEvent, &events_);
    plugin_ = dlopen(ZARVO_BRIDGING_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(plugin_, nullptr) << dlerror();
    application_ = reinterpret_cast<EntryPoint>(dlsym(plugin_, "ZarvoApplication"));
    event_ = reinterpret_cast<EntryPoint>(dlsym(plugin_, "ZarvoApplicationEvent"));
    tearDown_ = reinterpret_cast<void (*)()>(dlsym(plugin_, "TearDown"));
    ASSERT_NE(application_, nullptr);
    ASSERT_NE(event_, nullptr);
    ASSERT_NE(tearDown_, nullptr);
  }
  void TearDown() override {
    if (plugin_ != nullptr) dlclose(plugin_);
    BridgeHelperStandInReset();
    ZrvSimReset();
  }

  // Unloads the plug-in and checks that it is really gone from the process.
  void unload() {
    ASSERT_EQ(dlclose(plugin_), 0) << dlerror();
    plugin_ = nullptr;
    EXPECT_EQ(dlopen(ZARVO_BRIDGING_PLUGIN, RTLD_NOW | RTLD_NOLOAD), nullptr)
        << "the plug-in stayed mapped after dlclose";
  }

  void connectAndSubscribe(const char* name) {
    const std::string parameters = std::string(R"({"name":")") + name + "\"}";
    const std::string event = std::string(R"({"name":")") + name + R"(","type":"progress"})";
    application_(kPost, parameters.c_str(), "{}", "");
    event_(kPost, event.c_str(), "{}", "");
  }

  void* plugin_ = nullptr;
  EntryPoint application_ = nullptr;
  EntryPoint event_ = nullptr;
  void (*tearDown_)() = nullptr;
  std::atomic<long> events_{0};
};

TEST_F(UnloadTest, DlcloseWhileEventsFlowClosesEveryConnectionInNameOrder) {
  connectAndSubscribe("viewer");
  connectAndSubscribe("printer");
  ZrvApplicationHandle viewer = ZrvSimConnectionNamed("viewer");
  ZrvApplicationHandle printer = ZrvSimConnectionNamed("printer");
  ASSERT_NE(viewer, nullptr);
  ASSERT_NE(printer, nullptr);
  ASSERT_EQ(ZrvSimRaiseEvent(viewer, "progress", R"({"percent":1})"), 1);

  // Events keep being queued on the simulator's two event threads while the plug-in goes away.
  std::atomic<bool> stop{false};
  std::atomic<long> posted{0};
  std::thread raiser([&] {
    while (!stop.load()) {
      ZrvSimPostEvent(viewer, "progress", R"({"percent":2})");
      ZrvSimPostEvent(printer, "progress", R"({"percent":3})");
      posted.fetch_add(2);
    }
  });
  while (posted.load() < 200) std::this_thread::yield();
  ZrvSimClearLog();
  unload();
  const long eventsAtUnload = events_.load();
  const long postedAtUnload = posted.load();
  while (posted.load() < postedAtUnload + 200) std::this_thread::yield();
  stop.store(true);
  raiser.join();
  ZrvSimFlush();

  EXPECT_EQ(ZrvSimRaiseEvent(viewer, "progress", R"({"percent":4})"), 0);
  EXPECT_EQ(ZrvSimRaiseEvent(printer, "progress", R"({"percent":5})"), 0);
  EXPECT_EQ(events_.load(), eventsAtUnload) << "an event reached the host after the unload";
  EXPECT_EQ(linesStartingWith(callLog(), "ZrvDisconnectApplication"),
            (Lines{"ZrvDisconnectApplication(2) -> 1", "ZrvDisconnectApplication(1) -> 1"}));
}

TEST_F(UnloadTest, DlcloseAfterTearDownClosesNothingMore) {
  connectAndSubscribe("viewer");
  tearDown_();
  ZrvSimClearLog();
  unload();
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(UnloadTest, DlcloseWithoutAnyCallCallsNothing) {
  ZrvSimClearLog();
  unload();
  EXPECT_EQ(callLog(), Lines{});
}

TEST_F(UnloadTest, LoadedAgainAfterAnUnloadStartsEmpty) {
  connectAndSubscribe("viewer");
  unload();
  ZrvSimClearLog();
  plugin_ = dlopen(ZARVO_BRIDGING_PLUGIN, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(plugin_, nullptr) << dlerror();
  application_ = reinterpret_cast<EntryPoint>(dlsym(plugin_, "ZarvoApplication"));
  ASSERT_NE(application_, nullptr);
  // The name is free again: the unload closed it, and the new copy's registry is empty.
  application_(kPost, R"({"name":"viewer"})", "{}", "");
  EXPECT_EQ(linesStartingWith(callLog(), "ZrvConnectApplication").size(), 1u);
  unload();
  EXPECT_EQ(linesStartingWith(callLog(), "ZrvDisconnectApplication"),
            (Lines{"ZrvDisconnectApplication(2) -> 1"}));
}

// ---- A host that links the plug-in -------------------------------------------------------------

// Runs linked_exit_probe with `argument` and returns the call log it left at exit.
Lines runLinkedProbe(const std::string& argument) {
  namespace stdfs = std::filesystem;
  std::string directory = (stdfs::temp_directory_path() / "zarvo-unload-XXXXXX").string();
  EXPECT_NE(mkdtemp(directory.data()), nullptr);
  const std::string logFile = directory + "/exit.log";
  std::vector<std::string> environment;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string entry(*variable);
    if (entry.rfind("ZRV_SIM_EXIT_LOG=", 0) != 0 && entry.rfind("ASAN_OPTIONS=", 0) != 0) {
      environment.push_back(entry);
    }
  }
  environment.push_back("ZRV_SIM_EXIT_LOG=" + logFile);
  // Exiting without TearDown leaves the application objects to the library by design.
  const char* asanOptions = std::getenv("ASAN_OPTIONS");
  environment.push_back(std::string("ASAN_OPTIONS=") +
                        (asanOptions != nullptr ? std::string(asanOptions) + ":" : "") +
                        "detect_leaks=0");
  std::vector<char*> envp;
  envp.reserve(environment.size() + 1);
  for (std::string& entry : environment) envp.push_back(entry.data());
  envp.push_back(nullptr);
  std::string program = ZARVO_LINKED_EXIT_PROBE;
  std::string arg = argument;
  char* argv[] = {program.data(), arg.data(), nullptr};
  pid_t child = 0;
  EXPECT_EQ(posix_spawn(&child, program.c_str(), nullptr, nullptr, argv, envp.data()), 0);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  Lines lines;
  std::ifstream in(logFile);
  EXPECT_TRUE(in.good()) << "no exit log " << logFile;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  std::error_code ignored;
  stdfs::remove_all(directory, ignored);
  return lines;
}

TEST(LinkedHost, ExitWithoutTearDownClosesNothing) {
  const Lines lines = runLinkedProbe("exit");
  EXPECT_EQ(linesStartingWith(lines, "ZrvConnectApplication").size(), 2u);
  EXPECT_EQ(linesStartingWith(lines, "ZrvRegisterEvent").size(), 1u);
  EXPECT_EQ(linesStartingWith(lines, "ZrvDisconnectApplication"), Lines{});
}

TEST(LinkedHost, ExitAfterTearDownClosesInNameOrder) {
  // The control case: the log does show disconnects when there are any.
  const Lines lines = runLinkedProbe("teardown");
  EXPECT_EQ(linesStartingWith(lines, "ZrvDisconnectApplication"),
            (Lines{"ZrvDisconnectApplication(2) -> 1", "ZrvDisconnectApplication(1) -> 1"}));
}

}  // namespace
