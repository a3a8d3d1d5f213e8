// The events of one host process: numbered, kept in a bounded buffer, read by any number of
// readers, each at its own pace.
//
// Design note
// -----------
// The plug-in dispatches "zarvoEvent" texts on the application library's threads. The log only
// numbers each text (1, 2, 3, ... per process, under the process's random instance id) and keeps
// it; it never waits for a reader, so an application thread never waits on a page.
//
// The buffer is bounded in bytes: each event costs its text plus kEventOverheadBytes, and the
// oldest events go while the total is over the budget; the newest always stays, even when it
// alone is larger. A reader remembers only the id it has read last (its position). When the
// events it needs next are gone (it came back too late, or it read so slowly that the buffer moved
// past it), its next batch starts with a gap naming the lost ids, then continues with the oldest
// event still held. So nothing is dropped silently, and a reader costs no memory of its own
// beyond one batch.
//
// Listeners hear of every appended event, in id order, on the appending thread, after the event
// can be read; a host uses them to wake its readers (an event loop, a GUI thread) or to print.
// A listener must not append to the log.
//
// Threads: every member may be called from any thread.
#ifndef ZARVO_HOST_CORE_EVENT_LOG_H
#define ZARVO_HOST_CORE_EVENT_LOG_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host_core/plugin_host.h"

namespace host_core {

// Events first..last (inclusive) can no longer be read.
struct Gap {
  uint64_t first = 0;
  uint64_t last = 0;
  uint64_t lost() const { return last - first + 1; }
};

// What a reader gets next: an optional gap, then consecutive events first, first + 1, ...
struct EventBatch {
  std::optional<Gap> gap;
  uint64_t first = 0;
  std::vector<std::string> texts;
  bool empty() const { return !gap && texts.empty(); }
};

class EventLog : public EventReceiver {
 public:
  using Listener = std::function<void(uint64_t id, const std::string& text)>;

  // `budgetBytes`: the buffer's bound (Limits::eventBufferBytes). `instance`: the process's id.
  EventLog(size_t budgetBytes, std::string instance);

  // The plug-in's dispatches: "zarvoEvent" texts are appended; any other name is counted in
  // `ignored()` and dropped, since no page listens for it.
  void receive(std::string_view name, std::string_view text) override;
  // Appends one event, tells the listeners, wakes waiting readers; returns its id.
  uint64_t append(std::string_view text);

  const std::string& instance() const { return instance_; }
  // The id of the newest event (0 before the first).
  uint64_t newest() const;
  // Dispatches with another name than "zarvoEvent".
  uint64_t ignored() const;

  // The position of a reader that starts now. No `after`: from now (only later events). An
  // `after` of another instance than this one: from this instance's first event (its events are
  // all new to the reader). Otherwise after `after`, or from now when `after` lies in the future.
  uint64_t startPosition(std::optional<uint64_t> after,
                         std::optional<std::string_view> instance = std::nullopt) const;
  // Fills `batch` with what follows `*position` (a gap first when needed, then events up to about
  // `maxBytes` of text, at least one) and advances `*position`. False, with `batch` empty, when
  // nothing newer exists.
  bool read(uint64_t* position, size_t maxBytes, EventBatch* batch) const;
  // Waits up to `timeout` until an event newer than `position` exists or the log is closed;
  // true when there is one to read.
  bool waitNewer(uint64_t position, std::chrono::milliseconds timeout);
  // Wakes every waiting reader for good: waitNewer returns false from now on.
  void close();
  bool closed() const;

  // Registers a listener; returns a token for removeListener. Removal waits for a listener call
  // in progress, so the listener's state may be destroyed afterwards.
  int addListener(Listener listener);
  void removeListener(int token);

 private:
  struct Entry {
    uint64_t id;
    std::string text;
  };

  const size_t budget_;
  const std::string instance_;
  std::mutex appendMutex_;             // orders appends and listener calls; taken before mutex_
  std::map<int, Listener> listeners_;  // under appendMutex_
  int nextToken_ = 1;                  // under appendMutex_
  mutable std::mutex mutex_;           // guards the buffer
  std::condition_variable changed_;
  std::deque<Entry> events_;
  size_t bytes_ = 0;
  uint64_t newest_ = 0;
  uint64_t ignored_ = 0;
  bool closed_ = false;
};

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_EVENT_LOG_H
