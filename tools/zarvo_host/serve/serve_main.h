// `zarvo_host serve`: the reference host as a local web host.
//
// Design note
// -----------
// The mode loads the application description and the plug-in exactly like the session mode,
// then serves the page protocol of docs/serve_protocol.md on 127.0.0.1. Three threads do the
// work: the event loop (every connection, listener.h), the host thread (every plug-in call) and
// the control thread (the simulator controls). Signals are blocked in every thread before any is
// started, and the main thread waits for SIGINT or SIGTERM with sigwait, so shutting down runs as
// ordinary code, bounded in time whatever the clients do:
//   1. the loop stops accepting and ends every connection (WebSockets with close code 1001);
//   2. after kGracefulClose, whatever is still open is closed outright; after kLoopDeadline the
//      loop is stopped even if something still runs on it;
//   3. the control thread ends; the host thread drops the calls not yet started and, as its last
//      job, calls TearDown (every application is disconnected);
//   4. the host library's sinks are removed, and only then the plug-in is unloaded.
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
