// The web page of the view: shows the page origin only and reports its console.
//
// Navigation: only URLs of the page origin may load, in the main frame and in frames; any other
// navigation (a link, a location change, a form, a frame) is refused and reported on stderr as
//   zarvo_view: refused navigation to <url>: only zarvo-view://page may be shown
// so the web channel, and with it the plug-in, is never reachable from another origin. Pop-up
// windows are not created.
// Console: with `printConsole`, each console message is written to stdout as one line,
// "console: <text>", with line breaks inside the text written as \n. An error-level message
// (an uncaught exception, console.error) ends with " (<source>:<line>)" when Chromium names
// where it came from, so a failing page can be found from the log alone.
// Threads: GUI thread only. Lifetime: must be destroyed before its profile.
#ifndef ZARVO_VIEW_VIEW_PAGE_H
#define ZARVO_VIEW_VIEW_PAGE_H

#include <QByteArray>
#include <QWebEnginePage>

namespace zarvo_view {

class ViewPage : public QWebEnginePage {
  Q_OBJECT

 public:
  ViewPage(QWebEngineProfile* profile, bool printConsole, QObject* parent = nullptr);

  // The console line for a message (with its newline); `source` empty: none is named.
  static QByteArray consoleLine(const QString& message, bool error = false,
                                const QString& source = QString(), int line = 0);

 protected:
  bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override;
  void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString& message,
                                int lineNumber, const QString& sourceID) override;

 private:
  bool printConsole_;
};

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_VIEW_PAGE_H
