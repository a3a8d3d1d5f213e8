// The channel object "zarvo": the page's calls, teardown and events, over host_core.
//
// Design note
// -----------
// The page reaches this object through Qt's web channel; every method runs on the GUI thread,
// where the plug-in's entry points are called (as a web-view host does), and answers once:
//   hello()           -> {instance, limits: {message: <request limit>}, protocol: 1}
//   call(resource, options, parameters, extra, body)
//                     -> {status, text, promise}: the plug-in's answer, envelope text exact
//                      | {hostError: {status, code, message}}: 413 "PayloadTooLarge" when the
//                        UTF-8 bytes of the four texts exceed the request limit, 404 "NotFound"
//                        for an unknown resource, 502 "PluginFault" when the plug-in breaks the
//                        one-answer rule, 503 "Unavailable" once the view is closing.
//   teardown()        -> {done: true} | {hostError: …}
//   readEvents(after) -> {instance, gap: {first, last, lost} | null, first, texts}
//                        the events with ids above `after` still held, at most about one batch
//                        (Limits::eventBatchBytes) of text and at least one event when any is
//                        newer; a gap first when events after `after` were dropped from the
//                        bounded buffer. `after` null: from now (no texts; `first` is the id the
//                        next event will have).
//   eventsReady(newest)  signal: events newer than the last read exist.
// Events are pulled, not pushed: the plug-in's dispatches go into the host's EventLog (bounded in
// bytes) on the application library's threads, and the page reads them at its own pace. So a page
// that stops reading costs the host its event budget and no more; what it missed comes back as a
// gap report. The signal is coalesced: at most one is outstanding until the page reads again, and
// a read that leaves newer events behind is followed by another signal, so a reader that reads
// once per signal still gets everything.
//
// Threads: the methods and the signal on the GUI thread; the log's listener (any thread) only
// posts one queued wake-up at a time. Lifetime: destroy before the PluginHost and the EventLog;
// the destructor removes the listener (waiting for a call of it in progress), so no wake-up is
// posted afterwards, and Qt drops the ones still queued with the object.
#ifndef ZARVO_VIEW_BRIDGE_OBJECT_H
#define ZARVO_VIEW_BRIDGE_OBJECT_H

#include <QJsonValue>
#include <QObject>
#include <QString>
#include <QVariantMap>
#include <atomic>
#include <cstdint>

#include "host_core/event_log.h"
#include "host_core/limits.h"
#include "host_core/plugin_host.h"

namespace zarvo_view {

class BridgeObject : public QObject {
  Q_OBJECT

 public:
  BridgeObject(host_core::PluginHost& host, host_core::EventLog& events,
               const host_core::Limits& limits, QObject* parent = nullptr);
  ~BridgeObject() override;
  BridgeObject(const BridgeObject&) = delete;
  BridgeObject& operator=(const BridgeObject&) = delete;

  // From now on calls and teardown answer 503 "Unavailable": the view is closing.
  void close() { closed_ = true; }

  Q_INVOKABLE QVariantMap hello() const;
  Q_INVOKABLE QVariantMap call(const QString& resource, const QString& options,
                               const QString& parameters, const QString& extra,
                               const QString& body);
  Q_INVOKABLE QVariantMap teardown();
  Q_INVOKABLE QVariantMap readEvents(const QJsonValue& after);

 signals:
  void eventsReady(double newest);

 private:
  void wake();
  void announce();

  host_core::PluginHost& host_;
  host_core::EventLog& events_;
  const host_core::Limits limits_;
  int listener_ = 0;
  std::atomic<bool> wakePosted_{false};
  uint64_t readUpTo_ = 0;           // the highest position a read has reached
  bool signalOutstanding_ = false;  // eventsReady sent and no read since
  bool closed_ = false;
};

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_BRIDGE_OBJECT_H
