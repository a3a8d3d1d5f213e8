// The command line of `zarvo_host serve`.
//
// Design note
// -----------
// Parsing is pure, like the rest of the host's command line: it fills a ServeOptions record or
// returns one problem text, and the serve main decides what to print (exit status 2 for every
// usage problem). The defaults for the plug-in, the application description and the web folder
// are compiled in by the build, so `zarvo_host serve` works from any directory.
#ifndef ZARVO_HOST_SERVE_SERVE_OPTIONS_H
#define ZARVO_HOST_SERVE_SERVE_OPTIONS_H

#include <cstddef>
#include <string>

namespace zarvo_host::serve {

constexpr int kDefaultPort = 8207;
constexpr size_t kDefaultMaxBody = 16777216;      // 16 MiB
constexpr size_t kDefaultEventBuffer = 16777216;  // 16 MiB

struct ServeOptions {
  int port = kDefaultPort;                   // --port; 0 picks a free port
  std::string applications;                  // --applications / --apps
  std::string plugin;                        // --plugin
  std::string page;                          // --page: the author's folder served at '/', or empty
  std::string web;                           // --web: holds zarvo/ and console/
  size_t maxBody = kDefaultMaxBody;          // --max-body, bytes
  size_t eventBuffer = kDefaultEventBuffer;  // --event-buffer, bytes
  bool help = false;                         // -h / --help
};

// Parses the words after "serve" (argv[first] .. argv[argc - 1]). False with `problem` set on a
// usage error.
bool parseServeCommandLine(int argc, char** argv, int first, ServeOptions* options,
                           std::string* problem);
// The serve section of the help text.
std::string serveHelpText();

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_SERVE_OPTIONS_H
