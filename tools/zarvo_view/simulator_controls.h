// The simulated application library's development controls, for the page through the web
// channel (registered as "zarvoSimulator"): the same four controls that `zarvo_host serve`
// offers over HTTP, so web/zarvo/simulator.js works in both runtimes.
//
// Every method runs on the GUI thread and returns {ok: true, value} or {ok: false, status,
// code, message} with the codes the HTTP controls use ("NotConnected" 404, "BadRequest" 400).
// raise() queues the events with the library and waits until they have been handed to the
// EventQueue (which only copies them), so it never waits for the page.
// A real web-view host has no such object; it exists because the application library is the
// simulator.
#ifndef ZARVO_VIEW_SIMULATOR_CONTROLS_H
#define ZARVO_VIEW_SIMULATOR_CONTROLS_H

#include <QObject>
#include <QString>
#include <QVariantMap>

namespace zarvo_view {

class SimulatorControls : public QObject {
  Q_OBJECT

 public:
  // `applicationsText` is the description as loaded, returned by applicationsText().
  SimulatorControls(QString applicationsText, QObject* parent = nullptr);

  Q_INVOKABLE QVariantMap raise(const QString& app, const QString& type, const QString& payloadText,
                                double count);
  Q_INVOKABLE QVariantMap reportLostConnection(const QString& app);
  Q_INVOKABLE QVariantMap callLog(double from);
  Q_INVOKABLE QVariantMap applicationsText();

 private:
  QString applicationsText_;
};

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_SIMULATOR_CONTROLS_H
