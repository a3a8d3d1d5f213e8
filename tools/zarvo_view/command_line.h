// The command line of zarvo_view.
//
// Design note
// -----------
// The options carry the names the other hosts use (--applications or --apps, --plugin, --web,
// --page, --timeout with a unit, --max-request, --event-buffer), so one habit serves every host.
// They are read with QCommandLineParser before any QApplication exists: Chromium's flags and the
// remote-debugging address must be in the environment before Qt WebEngine starts. The parser
// therefore has no application object, and the usage line names the program "zarvo_view"
// whatever argv[0] was, so --help prints the same text from every path.
//
// Defaults for the plug-in, the description and the web folder come from `viewDefaults()`: the
// files installed beside an installed executable, else the build tree's
// (host_core/default_paths.h).
//
// Threads: stateless; any thread.
#ifndef ZARVO_VIEW_COMMAND_LINE_H
#define ZARVO_VIEW_COMMAND_LINE_H

#include <QStringList>
#include <chrono>
#include <string>

#include "host_core/default_paths.h"
#include "host_core/limits.h"

namespace zarvo_view {

struct Options {
  std::string page;                      // the local HTML file to show
  std::string applications;              // the simulator's application description
  std::string plugin;                    // the plug-in file to dlopen
  std::string web;                       // the folder whose zarvo/ is served at /zarvo/
  std::string screenshot;                // PNG to save once the page is ready; empty: none
  bool console = false;                  // print the page's console messages to stdout
  std::chrono::milliseconds timeout{0};  // 0: no limit
  int devtoolsPort = 0;                  // 0: no remote debugging
  host_core::Limits limits;              // --max-request and --event-buffer change it
};

enum class Parsed { kRun, kHelp, kVersion, kError };

// Reads `args` (args[0] is the program) into `options`, with `defaults` filled in first.
// kError comes with `error` set to one line (without the program name).
Parsed parseCommandLine(const QStringList& args, const host_core::DefaultPaths& defaults,
                        Options* options, std::string* error);

// The --help text.
std::string helpText();

// Where the plug-in, the description and the web folder are when the command line names none.
host_core::DefaultPaths viewDefaults();

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_COMMAND_LINE_H
