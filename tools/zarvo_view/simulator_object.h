// The channel object "zarvoSimulator": the simulated application library's development controls,
// carried for the page with the same bodies as over HTTP.
//
// Design note
// -----------
// The rules (the bodies, the limits, the error names and messages, the answers' JSON) live in
// host_core::SimulatorControls, shared with the browser host; this object only carries them:
//   raise(body)                 body {"app","type","payload","count"}, as POST /simulator/raise
//   reportLostConnection(body)  body {"app"}, as POST /simulator/disconnect
//   callLog(from)               the decimal index, as ?from= of GET /simulator/log
//   applicationsText()          the description as loaded
//   -> {ok: true, value: <the answer's JSON text>}
//    | {ok: false, status, code, message}   (400 "BadProtocolRequest", 404 "NotConnected")
// A real web-view host has no such object; it exists because the application library behind the
// plug-in is the simulator. raise() waits until the events have been handed to the plug-in (which
// only appends them to the host's event log), never for the page.
//
// Threads: GUI thread (the web channel calls it there).
#ifndef ZARVO_VIEW_SIMULATOR_OBJECT_H
#define ZARVO_VIEW_SIMULATOR_OBJECT_H

#include <QObject>
#include <QString>
#include <QVariantMap>

#include "host_core/simulator_controls.h"

namespace zarvo_view {

class SimulatorObject : public QObject {
  Q_OBJECT

 public:
  explicit SimulatorObject(const host_core::SimulatorControls& controls, QObject* parent = nullptr);

  Q_INVOKABLE QVariantMap raise(const QString& body) const;
  Q_INVOKABLE QVariantMap reportLostConnection(const QString& body) const;
  Q_INVOKABLE QVariantMap callLog(const QString& from) const;
  Q_INVOKABLE QVariantMap applicationsText() const;

 private:
  const host_core::SimulatorControls& controls_;
};

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_SIMULATOR_OBJECT_H
