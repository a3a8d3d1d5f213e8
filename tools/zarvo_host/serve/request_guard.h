// The checks that run first, for every request, before any routing: Host, Origin and
// Sec-Fetch-Site.
//
// Design note
// -----------
// The server listens on the loopback interface only, but a page from any web site can still make
// a browser send requests to it, and a DNS name rebound to 127.0.0.1 would even let it read the
// answers. So:
//   - the Host header must name this server (127.0.0.1, localhost or [::1] with the real port),
//     which a rebound name never does;
//   - an Origin header, when present on any method, must be one of this server's own origins;
//   - a browser's Sec-Fetch-Site header, when present, must be "same-origin" or "none" (typed
//     into the address bar). A page of another site sends "cross-site" even where it sends no
//     Origin (a no-cors GET, an image, a form), and for 127.0.0.1 "same-site" always means
//     another port, that is another local server's page.
// Everything else is refused with 403 before the request reaches the plug-in or changes any
// state; the WebSocket upgrade is a request like any other here.
//
// Threads: stateless; any thread.
#ifndef ZARVO_HOST_SERVE_REQUEST_GUARD_H
#define ZARVO_HOST_SERVE_REQUEST_GUARD_H

#include <optional>

#include "host_core/host_error.h"
#include "serve/network.h"

namespace zarvo_host::serve {

// Nothing when a request with these header fields may proceed on a server listening on `port`;
// otherwise the 403 "Forbidden" to answer.
std::optional<host_core::HostError> checkRequestSource(const http::fields& fields, int port);

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_REQUEST_GUARD_H
