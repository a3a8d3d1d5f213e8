// page_ws_echo: a bare WebSocket echo server, the baseline of the page benchmark. It answers
// every text message with the same text at once, on one event loop, with nothing between the
// socket and the echo: what a page measures against it is the browser's and the loopback's own
// cost of a round trip, which the web host's figures are compared with. Not part of zarvo_host.
//
//   page_ws_echo            prints "echo ws://127.0.0.1:PORT/" and serves until killed
#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <cstdio>
#include <memory>
#include <utility>

namespace {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using tcp = net::ip::tcp;

class Echo : public std::enable_shared_from_this<Echo> {
 public:
  explicit Echo(tcp::socket socket) : ws_(std::move(socket)) {}
  void start() {
    ws_.auto_fragment(false);
    ws_.async_accept([self = shared_from_this()](beast::error_code ec) {
      if (!ec) self->read();
    });
  }

 private:
  void read() {
    ws_.async_read(buffer_, [self = shared_from_this()](beast::error_code ec, size_t) {
      if (ec) return;
      self->ws_.text(self->ws_.got_text());
      self->ws_.async_write(self->buffer_.data(), [self](beast::error_code written, size_t) {
        if (written) return;
        self->buffer_.consume(self->buffer_.size());
        self->read();
      });
    });
  }

  websocket::stream<beast::tcp_stream> ws_;
  beast::flat_buffer buffer_;
};

void accept(tcp::acceptor& acceptor) {
  acceptor.async_accept([&acceptor](beast::error_code ec, tcp::socket socket) {
    if (!ec) {
      socket.set_option(tcp::no_delay(true), ec);
      std::make_shared<Echo>(std::move(socket))->start();
    }
    accept(acceptor);
  });
}

}  // namespace

int main() {
  net::io_context loop(1);
  tcp::acceptor acceptor(loop, {net::ip::make_address_v4("127.0.0.1"), 0});
  std::printf("echo ws://127.0.0.1:%u/\n", static_cast<unsigned>(acceptor.local_endpoint().port()));
  std::fflush(stdout);
  accept(acceptor);
  loop.run();
  return 0;
}
