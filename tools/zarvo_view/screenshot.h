// Saves a PNG of the view once the page is ready, for --screenshot.
//
// Design note
// -----------
// A picture taken at "load finished" misses everything a page does afterwards: module scripts,
// data read with fetch, calls to the plug-in. So the view waits until the page is ready:
//   - A page that knows when it is done says so: it sets
//       document.documentElement.dataset.zarvoReady = 'true'
//     (the attribute data-zarvo-ready="true" on <html>). A page that will say so only later
//     declares it up front in its markup with any other value, e.g.
//       <html data-zarvo-ready="false">
//     and the view waits for "true", however quiet the page is meanwhile.
//   - A page without the attribute is taken once the network is idle: it has loaded, and no
//     request has gone through the page scheme for 500 ms.
// The view reads the attribute every 50 ms after the load finished (runJavaScript, in Qt's
// application world, so the page's own scripts are not touched). Once ready it waits 250 ms for
// the frame to reach the window, then grabs it. The wait is capped: past `limit` (the --timeout),
// `saved` reports that the page was not ready and no picture is written.
//
// Threads: GUI thread only. `saved` is emitted exactly once.
#ifndef ZARVO_VIEW_SCREENSHOT_H
#define ZARVO_VIEW_SCREENSHOT_H

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariant>
#include <chrono>

class QWebEngineView;

namespace zarvo_view {

class Screenshot : public QObject {
  Q_OBJECT

 public:
  static constexpr std::chrono::milliseconds kNetworkIdle{500};
  static constexpr std::chrono::milliseconds kPollInterval{50};
  static constexpr std::chrono::milliseconds kPaintDelay{250};

  Screenshot(QWebEngineView* view, QString file, std::chrono::milliseconds limit,
             QObject* parent = nullptr);
  // Call with the page's first loadFinished result.
  void pageLoaded(bool ok);
  // Call for every request the page scheme served.
  void requestServed() { quiet_.restart(); }

 signals:
  // `error` is empty on success.
  void saved(const QString& error);

 private:
  void poll();
  void judge(const QVariant& readiness);
  void take();
  void finish(const QString& error);

  QWebEngineView* view_;
  QString file_;
  std::chrono::milliseconds limit_;
  QTimer poller_;
  QTimer cap_;
  QElapsedTimer quiet_;  // since the last request (or the load)
  bool asking_ = false;  // a poll's runJavaScript has not answered yet
  bool ready_ = false;
  bool done_ = false;
};

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_SCREENSHOT_H
