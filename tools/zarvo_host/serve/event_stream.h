// One HTTP event stream (GET /events, server-sent events), fed from the host's event log.
//
// Design note
// -----------
// The stream's start position is fixed by the HTTP session when it accepts the request, before
// the answer's header is sent; the stream then takes over the connection. It keeps one write in
// flight at most: when the write is done and the log holds newer events, the next batch (at most
// about Limits::eventBatchBytes of text) is read from the log and written. A client that reads
// slowly therefore falls behind in the bounded log and is told what it lost (a zarvoGap event)
// when it catches up; the stream never holds more than one batch. A write that waits longer than
// kStreamWriteTimeout (the client stopped reading altogether) ends the stream.
//
// A read is kept pending on the connection the whole time: a client sends nothing on an event
// stream, so anything that arrives, and above all the end of the connection, closes the stream
// at once and frees its place among the streams.
//
// Threads: the event loop's only. Lifetime: owned by its pending operations (shared_ptr).
#ifndef ZARVO_HOST_SERVE_EVENT_STREAM_H
#define ZARVO_HOST_SERVE_EVENT_STREAM_H

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "host_core/event_log.h"
#include "host_core/host_error.h"
#include "serve/connections.h"
#include "serve/network.h"
#include "serve/serve_context.h"

namespace zarvo_host::serve {

constexpr std::chrono::milliseconds kKeepAliveInterval{15000};
constexpr std::chrono::milliseconds kStreamWriteTimeout{30000};

// Where a stream asked for with these header fields and query starts: after the Last-Event-ID
// header, else after ?lastEventId=, else from now; with ?instance= naming another host process,
// from this one's first event still held. False with the 400 in `error` for an id that is not a
// decimal number.
bool eventStreamStart(const http::fields& fields, const std::string& query,
                      const host_core::EventLog& events, uint64_t* position,
                      host_core::HostError* error);

class EventStream : public Connection, public std::enable_shared_from_this<EventStream> {
 public:
  // Takes over `stream`, whose GET /events (HTTP/1.`minorVersion`) was accepted at `position`.
  // The caller has checked that a stream place is free.
  EventStream(beast::tcp_stream stream, ServeContext& context, uint64_t position, unsigned version);
  ~EventStream() override;
  EventStream(const EventStream&) = delete;
  EventStream& operator=(const EventStream&) = delete;

  // Sends the answer's header and the opening, then delivers events until the end.
  void start();
  void close() override;
  void wake() override;

 private:
  void watchForClose();
  void deliver();
  void send(const std::string& text);
  void onSent(error_code ec);
  void scheduleKeepAlive();

  beast::tcp_stream stream_;
  ServeContext& context_;
  net::steady_timer keepAlive_;
  uint64_t position_;
  bool chunked_;  // HTTP/1.1: chunked framing; HTTP/1.0: the body ends with the connection
  std::string out_;
  std::array<char, 256> incoming_{};
  bool writing_ = false;
  bool closed_ = false;
};

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_EVENT_STREAM_H
