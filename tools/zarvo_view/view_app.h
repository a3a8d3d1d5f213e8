// The view as one object: the plug-in, its host, the channel objects, the page and the window.
//
// Design note
// -----------
// Everything the view owns is a member, and the members are declared in the order they depend on
// each other, so C++ destroys them in the reverse order and the shutdown needs no calls of its
// own:
//   1. the window and the page go first (no page script can call any more, and the page is gone
//      before its profile and its web channel);
//   2. then the channel objects (the bridge object removes its event listener);
//   3. then the PluginHost, which removes the host library's sinks (no event reaches the log any
//      more);
//   4. then the event log;
//   5. last the Plugin, whose destructor runs TearDown (every application is disconnected) and
//      unloads the file, so no code of the plug-in can run afterwards.
// The process ends the same way whatever ends the run: the page's window.close(), the window
// closed, SIGINT/SIGTERM, --timeout, or --screenshot done. `finish` only records the exit status
// and leaves the event loop; calls that arrive after it are answered 503 "Unavailable".
//
// Exit status of exec(): 0 the page or the user closed the window (or SIGINT/SIGTERM, or the
// screenshot was saved), 1 timeout, a page that closed before it had loaded (Qt WebEngine's
// account: a close from the page's load handlers aborts the load; a close from a later task does
// not), or a screenshot that could not be taken.
//
// Threads: GUI thread; construct after the QApplication and destroy before it.
#ifndef ZARVO_VIEW_VIEW_APP_H
#define ZARVO_VIEW_VIEW_APP_H

#include <QString>
#include <QTimer>
#include <QWebChannel>
#include <QWebEngineProfile>
#include <QWebEngineView>
#include <memory>
#include <string>

#include "bridge_object.h"
#include "command_line.h"
#include "host_core/event_log.h"
#include "host_core/plugin.h"
#include "host_core/plugin_host.h"
#include "host_core/simulator_controls.h"
#include "page_scheme.h"
#include "quit_signals.h"
#include "screenshot.h"
#include "simulator_object.h"
#include "view_page.h"

namespace zarvo_view {

// The page file and the folders it is served from.
struct PageFolders {
  std::string pageDir;    // real path of the page's folder
  QString pageFile;       // the page's file name inside it
  std::string moduleDir;  // real path of <web>/zarvo
};

// Checks the page file and the web folder of `options`; false with `problem` set.
bool locatePage(const Options& options, PageFolders* out, std::string* problem);

class ViewApp {
 public:
  // With --screenshot and no --timeout, the wait for the page to be ready is capped at this.
  static constexpr std::chrono::milliseconds kDefaultScreenshotLimit = std::chrono::seconds(30);
  // How long a failed load waits for a close request before it is reported.
  static constexpr std::chrono::milliseconds kLoadFailureGrace{250};

  ViewApp(const Options& options, const PageFolders& folders, host_core::Plugin plugin,
          std::string applicationsText);
  ViewApp(const ViewApp&) = delete;
  ViewApp& operator=(const ViewApp&) = delete;

  // Shows the page and runs the event loop; returns the exit status.
  int exec();

 private:
  void connectEnds();
  void startScreenshot();
  void onLoadFinished(bool ok);
  void onCloseRequested();
  void finish(int code);

  const Options options_;
  const PageFolders folders_;
  // Declaration order is construction order; destruction runs backwards (see the design note).
  host_core::Plugin plugin_;
  host_core::EventLog events_;
  host_core::PluginHost host_;
  host_core::SimulatorControls controls_;
  BridgeObject bridge_;
  SimulatorObject simulator_;
  QWebChannel channel_;
  PageSchemeHandler scheme_;
  QWebEngineProfile profile_;
  ViewPage page_;
  QWebEngineView view_;
  QuitSignals quitSignals_;
  QTimer timeout_;
  std::unique_ptr<Screenshot> screenshot_;
  bool loadSeen_ = false;
  bool loaded_ = false;
  bool screenshotPending_ = false;
  bool finished_ = false;
};

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_VIEW_APP_H
