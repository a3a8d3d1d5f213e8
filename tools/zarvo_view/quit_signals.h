// SIGINT and SIGTERM as a Qt signal on the GUI thread (the self-pipe pattern).
//
// The signal handler only writes the signal number into a pipe; a QSocketNotifier on the read
// end emits `received` in the event loop, where the program can tear down in order.
// Lifetime: one instance per process; its destructor restores the default handlers.
#ifndef ZARVO_VIEW_QUIT_SIGNALS_H
#define ZARVO_VIEW_QUIT_SIGNALS_H

#include <QObject>

class QSocketNotifier;

namespace zarvo_view {

class QuitSignals : public QObject {
  Q_OBJECT

 public:
  explicit QuitSignals(QObject* parent = nullptr);
  ~QuitSignals() override;
  // False (with errno set) when the pipe or a handler could not be set up.
  bool install();

 signals:
  void received(int signalNumber);

 private:
  void readPipe();
  QSocketNotifier* notifier_ = nullptr;
};

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_QUIT_SIGNALS_H
