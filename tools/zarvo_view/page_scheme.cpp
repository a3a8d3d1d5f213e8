#include "page_scheme.h"

#include <QBuffer>
#include <QFile>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlScheme>
#include <utility>

namespace zarvo_view {

const char kPageScheme[] = "zarvo-view";
const char kPageHost[] = "page";

namespace {

const char kQWebChannelPath[] = "/zarvo/qwebchannel.js";
const char kQWebChannelResource[] = ":/qtwebchannel/qwebchannel.js";

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

PageAnswer answerFor(const host_core::StaticFiles& files, const QString& decodedPath) {
  PageAnswer out;
  if (decodedPath == QLatin1String(kQWebChannelPath)) {
    out.file = kQWebChannelResource;
    out.contentType = QByteArray::fromStdString(host_core::contentTypeFor("qwebchannel.js"));
    return out;
  }
  const host_core::FileLookup found = files.lookUp(decodedPath.toStdString());
  if (found.kind == host_core::FileLookup::Kind::kFile) {
    out.file = QString::fromStdString(found.file);
    out.contentType = QByteArray::fromStdString(host_core::contentTypeFor(found.file));
  } else if (found.kind == host_core::FileLookup::Kind::kRedirect) {
    out.location = QString::fromStdString(found.location);
  }
  return out;
}

PageSchemeHandler::PageSchemeHandler(host_core::StaticFiles files, QObject* parent)
    : QWebEngineUrlSchemeHandler(parent), files_(std::move(files)) {}

void PageSchemeHandler::requestStarted(QWebEngineUrlRequestJob* job) {
  answer(job);
  emit served();
}

void PageSchemeHandler::answer(QWebEngineUrlRequestJob* job) {
  const QUrl url = job->requestUrl();
  if (job->requestMethod() != "GET" || !isPageOrigin(url)) {
    job->fail(QWebEngineUrlRequestJob::RequestDenied);
    return;
  }
  const PageAnswer found = answerFor(files_, url.path(QUrl::FullyDecoded));
  if (!found.location.isEmpty()) {
    QUrl target = pageUrl(QString());
    target.setPath(found.location);
    job->redirect(target);
    return;
  }
  QFile in(found.file);
  if (found.file.isEmpty() || !in.open(QIODevice::ReadOnly)) {
    job->fail(QWebEngineUrlRequestJob::UrlNotFound);
    return;
  }
  auto* buffer = new QBuffer(job);
  buffer->setData(in.readAll());
  buffer->open(QIODevice::ReadOnly);
  job->reply(found.contentType, buffer);
}

}  // namespace zarvo_view
