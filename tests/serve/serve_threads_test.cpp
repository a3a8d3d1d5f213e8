// `zarvo_host serve` under load and on its way out: calls from eight client threads at once,
// every plug-in call on one host thread, and SIGTERM/SIGINT ending the process cleanly with
// TearDown's disconnects, also while a stream is open and events are flowing.
#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "serve_test_support.h"

namespace {

using serve_test::readFile;
using serve_test::resourceBody;
using serve_test::scratchFolder;
using serve_test::ServeProcess;
using serve_test::SseClient;
using serve_test::SseEvent;

int post(int port, const std::string& path, const std::string& body,
         std::string* promise = nullptr) {
  serve_test::HttpClient client(port);
  auto result = client.post(path.c_str(), body, "application/json");
  if (!result) return -1;
  if (promise != nullptr) *promise = result->get_header_value("Zarvo-Promise");
  return result->status;
}

TEST(ServeThreads, CallsFromEightThreadsAreEachAnsweredOnceOnOneHostThread) {
  const std::string folder = scratchFolder("eight_threads");
  const std::string report = folder + "/stand_in.txt";
  ServeProcess server({}, {{"BRIDGE_HELPER_STAND_IN_EXIT_LOG", report}});
  ASSERT_EQ(post(server.port(), "/bridge/ZarvoApplication",
                 resourceBody("post", "{\"name\":\"viewer\"}")),
            200);
  constexpr int kThreads = 8;
  constexpr int kCalls = 25;
  std::mutex mutex;
  std::vector<std::string> promises;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      serve_test::HttpClient client(server.port());
      for (int i = 0; i < kCalls; ++i) {
        auto result = client.post(
            "/bridge/ZarvoApplicationBridge",
            resourceBody("post", "{\"name\":\"viewer\"}", "{\"uri\":\"/document/open\"}"),
            "application/json");
        if (!result || result->status != 200 ||
            result->body !=
                "{\"error\":null,\"value\":{\"data\":{\"opened\":true,\"pages\":12},"
                "\"statuscode\":200}}") {
          ++failures;
          continue;
        }
        std::lock_guard<std::mutex> lock(mutex);
        promises.push_back(result->get_header_value("Zarvo-Promise"));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  ASSERT_EQ(promises.size(), static_cast<size_t>(kThreads * kCalls));
  std::set<int> unique;
  for (const std::string& promise : promises) unique.insert(std::stoi(promise));
  EXPECT_EQ(unique.size(), promises.size());
  EXPECT_EQ(*unique.begin(), 2);
  EXPECT_EQ(*unique.rbegin(), kThreads * kCalls + 1);

  EXPECT_EQ(server.stop(SIGTERM), 0);
  const std::string counts = readFile(report);
  EXPECT_NE(counts.find("promises 201\nresponses 201\nresponse threads 1\n"), std::string::npos)
      << counts;
}

// Connects viewer and printer, stops the server with `signal`, returns the simulator's exit log.
std::string exitLogAfter(int signal, const std::string& name) {
  const std::string folder = scratchFolder(name);
  const std::string log = folder + "/calls.txt";
  ServeProcess server({}, {{"ZRV_SIM_EXIT_LOG", log}});
  EXPECT_EQ(post(server.port(), "/bridge/ZarvoApplication",
                 resourceBody("post", "{\"name\":\"viewer\"}")),
            200);
  EXPECT_EQ(post(server.port(), "/bridge/ZarvoApplication",
                 resourceBody("post", "{\"name\":\"printer\"}")),
            200);
  EXPECT_EQ(server.stop(signal), 0);
  EXPECT_EQ(server.errorOutput(), "");
  return readFile(log);
}

TEST(ServeThreads, SigtermTearsDownAndExitsZero) {
  const std::string log = exitLogAfter(SIGTERM, "sigterm");
  EXPECT_NE(log.find("ZrvDisconnectApplication(2) -> 1\nZrvDisconnectApplication(1) -> 1\n"),
            std::string::npos)
      << log;
}

TEST(ServeThreads, SigintTearsDownAndExitsZero) {
  const std::string log = exitLogAfter(SIGINT, "sigint");
  EXPECT_NE(log.find("ZrvDisconnectApplication(2) -> 1\nZrvDisconnectApplication(1) -> 1\n"),
            std::string::npos)
      << log;
}

TEST(ServeThreads, ASignalRightAfterTheFirstLineStillEndsTheServer) {
  for (int i = 0; i < 10; ++i) {
    ServeProcess server;
    ASSERT_GT(server.port(), 0);
    EXPECT_EQ(server.stop(i % 2 == 0 ? SIGTERM : SIGINT), 0);
  }
}

TEST(ServeThreads, SigtermWhileAStreamIsOpenAndEventsAreFlowing) {
  const std::string folder = scratchFolder("sigterm_stream");
  const std::string log = folder + "/calls.txt";
  ServeProcess server({}, {{"ZRV_SIM_EXIT_LOG", log}});
  const int port = server.port();
  ASSERT_EQ(post(port, "/bridge/ZarvoApplication", resourceBody("post", "{\"name\":\"viewer\"}")),
            200);
  // The description raises "progress" three times; "tick" is raised here without end.
  ASSERT_EQ(post(port, "/bridge/ZarvoApplicationEvent",
                 resourceBody("post", "{\"name\":\"viewer\",\"type\":\"tick\"}")),
            200);
  SseClient stream(port);
  ASSERT_EQ(stream.head().status, 200);
  std::atomic<bool> raising{true};
  std::thread raiser([&] {
    serve_test::HttpClient client(port);
    while (raising.load()) {
      auto result =
          client.post("/simulator/raise", "{\"app\":\"viewer\",\"type\":\"tick\",\"count\":50}",
                      "application/json");
      if (!result) break;  // the server has gone
    }
  });
  SseEvent event;
  int received = 0;
  while (received < 100 && stream.next(&event)) {
    if (event.event == "zarvoEvent") ++received;
  }
  EXPECT_EQ(received, 100);
  EXPECT_EQ(server.stop(SIGTERM), 0);
  raising = false;
  raiser.join();
  // The stream ends (the server closed it) rather than hanging.
  while (stream.next(&event)) {
  }
  EXPECT_TRUE(stream.ended());
  const std::string calls = readFile(log);
  EXPECT_NE(calls.find("ZrvDisconnectApplication(1) -> 1\n"), std::string::npos) << calls;
}

}  // namespace
