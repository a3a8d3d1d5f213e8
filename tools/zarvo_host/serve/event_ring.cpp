#include "serve/event_ring.h"

#include <utility>

namespace zarvo_host::serve {

uint64_t EventRing::append(const char* name, const char* text) {
  RingEvent event;
  event.name = name != nullptr ? name : "";
  event.text = text != nullptr ? text : "";
  uint64_t seq = 0;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    seq = ++newest_;
    event.seq = seq;
    bytes_ += event.text.size() + kEventOverhead;
    events_.push_back(std::move(event));
    while (bytes_ > budget_ && events_.size() > 1) {
      bytes_ -= events_.front().text.size() + kEventOverhead;
      events_.pop_front();
    }
  }
  changed_.notify_all();
  return seq;
}

uint64_t EventRing::startPosition(bool hasLastEventId, uint64_t lastEventId) const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!hasLastEventId || lastEventId > newest_) return newest_;
  return lastEventId;
}

RingWait EventRing::next(uint64_t* position, RingBatch* batch, size_t maxBytes,
                         std::chrono::milliseconds wait) {
  batch->gap = false;
  batch->events.clear();
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait_for(lock, wait, [&] { return closed_ || newest_ > *position; });
  if (closed_) return RingWait::kClosed;
  if (newest_ <= *position) return RingWait::kTimeout;
  // The ring is never empty once an event has been appended.
  const uint64_t oldest = events_.front().seq;
  if (*position + 1 < oldest) {
    batch->gap = true;
    batch->gapFirst = *position + 1;
    batch->gapLast = oldest - 1;
    *position = oldest - 1;
  }
  size_t taken = 0;
  for (size_t index = static_cast<size_t>(*position + 1 - oldest); index < events_.size();
       ++index) {
    if (!batch->events.empty() && taken + events_[index].text.size() > maxBytes) break;
    taken += events_[index].text.size();
    batch->events.push_back(events_[index]);
  }
  *position = batch->events.back().seq;
  return RingWait::kBatch;
}

void EventRing::close() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
  }
  changed_.notify_all();
}

bool EventRing::closed() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return closed_;
}

}  // namespace zarvo_host::serve
