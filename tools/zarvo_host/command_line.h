// The reference host's command line: modes, options and the generated help.
//
// Design note
// -----------
// The command line is declared once with CLI11, which generates --help from the declarations and
// checks every value; this file adds only what CLI11 cannot say (one mode at a time, the words of
// a call, --history only when interactive). Parsing is pure: it fills an Options record, or gives
// the help, version or problem text; main decides what to print and which exit status to use
// (0 for help and version, 2 for every usage problem).
//
// The option names are the ones every host uses: --applications (--apps is still accepted),
// --plugin, --web, --page; durations carry their unit (--timeout 2s). The defaults for the
// plug-in, the description and the web folder are those of host_core/default_paths.h: the build
// tree's files, or the ones installed beside the executable.
#ifndef ZARVO_HOST_COMMAND_LINE_H
#define ZARVO_HOST_COMMAND_LINE_H

#include <string>
#include <vector>

#include "serve/serve_options.h"

namespace zarvo_host {

enum class Mode {
  kScript,       // run a session script file
  kInteractive,  // read steps from standard input, one at a time
  kSteps,        // run the steps given with -e
  kCall,         // one call given as words: call RESOURCE METHOD [PARAMETERS [BODY [EXTRA]]]
  kServe,        // serve a page over HTTP (serve subcommand)
  kHelp,         // print `text` to standard output, exit 0
  kVersion,      // print the version, exit 0
  kError,        // print `text` to standard error, exit 2
};

struct Options {
  Mode mode = Mode::kHelp;
  std::string plugin;                  // --plugin
  std::string applications;            // --applications / --apps
  bool json = false;                   // --json
  int color = -1;                      // --color 1, --no-color 0, -1 decide by the terminal
  long long timeoutMs = 2000;          // --timeout: waitEvents default
  std::string script;                  // kScript
  std::vector<std::string> steps;      // kSteps
  std::vector<std::string> callWords;  // kCall: RESOURCE METHOD [PARAMETERS [BODY [EXTRA]]]
  bool history = false;                // --history[=FILE]: keep the interactive history in a file
  std::string historyFile;             // --history=FILE; empty: the default file
  serve::ServeOptions serve;           // kServe
};

struct CommandLine {
  Options options;
  std::string text;  // the help text (kHelp) or the problem (kError)
};

// Parses the whole command line (argv[0] included).
CommandLine parseCommandLine(const std::vector<std::string>& args);

}  // namespace zarvo_host

#endif  // ZARVO_HOST_COMMAND_LINE_H
