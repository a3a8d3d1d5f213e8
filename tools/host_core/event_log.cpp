#include "host_core/event_log.h"

#include <utility>

#include "host_core/limits.h"

namespace host_core {

EventLog::EventLog(size_t budgetBytes, std::string instance)
    : budget_(budgetBytes), instance_(std::move(instance)) {}

void EventLog::receive(std::string_view name, std::string_view text) {
  if (name == "zarvoEvent") {
    append(text);
    return;
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  ++ignored_;
}

uint64_t EventLog::append(std::string_view text) {
  const std::lock_guard<std::mutex> ordered(appendMutex_);
  Entry entry{0, std::string(text)};
  uint64_t id = 0;
  const std::string* kept = nullptr;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    id = ++newest_;
    entry.id = id;
    bytes_ += entry.text.size() + kEventOverheadBytes;
    events_.push_back(std::move(entry));
    while (bytes_ > budget_ && events_.size() > 1) {
      bytes_ -= events_.front().text.size() + kEventOverheadBytes;
      events_.pop_front();
    }
    kept = &events_.back().text;
  }
  changed_.notify_all();
  if (!listeners_.empty()) {
    // The newest event is never dropped, and only a later append could drop it, which waits for
    // this one; so the kept text stays valid (and unchanged) while the listeners run.
    for (const auto& [token, listener] : listeners_) listener(id, *kept);
  }
  return id;
}

uint64_t EventLog::newest() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return newest_;
}

uint64_t EventLog::ignored() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return ignored_;
}

uint64_t EventLog::startPosition(std::optional<uint64_t> after,
                                 std::optional<std::string_view> instance) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (instance && *instance != instance_) return 0;
  if (!after || *after > newest_) return newest_;
  return *after;
}

bool EventLog::read(uint64_t* position, size_t maxBytes, EventBatch* batch) const {
  batch->gap.reset();
  batch->texts.clear();
  batch->first = 0;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (newest_ <= *position) return false;
  // The buffer is never empty once an event has been appended.
  const uint64_t oldest = events_.front().id;
  if (*position + 1 < oldest) {
    batch->gap = Gap{*position + 1, oldest - 1};
    *position = oldest - 1;
  }
  batch->first = *position + 1;
  size_t taken = 0;
  for (auto index = static_cast<size_t>(*position + 1 - oldest); index < events_.size(); ++index) {
    const std::string& text = events_[index].text;
    if (!batch->texts.empty() && taken + text.size() > maxBytes) break;
    taken += text.size();
    batch->texts.push_back(text);
  }
  *position = batch->first + batch->texts.size() - 1;
  return true;
}

bool EventLog::waitNewer(uint64_t position, std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait_for(lock, timeout, [&] { return closed_ || newest_ > position; });
  return !closed_ && newest_ > position;
}

void EventLog::close() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
  }
  changed_.notify_all();
}

bool EventLog::closed() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return closed_;
}

int EventLog::addListener(Listener listener) {
  const std::lock_guard<std::mutex> ordered(appendMutex_);
  const int token = nextToken_++;
  listeners_.emplace(token, std::move(listener));
  return token;
}

void EventLog::removeListener(int token) {
  const std::lock_guard<std::mutex> ordered(appendMutex_);
  listeners_.erase(token);
}

}  // namespace host_core
