#include "bridge_object.h"

#include <QMetaObject>
#include <QStringList>
#include <QVariantList>
#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "host_core/host_error.h"
#include "qt_values.h"

namespace zarvo_view {
namespace {

// The largest integer a JavaScript number holds exactly.
constexpr double kMaxSafeInteger = 9007199254740991.0;

QVariantMap refusal(const host_core::HostError& error) {
  return QVariantMap{{"hostError", hostErrorFields(error)}};
}

// The four texts as UTF-8, or false when together they exceed `limit` bytes. A UTF-16 unit
// is at least one UTF-8 byte, so texts that are too long already are refused before converting.
bool requestTexts(const QString (&texts)[4], size_t limit, host_core::RequestTexts* out) {
  size_t units = 0;
  for (const QString& text : texts) units += static_cast<size_t>(text.size());
  if (units > limit) return false;
  std::string* fields[4] = {&out->options, &out->parameters, &out->extra, &out->body};
  for (size_t i = 0; i < 4; ++i) *fields[i] = texts[i].toStdString();
  return out->bytes() <= limit;
}

// A read position from the page: an integer from 0 to 2^53 - 1, or null/undefined for "now".
bool readPosition(const QJsonValue& after, std::optional<uint64_t>* out) {
  if (after.isNull() || after.isUndefined()) return true;
  const double value = after.toDouble(-1);
  if (!after.isDouble() || !(value >= 0 && value <= kMaxSafeInteger) ||
      std::floor(value) != value) {
    return false;
  }
  *out = static_cast<uint64_t>(value);
  return true;
}

QVariant gapFields(const std::optional<host_core::Gap>& gap) {
  if (!gap) return QVariant::fromValue(nullptr);
  return QVariantMap{{"first", static_cast<double>(gap->first)},
                     {"last", static_cast<double>(gap->last)},
                     {"lost", static_cast<double>(gap->lost())}};
}

}  // namespace

BridgeObject::BridgeObject(host_core::PluginHost& host, host_core::EventLog& events,
                           const host_core::Limits& limits, QObject* parent)
    : QObject(parent), host_(host), events_(events), limits_(limits) {
  listener_ = events_.addListener([this](uint64_t, const std::string&) { wake(); });
}

BridgeObject::~BridgeObject() {
  events_.removeListener(listener_);
}

QVariantMap BridgeObject::hello() const {
  return QVariantMap{
      {"instance", QString::fromStdString(events_.instance())},
      {"limits", QVariantMap{{"message", static_cast<double>(limits_.requestBytes)}}},
      {"protocol", 1}};
}

QVariantMap BridgeObject::call(const QString& resource, const QString& options,
                               const QString& parameters, const QString& extra,
                               const QString& body) {
  if (closed_) return refusal(host_core::shuttingDown());
  host_core::RequestTexts texts;
  if (!requestTexts({options, parameters, extra, body}, limits_.requestBytes, &texts)) {
    return refusal(host_core::payloadTooLarge(limits_.requestBytes));
  }
  const host_core::CallOutcome outcome = host_.call(resource.toStdString(), texts);
  if (!outcome.ok()) return refusal(*outcome.fault);
  return QVariantMap{{"status", outcome.answer.status},
                     {"text", pluginText(outcome.answer.text)},
                     {"promise", outcome.answer.promise}};
}

QVariantMap BridgeObject::teardown() {
  if (closed_) return refusal(host_core::shuttingDown());
  host_.tearDown();
  return QVariantMap{{"done", true}};
}

QVariantMap BridgeObject::readEvents(const QJsonValue& after) {
  std::optional<uint64_t> from;
  if (!readPosition(after, &from)) {
    return refusal(host_core::badProtocolRequest(
        "readEvents: 'after' must be an integer from 0 to 9007199254740991, or null"));
  }
  uint64_t position = events_.startPosition(from);
  host_core::EventBatch batch;
  events_.read(&position, limits_.eventBatchBytes, &batch);
  readUpTo_ = std::max(readUpTo_, position);
  signalOutstanding_ = false;
  if (events_.newest() > position) wake();
  QStringList texts;
  texts.reserve(static_cast<qsizetype>(batch.texts.size()));
  for (const std::string& text : batch.texts) texts.push_back(pluginText(text));
  const uint64_t first = batch.texts.empty() ? position + 1 : batch.first;
  return QVariantMap{{"instance", QString::fromStdString(events_.instance())},
                     {"gap", gapFields(batch.gap)},
                     {"first", static_cast<double>(first)},
                     {"texts", texts}};
}

void BridgeObject::wake() {
  if (wakePosted_.exchange(true)) return;
  QMetaObject::invokeMethod(this, &BridgeObject::announce, Qt::QueuedConnection);
}

void BridgeObject::announce() {
  wakePosted_ = false;
  const uint64_t newest = events_.newest();
  if (newest <= readUpTo_ || signalOutstanding_) return;
  signalOutstanding_ = true;
  emit eventsReady(static_cast<double>(newest));
}

}  // namespace zarvo_view
