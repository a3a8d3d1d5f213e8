// The "events" messages of the WebSockets, made once and shared by every socket at the same
// place in the event log.
//
// Design note
// -----------
// Twenty tabs that each receive every event would otherwise read the same events from the log
// and quote the same texts twenty times over, on the one thread that also answers every call.
// Sockets that keep up move in step (they start from the same confirmation and take the batches
// as they come), so each batch is read and quoted once, kept as an immutable shared text, and
// written to every socket that asks for the events from its first id. An event's text never
// changes once it has an id, so a kept batch stays right for as long as it is kept; a socket
// that is elsewhere in the log reads its own batch (and that one is kept too).
//
// Memory: at most kKeptBatches batches (each about Limits::eventBatchBytes of text) are kept,
// the oldest going first; a batch still being written lives until its last write is done.
//
// Threads: the event loop's only.
#ifndef ZARVO_HOST_SERVE_SOCKET_BATCHES_H
#define ZARVO_HOST_SERVE_SOCKET_BATCHES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "host_core/event_log.h"

namespace zarvo_host::serve {

constexpr size_t kKeptBatches = 32;

struct SocketBatch {
  std::optional<host_core::Gap> gap;        // events that can no longer be delivered, if any
  std::shared_ptr<const std::string> text;  // the "events" message
  uint64_t last = 0;                        // the id of its last event
};

class SocketBatches {
 public:
  SocketBatches(const host_core::EventLog& events, size_t batchBytes)
      : events_(events), batchBytes_(batchBytes) {}

  // The batch that follows `position`; false when no newer event exists.
  bool next(uint64_t position, SocketBatch* batch);

 private:
  struct Kept {
    std::shared_ptr<const std::string> text;
    uint64_t last = 0;
  };

  const host_core::EventLog& events_;
  const size_t batchBytes_;
  std::map<uint64_t, Kept> kept_;  // by the batch's first id
};

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_SOCKET_BATCHES_H
