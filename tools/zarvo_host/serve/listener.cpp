#include "serve/listener.h"

#include <chrono>
#include <string>
#include <utility>

#include "serve/http_answers.h"
#include "serve/http_session.h"

namespace zarvo_host::serve {
namespace {

constexpr std::chrono::milliseconds kAcceptPause{50};
// Refusals written at once at most; beyond, a connection is closed without a word.
constexpr size_t kMaxRefusing = 64;

}  // namespace

bool listenOnLoopback(tcp::acceptor& acceptor, int port, std::string* problem) {
  const tcp::endpoint endpoint(net::ip::make_address_v4("127.0.0.1"),
                               static_cast<unsigned short>(port));
  error_code ec;
  acceptor.open(endpoint.protocol(), ec);
  // Only SO_REUSEADDR (a restarted server may listen while old connections linger in TIME_WAIT);
  // never SO_REUSEPORT, which would let a second server share a port that is in use.
  if (!ec) acceptor.set_option(net::socket_base::reuse_address(true), ec);
  if (!ec) acceptor.bind(endpoint, ec);
  if (!ec) acceptor.listen(net::socket_base::max_listen_connections, ec);
  if (ec) {
    *problem = ec.message();
    return false;
  }
  return true;
}

Listener::Listener(ServeContext& context, tcp::acceptor acceptor)
    : context_(context), acceptor_(std::move(acceptor)), pause_(context.loop) {}

void Listener::stop() {
  error_code ignored;
  acceptor_.close(ignored);
  pause_.cancel();
}

void Listener::accept() {
  acceptor_.async_accept([self = shared_from_this()](error_code ec, tcp::socket socket) {
    self->onAccept(ec, std::move(socket));
  });
}

void Listener::onAccept(error_code ec, tcp::socket socket) {
  if (ec == net::error::operation_aborted || !acceptor_.is_open()) return;
  if (ec) {
    // Out of descriptors or memory: try again shortly rather than at once.
    pause_.expires_after(kAcceptPause);
    pause_.async_wait([self = shared_from_this()](error_code waited) {
      if (!waited) self->accept();
    });
    return;
  }
  error_code ignored;
  socket.set_option(tcp::no_delay(true), ignored);
  if (context_.shuttingDown) {
    socket.close(ignored);
  } else if (!context_.connections.makeRoom()) {
    refuseFull(std::move(socket));
  } else {
    std::make_shared<HttpSession>(std::move(socket), context_)->start();
  }
  accept();
}

void Listener::refuseFull(tcp::socket socket) {
  error_code ignored;
  if (refusing_ >= kMaxRefusing) {
    socket.close(ignored);
    return;
  }
  ++refusing_;
  const host_core::HostError error =
      host_core::unavailable("too many connections (at most " +
                             std::to_string(context_.connections.maxConnections()) + ")");
  StringResponse answer = hostErrorAnswer(error, 11);
  answer.keep_alive(false);
  auto stream = std::make_shared<beast::tcp_stream>(std::move(socket));
  auto message = std::make_shared<StringResponse>(std::move(answer));
  stream->expires_after(std::chrono::seconds(1));
  http::async_write(*stream, *message,
                    [self = shared_from_this(), stream, message](error_code, size_t) {
                      --self->refusing_;
                      error_code ignored;
                      stream->socket().shutdown(tcp::socket::shutdown_both, ignored);
                      stream->close();
                    });
}

}  // namespace zarvo_host::serve
