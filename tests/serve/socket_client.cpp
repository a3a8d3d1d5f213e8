#include "socket_client.h"

#include "host_core/json_text.h"
#include "serve_test_support.h"

namespace serve_test {
namespace {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;

}  // namespace

template <class Start>
beast::error_code SocketClient::run(Start start) {
  beast::error_code result = net::error::timed_out;
  bool done = false;
  start([&](beast::error_code ec, auto&&...) {
    result = ec;
    done = true;
  });
  io_.restart();
  io_.run_for(timeout_);
  if (!done) {
    beast::error_code ignored;
    ws_.next_layer().close(ignored);
    io_.restart();
    io_.run();
    result = net::error::timed_out;
  }
  return result;
}

SocketClient::SocketClient(int port, const Headers& headers, const std::string& target,
                           int receiveBuffer)
    : ws_(io_) {
  auto& socket = ws_.next_layer();
  beast::error_code ec;
  socket.open(net::ip::tcp::v4(), ec);
  if (receiveBuffer > 0) {
    socket.set_option(net::socket_base::receive_buffer_size(receiveBuffer), ec);
  }
  socket.connect({net::ip::make_address_v4("127.0.0.1"), static_cast<unsigned short>(port)}, ec);
  if (ec) return;
  std::string host = "127.0.0.1:" + std::to_string(port);
  for (const auto& [name, value] : headers) {
    if (name == "Host") host = value;
  }
  ws_.set_option(websocket::stream_base::decorator([headers](websocket::request_type& request) {
    for (const auto& [name, value] : headers) {
      if (name != "Host") request.set(name, value);
    }
  }));
  // The asynchronous handshake keeps the answer of a refused upgrade.
  websocket::response_type response;
  ec = run([&](auto handler) { ws_.async_handshake(response, host, target, handler); });
  if (ec) {
    refusedStatus_ = static_cast<int>(response.result_int());
    refusedBody_ = response.body();
    return;
  }
  ws_.read_message_max(0);  // no limit on what the server sends
  open_ = true;
}

SocketClient::~SocketClient() {
  beast::error_code ignored;
  ws_.next_layer().close(ignored);
}

bool SocketClient::send(const std::string& text) {
  ws_.text(true);
  return !run([&](auto handler) { ws_.async_write(net::buffer(text), handler); });
}

bool SocketClient::sendBinary(const std::string& bytes) {
  ws_.binary(true);
  const bool sent = !run([&](auto handler) { ws_.async_write(net::buffer(bytes), handler); });
  ws_.text(true);
  return sent;
}

bool SocketClient::receive(std::string* text) {
  beast::flat_buffer buffer;
  const beast::error_code ec = run([&](auto handler) { ws_.async_read(buffer, handler); });
  if (ec) {
    // A close frame may have arrived even when the reply to it could not be sent.
    closeCode_ = static_cast<int>(ws_.reason().code);
    return false;
  }
  *text = beast::buffers_to_string(buffer.data());
  return true;
}

pocketjson::Value SocketClient::receiveJson() {
  std::string text;
  pocketjson::Value value;
  std::string error;
  if (receive(&text)) host_core::parseJson(text, &value, &error);
  return value;
}

pocketjson::Value SocketClient::receiveOp(const std::string& op,
                                          std::vector<std::string>* skipped) {
  std::string text;
  while (receive(&text)) {
    pocketjson::Value value;
    std::string error;
    if (host_core::parseJson(text, &value, &error) && value.get("op").asString() == op) {
      return value;
    }
    if (skipped != nullptr) skipped->push_back(text);
  }
  return pocketjson::Value();
}

std::string SocketClient::readHello() {
  const pocketjson::Value hello = receiveJson();
  return hello.get("op").asString() == "hello" ? hello.get("instance").asString() : "";
}

void SocketClient::close() {
  beast::error_code ec =
      run([&](auto handler) { ws_.async_close(websocket::close_code::normal, handler); });
  // Read until the server's close arrives.
  beast::flat_buffer buffer;
  while (!ec) ec = run([&](auto handler) { ws_.async_read(buffer, handler); });
}

std::string callMessage(const std::string& id, const std::string& resource,
                        const std::string& method, const std::string& parameters,
                        const std::string& body) {
  std::string out = "{\"op\":\"call\",\"id\":" + id + ",\"resource\":\"" + resource +
                    "\",\"options\":" + jsonString("{\"method\":\"" + method + "\"}") +
                    ",\"parameters\":" + jsonString(parameters);
  if (!body.empty()) out += ",\"body\":" + jsonString(body);
  return out + "}";
}

}  // namespace serve_test
