// The replay ring of "zarvoEvent" events, shared by every event stream of the server.
//
// Design note
// -----------
// The plug-in dispatches events on the application library's own threads. The dispatch sink only
// appends the text to this ring under its mutex and wakes the stream writers, so an event thread
// never waits on a network client. Each event gets the next sequence number (1, 2, 3, ... per
// process). The ring is bounded by a byte budget: each event costs its text length plus
// kEventOverhead bytes, and the oldest events are dropped while the total is over the budget;
// the newest event always stays, even when it alone is larger.
//
// A stream remembers only the sequence number it has delivered last. When the events it needs
// next are gone (it reconnected too late, or it read so slowly that the ring moved past it), the
// next batch starts with a gap naming the lost numbers, then continues with the oldest event
// still held, so nothing is dropped silently and no stream holds memory of its own beyond one
// batch.
//
// Threads: every member may be called from any thread.
#ifndef ZARVO_HOST_SERVE_EVENT_RING_H
#define ZARVO_HOST_SERVE_EVENT_RING_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace zarvo_host::serve {

struct RingEvent {
  uint64_t seq = 0;
  std::string name;
  std::string text;
};

// What a stream receives next: an optional gap (first..last lost), then events in order.
struct RingBatch {
  bool gap = false;
  uint64_t gapFirst = 0;
  uint64_t gapLast = 0;
  std::vector<RingEvent> events;
};

enum class RingWait {
  kBatch,    // `batch` holds a gap and/or events
  kTimeout,  // nothing new within the wait
  kClosed,   // the ring was closed: the stream ends
};

class EventRing {
 public:
  static constexpr size_t kEventOverhead = 64;

  explicit EventRing(size_t budgetBytes) : budget_(budgetBytes) {}

  // Appends one event and wakes the waiting streams; returns its sequence number.
  uint64_t append(const char* name, const char* text);
  // The position of a stream accepted now: after `lastEventId` when given and not beyond the
  // newest event, otherwise after the newest event ("from now").
  uint64_t startPosition(bool hasLastEventId, uint64_t lastEventId) const;
  // Waits up to `wait` for anything after `*position`, then fills `batch` (a gap first when
  // needed, then events up to about `maxBytes` of text, at least one) and advances `*position`.
  RingWait next(uint64_t* position, RingBatch* batch, size_t maxBytes,
                std::chrono::milliseconds wait);
  // Wakes every waiting stream with kClosed, now and for all later calls.
  void close();
  bool closed() const;

 private:
  const size_t budget_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<RingEvent> events_;
  size_t bytes_ = 0;
  uint64_t newest_ = 0;
  bool closed_ = false;
};

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_EVENT_RING_H
