// The command line of `zarvo_host serve`: its options, declared for CLI11.
//
// Design note
// -----------
// The options are declared once, on the "serve" subcommand of the host's command line, which
// generates `zarvo_host serve --help` from them and checks every value (a port from 0 to 65535,
// byte counts from 1, folders that exist). The defaults for the plug-in, the application
// description and the web folder are the host's (host_defaults.h): the build tree's files, or
// those installed beside the executable.
//
// The connection rules bound what any client can hold: how many connections and event streams
// exist at once, and how long a connection may take for a request's header, for its body, and
// between requests. Their defaults suit one developer's browser with 20 tabs open.
#ifndef ZARVO_HOST_SERVE_SERVE_OPTIONS_H
#define ZARVO_HOST_SERVE_SERVE_OPTIONS_H

#include <chrono>
#include <cstddef>
#include <string>

#include "host_core/limits.h"

namespace CLI {
class App;
}  // namespace CLI

namespace zarvo_host::serve {

constexpr int kDefaultPort = 8207;

struct ConnectionRules {
  size_t maxConnections = 256;  // --max-connections: open connections, streams included
  size_t maxStreams = 64;       // --max-streams: event streams and WebSockets together
  size_t headerBytes = 16384;   // request line and header fields together
  std::chrono::milliseconds headerTimeout{10000};  // --header-timeout: first byte to header end
  std::chrono::milliseconds bodyTimeout{30000};    // --body-timeout: the whole body
  std::chrono::milliseconds idleTimeout{15000};    // --idle-timeout: between requests
};

struct ServeOptions {
  int port = kDefaultPort;   // --port; 0 picks a free port
  std::string applications;  // --applications / --apps
  std::string plugin;        // --plugin
  std::string page;          // --page: the author's folder served at '/', or empty
  std::string web;           // --web: holds zarvo/ and console/
  host_core::Limits limits;  // --max-body (requestBytes), --event-buffer (eventBufferBytes)
  ConnectionRules rules;     // --max-connections, --max-streams, --*-timeout
};

// Declares the serve options on `serve` (the subcommand), writing into `options`.
void addServeOptions(CLI::App& serve, ServeOptions& options);

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_SERVE_OPTIONS_H
