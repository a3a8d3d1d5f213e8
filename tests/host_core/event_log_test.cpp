// The event log: ids, the byte budget, gaps for readers that fall behind, where readers start,
// listeners, waiting and closing.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "host_core/event_log.h"
#include "host_core/instance_id.h"
#include "host_core/limits.h"

namespace host_core {
namespace {

using std::chrono::milliseconds;

TEST(InstanceId, SixteenLowercaseHexDigitsAndDifferentEachTime) {
  const std::string a = newInstanceId();
  const std::string b = newInstanceId();
  EXPECT_EQ(a.size(), 16U);
  EXPECT_EQ(a.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_NE(a, b);
}

TEST(EventLog, IdsCountFromOneAndReadersGetConsecutiveBatches) {
  EventLog log(1 << 20, "i1");
  EXPECT_EQ(log.newest(), 0U);
  EXPECT_EQ(log.append("a"), 1U);
  EXPECT_EQ(log.append("b"), 2U);
  uint64_t position = 0;
  EventBatch batch;
  ASSERT_TRUE(log.read(&position, 1024, &batch));
  EXPECT_FALSE(batch.gap);
  EXPECT_EQ(batch.first, 1U);
  EXPECT_EQ(batch.texts, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(position, 2U);
  EXPECT_FALSE(log.read(&position, 1024, &batch));
  EXPECT_TRUE(batch.empty());
}

TEST(EventLog, OnlyZarvoEventsAreKept) {
  EventLog log(1 << 20, "i1");
  log.receive("zarvoEvent", "{\"app\":\"a\"}");
  log.receive("other", "x");
  EXPECT_EQ(log.newest(), 1U);
  EXPECT_EQ(log.ignored(), 1U);
}

TEST(EventLog, BatchesStopNearTheByteBoundButTakeAtLeastOne) {
  EventLog log(1 << 20, "i1");
  log.append(std::string(10, 'x'));
  log.append(std::string(10, 'y'));
  log.append(std::string(100, 'z'));
  uint64_t position = 0;
  EventBatch batch;
  ASSERT_TRUE(log.read(&position, 15, &batch));
  EXPECT_EQ(batch.texts.size(), 1U);
  ASSERT_TRUE(log.read(&position, 15, &batch));
  EXPECT_EQ(batch.first, 2U);
  ASSERT_TRUE(log.read(&position, 15, &batch));
  EXPECT_EQ(batch.first, 3U);
  EXPECT_EQ(batch.texts.size(), 1U) << "one event larger than the batch still goes";
}

TEST(EventLog, TheBudgetDropsTheOldestAndTheReaderIsToldWhichItLost) {
  // Each event costs 1 + kEventOverheadBytes; three fit.
  EventLog log(3 * (1 + kEventOverheadBytes), "i1");
  for (char c = 'a'; c <= 'e'; ++c) log.append(std::string(1, c));
  uint64_t position = 0;
  EventBatch batch;
  ASSERT_TRUE(log.read(&position, 1024, &batch));
  ASSERT_TRUE(batch.gap);
  EXPECT_EQ(batch.gap->first, 1U);
  EXPECT_EQ(batch.gap->last, 2U);
  EXPECT_EQ(batch.gap->lost(), 2U);
  EXPECT_EQ(batch.first, 3U);
  EXPECT_EQ(batch.texts, (std::vector<std::string>{"c", "d", "e"}));
}

TEST(EventLog, TheNewestEventStaysEvenAboveTheBudget) {
  EventLog log(10, "i1");
  log.append("small");
  log.append(std::string(1000, 'x'));
  uint64_t position = 1;
  EventBatch batch;
  ASSERT_TRUE(log.read(&position, 10, &batch));
  EXPECT_FALSE(batch.gap);
  EXPECT_EQ(batch.texts.at(0).size(), 1000U);
}

TEST(EventLog, StartPositions) {
  EventLog log(1 << 20, "mine");
  log.append("a");
  log.append("b");
  EXPECT_EQ(log.startPosition(std::nullopt), 2U) << "no position: from now";
  EXPECT_EQ(log.startPosition(1), 1U);
  EXPECT_EQ(log.startPosition(0), 0U);
  EXPECT_EQ(log.startPosition(99), 2U) << "a position in the future: from now";
  EXPECT_EQ(log.startPosition(1, std::string_view("mine")), 1U);
  EXPECT_EQ(log.startPosition(1, std::string_view("other")), 0U)
      << "another instance's ids mean nothing here: from this instance's first event";
  EXPECT_EQ(log.startPosition(std::nullopt, std::string_view("other")), 0U);
}

TEST(EventLog, ListenersHearEveryEventInOrderAfterItCanBeRead) {
  EventLog log(1 << 20, "i1");
  std::vector<uint64_t> heard;
  bool readable = true;
  const int token = log.addListener([&](uint64_t id, const std::string& text) {
    heard.push_back(id);
    uint64_t position = id - 1;
    EventBatch batch;
    readable = readable && log.read(&position, 1024, &batch) && batch.texts.at(0) == text;
  });
  log.append("a");
  log.append("b");
  log.removeListener(token);
  log.append("c");
  EXPECT_EQ(heard, (std::vector<uint64_t>{1, 2}));
  EXPECT_TRUE(readable);
}

TEST(EventLog, WaitingReadersWakeForEventsAndForClose) {
  EventLog log(1 << 20, "i1");
  EXPECT_FALSE(log.waitNewer(0, milliseconds(1)));
  std::thread appender([&] { log.append("a"); });
  EXPECT_TRUE(log.waitNewer(0, milliseconds(10000)));
  appender.join();
  std::thread closer([&] { log.close(); });
  EXPECT_FALSE(log.waitNewer(1, milliseconds(10000)));
  closer.join();
  EXPECT_TRUE(log.closed());
}

TEST(EventLog, ConcurrentAppendersGetDistinctIdsAndListenersSeeThemInOrder) {
  EventLog log(1 << 16, "i1");
  std::vector<uint64_t> heard;
  log.addListener([&](uint64_t id, const std::string&) { heard.push_back(id); });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) log.append("event");
    });
  }
  uint64_t position = 0;
  uint64_t seen = 0;
  uint64_t lost = 0;
  EventBatch batch;
  while (seen + lost < 8000) {
    if (!log.read(&position, 4096, &batch)) continue;
    if (batch.gap) lost += batch.gap->lost();
    seen += batch.texts.size();
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(seen + lost, 8000U) << "every id is either read or reported lost";
  ASSERT_EQ(heard.size(), 8000U);
  for (size_t i = 0; i < heard.size(); ++i) ASSERT_EQ(heard[i], i + 1);
}

}  // namespace
}  // namespace host_core
