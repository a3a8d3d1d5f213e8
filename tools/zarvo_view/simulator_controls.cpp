#include "simulator_controls.h"

#include <QByteArray>
#include <QStringList>
#include <cmath>
#include <utility>

#include "zarvo_simulator.h"

namespace zarvo_view {
namespace {

constexpr double kMaxRaise = 1000000;

QVariantMap ok(const QVariant& value) {
  return QVariantMap{{"ok", true}, {"value", value}};
}

QVariantMap failed(int status, const QString& code, const QString& message) {
  return QVariantMap{{"ok", false}, {"status", status}, {"code", code}, {"message", message}};
}

QVariantMap notConnected(const QString& app) {
  return failed(404, "NotConnected", QString("application '%1' is not connected").arg(app));
}

}  // namespace

SimulatorControls::SimulatorControls(QString applicationsText, QObject* parent)
    : QObject(parent), applicationsText_(std::move(applicationsText)) {}

QVariantMap SimulatorControls::raise(const QString& app, const QString& type,
                                     const QString& payloadText, double count) {
  if (!(count >= 1 && count <= kMaxRaise) || std::floor(count) != count) {
    return failed(400, "BadRequest", "count must be an integer from 1 to 1000000");
  }
  if (type.isEmpty()) return failed(400, "BadRequest", "type must be a non-empty string");
  const QByteArray name = app.toUtf8();
  ZrvApplicationHandle handle = ZrvSimConnectionNamed(name.constData());
  if (handle == nullptr) return notConnected(app);
  const QByteArray typeText = type.toUtf8();
  const QByteArray payload = payloadText.toUtf8();
  const int n = static_cast<int>(count);
  for (int i = 0; i < n; ++i) ZrvSimPostEvent(handle, typeText.constData(), payload.constData());
  ZrvSimFlush();
  return ok(QVariantMap{{"raised", n}});
}

QVariantMap SimulatorControls::reportLostConnection(const QString& app) {
  const QByteArray name = app.toUtf8();
  ZrvApplicationHandle handle = ZrvSimConnectionNamed(name.constData());
  if (handle == nullptr) return notConnected(app);
  ZrvSimRaiseDidDisconnect(handle, 0);
  return ok(QVariantMap{{"notified", true}});
}

QVariantMap SimulatorControls::callLog(double from) {
  if (!(from >= 0) || std::floor(from) != from) {
    return failed(400, "BadRequest", "from must be an integer of at least 0");
  }
  const size_t total = ZrvSimCallCount();
  const size_t start = from >= static_cast<double>(total) ? total : static_cast<size_t>(from);
  QStringList calls;
  for (size_t i = start; i < total; ++i) {
    ZrvSimCall call{};
    if (ZrvSimGetCall(i, &call) == 0) break;
    calls.push_back(QString::fromUtf8(call.text != nullptr ? call.text : ""));
  }
  return ok(QVariantMap{{"calls", calls}, {"next", static_cast<double>(total)}});
}

QVariantMap SimulatorControls::applicationsText() {
  return ok(applicationsText_);
}

}  // namespace zarvo_view
