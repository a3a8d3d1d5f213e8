#include "serve/http_routes.h"

#include <memory>

#include "serve/host_answer.h"
#include "serve/protocol_request.h"
#include "serve/request_guard.h"
#include "serve/simulator_controls.h"
#include "serve/sse_stream.h"

namespace zarvo_host::serve {
namespace {

using httplib::Request;
using httplib::Response;
using HandlerResponse = httplib::Server::HandlerResponse;

const char* const kResources[] = {"ZarvoApplication", "ZarvoApplicationBridge",
                                  "ZarvoApplicationEvent", "ZarvoApplicationCustom"};
const std::string kBridgePrefix = "/bridge/";

bool isResource(const std::string& name) {
  for (const char* resource : kResources) {
    if (name == resource) return true;
  }
  return false;
}

// The paths whose POST carries a body that the routes below read.
bool takesBody(const std::string& path) {
  if (path.compare(0, kBridgePrefix.size(), kBridgePrefix) == 0) {
    return isResource(path.substr(kBridgePrefix.size()));
  }
  return path == "/teardown" || path == "/simulator/raise" || path == "/simulator/disconnect";
}

bool hasBody(const Request& req) {
  return req.has_header("Transfer-Encoding") ||
         (req.has_header("Content-Length") && req.get_header_value("Content-Length") != "0");
}

void resourceCall(ServeContext& ctx, const std::string& resource, const Request& req,
                  Response& res) {
  ResourceRequest request;
  std::string problem;
  if (!parseResourceRequest(req.body, &request, &problem)) {
    setHostError(res, 400, kBadProtocolRequest, problem);
    return;
  }
  ResourceAnswer answer;
  if (!ctx.calls.call(resource, request, &answer)) {
    setHostError(res, 503, kUnavailable, "the server is shutting down");
    return;
  }
  if (answer.responses != 1 || answer.answeredPromise != answer.promise) {
    setHostError(res, 500, "PluginError",
                 "the plug-in set " + std::to_string(answer.responses) + " responses for promise " +
                     std::to_string(answer.promise));
    return;
  }
  res.status = answer.status;
  res.set_content(answer.text, "application/json");
  res.set_header("Zarvo-Status", std::to_string(answer.status));
  res.set_header("Zarvo-Promise", std::to_string(answer.promise));
}

// Where a new stream starts: the Last-Event-ID header, else ?lastEventId=, else now.
bool streamStart(ServeContext& ctx, const Request& req, uint64_t* position, std::string* problem) {
  bool given = false;
  uint64_t last = 0;
  if (req.has_header("Last-Event-ID")) {
    const std::string text = req.get_header_value("Last-Event-ID");
    if (!parseDecimal(text, &last)) {
      *problem = "Last-Event-ID '" + text + "' is not a decimal number";
      return false;
    }
    given = true;
  } else if (req.has_param("lastEventId")) {
    const std::string text = req.get_param_value("lastEventId");
    if (!parseDecimal(text, &last)) {
      *problem = "lastEventId '" + text + "' is not a decimal number";
      return false;
    }
    given = true;
  }
  *position = ctx.ring.startPosition(given, last);
  return true;
}

// Counts a new stream in; false when kMaxEventStreams are open already.
bool admitStream(ServeContext& ctx) {
  int open = ctx.streams.load();
  do {
    if (open >= kMaxEventStreams) return false;
  } while (!ctx.streams.compare_exchange_weak(open, open + 1));
  return true;
}

void openEventStream(ServeContext& ctx, const Request& req, Response& res) {
  uint64_t position = 0;
  std::string problem;
  if (!streamStart(ctx, req, &position, &problem)) {
    setHostError(res, 400, kBadProtocolRequest, problem);
    return;
  }
  if (ctx.ring.closed()) {
    setHostError(res, 503, kUnavailable, "the server is shutting down");
    return;
  }
  if (!admitStream(ctx)) {
    setHostError(res, 503, kUnavailable,
                 "too many event streams (at most " + std::to_string(kMaxEventStreams) + ")");
    return;
  }
  auto stream = std::make_shared<SseStream>(ctx.ring, position);
  res.status = 200;
  res.set_chunked_content_provider(
      "text/event-stream",
      [stream](size_t /*offset*/, httplib::DataSink& sink) {
        bool ended = false;
        const auto write = [&sink](const std::string& text) {
          return sink.write(text.data(), text.size());
        };
        if (stream->step(write, &ended)) return true;
        if (!ended) return false;  // the client is gone
        sink.done();
        return true;
      },
      [&ctx](bool /*success*/) { ctx.streams.fetch_sub(1); });
}

void simulatorGet(ServeContext& ctx, const Request& req, Response& res) {
  if (req.path == "/simulator/applications") {
    res.status = 200;
    res.set_content(ctx.applicationsText, "application/json");
    return;
  }
  uint64_t from = 0;
  if (req.has_param("from") && !parseDecimal(req.get_param_value("from"), &from)) {
    setHostError(res, 400, kBadProtocolRequest,
                 "from '" + req.get_param_value("from") + "' is not a decimal number");
    return;
  }
  callLog(from, res);
}

// Every request that needs no body: answered here, in the pre-routing handler.
void routeWithoutBody(ServeContext& ctx, const Request& req, Response& res) {
  const std::string& path = req.path;
  const bool get = req.method == "GET";
  if (path.compare(0, kBridgePrefix.size(), kBridgePrefix) == 0) {
    const std::string name = path.substr(kBridgePrefix.size());
    if (!isResource(name)) {
      setHostError(res, 404, kNotFound, "unknown resource '" + name + "'");
    } else {
      setMethodNotAllowed(res, req.method, path, "POST");
    }
  } else if (takesBody(path)) {
    setMethodNotAllowed(res, req.method, path, "POST");
  } else if (path == "/events") {
    if (get) {
      openEventStream(ctx, req, res);
    } else {
      setMethodNotAllowed(res, req.method, path, "GET");
    }
  } else if (path == "/simulator/log" || path == "/simulator/applications") {
    if (get) {
      simulatorGet(ctx, req, res);
    } else {
      setMethodNotAllowed(res, req.method, path, "GET");
    }
  } else if (path.compare(0, 11, "/simulator/") == 0) {
    setHostError(res, 404, kNotFound, "unknown simulator control '" + path.substr(11) + "'");
  } else if (get || req.method == "HEAD") {
    ctx.files.serve(path, res);
  } else {
    setMethodNotAllowed(res, req.method, path, "GET, HEAD");
  }
}

// Paths the server answers itself (everything but the static files).
bool isApiPath(const std::string& path) {
  return path.compare(0, kBridgePrefix.size(), kBridgePrefix) == 0 ||
         path.compare(0, 11, "/simulator/") == 0 || path == "/events" || path == "/teardown";
}

HandlerResponse preRouting(ServeContext& ctx, const Request& req, Response& res) {
  // A Range header applies to static files only: an envelope, an event stream or a host-made
  // answer always goes out whole. cpp-httplib hands the handler a const view of a request it
  // owns as a modifiable object, so the parsed ranges can be dropped here.
  if (isApiPath(req.path) || req.method != "GET") {
    const_cast<Request&>(req).ranges.clear();  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  }
  std::string problem;
  if (!requestAllowed(req, ctx.port, &problem)) {
    setHostError(res, 403, kForbidden, problem);
  } else if (req.method == "POST" && takesBody(req.path)) {
    return HandlerResponse::Unhandled;
  } else {
    routeWithoutBody(ctx, req, res);
  }
  if (hasBody(req)) res.set_header("Connection", "close");
  return HandlerResponse::Handled;
}

}  // namespace

void installRoutes(httplib::Server& server, ServeContext& context) {
  ServeContext& ctx = context;
  server.set_default_headers(
      {{"Cache-Control", "no-store"}, {"X-Content-Type-Options", "nosniff"}});
  server.set_payload_max_length(ctx.maxBody);
  server.set_pre_routing_handler(
      [&ctx](const Request& req, Response& res) { return preRouting(ctx, req, res); });
  for (const char* resource : kResources) {
    const std::string name = resource;
    server.Post(kBridgePrefix + name, [&ctx, name](const Request& req, Response& res) {
      resourceCall(ctx, name, req, res);
    });
  }
  server.Post("/teardown", [&ctx](const Request& /*req*/, Response& res) {
    if (ctx.calls.tearDown()) {
      res.status = 204;
    } else {
      setHostError(res, 503, kUnavailable, "the server is shutting down");
    }
  });
  server.Post("/simulator/raise",
              [](const Request& req, Response& res) { raiseEvents(req.body, res); });
  server.Post("/simulator/disconnect",
              [](const Request& req, Response& res) { reportDisconnect(req.body, res); });
  const httplib::Server::HandlerWithResponse onError = [&ctx](const Request& req, Response& res) {
    if (!res.body.empty() || res.has_header("Zarvo-Status")) return HandlerResponse::Unhandled;
    fillHostError(req, res, ctx.maxBody);
    return HandlerResponse::Handled;
  };
  server.set_error_handler(onError);
  server.set_exception_handler(
      [](const Request& /*req*/, Response& res, const std::exception_ptr& /*error*/) {
        setHostError(res, 500, "InternalError", "the server failed to answer this request");
      });
}

}  // namespace zarvo_host::serve
