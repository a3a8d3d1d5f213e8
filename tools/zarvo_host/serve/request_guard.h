// The checks that run first, for every request, before any routing: Host and Origin.
//
// Design note
// -----------
// The server listens on the loopback interface only, but a page from any web site can still make
// a browser send requests to it, and a DNS name rebound to 127.0.0.1 would even let it read the
// answers. So the Host header must name this server (127.0.0.1, localhost or [::1] with the real
// port), which a rebound name never does, and an Origin header, when present on any method, must
// be one of this server's own origins. Everything else is refused with 403 before the request
// reaches the plug-in or changes any state.
//
// Threads: stateless; any thread.
#ifndef ZARVO_HOST_SERVE_REQUEST_GUARD_H
#define ZARVO_HOST_SERVE_REQUEST_GUARD_H

#include <httplib.h>

#include <string>

namespace zarvo_host::serve {

// True when `req` may proceed; otherwise false with the 403 message in `problem`.
bool requestAllowed(const httplib::Request& req, int port, std::string* problem);

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_REQUEST_GUARD_H
