#include "screenshot.h"

#include <QImage>
#include <QPixmap>
#include <QPointer>
#include <QWebEnginePage>
#include <QWebEngineScript>
#include <QWebEngineView>
#include <utility>

#include "host_core/duration_text.h"

namespace zarvo_view {
namespace {

const char kReadinessScript[] = "document.documentElement.dataset.zarvoReady ?? null";

}  // namespace

Screenshot::Screenshot(QWebEngineView* view, QString file, std::chrono::milliseconds limit,
                       QObject* parent)
    : QObject(parent), view_(view), file_(std::move(file)), limit_(limit) {
  poller_.setInterval(kPollInterval);
  connect(&poller_, &QTimer::timeout, this, &Screenshot::poll);
  cap_.setSingleShot(true);
  connect(&cap_, &QTimer::timeout, this, [this] {
    finish("the page was not ready for the screenshot within " +
           QString::fromStdString(host_core::durationText(limit_)));
  });
  cap_.start(limit_);
  quiet_.start();
}

void Screenshot::pageLoaded(bool ok) {
  if (done_ || poller_.isActive() || ready_) return;
  if (!ok) {
    finish("the page did not load, so no screenshot was taken");
    return;
  }
  quiet_.restart();
  poller_.start();
}

void Screenshot::poll() {
  if (asking_ || ready_ || done_) return;
  asking_ = true;
  QPointer<Screenshot> self(this);
  view_->page()->runJavaScript(kReadinessScript, QWebEngineScript::ApplicationWorld,
                               [self](const QVariant& value) {
                                 if (self) self->judge(value);
                               });
}

void Screenshot::judge(const QVariant& readiness) {
  asking_ = false;
  if (ready_ || done_) return;
  const bool saysReady = readiness.typeId() == QMetaType::QString;
  if (saysReady ? readiness.toString() != QLatin1String("true")
                : quiet_.elapsed() < kNetworkIdle.count()) {
    return;
  }
  ready_ = true;
  poller_.stop();
  QTimer::singleShot(kPaintDelay, this, &Screenshot::take);
}

void Screenshot::take() {
  if (done_) return;
  view_->update();
  const QImage image = view_->grab().toImage();
  if (image.isNull()) {
    finish("the window could not be grabbed");
  } else if (!image.save(file_, "PNG")) {
    finish(file_ + ": cannot write the screenshot");
  } else {
    finish(QString());
  }
}

void Screenshot::finish(const QString& error) {
  if (done_) return;
  done_ = true;
  poller_.stop();
  cap_.stop();
  emit saved(error);
}

}  // namespace zarvo_view
