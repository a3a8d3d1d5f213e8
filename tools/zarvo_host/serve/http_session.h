// One HTTP connection: its requests, read and answered one at a time, in order.
//
// Design note
// -----------
// A session reads a request's header first, with Beast's parser bounded by the header limit
// (431 beyond) and the request size limit (413 beyond, counted as the bytes arrive, chunked
// bodies included). The header alone decides the request's fate: the source checks
// (request_guard.h), then the route (router.h). Only a route that takes a body reads it; every
// refusal that leaves bytes unread (403, 413, 431, a malformed request, a body the route does not
// read) ends the connection after the answer, so no byte of a refused request is ever parsed as
// another request. Ending is "lingering": the answer is sent, the sending side shut, and whatever
// the client still sends is read and dropped for a moment (at most the request size limit, for
// kLingerTime), so the client can read the answer before the connection goes: a body of a size
// the host would take is dropped whole, so closing never resets the connection under an answer
// the client has not read yet.
//
// Each stage has a deadline (ConnectionRules): the idle wait for a request's first byte, the
// header, the body, and each answer's write. A client that is slow or silent is dropped when its
// deadline passes; it never holds a thread, and an idle connection can be closed to make room for
// a new one (connections.h). Requests sent back to back on one connection (pipelined) are
// answered in order: the next is parsed from what remains in the buffer once the previous
// answer has been written.
//
// A plug-in call, a teardown or a simulator control runs on its own thread (host_thread.h);
// the session waits for the outcome without blocking the loop. GET /events and an accepted
// GET /socket hand the connection over to an EventStream or a SocketSession.
//
// Threads: the event loop's only. Lifetime: owned by its pending operations and jobs (shared_ptr).
#ifndef ZARVO_HOST_SERVE_HTTP_SESSION_H
#define ZARVO_HOST_SERVE_HTTP_SESSION_H

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "host_core/host_error.h"
#include "serve/connections.h"
#include "serve/network.h"
#include "serve/router.h"
#include "serve/serve_context.h"

namespace zarvo_host::serve {

constexpr std::chrono::milliseconds kWriteTimeout{30000};
constexpr std::chrono::milliseconds kLingerTime{1000};

class HttpSession : public Connection, public std::enable_shared_from_this<HttpSession> {
 public:
  HttpSession(tcp::socket socket, ServeContext& context);
  ~HttpSession() override;
  HttpSession(const HttpSession&) = delete;
  HttpSession& operator=(const HttpSession&) = delete;

  void start() { awaitRequest(); }
  void close() override;

 private:
  using Parser = http::request_parser<http::string_body>;

  void awaitRequest();
  void readHeader();
  void onHeader(error_code ec);
  void onRequestHead();
  void readBody();
  void onBody(error_code ec);
  void dispatch();
  void callPlugin();
  void tearDown();
  void runControl();
  void sendCallLog();
  void openEventStream();
  void openSocket();
  void serveFile();
  // Answers `error`; the connection ends afterwards when `end` or the route says so.
  void refuse(const host_core::HostError& error, bool end = false,
              const std::string& allow = std::string());
  template <class Body>
  void send(http::response<Body> response, bool end = false);
  void onSent(error_code ec, bool end);
  void linger();
  void drain();

  beast::tcp_stream stream_;
  ServeContext& context_;
  beast::flat_buffer buffer_;
  std::optional<Parser> parser_;
  Route route_;
  std::shared_ptr<void> response_;  // the answer being written
  size_t reserved_ = 0;             // request budget held for this request's body
  size_t lingered_ = 0;
  bool closed_ = false;
};

// Writes `response` and then either waits for the next request or ends the connection: it ends
// when `end` is set, when the route does not read a body the request carries, when the client
// or the answer asks for it (Connection: close, HTTP/1.0 without keep-alive), and during
// shutdown.
template <class Body>
void HttpSession::send(http::response<Body> response, bool end) {
  const bool keepAlive = !end && !route_.closeAfter && !context_.shuttingDown && parser_ &&
                         parser_->is_header_done() && parser_->get().keep_alive();
  response.keep_alive(keepAlive);
  auto message = std::make_shared<http::response<Body>>(std::move(response));
  response_ = message;
  const bool ends = message->need_eof();
  stream_.expires_after(kWriteTimeout);
  http::async_write(stream_, *message, [self = shared_from_this(), ends](error_code ec, size_t) {
    self->onSent(ec, ends);
  });
}

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_HTTP_SESSION_H
