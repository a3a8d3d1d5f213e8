// `zarvo_host serve`: the reference host as a local web host.
//
// Design note
// -----------
// The mode loads the application description and the plug-in exactly like the session mode,
// then serves the page protocol of docs/serve_protocol.md on 127.0.0.1. Signals are blocked in
// every thread before any is started, and the main thread waits for SIGINT or SIGTERM with
// sigwait, so shutting down runs as ordinary code: close the event ring (the streams end), stop
// the HTTP server (no worker runs any more), call TearDown on the host thread (every connection
// closed; the application library makes no callback for them afterwards), stop the host thread,
// remove the host library's sinks, and only then unload the plug-in.
//
// Exit status: 0 after a signal; 1 when the server cannot listen; 2 for usage problems and for a
// plug-in or description that cannot be loaded.
#ifndef ZARVO_HOST_SERVE_SERVE_MAIN_H
#define ZARVO_HOST_SERVE_SERVE_MAIN_H

#include "serve/serve_options.h"

namespace zarvo_host::serve {

// Runs the serve mode with the parsed options until SIGINT or SIGTERM.
int runServe(const ServeOptions& options);

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_SERVE_MAIN_H
