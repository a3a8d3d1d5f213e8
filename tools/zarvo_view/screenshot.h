// Saves a PNG of a widget once its page has loaded and settled.
//
// After loadFinished the page gets a settle time for its scripts and layout; then the widget is
// grabbed (which renders a frame) and written to the file. `saved` reports the outcome once.
// Threads: GUI thread only.
#ifndef ZARVO_VIEW_SCREENSHOT_H
#define ZARVO_VIEW_SCREENSHOT_H

#include <QObject>
#include <QString>

class QWidget;

namespace zarvo_view {

class Screenshot : public QObject {
  Q_OBJECT

 public:
  Screenshot(QWidget* widget, QString file, QObject* parent = nullptr);
  // Call with the page's loadFinished result.
  void pageLoaded(bool ok);

 signals:
  // `error` is empty on success.
  void saved(const QString& error);

 private:
  void take();

  QWidget* widget_;
  QString file_;
  bool started_ = false;
};

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_SCREENSHOT_H
