#include "host_bridge.h"

#include <QByteArray>
#include <cstdio>

#include "bridge_helper_stand_in.h"

namespace zarvo_view {
namespace {

QVariantMap hostError(int status, const QString& code, const QString& message) {
  return QVariantMap{
      {"hostError", QVariantMap{{"status", status}, {"code", code}, {"message", message}}}};
}

}  // namespace

HostBridge::HostBridge(zarvo_tools::Plugin* plugin, QObject* parent)
    : QObject(parent), plugin_(plugin), queue_(this) {
  connect(&queue_, &EventQueue::events, this, &HostBridge::onEvents);
}

HostBridge::~HostBridge() {
  shutDown();
}

void HostBridge::install() {
  BridgeHelperStandInSetResponseSink(&HostBridge::responseSink, this);
  queue_.install();
}

void HostBridge::shutDown() {
  if (shutDown_) return;
  shutDown_ = true;
  // TearDown first: it closes every connection, and the application library waits for event
  // deliveries still running, so afterwards no thread is inside the plug-in. Then the sinks go
  // (waiting for a sink call in progress), and only then the code is unmapped.
  if (const zarvo_tools::TearDownFunction tearDown = plugin_->tearDown()) tearDown();
  queue_.uninstall();
  BridgeHelperStandInSetResponseSink(nullptr, nullptr);
  plugin_->unload();
}

void HostBridge::responseSink(int promiseId, int statusCode, const char* json, void* userData) {
  auto* self = static_cast<HostBridge*>(userData);
  Answer* answer = self->current_;
  if (answer == nullptr || answer->received) {
    // Outside a call, or a second answer: no page call waits for it.
    std::fprintf(stderr, "zarvo_view: answer for promise %d arrived outside its call\n", promiseId);
    return;
  }
  answer->received = true;
  answer->promise = promiseId;
  answer->status = statusCode;
  answer->text = QString::fromUtf8(json != nullptr ? json : "");
}

QVariantMap HostBridge::call(const QString& resource, const QString& options,
                             const QString& parameters, const QString& extra, const QString& body) {
  if (shutDown_ || !plugin_->loaded()) {
    return hostError(503, "Unavailable", "the plug-in has been unloaded");
  }
  const zarvo_tools::ResourceFunction entry = plugin_->resource(resource.toStdString());
  if (entry == nullptr) {
    return hostError(404, "NotFound", QString("no resource '%1'").arg(resource));
  }
  const QByteArray texts[] = {options.toUtf8(), parameters.toUtf8(), extra.toUtf8(), body.toUtf8()};
  Answer answer;
  Answer* outer = current_;
  current_ = &answer;
  const int promise =
      entry(texts[0].constData(), texts[1].constData(), texts[2].constData(), texts[3].constData());
  current_ = outer;
  if (!answer.received) {
    return hostError(
        502, "NoAnswer",
        QString("%1 returned promise %2 without an answer").arg(resource).arg(promise));
  }
  return QVariantMap{{"status", answer.status}, {"text", answer.text}, {"promise", answer.promise}};
}

QVariantMap HostBridge::teardown() {
  if (shutDown_ || !plugin_->loaded()) {
    return hostError(503, "Unavailable", "the plug-in has been unloaded");
  }
  // The page's teardown empties the registry; the plug-in stays loaded and usable.
  if (const zarvo_tools::TearDownFunction tearDown = plugin_->tearDown()) tearDown();
  return QVariantMap{{"done", true}};
}

void HostBridge::onEvents(const QStringList& texts) {
  const double first = nextEventId_;
  nextEventId_ += texts.size();
  emit events(first, texts);
}

}  // namespace zarvo_view
