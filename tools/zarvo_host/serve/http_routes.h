// The HTTP side of `zarvo_host serve`: the checks, the routes and the server's own answers.
//
// Design note
// -----------
// cpp-httplib reads a request's body only after its pre-routing handler has run, and routes by
// regular expressions over the whole path. So the pre-routing handler does the Host and Origin
// checks first, for every request, and then answers every request that needs no body itself
// (static files, the event stream, the log, and every 404 and 405); only a POST to one of the
// exact paths that take a body goes on to the literal routes registered for them, where the body
// has been read (and refused with 413 above the limit). A request answered early whose body was
// never read is answered with "Connection: close", so its unread bytes are never taken for the
// next request. Every answer the library makes itself (400, 413, ...) passes the error handler,
// which gives it the host-made JSON body.
//
// Threads: handlers run on the server's worker threads; the context outlives the server.
#ifndef ZARVO_HOST_SERVE_HTTP_ROUTES_H
#define ZARVO_HOST_SERVE_HTTP_ROUTES_H

#include <httplib.h>

#include <atomic>
#include <cstddef>
#include <string>

#include "serve/event_ring.h"
#include "serve/plugin_calls.h"
#include "serve/static_files.h"

namespace zarvo_host::serve {

constexpr int kMaxEventStreams = 16;

struct ServeContext {
  ServeContext(PluginCalls& pluginCalls, EventRing& eventRing, StaticFiles staticFiles)
      : calls(pluginCalls), ring(eventRing), files(std::move(staticFiles)) {}

  PluginCalls& calls;
  EventRing& ring;
  StaticFiles files;
  std::string applicationsText;  // the description file as loaded
  size_t maxBody = 0;
  int port = 0;                 // the real listening port; set before the server starts
  std::atomic<int> streams{0};  // event streams open now
};

// Installs the pre-routing checks, the routes, the error handler and the default headers.
void installRoutes(httplib::Server& server, ServeContext& context);

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_HTTP_ROUTES_H
