// Where a request goes, decided from its request line and whether it carries a body, before a
// byte of that body is read.
//
// Design note
// -----------
// The decision is a pure function, so it is tested (and fuzzed) on its own. It names the route,
// whether the route reads the body, and, for a request it refuses, the host-made error (404 for
// an unknown path or resource, 405 with the allowed methods, 400 for a malformed target).
//
// A request whose body is not read must end its connection: its unread bytes would otherwise be
// parsed as the next request, and a page that cannot send a request of its own could hide one in
// a body. So `closeAfter` is set for every request that carries a body the route does not read,
// and such a request to a route that takes no body is refused outright (400) rather than answered
// as if the body were not there.
//
// Threads: stateless; any thread.
#ifndef ZARVO_HOST_SERVE_ROUTER_H
#define ZARVO_HOST_SERVE_ROUTER_H

#include <string>
#include <string_view>

#include "host_core/host_error.h"
#include "host_core/resource.h"
#include "serve/request_target.h"

namespace zarvo_host::serve {

enum class RouteKind {
  kRefuse,        // answer `error` (and `allow` with a 405)
  kCall,          // POST /bridge/<Resource>: a plug-in call
  kTeardown,      // POST /teardown
  kRaise,         // POST /simulator/raise
  kDisconnect,    // POST /simulator/disconnect
  kCallLog,       // GET /simulator/log
  kApplications,  // GET /simulator/applications
  kEvents,        // GET /events: the event stream
  kSocket,        // GET /socket: the WebSocket
  kFile,          // GET or HEAD of a static file
};

// What the router looks at.
struct RequestHead {
  std::string_view method;  // as sent, e.g. "GET"
  std::string_view target;  // as sent, e.g. "/events?lastEventId=3"
  bool hasBody = false;     // a Content-Length above 0 or a Transfer-Encoding
};

struct Route {
  RouteKind kind = RouteKind::kRefuse;
  host_core::Resource resource = host_core::Resource::kApplication;  // kCall
  RequestTarget target;                                              // decoded path and query
  bool readsBody = false;
  bool closeAfter = false;     // the connection ends after the answer
  host_core::HostError error;  // kRefuse
  std::string allow;           // kRefuse with 405: the Allow header
};

Route routeRequest(const RequestHead& head);

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_ROUTER_H
