#include "serve/socket_session.h"

#include <chrono>
#include <utility>

#include "serve/plugin_jobs.h"

namespace zarvo_host::serve {
namespace {

// Message bytes read at a time, so the request budget sees a large message as it grows.
constexpr size_t kReadChunk = size_t{64} * 1024;
constexpr std::chrono::seconds kHandshakeTimeout{10};
// With no frame from the page for half of this, the socket pings it; with none for all of it,
// the page is gone and the socket closes. A browser answers pings itself, however busy the page.
constexpr std::chrono::seconds kIdleTimeout{60};

}  // namespace

SocketSession::SocketSession(beast::tcp_stream stream, ServeContext& context)
    : ws_(std::move(stream)), context_(context), gather_(ws_.get_executor()) {
  context_.connections.enter(this);
  context_.connections.enterStream(this);
}

SocketSession::~SocketSession() {
  context_.budget.release(messageBytes_ + owedBytes_);
  context_.connections.leave(this);
}

void SocketSession::start(http::request<http::string_body> request) {
  upgrade_ = std::move(request);
  beast::get_lowest_layer(ws_).expires_never();
  websocket::stream_base::timeout timeout{};
  timeout.handshake_timeout = kHandshakeTimeout;
  timeout.idle_timeout = kIdleTimeout;
  timeout.keep_alive_pings = true;
  ws_.set_option(timeout);
  ws_.read_message_max(context_.limits.requestBytes);
  ws_.auto_fragment(false);
  ws_.async_accept(upgrade_, [self = shared_from_this()](error_code ec) {
    self->upgrade_ = {};
    if (ec) {
      self->close();
      return;
    }
    self->accepted_ = true;
    const uint64_t place = self->reserveReply(0);
    self->fillReply(
        place, helloMessage(self->context_.events.instance(), self->context_.limits.requestBytes));
    self->read();
  });
}

void SocketSession::close() {
  if (closed_) return;
  closed_ = true;
  closing_ = true;
  gather_.cancel();
  context_.connections.leaveStream(this);
  beast::get_lowest_layer(ws_).close();
}

void SocketSession::shutdown() {
  if (!accepted_) {
    close();
    return;
  }
  closeWith(websocket::close_code::going_away);
}

void SocketSession::closeWith(websocket::close_code code) {
  if (closing_) return;
  closing_ = true;
  context_.connections.leaveStream(this);
  // Beast sends the close frame after any write in progress and waits for the page's reply
  // (bounded by the handshake timeout); the connection ends either way.
  ws_.async_close(code, [self = shared_from_this()](error_code) { self->close(); });
}

void SocketSession::wake() {
  if (streaming_) pump();
}

void SocketSession::read() {
  const bool atBoundary = messageBytes_ == 0;
  const bool owedTooMuch =
      replies_.size() >= kMaxCallsInFlight || owedBytes_ >= context_.limits.requestBytes;
  if (reading_ || closing_ || (atBoundary && owedTooMuch)) return;
  reading_ = true;
  ws_.async_read_some(
      incoming_, kReadChunk,
      [self = shared_from_this()](error_code ec, size_t bytes) { self->onRead(ec, bytes); });
}

void SocketSession::onRead(error_code ec, size_t bytes) {
  reading_ = false;
  if (ec || closing_) {
    // The page closed, broke the protocol (Beast has sent 1009 or 1007 already), or went quiet.
    close();
    return;
  }
  if (ws_.got_binary()) {
    closeWith(websocket::close_code::unknown_data);
    return;
  }
  messageBytes_ += bytes;
  if (!context_.budget.add(bytes)) {
    closeWith(websocket::close_code::try_again_later);
    return;
  }
  if (ws_.is_message_done()) {
    const std::string text = beast::buffers_to_string(incoming_.data());
    incoming_.consume(incoming_.size());
    const size_t messageBytes = messageBytes_;
    messageBytes_ = 0;
    handle(text, messageBytes);
  }
  read();
}

void SocketSession::handle(const std::string& text, size_t bytes) {
  ClientMessage message;
  host_core::HostError error;
  if (!readClientMessage(text, &message, &error)) {
    fillReply(reserveReply(bytes), errorMessage(message.id, error));
    return;
  }
  switch (message.op) {
    case ClientMessage::Op::kCall:
      call(std::move(message), reserveReply(bytes));
      return;
    case ClientMessage::Op::kTeardown:
      tearDown(message.id, reserveReply(bytes));
      return;
    case ClientMessage::Op::kEvents:
      context_.budget.release(bytes);
      startEvents(message);
      return;
    case ClientMessage::Op::kStop:
      context_.budget.release(bytes);
      streaming_ = false;
      return;
  }
}

void SocketSession::call(ClientMessage message, uint64_t place) {
  const std::string id = message.id;
  const bool queued =
      runPluginCall(context_, message.resource, std::move(message.texts),
                    [self = shared_from_this(), id, place](const host_core::CallOutcome& outcome) {
                      self->fillReply(place, outcome.ok() ? answerMessage(id, outcome.answer)
                                                          : errorMessage(id, *outcome.fault));
                    });
  if (!queued) fillReply(place, errorMessage(id, host_core::shuttingDown()));
}

void SocketSession::tearDown(const std::string& id, uint64_t place) {
  const bool queued = runTearDown(context_, [self = shared_from_this(), id, place](bool) {
    self->fillReply(place, doneMessage(id));
  });
  if (!queued) fillReply(place, errorMessage(id, host_core::shuttingDown()));
}

void SocketSession::startEvents(const ClientMessage& message) {
  position_ = context_.events.startPosition(message.after);
  streaming_ = true;
  notice_ = streamingMessage(position_);
  pump();
}

uint64_t SocketSession::reserveReply(size_t bytes) {
  replies_.push_back(Reply{false, std::string(), bytes});
  owedBytes_ += bytes;
  return firstPlace_ + replies_.size() - 1;
}

void SocketSession::fillReply(uint64_t place, std::string text) {
  if (place < firstPlace_ || place - firstPlace_ >= replies_.size()) return;
  Reply& reply = replies_[static_cast<size_t>(place - firstPlace_)];
  reply.text = std::move(text);
  reply.ready = true;
  pump();
}

void SocketSession::pump() {
  if (writing_ || closing_ || !accepted_) return;
  if (!replies_.empty() && replies_.front().ready) {
    write(std::move(replies_.front().text), true);
  } else if (pendingBatch_) {
    writeShared(std::move(pendingBatch_));
    pendingBatch_.reset();
  } else if (!notice_.empty()) {
    write(std::move(notice_), false);
    notice_.clear();
  } else if (streaming_) {
    writeEvents();
  }
}

// True when the events after position_ are few and the previous batch began less than
// kGatherTime ago: a timer then pumps again when that time is up.
bool SocketSession::gatherMore() {
  if (gathering_) return true;
  const uint64_t waiting = context_.events.newest() - position_;
  const auto due = lastBatch_ + kGatherTime;
  if (waiting == 0 || waiting >= kGatherEvents || std::chrono::steady_clock::now() >= due) {
    return false;
  }
  gathering_ = true;
  gather_.expires_at(due);
  gather_.async_wait([self = shared_from_this()](error_code) {
    self->gathering_ = false;
    self->pump();
  });
  return true;
}

bool SocketSession::writeEvents() {
  if (gatherMore()) return false;
  SocketBatch batch;
  if (!context_.batches.next(position_, &batch)) return false;
  lastBatch_ = std::chrono::steady_clock::now();
  position_ = batch.last;
  if (batch.gap) {
    pendingBatch_ = std::move(batch.text);
    write(gapMessage(*batch.gap), false);
  } else {
    writeShared(std::move(batch.text));
  }
  return true;
}

void SocketSession::write(std::string text, bool reply) {
  writeShared(std::make_shared<const std::string>(std::move(text)), reply);
}

void SocketSession::writeShared(std::shared_ptr<const std::string> text, bool reply) {
  writing_ = true;
  out_ = std::move(text);
  ws_.async_write(net::buffer(*out_), [self = shared_from_this(), reply](error_code ec, size_t) {
    self->onWritten(ec, reply);
  });
}

void SocketSession::onWritten(error_code ec, bool reply) {
  writing_ = false;
  if (ec) {
    close();
    return;
  }
  if (reply) {
    owedBytes_ -= replies_.front().bytes;
    context_.budget.release(replies_.front().bytes);
    replies_.pop_front();
    ++firstPlace_;
    read();  // it may have waited for owed replies to go out
  }
  pump();
}

}  // namespace zarvo_host::serve
