// The bridge object that the page reaches through the web channel (registered as "zarvo").
//
// Calls: the page's transport invokes call(resource, options, parameters, extra, body); the
// web channel delivers it on the GUI thread, where the plug-in's entry point is called, as a
// web-view host does. The plug-in answers through BridgeHelperSetResponse inside that call; the
// response sink registered here keeps the answer, and call() returns it to the page as
// {status, text, promise}. A call the host cannot make returns {hostError: {status, code,
// message}} instead: an unknown resource (404 "NotFound") or a plug-in already unloaded (503
// "Unavailable"). An entry point that returns without answering (which the plug-in never does)
// gives 502 "NoAnswer", so every call is answered exactly once.
// Events: batches from the EventQueue are numbered 1, 2, 3, ... in arrival order and emitted as
// the `events(firstId, texts)` signal, which the page's transport turns into its event stream.
// Lifetime: the object does not own the plug-in. shutDown() runs TearDown, removes both sinks
// and unloads the plug-in, once; entry points are not called after it.
#ifndef ZARVO_VIEW_HOST_BRIDGE_H
#define ZARVO_VIEW_HOST_BRIDGE_H

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include "event_queue.h"
#include "plugin.h"

namespace zarvo_view {

class HostBridge : public QObject {
  Q_OBJECT

 public:
  HostBridge(zarvo_tools::Plugin* plugin, QObject* parent = nullptr);
  ~HostBridge() override;

  // Registers the response and event sinks with the stand-in host library.
  void install();
  // TearDown, sinks removed, plug-in unloaded; only the first call does anything.
  void shutDown();

  Q_INVOKABLE QVariantMap call(const QString& resource, const QString& options,
                               const QString& parameters, const QString& extra,
                               const QString& body);
  Q_INVOKABLE QVariantMap teardown();

 signals:
  void events(double firstId, const QStringList& texts);

 private:
  static void responseSink(int promiseId, int statusCode, const char* json, void* userData);
  void onEvents(const QStringList& texts);

  struct Answer {
    bool received = false;
    int promise = 0;
    int status = 0;
    QString text;
  };

  zarvo_tools::Plugin* plugin_;
  EventQueue queue_;
  Answer* current_ = nullptr;  // the answer slot of the call running now, if any
  double nextEventId_ = 1;
  bool shutDown_ = false;
};

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_HOST_BRIDGE_H
