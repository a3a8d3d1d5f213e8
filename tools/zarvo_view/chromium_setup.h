// What Qt WebEngine (Chromium) must be told before it starts.
//
// Design note
// -----------
// Chromium reads its switches once, from the environment, when the first web engine object is
// made; so `prepareChromium` runs before the QApplication. The view is a development host for one
// machine and for headless tests, so Chromium gets:
//   - no GPU (and so no shader cache on disk): the offscreen platform has none, and the pictures
//     of --screenshot are rendered in software the same way everywhere;
//   - no background networking (component updates, pings, DNS prefetch, domain reliability): the
//     view only ever loads its own scheme and must never try the network on its own;
//   - remote debugging on the loopback interface only, and only with --devtools;
//   - no sandbox when running as root, which Chromium refuses otherwise.
// Flags already in QTWEBENGINE_CHROMIUM_FLAGS are kept, after ours.
// `quietQtLogging` silences Qt WebEngine's start-up report of its graphics setup and its notes on
// the two choices above ("No suitable graphics backend found" without a GPU, "Sandboxing disabled
// by user." as root): the view makes those choices on purpose, so the notes would only hide the
// lines that matter on stderr. Every other Qt message passes unchanged.
//
// Threads: main thread, before the QApplication exists.
#ifndef ZARVO_VIEW_CHROMIUM_SETUP_H
#define ZARVO_VIEW_CHROMIUM_SETUP_H

#include <string>

namespace zarvo_view {

// The switches the view gives Chromium, space-separated.
std::string chromiumFlags();
// Sets the environment for Chromium; `devtoolsPort` 0 means no remote debugging.
void prepareChromium(int devtoolsPort);
void quietQtLogging();

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_CHROMIUM_SETUP_H
