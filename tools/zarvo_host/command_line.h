// The reference host's command line: options, modes and the help text.
//
// Design note
// -----------
// Parsing is pure: it fills an Options record or returns one problem text; main decides what to
// print and which exit status to use (2 for every usage problem). Defaults for the plug-in file
// and the application description are compiled in by the build (the plug-in built alongside, the
// source tree's examples/applications.json), so a bare `zarvo_host SCRIPT` works from any
// directory.
#ifndef ZARVO_HOST_COMMAND_LINE_H
#define ZARVO_HOST_COMMAND_LINE_H

#include <string>
#include <vector>

namespace zarvo_host {

enum class Mode {
  kScript,       // run a session script file
  kInteractive,  // read steps from standard input, one at a time
  kSteps,        // run the steps given with -e
  kCall,         // one call given as words: call RESOURCE METHOD [PARAMETERS [BODY [EXTRA]]]
  kHelp,
  kVersion,
};

struct Options {
  Mode mode = Mode::kHelp;
  std::string plugin;                  // --plugin, or the compiled-in default
  std::string apps;                    // --apps, or the compiled-in default
  bool json = false;                   // --json
  int color = -1;                      // --color 1, --no-color 0, -1 decide by the terminal
  long long timeoutMs = 2000;          // --timeout: waitEvents default
  std::string script;                  // kScript
  std::vector<std::string> steps;      // kSteps
  std::vector<std::string> callWords;  // kCall: RESOURCE METHOD [PARAMETERS [BODY [EXTRA]]]
  bool history = false;                // --history[=FILE]: keep the interactive history in a file
  std::string historyFile;             // --history=FILE; empty: the default file
};

// Parses argv. False with `problem` set on a usage error.
bool parseCommandLine(int argc, char** argv, Options* options, std::string* problem);
// The --help text.
std::string helpText();

}  // namespace zarvo_host

#endif  // ZARVO_HOST_COMMAND_LINE_H
