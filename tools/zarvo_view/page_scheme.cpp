#include "page_scheme.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlScheme>
#include <utility>

namespace zarvo_view {

const char kPageScheme[] = "zarvo-view";
const char kPageHost[] = "page";

namespace {

const char kQWebChannelPath[] = "/zarvo/qwebchannel.js";
const char kQWebChannelResource[] = ":/qtwebchannel/qwebchannel.js";

// `path` (already decoded, starting with '/') inside `root`, or empty when it leaves it.
QString fileInside(const QString& root, const QString& path) {
  const QString cleaned = QDir::cleanPath(root + '/' + path);
  const QFileInfo info(cleaned);
  if (!info.exists() || !info.isFile()) return QString();
  QString canonical = info.canonicalFilePath();
  if (!canonical.startsWith(root + '/')) return QString();
  return canonical;
}

}  // namespace

void registerPageScheme() {
  QWebEngineUrlScheme scheme(kPageScheme);
  scheme.setSyntax(QWebEngineUrlScheme::Syntax::Host);
  scheme.setFlags(QWebEngineUrlScheme::SecureScheme | QWebEngineUrlScheme::CorsEnabled);
  QWebEngineUrlScheme::registerScheme(scheme);
}

QUrl pageUrl(const QString& fileName) {
  QUrl url;
  url.setScheme(kPageScheme);
  url.setHost(kPageHost);
  url.setPath('/' + fileName);
  return url;
}

bool isPageOrigin(const QUrl& url) {
  return url.scheme() == QLatin1String(kPageScheme) && url.host() == QLatin1String(kPageHost) &&
         url.port() == -1;
}

QByteArray mimeTypeFor(const QString& fileName) {
  static const std::pair<const char*, const char*> kTypes[] = {
      {"html", "text/html"},       {"htm", "text/html"},     {"js", "text/javascript"},
      {"mjs", "text/javascript"},  {"css", "text/css"},      {"json", "application/json"},
      {"map", "application/json"}, {"svg", "image/svg+xml"}, {"png", "image/png"},
      {"jpg", "image/jpeg"},       {"jpeg", "image/jpeg"},   {"gif", "image/gif"},
      {"webp", "image/webp"},      {"ico", "image/x-icon"},  {"wasm", "application/wasm"},
      {"txt", "text/plain"},       {"woff2", "font/woff2"},  {"woff", "font/woff"},
  };
  const QString suffix = QFileInfo(fileName).suffix().toLower();
  for (const auto& [extension, type] : kTypes) {
    if (suffix == QLatin1String(extension)) return QByteArray(type);
  }
  return QByteArray("application/octet-stream");
}

QString resolvePagePath(const QString& path, const QString& pageDir, const QString& clientDir) {
  if (path == QLatin1String(kQWebChannelPath)) return QString(kQWebChannelResource);
  if (path.startsWith(QLatin1String("/zarvo/"))) return fileInside(clientDir, path.mid(6));
  return fileInside(pageDir, path);
}

PageSchemeHandler::PageSchemeHandler(QString pageDir, QString clientDir, QObject* parent)
    : QWebEngineUrlSchemeHandler(parent),
      pageDir_(std::move(pageDir)),
      clientDir_(std::move(clientDir)) {}

void PageSchemeHandler::requestStarted(QWebEngineUrlRequestJob* job) {
  const QUrl url = job->requestUrl();
  if (job->requestMethod() != "GET" || !isPageOrigin(url)) {
    job->fail(QWebEngineUrlRequestJob::RequestDenied);
    return;
  }
  const QString file = resolvePagePath(url.path(QUrl::FullyDecoded), pageDir_, clientDir_);
  QFile in(file);
  if (file.isEmpty() || !in.open(QIODevice::ReadOnly)) {
    job->fail(QWebEngineUrlRequestJob::UrlNotFound);
    return;
  }
  auto* buffer = new QBuffer(job);
  buffer->setData(in.readAll());
  buffer->open(QIODevice::ReadOnly);
  job->reply(mimeTypeFor(file), buffer);
}

}  // namespace zarvo_view
