// The guarantee the plug-in's application objects rely on: once ZrvDisconnectApplication has
// returned, no event or did-disconnect callback for that connection runs or starts, even while
// other threads keep raising events for it. The context object is freed right after the
// disconnect returns, as the plug-in does; a late callback would touch freed memory (caught by
// ASan) or race with the free (caught by TSan), and is also counted here.
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "simulator_test_support.h"

namespace {

std::atomic<long> lateCallbacks{0};
std::atomic<long> delivered{0};

// Plays the application object: a heap object whose `alive` member a callback reads.
struct Target {
  bool alive = true;
  long events = 0;
};

void onEvent(const char*, const char*, void* context) {
  auto* target = static_cast<Target*>(context);
  if (!target->alive) ++lateCallbacks;
  ++target->events;
  ++delivered;
  std::this_thread::yield();  // widen the window in which a disconnect may arrive
}

void onDidDisconnect(void* context) {
  auto* target = static_cast<Target*>(context);
  if (!target->alive) ++lateCallbacks;
}

class DisconnectRace : public simtest::SimulatorTest {
 protected:
  void SetUp() override {
    simtest::SimulatorTest::SetUp();
    lateCallbacks = 0;
    delivered = 0;
  }

  // Connects, subscribes, lets `raisers` threads post and raise events for the connection, then
  // disconnects while they run and frees the context.
  void runRounds(int threadCount, int rounds, int raisers) {
    ZrvSimSetEventThreadCount(threadCount);
    for (int round = 0; round < rounds; ++round) {
      auto* target = new Target();
      ZrvApplicationHandle h = ZrvConnectApplication("app", "");
      ASSERT_NE(h, nullptr);
      ZrvSetApplicationDidDisconnectCallback(h, onDidDisconnect, target);
      ZrvRegisterEvent(h, "", "tick", onEvent, target);
      ZrvRegisterEvent(h, "other", "tick", onEvent, target);
      std::atomic<bool> stop{false};
      std::vector<std::thread> threads;
      for (int i = 0; i < raisers; ++i) {
        threads.emplace_back([h, i, &stop] {
          while (!stop.load()) {
            if (i % 2 == 0) {
              ZrvSimPostEvent(h, "tick", "{}");
            } else {
              ZrvSimRaiseEvent(h, "tick", "{}");
              ZrvSimRaiseDidDisconnect(h, 0);
            }
          }
        });
      }
      // Let some deliveries happen before the disconnect.
      while (target->alive && delivered.load() < (round + 1) * 3L) std::this_thread::yield();
      ZrvDisconnectApplication(h);
      target->alive = false;  // a callback still running or starting now would see this
      delete target;
      stop = true;
      for (auto& thread : threads) thread.join();
    }
    ZrvSimFlush();
    EXPECT_EQ(lateCallbacks.load(), 0);
    EXPECT_GT(delivered.load(), 0);
  }
};

TEST_F(DisconnectRace, OneEventThread) {
  runRounds(1, 40, 2);
}

TEST_F(DisconnectRace, SeveralEventThreads) {
  runRounds(3, 40, 4);
}

TEST_F(DisconnectRace, ManyConnectionsAtOnce) {
  ZrvSimSetEventThreadCount(2);
  constexpr int kApps = 6;
  std::vector<std::unique_ptr<Target>> targets;
  std::vector<ZrvApplicationHandle> handles;
  for (int i = 0; i < kApps; ++i) {
    targets.push_back(std::make_unique<Target>());
    handles.push_back(ZrvConnectApplication("app", ""));
    ZrvRegisterEvent(handles.back(), "", "tick", onEvent, targets.back().get());
  }
  std::atomic<bool> stop{false};
  std::thread poster([&] {
    while (!stop.load()) {
      for (ZrvApplicationHandle h : handles) ZrvSimPostEvent(h, "tick", "1");
      std::this_thread::yield();
    }
  });
  while (delivered.load() < 20) std::this_thread::yield();
  for (int i = 0; i < kApps; ++i) {
    ZrvDisconnectApplication(handles[i]);
    targets[i]->alive = false;
    targets[i].reset();
  }
  stop = true;
  poster.join();
  ZrvSimFlush();
  EXPECT_EQ(lateCallbacks.load(), 0);
}

}  // namespace
