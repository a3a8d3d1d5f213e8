// The serve mode's parts on their own: the event ring (sequence numbers, the byte budget with the
// newest always kept, gaps, start positions, closing), the stream text (data lines for texts
// with CR or LF, keep-alive) and the host thread (one thread, arrival order, stopping).
#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "serve/event_ring.h"
#include "serve/host_thread.h"
#include "serve/sse_stream.h"

namespace {

using zarvo_host::serve::EventRing;
using zarvo_host::serve::formatSseEvent;
using zarvo_host::serve::formatSseGap;
using zarvo_host::serve::HostThread;
using zarvo_host::serve::RingBatch;
using zarvo_host::serve::RingWait;
using zarvo_host::serve::SseStream;

constexpr std::chrono::milliseconds kNoWait{0};

TEST(EventRing, NumbersEventsFromOneAndKeepsThemWithinTheBudget) {
  EventRing ring(3 * (10 + EventRing::kEventOverhead));
  for (int i = 1; i <= 5; ++i)
    EXPECT_EQ(ring.append("zarvoEvent", "0123456789"), static_cast<uint64_t>(i));
  uint64_t position = 0;
  RingBatch batch;
  ASSERT_EQ(ring.next(&position, &batch, 1 << 20, kNoWait), RingWait::kBatch);
  EXPECT_TRUE(batch.gap);
  EXPECT_EQ(batch.gapFirst, 1u);
  EXPECT_EQ(batch.gapLast, 2u);
  ASSERT_EQ(batch.events.size(), 3u);
  EXPECT_EQ(batch.events[0].seq, 3u);
  EXPECT_EQ(batch.events[2].seq, 5u);
  EXPECT_EQ(position, 5u);
  EXPECT_EQ(ring.next(&position, &batch, 1 << 20, kNoWait), RingWait::kTimeout);
}

TEST(EventRing, TheNewestEventStaysEvenWhenLargerThanTheBudget) {
  EventRing ring(100);
  ring.append("zarvoEvent", "small");
  ring.append("zarvoEvent", std::string(500, 'x').c_str());
  uint64_t position = 0;
  RingBatch batch;
  ASSERT_EQ(ring.next(&position, &batch, 1 << 20, kNoWait), RingWait::kBatch);
  EXPECT_TRUE(batch.gap);
  EXPECT_EQ(batch.gapLast, 1u);
  ASSERT_EQ(batch.events.size(), 1u);
  EXPECT_EQ(batch.events[0].text.size(), 500u);
}

TEST(EventRing, ABatchStopsNearItsByteLimitButTakesAtLeastOneEvent) {
  EventRing ring(1 << 20);
  for (int i = 0; i < 10; ++i) ring.append("zarvoEvent", "0123456789");
  uint64_t position = 0;
  RingBatch batch;
  ASSERT_EQ(ring.next(&position, &batch, 25, kNoWait), RingWait::kBatch);
  EXPECT_FALSE(batch.gap);
  EXPECT_EQ(batch.events.size(), 2u);
  ASSERT_EQ(ring.next(&position, &batch, 1, kNoWait), RingWait::kBatch);
  EXPECT_EQ(batch.events.size(), 1u);
  EXPECT_EQ(position, 3u);
}

TEST(EventRing, StartPositions) {
  EventRing ring(1 << 20);
  EXPECT_EQ(ring.startPosition(false, 0), 0u);
  ring.append("zarvoEvent", "a");
  ring.append("zarvoEvent", "b");
  EXPECT_EQ(ring.startPosition(false, 0), 2u);
  EXPECT_EQ(ring.startPosition(true, 1), 1u);
  EXPECT_EQ(ring.startPosition(true, 0), 0u);
  EXPECT_EQ(ring.startPosition(true, 3), 2u);
}

TEST(EventRing, ClosingWakesAWaitingStream) {
  EventRing ring(1 << 20);
  std::thread closer([&] { ring.close(); });
  uint64_t position = 0;
  RingBatch batch;
  EXPECT_EQ(ring.next(&position, &batch, 1 << 20, std::chrono::minutes(10)), RingWait::kClosed);
  closer.join();
  EXPECT_TRUE(ring.closed());
}

TEST(EventRing, AnAppendWakesAWaitingStream) {
  EventRing ring(1 << 20);
  std::thread appender([&] { ring.append("zarvoEvent", "{}"); });
  uint64_t position = 0;
  RingBatch batch;
  EXPECT_EQ(ring.next(&position, &batch, 1 << 20, std::chrono::minutes(10)), RingWait::kBatch);
  appender.join();
  EXPECT_EQ(batch.events.at(0).text, "{}");
}

TEST(SseText, EventsAndGaps) {
  EXPECT_EQ(formatSseEvent(7, "zarvoEvent", "{\"a\":1}"),
            "id: 7\nevent: zarvoEvent\ndata: {\"a\":1}\n\n");
  EXPECT_EQ(formatSseEvent(1, "zarvoEvent", ""), "id: 1\nevent: zarvoEvent\ndata: \n\n");
  EXPECT_EQ(formatSseGap(3, 9),
            "id: 9\nevent: zarvoGap\ndata: {\"first\":3,\"last\":9,\"lost\":7}\n\n");
}

TEST(SseText, LineBreaksSplitIntoDataLines) {
  EXPECT_EQ(formatSseEvent(2, "zarvoEvent", "a\nb\r\nc\rd"),
            "id: 2\nevent: zarvoEvent\ndata: a\ndata: b\ndata: c\ndata: d\n\n");
  EXPECT_EQ(formatSseEvent(2, "zarvoEvent", "a\n"),
            "id: 2\nevent: zarvoEvent\ndata: a\ndata: \n\n");
  EXPECT_EQ(formatSseEvent(2, "zarvoEvent", "\r\n\r\n"),
            "id: 2\nevent: zarvoEvent\ndata: \ndata: \ndata: \n\n");
}

TEST(SseStreamTest, OpensWithRetryThenWritesEventsAndEndsWhenClosed) {
  EventRing ring(1 << 20);
  SseStream stream(ring, 0);
  std::string written;
  const SseStream::Write write = [&](const std::string& text) {
    written += text;
    return true;
  };
  bool ended = true;
  EXPECT_TRUE(stream.step(write, &ended));
  EXPECT_FALSE(ended);
  EXPECT_EQ(written, "retry: 1000\n\n");
  ring.append("zarvoEvent", "{}");
  EXPECT_TRUE(stream.step(write, &ended));
  EXPECT_EQ(written, "retry: 1000\n\nid: 1\nevent: zarvoEvent\ndata: {}\n\n");
  ring.close();
  EXPECT_FALSE(stream.step(write, &ended));
  EXPECT_TRUE(ended);
}

TEST(SseStreamTest, AGoneClientEndsTheStream) {
  EventRing ring(1 << 20);
  SseStream stream(ring, 0);
  bool ended = true;
  EXPECT_FALSE(stream.step([](const std::string&) { return false; }, &ended));
  EXPECT_FALSE(ended);
}

TEST(SseStreamTest, AQuietStreamSendsAKeepAliveComment) {
  EventRing ring(1 << 20);
  SseStream stream(ring, 0, std::chrono::milliseconds(1));
  std::string written;
  const SseStream::Write write = [&](const std::string& text) {
    written += text;
    return true;
  };
  bool ended = true;
  EXPECT_TRUE(stream.step(write, &ended));
  EXPECT_TRUE(stream.step(write, &ended));
  EXPECT_FALSE(ended);
  EXPECT_EQ(written, "retry: 1000\n\n: keep-alive\n\n");
  EXPECT_EQ(zarvo_host::serve::kKeepAliveInterval, std::chrono::milliseconds(15000));
}

TEST(SseStreamTest, AGapComesBeforeTheOldestHeldEvent) {
  EventRing ring(2 * (2 + EventRing::kEventOverhead));
  for (int i = 0; i < 4; ++i) ring.append("zarvoEvent", "{}");
  SseStream stream(ring, 0);
  std::string written;
  bool ended = false;
  const SseStream::Write write = [&](const std::string& text) {
    written += text;
    return true;
  };
  EXPECT_TRUE(stream.step(write, &ended));
  EXPECT_TRUE(stream.step(write, &ended));
  EXPECT_EQ(written,
            "retry: 1000\n\nid: 2\nevent: zarvoGap\ndata: {\"first\":1,\"last\":2,\"lost\":2}\n\n"
            "id: 3\nevent: zarvoEvent\ndata: {}\n\nid: 4\nevent: zarvoEvent\ndata: {}\n\n");
}

TEST(HostThreadTest, RunsEveryJobOnOneThreadInArrivalOrder) {
  HostThread host;
  std::set<std::thread::id> threads;
  std::vector<int> order;
  std::vector<std::thread> callers;
  for (int i = 0; i < 8; ++i) {
    // One caller at a time, so the arrival order is known.
    std::thread caller([&, i] {
      EXPECT_TRUE(host.run([&, i] {
        threads.insert(std::this_thread::get_id());
        order.push_back(i);
      }));
    });
    caller.join();
  }
  // And eight at once: all run, on the same thread.
  for (int i = 0; i < 8; ++i) {
    callers.emplace_back(
        [&] { EXPECT_TRUE(host.run([&] { threads.insert(std::this_thread::get_id()); })); });
  }
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
  ASSERT_EQ(threads.size(), 1u);
  EXPECT_NE(*threads.begin(), std::this_thread::get_id());
}

TEST(HostThreadTest, AThrowingJobDoesNotEndTheThread) {
  HostThread host;
  EXPECT_TRUE(host.run([] { throw std::runtime_error("job failed"); }));
  bool ran = false;
  EXPECT_TRUE(host.run([&] { ran = true; }));
  EXPECT_TRUE(ran);
}

TEST(HostThreadTest, AfterStopNothingRuns) {
  HostThread host;
  host.stop();
  bool ran = false;
  EXPECT_FALSE(host.run([&] { ran = true; }));
  EXPECT_FALSE(ran);
  host.stop();  // twice is harmless
}

}  // namespace
