#include "serve/event_stream.h"

#include <cstdio>
#include <optional>
#include <string_view>
#include <utility>

#include "host_core/protocol_body.h"
#include "serve/request_target.h"
#include "serve/sse_text.h"

namespace zarvo_host::serve {
namespace {

std::string head(const std::string& instance, bool chunked) {
  std::string out =
      "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\n"
      "X-Content-Type-Options: nosniff\r\nZarvo-Instance: " +
      instance + "\r\n";
  out += chunked ? "Transfer-Encoding: chunked\r\n\r\n" : "Connection: close\r\n\r\n";
  return out;
}

// Appends `text` to `out` as one chunk.
void appendChunk(std::string* out, const std::string& text) {
  char size[24];
  std::snprintf(size, sizeof size, "%zx\r\n", text.size());
  *out += size;
  *out += text;
  *out += "\r\n";
}

}  // namespace

bool eventStreamStart(const http::fields& fields, const std::string& query,
                      const host_core::EventLog& events, uint64_t* position,
                      host_core::HostError* error) {
  std::optional<std::string> text;
  std::string name;
  if (fields.count("Last-Event-ID") != 0) {
    text = std::string(fields["Last-Event-ID"]);
    name = "Last-Event-ID";
  } else {
    text = queryValue(query, "lastEventId");
    name = "lastEventId";
  }
  std::optional<uint64_t> after;
  uint64_t value = 0;
  if (text && !host_core::parseDecimal(*text, &value)) {
    *error = host_core::badProtocolRequest(name + " '" + *text + "' is not a decimal number");
    return false;
  }
  if (text) after = value;
  const std::optional<std::string> instance = queryValue(query, "instance");
  *position = events.startPosition(
      after, instance ? std::optional<std::string_view>(*instance) : std::nullopt);
  return true;
}

EventStream::EventStream(beast::tcp_stream stream, ServeContext& context, uint64_t position,
                         unsigned version)
    : stream_(std::move(stream)),
      context_(context),
      keepAlive_(context.loop),
      position_(position),
      chunked_(version >= 11) {
  context_.connections.enter(this);
  context_.connections.enterStream(this);
}

EventStream::~EventStream() {
  context_.connections.leave(this);
}

void EventStream::start() {
  out_ = head(context_.events.instance(), chunked_);
  const std::string opening = sseOpening(context_.events.instance());
  if (chunked_) {
    appendChunk(&out_, opening);
  } else {
    out_ += opening;
  }
  writing_ = true;
  stream_.expires_never();
  watchForClose();
  stream_.expires_after(kStreamWriteTimeout);
  net::async_write(stream_, net::buffer(out_),
                   [self = shared_from_this()](error_code ec, size_t) { self->onSent(ec); });
}

void EventStream::watchForClose() {
  stream_.async_read_some(net::buffer(incoming_), [self = shared_from_this()](error_code, size_t) {
    // A client sends nothing on an event stream: data, the end or an error all end it.
    self->close();
  });
}

void EventStream::close() {
  if (closed_) return;
  closed_ = true;
  context_.connections.leaveStream(this);
  keepAlive_.cancel();
  error_code ignored;
  stream_.socket().shutdown(tcp::socket::shutdown_both, ignored);
  stream_.close();
}

void EventStream::wake() {
  if (!writing_ && !closed_) deliver();
}

void EventStream::deliver() {
  host_core::EventBatch batch;
  if (!context_.events.read(&position_, context_.limits.eventBatchBytes, &batch)) {
    scheduleKeepAlive();
    return;
  }
  std::string text;
  appendSseBatch(&text, batch);
  send(text);
}

void EventStream::send(const std::string& text) {
  out_.clear();
  if (chunked_) {
    appendChunk(&out_, text);
  } else {
    out_ = text;
  }
  writing_ = true;
  keepAlive_.cancel();
  stream_.expires_after(kStreamWriteTimeout);
  net::async_write(stream_, net::buffer(out_),
                   [self = shared_from_this()](error_code ec, size_t) { self->onSent(ec); });
}

void EventStream::onSent(error_code ec) {
  writing_ = false;
  if (ec || closed_) {
    close();
    return;
  }
  deliver();
}

void EventStream::scheduleKeepAlive() {
  keepAlive_.expires_after(kKeepAliveInterval);
  keepAlive_.async_wait([self = shared_from_this()](error_code ec) {
    if (ec || self->writing_ || self->closed_) return;
    self->send(sseKeepAlive());
  });
}

}  // namespace zarvo_host::serve
