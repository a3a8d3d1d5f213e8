// The routes of an HTTP session: what each accepted request does once its body (if any) is read.
#include <utility>

#include "host_core/protocol_body.h"
#include "serve/event_stream.h"
#include "serve/http_answers.h"
#include "serve/http_session.h"
#include "serve/plugin_jobs.h"
#include "serve/request_target.h"
#include "serve/socket_session.h"
#include "serve/static_response.h"

namespace zarvo_host::serve {
namespace {

// The longest Sec-WebSocket-Key Beast takes (the base64 of 16 bytes).
constexpr size_t kMaxKeyBytes = 24;

host_core::HostError tooManyStreams(size_t limit) {
  return host_core::unavailable("too many event streams (at most " + std::to_string(limit) + ")");
}

}  // namespace

void HttpSession::dispatch() {
  switch (route_.kind) {
    case RouteKind::kCall:
      callPlugin();
      return;
    case RouteKind::kTeardown:
      tearDown();
      return;
    case RouteKind::kRaise:
    case RouteKind::kDisconnect:
      runControl();
      return;
    case RouteKind::kCallLog:
      sendCallLog();
      return;
    case RouteKind::kApplications:
      send(jsonAnswer(context_.controls.applicationsText(), parser_->get().version()));
      return;
    case RouteKind::kEvents:
      openEventStream();
      return;
    case RouteKind::kSocket:
      openSocket();
      return;
    case RouteKind::kFile:
      serveFile();
      return;
    case RouteKind::kRefuse:
      refuse(route_.error, route_.closeAfter, route_.allow);
      return;
  }
}

void HttpSession::callPlugin() {
  host_core::RequestTexts texts;
  std::string problem;
  if (!host_core::parseResourceRequest(parser_->get().body(), &texts, &problem)) {
    refuse(host_core::badProtocolRequest(problem));
    return;
  }
  parser_->get().body() = std::string();  // the texts hold the request now
  const bool queued =
      runPluginCall(context_, route_.resource, std::move(texts),
                    [self = shared_from_this()](const host_core::CallOutcome& outcome) {
                      self->send(pluginAnswer(outcome, self->context_.events.instance(),
                                              self->parser_->get().version()));
                    });
  if (!queued) refuse(host_core::shuttingDown(), true);
}

void HttpSession::tearDown() {
  const bool queued = runTearDown(context_, [self = shared_from_this()](bool) {
    self->send(noContentAnswer(self->parser_->get().version()));
  });
  if (!queued) refuse(host_core::shuttingDown(), true);
}

void HttpSession::runControl() {
  const host_core::SimulatorControls& controls = context_.controls;
  const bool raise = route_.kind == RouteKind::kRaise;
  const bool queued = runThenPost(
      context_.controlThread, context_.loop.get_executor(),
      [&controls, raise, body = std::move(parser_->get().body())] {
        return raise ? controls.raise(body) : controls.reportLostConnection(body);
      },
      [self = shared_from_this()](host_core::ControlOutcome outcome) {
        const unsigned version = self->parser_->get().version();
        if (outcome.error) {
          self->refuse(*outcome.error);
        } else {
          self->send(jsonAnswer(std::move(outcome.json), version));
        }
      });
  if (!queued) refuse(host_core::shuttingDown(), true);
}

void HttpSession::sendCallLog() {
  const host_core::SimulatorControls& controls = context_.controls;
  const std::optional<std::string> from = queryValue(route_.target.query, "from");
  const bool queued = runThenPost(
      context_.controlThread, context_.loop.get_executor(),
      [&controls, from] { return from ? controls.callLog(*from) : controls.callLog(uint64_t{0}); },
      [self = shared_from_this()](host_core::ControlOutcome outcome) {
        if (outcome.error) {
          self->refuse(*outcome.error);
        } else {
          self->send(jsonAnswer(std::move(outcome.json), self->parser_->get().version()));
        }
      });
  if (!queued) refuse(host_core::shuttingDown(), true);
}

void HttpSession::openEventStream() {
  const auto& request = parser_->get();
  uint64_t position = 0;
  host_core::HostError error;
  if (!eventStreamStart(request, route_.target.query, context_.events, &position, &error)) {
    refuse(error);
    return;
  }
  if (context_.connections.streamCount() >= context_.connections.maxStreams()) {
    refuse(tooManyStreams(context_.connections.maxStreams()));
    return;
  }
  closed_ = true;  // the connection is the stream's from here on
  auto stream =
      std::make_shared<EventStream>(std::move(stream_), context_, position, request.version());
  stream->start();
}

void HttpSession::openSocket() {
  const auto& request = parser_->get();
  const auto key = request[http::field::sec_websocket_key];
  if (!websocket::is_upgrade(request) || key.empty() || key.size() > kMaxKeyBytes ||
      request[http::field::sec_websocket_version] != "13") {
    refuse(host_core::badProtocolRequest(
               "GET /socket takes a WebSocket upgrade (version 13, with Sec-WebSocket-Key)"),
           true);
    return;
  }
  if (context_.connections.streamCount() >= context_.connections.maxStreams()) {
    refuse(tooManyStreams(context_.connections.maxStreams()), true);
    return;
  }
  closed_ = true;  // the connection is the socket's from here on
  auto socket = std::make_shared<SocketSession>(std::move(stream_), context_);
  socket->start(parser_->release());
}

void HttpSession::serveFile() {
  const auto& request = parser_->get();
  StaticAnswer answer = staticAnswer(context_.files, route_.target.path,
                                     request.method() == http::verb::head, request.version());
  std::visit([this](auto& response) { send(std::move(response)); }, answer);
}

}  // namespace zarvo_host::serve
