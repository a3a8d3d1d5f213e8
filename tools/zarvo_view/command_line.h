// The command line of zarvo_view.
//
// Parsed before the QApplication exists (the remote-debugging port and the page scheme must be
// set up before Qt WebEngine starts), so this uses nothing of Qt.
#ifndef ZARVO_VIEW_COMMAND_LINE_H
#define ZARVO_VIEW_COMMAND_LINE_H

#include <string>
#include <vector>

namespace zarvo_view {

struct Options {
  std::string page;           // the local HTML file to show
  std::string applications;   // the simulator's application description
  std::string plugin;         // the plug-in file to dlopen
  std::string web;            // the folder whose zarvo/ is served at /zarvo/
  std::string screenshot;     // PNG to save once the page has settled; empty: none
  bool console = false;       // print the page's console messages to stdout
  double timeoutSeconds = 0;  // 0: wait for the page to close however long it takes
  int devtoolsPort = 0;       // 0: no remote debugging
};

enum class Parsed { kRun, kHelp, kVersion, kError };

// Reads argv into `options` (defaults filled in first). kError comes with `error` set.
Parsed parseCommandLine(const std::vector<std::string>& args, Options* options, std::string* error);

// The --help text.
std::string usageText();

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_COMMAND_LINE_H
