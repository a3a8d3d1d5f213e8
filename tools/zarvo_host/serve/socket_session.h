// One WebSocket (GET /socket): a page's calls, their answers, and its events, over one
// connection. The protocol is in socket_messages.h and docs/serve_protocol.md.
//
// Design note
// -----------
// Replies (answers, "done", errors) leave in the order their messages came: each message that
// gets a reply takes the next place in a queue when it is read, and the queue is written from its
// front as places are filled. Calls are filled by the host thread, which runs them in arrival
// order; refusals are filled at once but wait their turn.
//
// Back-pressure: while kMaxCallsInFlight replies are owed, or the owed messages hold more than
// the request size limit in bytes, the socket is not read at all, so a page that sends faster
// than the plug-in answers is slowed by TCP instead of filling the host's memory. Every other
// time a read is pending, so a page that closes is seen at once and frees its stream place.
//
// Events: after {"op":"events"} the socket has a position in the event log. One batch is in
// flight at most: the next is taken when the previous has been written (socket_batches.h, which
// makes each batch once for all sockets at that place). While events pour in, a batch that would
// be small waits until kGatherTime after the previous one began, so that a burst travels in few
// large messages: a browser spends far more on each WebSocket message than on each event in it.
// An event that follows a quiet moment is written at once. A page that reads slowly falls behind
// in the bounded log and gets a "gap" message when it catches up; the socket holds no events of
// its own beyond the batch being written.
//
// Closing: a message over the request size limit closes with 1009, a binary frame with 1003, a
// frame that is not UTF-8 with 1007, shutdown with 1001; a message that takes the host's request
// budget (request_budget.h) over its capacity closes with 1013.
//
// Threads: the event loop's only. Lifetime: owned by its pending operations and the host-thread
// jobs of its calls (shared_ptr).
#ifndef ZARVO_HOST_SERVE_SOCKET_SESSION_H
#define ZARVO_HOST_SERVE_SOCKET_SESSION_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "serve/connections.h"
#include "serve/network.h"
#include "serve/serve_context.h"
#include "serve/socket_messages.h"

namespace zarvo_host::serve {

constexpr size_t kMaxCallsInFlight = 256;
// Events gathered into one message while they pour in (see the design note).
constexpr std::chrono::microseconds kGatherTime{1000};
constexpr uint64_t kGatherEvents = 256;

class SocketSession : public Connection, public std::enable_shared_from_this<SocketSession> {
 public:
  // Takes over `stream`. The caller has checked the upgrade request and that a stream place is
  // free.
  SocketSession(beast::tcp_stream stream, ServeContext& context);
  ~SocketSession() override;
  SocketSession(const SocketSession&) = delete;
  SocketSession& operator=(const SocketSession&) = delete;

  // Answers the upgrade `request`, then says hello and serves messages until the end.
  void start(http::request<http::string_body> request);
  void close() override;
  void shutdown() override;
  void wake() override;

 private:
  struct Reply {
    bool ready = false;
    std::string text;
    size_t bytes = 0;  // request bytes held until the reply is written
  };

  void read();
  void onRead(error_code ec, size_t bytes);
  void handle(const std::string& text, size_t bytes);
  void call(ClientMessage message, uint64_t place);
  void tearDown(const std::string& id, uint64_t place);
  void startEvents(const ClientMessage& message);
  uint64_t reserveReply(size_t bytes);
  void fillReply(uint64_t place, std::string text);
  void pump();
  bool writeEvents();
  bool gatherMore();
  void write(std::string text, bool reply);
  void writeShared(std::shared_ptr<const std::string> text, bool reply = false);
  void onWritten(error_code ec, bool reply);
  void closeWith(websocket::close_code code);

  websocket::stream<beast::tcp_stream> ws_;
  ServeContext& context_;
  http::request<http::string_body> upgrade_;  // until the upgrade is answered
  beast::flat_buffer incoming_;
  size_t messageBytes_ = 0;    // of the message being read, counted in the request budget
  std::deque<Reply> replies_;  // owed replies, oldest first
  uint64_t firstPlace_ = 0;    // the place of replies_.front()
  size_t owedBytes_ = 0;       // request bytes of the owed replies
  bool streaming_ = false;
  uint64_t position_ = 0;  // the last event id delivered or skipped
  std::string notice_;     // a "streaming" message to send before the next batch
  std::shared_ptr<const std::string> pendingBatch_;  // events that follow a gap being written
  std::shared_ptr<const std::string> out_;           // the message being written
  net::steady_timer gather_;                         // a small batch waiting for more events
  std::chrono::steady_clock::time_point lastBatch_;  // when the previous batch began
  bool gathering_ = false;
  bool accepted_ = false;
  bool reading_ = false;
  bool writing_ = false;
  bool closing_ = false;  // no new reads or writes: a close is under way
  bool closed_ = false;   // the connection is closed
};

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_SOCKET_SESSION_H
