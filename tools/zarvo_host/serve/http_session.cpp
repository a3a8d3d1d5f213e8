#include "serve/http_session.h"

#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "serve/http_answers.h"
#include "serve/request_guard.h"

namespace zarvo_host::serve {
namespace {

constexpr size_t kFirstRead = 4096;

// Errors of the request's own bytes (as opposed to the connection ending or timing out).
bool isMalformed(const error_code& ec) {
  return ec.category() == http::make_error_code(http::error::bad_target).category() &&
         ec != http::error::end_of_stream && ec != http::error::partial_message;
}

host_core::HostError malformed() {
  return host_core::badProtocolRequest("malformed HTTP request");
}

bool carriesBody(const http::request_parser<http::string_body>& parser) {
  return parser.chunked() || parser.content_length().value_or(0) > 0;
}

}  // namespace

HttpSession::HttpSession(tcp::socket socket, ServeContext& context)
    : stream_(std::move(socket)), context_(context) {
  context_.connections.enter(this);
}

HttpSession::~HttpSession() {
  context_.budget.release(reserved_);
  context_.connections.leave(this);
}

void HttpSession::close() {
  if (closed_) return;
  closed_ = true;
  context_.connections.setIdle(this, false);
  stream_.close();
}

void HttpSession::awaitRequest() {
  parser_.emplace();
  parser_->header_limit(static_cast<std::uint32_t>(context_.rules.headerBytes));
  parser_->body_limit(context_.limits.requestBytes);
  route_ = Route();
  if (buffer_.size() > 0) {  // the next request has arrived already (pipelined)
    readHeader();
    return;
  }
  context_.connections.setIdle(this, true);
  stream_.expires_after(context_.rules.idleTimeout);
  stream_.async_read_some(buffer_.prepare(kFirstRead),
                          [self = shared_from_this()](error_code ec, size_t bytes) {
                            self->context_.connections.setIdle(self.get(), false);
                            if (ec) {
                              self->close();
                              return;
                            }
                            self->buffer_.commit(bytes);
                            self->readHeader();
                          });
}

void HttpSession::readHeader() {
  stream_.expires_after(context_.rules.headerTimeout);
  http::async_read_header(
      stream_, buffer_, *parser_,
      [self = shared_from_this()](error_code ec, size_t) { self->onHeader(ec); });
}

void HttpSession::onHeader(error_code ec) {
  if (ec == http::error::header_limit) {
    refuse(host_core::headersTooLarge(context_.rules.headerBytes), true);
  } else if (ec == http::error::body_limit) {
    refuse(host_core::payloadTooLarge(context_.limits.requestBytes), true);
  } else if (isMalformed(ec)) {
    refuse(malformed(), true);
  } else if (ec) {
    close();  // the client went, or its deadline passed: nobody to answer
  } else {
    onRequestHead();
  }
}

void HttpSession::onRequestHead() {
  const auto& request = parser_->get();
  if (auto refused = checkRequestSource(request, context_.port)) {
    refuse(*refused, true);
    return;
  }
  if (context_.shuttingDown) {
    refuse(host_core::shuttingDown(), true);
    return;
  }
  route_ =
      routeRequest(RequestHead{request.method_string(), request.target(), carriesBody(*parser_)});
  if (route_.kind == RouteKind::kRefuse) {
    refuse(route_.error, route_.closeAfter, route_.allow);
  } else if (route_.readsBody && !parser_->is_done()) {
    readBody();
  } else {
    dispatch();
  }
}

void HttpSession::readBody() {
  const size_t declared = parser_->chunked() ? context_.limits.requestBytes
                                             : static_cast<size_t>(*parser_->content_length());
  if (!context_.budget.reserve(declared)) {
    refuse(host_core::unavailable("the host holds too many large requests at once; try again"),
           true);
    return;
  }
  reserved_ = declared;
  const auto& request = parser_->get();
  const auto read = [self = shared_from_this()] {
    self->stream_.expires_after(self->context_.rules.bodyTimeout);
    http::async_read(self->stream_, self->buffer_, *self->parser_,
                     [self](error_code ec, size_t) { self->onBody(ec); });
  };
  if (!beast::iequals(request[http::field::expect], "100-continue")) {
    read();
    return;
  }
  // The client waits for this before it sends the body.
  static const std::string kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
  stream_.expires_after(kWriteTimeout);
  net::async_write(stream_, net::buffer(kContinue),
                   [self = shared_from_this(), read](error_code ec, size_t) {
                     if (ec) {
                       self->close();
                       return;
                     }
                     read();
                   });
}

void HttpSession::onBody(error_code ec) {
  if (ec == http::error::body_limit) {
    refuse(host_core::payloadTooLarge(context_.limits.requestBytes), true);
  } else if (isMalformed(ec)) {
    refuse(malformed(), true);
  } else if (ec) {
    close();
  } else {
    dispatch();
  }
}

void HttpSession::refuse(const host_core::HostError& error, bool end, const std::string& allow) {
  const unsigned version = parser_ && parser_->is_header_done() ? parser_->get().version() : 11;
  send(hostErrorAnswer(error, version, allow), end);
}

void HttpSession::onSent(error_code ec, bool end) {
  response_.reset();
  context_.budget.release(reserved_);
  reserved_ = 0;
  if (ec) {
    close();
  } else if (end) {
    linger();
  } else {
    awaitRequest();
  }
}

void HttpSession::linger() {
  error_code ignored;
  stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
  stream_.expires_after(kLingerTime);
  lingered_ = 0;
  drain();
}

void HttpSession::drain() {
  // What arrives now is dropped unread, so one buffer serves every connection of the loop.
  static std::array<char, 65536> discarded;
  stream_.async_read_some(net::buffer(discarded),
                          [self = shared_from_this()](error_code ec, size_t bytes) {
                            self->lingered_ += bytes;
                            if (ec || self->lingered_ > self->context_.limits.requestBytes) {
                              self->close();
                              return;
                            }
                            self->drain();
                          });
}

}  // namespace zarvo_host::serve
