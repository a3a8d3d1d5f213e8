// The listening socket of the web host: accepts connections and gives each an HTTP session.
//
// Design note
// -----------
// Every accepted connection gets TCP_NODELAY (an answer on a kept-alive connection would
// otherwise wait for the client's delayed acknowledgement, about 40 ms) and must find room among
// the connections (connections.h): when none can be made, the connection gets a 503 and is
// closed. An accept that fails for want of descriptors is retried after a short pause instead of
// spinning.
//
// Threads: the event loop's only. Lifetime: owned by its pending accept (shared_ptr); stop()
// closes the socket and ends it.
#ifndef ZARVO_HOST_SERVE_LISTENER_H
#define ZARVO_HOST_SERVE_LISTENER_H

#include <cstddef>
#include <memory>
#include <string>

#include "serve/network.h"
#include "serve/serve_context.h"

namespace zarvo_host::serve {

class Listener : public std::enable_shared_from_this<Listener> {
 public:
  Listener(ServeContext& context, tcp::acceptor acceptor);
  void start() { accept(); }
  void stop();

 private:
  void accept();
  void onAccept(error_code ec, tcp::socket socket);
  void refuseFull(tcp::socket socket);

  ServeContext& context_;
  tcp::acceptor acceptor_;
  net::steady_timer pause_;
  size_t refusing_ = 0;  // refused connections whose 503 is being written
};

// Opens, binds and listens on 127.0.0.1:`port` (0: a free port). False with `problem` set when
// that fails.
bool listenOnLoopback(tcp::acceptor& acceptor, int port, std::string* problem);

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_LISTENER_H
