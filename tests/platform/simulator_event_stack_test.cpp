// The event threads' stack: every event and did-disconnect callback, immediate or timed, on any
// number of threads and after a reset, runs on a thread whose stack is the small size the
// simulator reports, and most of that stack is left to the callback. The plug-in's deep-payload
// tests raise their events through these same threads, so they run on this stack too.
#include <pthread.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "common/sanitizer_build.h"
#include "simulator_test_support.h"

namespace {

// ThreadSanitizer keeps a large per-thread state in static TLS, which glibc places on the thread's
// stack, so it enlarges a small requested stack by that much; the room left to the code stays
// about what was asked for.
using zarvo_tests::kThreadSanitizer;

// What one callback saw of the thread it ran on.
struct StackSeen {
  size_t size = 0;      // the thread's stack size, 0 when it could not be read
  size_t below = 0;     // bytes of stack still free below the callback's frame
  bool inside = false;  // the callback's frame lies within that stack
};

StackSeen currentStack() {
  StackSeen seen;
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return seen;
  void* address = nullptr;
  size_t size = 0;
  if (pthread_attr_getstack(&attributes, &address, &size) == 0) {
    const auto low = reinterpret_cast<std::uintptr_t>(address);
    const auto frame = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    seen.size = size;
    seen.inside = frame > low && frame < low + size;
    seen.below = seen.inside ? frame - low : 0;
  }
  pthread_attr_destroy(&attributes);
  return seen;
}

class StackRecorder {
 public:
  static void onEvent(const char*, const char*, void* context) {
    static_cast<StackRecorder*>(context)->add();
  }
  static void onDidDisconnect(void* context) { static_cast<StackRecorder*>(context)->add(); }

  std::vector<StackSeen> all() {
    std::lock_guard<std::mutex> lock(mutex_);
    return seen_;
  }

 private:
  void add() {
    const StackSeen seen = currentStack();
    std::lock_guard<std::mutex> lock(mutex_);
    seen_.push_back(seen);
  }
  std::mutex mutex_;
  std::vector<StackSeen> seen_;
};

using EventStack = simtest::SimulatorTest;

void expectSmallStack(const std::vector<StackSeen>& seen, size_t expectedCount) {
  ASSERT_EQ(seen.size(), expectedCount);
  const size_t size = ZrvSimEventThreadStackSize();
  for (const StackSeen& one : seen) {
    EXPECT_TRUE(one.inside);
    // Never more room under the callback than the size asked for.
    EXPECT_LE(one.below, size);
    if (kThreadSanitizer) {
      EXPECT_GE(one.size, size);
      EXPECT_GT(one.below, size / 4);
    } else {
      EXPECT_EQ(one.size, size);
      // The simulator's own frames under the callback take little of the stack.
      EXPECT_GT(one.below, size * 3 / 4);
    }
  }
}

TEST_F(EventStack, ReportedSizeIsSmall) {
  EXPECT_EQ(ZrvSimEventThreadStackSize(), 256u * 1024u);
}

TEST_F(EventStack, EventCallbacksRunOnIt) {
  ZrvApplicationHandle h = ZrvConnectApplication("a", "");
  StackRecorder recorder;
  ASSERT_EQ(ZrvRegisterEvent(h, "", "e", StackRecorder::onEvent, &recorder), 1);
  ASSERT_EQ(ZrvSimRaiseEvent(h, "e", "1"), 1);
  ZrvSimPostEvent(h, "e", "2");
  ZrvSimFlush();
  expectSmallStack(recorder.all(), 2);
}

TEST_F(EventStack, DidDisconnectCallbacksRunOnIt) {
  ZrvApplicationHandle h = ZrvConnectApplication("a", "");
  StackRecorder recorder;
  ZrvSetApplicationDidDisconnectCallback(h, StackRecorder::onDidDisconnect, &recorder);
  ASSERT_EQ(ZrvSimRaiseDidDisconnect(h, 0), 1);
  expectSmallStack(recorder.all(), 1);
}

TEST_F(EventStack, EveryThreadAndThreadsStartedAgain) {
  ZrvSimSetEventThreadCount(3);
  StackRecorder recorder;
  for (int i = 0; i < 3; ++i) {
    ZrvApplicationHandle h = ZrvConnectApplication("a", "");
    ASSERT_EQ(ZrvRegisterEvent(h, "", "e", StackRecorder::onEvent, &recorder), 1);
    ASSERT_EQ(ZrvSimRaiseEvent(h, "e", "1"), 1);
  }
  // Replaced threads, and threads started after a reset, get the same stack.
  ZrvSimSetEventThreadCount(2);
  ASSERT_EQ(ZrvSimRaiseEvent(simtest::handle(1), "e", "1"), 1);
  ZrvSimReset();
  ZrvApplicationHandle h = ZrvConnectApplication("a", "");
  ASSERT_EQ(ZrvRegisterEvent(h, "", "e", StackRecorder::onEvent, &recorder), 1);
  ASSERT_EQ(ZrvSimRaiseEvent(h, "e", "1"), 1);
  expectSmallStack(recorder.all(), 5);
}

TEST_F(EventStack, TimedEventsRunOnIt) {
  char error[256] = "";
  ASSERT_EQ(
      ZrvSimLoadDescriptionText(
          R"({"applications":{"viewer":{"events":[{"type":"tick","intervalMs":1,"count":2}]}}})",
          "stack.json", error, sizeof error),
      1)
      << error;
  ZrvApplicationHandle h = ZrvConnectApplication("viewer", "");
  StackRecorder recorder;
  ASSERT_EQ(ZrvRegisterEvent(h, "", "tick", StackRecorder::onEvent, &recorder), 1);
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (recorder.all().size() < 2 && std::chrono::steady_clock::now() < limit) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  expectSmallStack(recorder.all(), 2);
}

}  // namespace
