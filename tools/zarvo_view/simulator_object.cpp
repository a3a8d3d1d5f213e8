#include "simulator_object.h"

#include "qt_values.h"

namespace zarvo_view {
namespace {

QVariantMap answer(const host_core::ControlOutcome& outcome) {
  if (outcome.error) {
    QVariantMap fields = hostErrorFields(*outcome.error);
    fields.insert("ok", false);
    return fields;
  }
  return QVariantMap{{"ok", true}, {"value", pluginText(outcome.json)}};
}

}  // namespace

SimulatorObject::SimulatorObject(const host_core::SimulatorControls& controls, QObject* parent)
    : QObject(parent), controls_(controls) {}

QVariantMap SimulatorObject::raise(const QString& body) const {
  return answer(controls_.raise(body.toStdString()));
}

QVariantMap SimulatorObject::reportLostConnection(const QString& body) const {
  return answer(controls_.reportLostConnection(body.toStdString()));
}

QVariantMap SimulatorObject::callLog(const QString& from) const {
  return answer(controls_.callLog(from.toStdString()));
}

QVariantMap SimulatorObject::applicationsText() const {
  return QVariantMap{{"ok", true}, {"value", pluginText(controls_.applicationsText())}};
}

}  // namespace zarvo_view
