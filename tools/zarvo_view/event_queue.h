// Hands the plug-in's "zarvoEvent" dispatches from the application library's threads to the
// GUI thread, in the order they were dispatched.
//
// Threads: the stand-in host library calls the event sink on whatever thread the application
// library raised the event (one call at a time: the stand-in serialises its sinks). The sink
// only appends a copy of the text under a mutex and, when the GUI thread has not yet been told,
// posts one queued wake-up; the GUI thread then takes everything waiting at once and emits
// `events` with the batch. Nothing is dropped: every dispatched text reaches `events` once.
// Lifetime: install() registers the sink with the stand-in; uninstall() removes it, and returns
// only when no sink call is running any more (the stand-in's sink mutex), so after it the queue
// may be destroyed. The destructor uninstalls.
#ifndef ZARVO_VIEW_EVENT_QUEUE_H
#define ZARVO_VIEW_EVENT_QUEUE_H

#include <QObject>
#include <QStringList>
#include <mutex>
#include <vector>

namespace zarvo_view {

class EventQueue : public QObject {
  Q_OBJECT

 public:
  explicit EventQueue(QObject* parent = nullptr);
  ~EventQueue() override;

  void install();
  void uninstall();

 signals:
  // A batch of event texts in dispatch order (GUI thread).
  void events(const QStringList& texts);

 private:
  static void sink(const char* eventName, const char* json, void* userData);
  void push(const char* json);
  Q_INVOKABLE void drain();

  std::mutex mutex_;
  std::vector<QString> waiting_;
  bool wakeUpPosted_ = false;
  bool installed_ = false;
};

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_EVENT_QUEUE_H
