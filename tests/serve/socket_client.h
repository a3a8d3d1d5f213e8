// A WebSocket client for the serve tests (Beast, blocking), with helpers for the protocol's
// messages.
//
// Design note
// -----------
// The client does exactly what a test tells it, message by message, so tests can send what no
// browser would (binary frames, huge messages, floods without reading) and see each reply and
// close code. Every operation has a timeout (20 s by default), so a server that never answers
// fails the test instead of hanging it. A refused upgrade keeps the HTTP answer for inspection.
#ifndef ZARVO_TESTS_SERVE_SOCKET_CLIENT_H
#define ZARVO_TESTS_SERVE_SOCKET_CLIENT_H

#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "pocketjson/value.h"

namespace serve_test {

class SocketClient {
 public:
  using Headers = std::vector<std::pair<std::string, std::string>>;

  // Connects to 127.0.0.1:`port` and asks for the upgrade of `target` with `headers` added
  // (Host is 127.0.0.1:port unless `headers` names one).
  explicit SocketClient(int port, const Headers& headers = {},
                        const std::string& target = "/socket", int receiveBuffer = 0);
  ~SocketClient();
  SocketClient(const SocketClient&) = delete;
  SocketClient& operator=(const SocketClient&) = delete;

  // True once the upgrade was accepted.
  bool open() const { return open_; }
  // The HTTP answer to a refused upgrade.
  int refusedStatus() const { return refusedStatus_; }
  const std::string& refusedBody() const { return refusedBody_; }

  // Sends one text (or binary) message; false when the socket is gone.
  bool send(const std::string& text);
  bool sendBinary(const std::string& bytes);
  // The next message; false when the socket closed (closeCode() then says how) or none came.
  bool receive(std::string* text);
  // The next message parsed; a null value when none came.
  pocketjson::Value receiveJson();
  // Receives until a message whose "op" is `op` (returned); others go to `skipped` if given.
  pocketjson::Value receiveOp(const std::string& op, std::vector<std::string>* skipped = nullptr);
  // The close code the server sent (0 before a close, or when none was given).
  int closeCode() const { return closeCode_; }
  // The hello's instance id (read by readHello()).
  std::string readHello();
  // Sends a close and waits for the server's.
  void close();
  // Sets the time any one operation may take.
  void setReceiveTimeout(int seconds) { timeout_ = std::chrono::seconds(seconds); }

 private:
  // Starts an operation with `start(handler)` and runs it for at most the timeout; its error
  // (timed_out when it did not finish, the socket then being closed).
  template <class Start>
  boost::beast::error_code run(Start start);

  boost::asio::io_context io_;
  boost::beast::websocket::stream<boost::asio::ip::tcp::socket> ws_;
  bool open_ = false;
  int refusedStatus_ = 0;
  std::string refusedBody_;
  int closeCode_ = 0;
  std::chrono::steady_clock::duration timeout_ = std::chrono::seconds(20);
};

// {"op":"call","id":<id>,"resource":…,"options":{"method":<method>},"parameters":…,"body":…}
std::string callMessage(const std::string& id, const std::string& resource,
                        const std::string& method, const std::string& parameters,
                        const std::string& body = "");

}  // namespace serve_test

#endif  // ZARVO_TESTS_SERVE_SOCKET_CLIENT_H
