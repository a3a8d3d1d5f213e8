// The page's origin: a URL scheme of the view's own that serves the page's folder, with the client
// modules at /zarvo/ as under `zarvo_host serve`.
//
// Design note
// -----------
// URLs are zarvo-view://page/<path>. /zarvo/qwebchannel.js is Qt's web-channel script (from Qt's
// resources); every other path is decided by host_core::StaticFiles, the one static-file policy of
// every host: /zarvo/<file> from <web>/zarvo/, everything else from the page's folder; a ".."
// segment, a control byte or a symbolic link leading out of the folder is refused, a directory
// serves its index.html (without its trailing slash it is redirected), and the Content-Type comes
// from host_core's table. Only GET is answered; a refused or missing file fails the request, which
// the page sees as a network error.
// The handler counts what it serves (`served`), so --screenshot can tell when the page has
// stopped loading files.
//
// Threads: registerPageScheme() must run before the QApplication is created; the handler is
// installed on one profile and runs on the GUI thread. Lifetime: the handler must outlive the
// profile's use of it (declare it before the profile).
#ifndef ZARVO_VIEW_PAGE_SCHEME_H
#define ZARVO_VIEW_PAGE_SCHEME_H

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <QWebEngineUrlSchemeHandler>

#include "host_core/static_files.h"

namespace zarvo_view {

extern const char kPageScheme[];  // "zarvo-view"
extern const char kPageHost[];    // "page"

// Registers the scheme with Qt WebEngine (secure, CORS-enabled, host syntax).
void registerPageScheme();

// The URL of `fileName` (relative to the page folder) under the page origin.
QUrl pageUrl(const QString& fileName);

// True when `url` belongs to the page origin.
bool isPageOrigin(const QUrl& url);

// What a request path is answered with: a file (`file` set; ":/…" for Qt's resource), a
// redirect (`location` set) or a failure (neither).
struct PageAnswer {
  QString file;
  QString location;
  QByteArray contentType;
};
PageAnswer answerFor(const host_core::StaticFiles& files, const QString& decodedPath);

class PageSchemeHandler : public QWebEngineUrlSchemeHandler {
  Q_OBJECT

 public:
  explicit PageSchemeHandler(host_core::StaticFiles files, QObject* parent = nullptr);
  void requestStarted(QWebEngineUrlRequestJob* job) override;

 signals:
  // Every request the handler answered or refused.
  void served();

 private:
  void answer(QWebEngineUrlRequestJob* job);

  host_core::StaticFiles files_;
};

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_PAGE_SCHEME_H
