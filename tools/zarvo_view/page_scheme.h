// The page's origin: a custom URL scheme that serves the page's folder, with the client modules
// at /zarvo/ as under `zarvo_host serve`.
//
// URLs are zarvo-view://page/<path>. /zarvo/qwebchannel.js is Qt's web-channel script (from
// Qt's resources), /zarvo/<file> comes from <web>/zarvo/, everything else from the page's
// folder. A path that leads outside its folder (.., symbolic links) is refused, a missing file
// is "not found"; files are served with the MIME type of their extension, so ES module imports
// work. Only GET is answered.
// Threads: registerPageScheme() must run before the QApplication is created; the handler is
// installed on one profile and runs on the GUI thread.
#ifndef ZARVO_VIEW_PAGE_SCHEME_H
#define ZARVO_VIEW_PAGE_SCHEME_H

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <QWebEngineUrlSchemeHandler>

namespace zarvo_view {

extern const char kPageScheme[];  // "zarvo-view"
extern const char kPageHost[];    // "page"

// Registers the scheme with Qt WebEngine (secure, CORS-enabled, host syntax).
void registerPageScheme();

// The URL of `fileName` (relative to the page folder) under the page origin.
QUrl pageUrl(const QString& fileName);

// True when `url` belongs to the page origin.
bool isPageOrigin(const QUrl& url);

// The MIME type for a file name, by extension ("application/octet-stream" when unknown).
QByteArray mimeTypeFor(const QString& fileName);

// The file a URL path maps to, or an empty string when it leaves its folder or does not exist.
// `pageDir` and `clientDir` (served at /zarvo/) are canonical absolute folders.
QString resolvePagePath(const QString& path, const QString& pageDir, const QString& clientDir);

class PageSchemeHandler : public QWebEngineUrlSchemeHandler {
  Q_OBJECT

 public:
  PageSchemeHandler(QString pageDir, QString clientDir, QObject* parent = nullptr);
  void requestStarted(QWebEngineUrlRequestJob* job) override;

 private:
  QString pageDir_;
  QString clientDir_;
};

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_PAGE_SCHEME_H
