#include "screenshot.h"

#include <QImage>
#include <QPixmap>
#include <QTimer>
#include <QWidget>
#include <utility>

namespace zarvo_view {
namespace {

// Long enough for module scripts and their first awaits to run and for layout to finish.
constexpr int kSettleMs = 750;

}  // namespace

Screenshot::Screenshot(QWidget* widget, QString file, QObject* parent)
    : QObject(parent), widget_(widget), file_(std::move(file)) {}

void Screenshot::pageLoaded(bool ok) {
  if (started_) return;
  started_ = true;
  if (!ok) {
    emit saved("the page did not load, so no screenshot was taken");
    return;
  }
  QTimer::singleShot(kSettleMs, this, &Screenshot::take);
}

void Screenshot::take() {
  widget_->update();
  const QImage image = widget_->grab().toImage();
  if (image.isNull()) {
    emit saved("the window could not be grabbed");
    return;
  }
  if (!image.save(file_, "PNG")) {
    emit saved(file_ + ": cannot write the screenshot");
    return;
  }
  emit saved(QString());
}

}  // namespace zarvo_view
