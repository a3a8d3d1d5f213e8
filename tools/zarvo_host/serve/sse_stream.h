// One event stream (GET /events): the server-sent-events text and the writer that feeds it from
// the replay ring.
//
// Design note
// -----------
// The stream's position is fixed by the caller when the request is accepted; the writer then
// runs inside the HTTP worker that serves the response (cpp-httplib's chunked content provider)
// and waits on the ring, never the other way round. The stream opens with "retry: 1000", writes
// every event as "id/event/data" (a text holding CR or LF is split over several data lines, as
// the format requires), a lost range as a "zarvoGap" event whose id is the last lost number, and
// a comment line after kKeepAliveInterval without events. When the ring closes (the server is
// shutting down) the stream ends cleanly.
//
// Threads: a stream object is used by the one worker that writes the response.
#ifndef ZARVO_HOST_SERVE_SSE_STREAM_H
#define ZARVO_HOST_SERVE_SSE_STREAM_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "serve/event_ring.h"

namespace zarvo_host::serve {

constexpr std::chrono::milliseconds kKeepAliveInterval{15000};
constexpr size_t kStreamBatchBytes = 64 * 1024;

// "id: <seq>\nevent: <name>\ndata: <line>\n...\n" for one event.
std::string formatSseEvent(uint64_t seq, const std::string& name, const std::string& text);
// The "zarvoGap" event for the lost sequence numbers first..last.
std::string formatSseGap(uint64_t first, uint64_t last);

class SseStream {
 public:
  // `write` sends text to the client and returns false when the client is gone.
  using Write = std::function<bool(const std::string&)>;

  // `keepAlive` is the quiet time after which a comment line is sent.
  SseStream(EventRing& ring, uint64_t position,
            std::chrono::milliseconds keepAlive = kKeepAliveInterval)
      : ring_(ring), position_(position), keepAlive_(keepAlive) {}

  // Writes the next piece of the stream: the opening on the first call, then waits for a batch,
  // a keep-alive or the end. Returns false when the stream is over (the ring closed, `*ended`
  // set) or the client is gone (`*ended` false).
  bool step(const Write& write, bool* ended);

 private:
  EventRing& ring_;
  uint64_t position_;
  std::chrono::milliseconds keepAlive_;
  bool opened_ = false;
  RingBatch batch_;
};

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_SSE_STREAM_H
