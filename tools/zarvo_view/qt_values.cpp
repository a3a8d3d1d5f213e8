#include "qt_values.h"

#include "host_core/utf8_text.h"

namespace zarvo_view {

QString pluginText(std::string_view text) {
  if (host_core::isValidUtf8(text)) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
  }
  std::string repaired;
  host_core::appendValidUtf8(&repaired, text);
  return QString::fromStdString(repaired);
}

QVariantMap hostErrorFields(const host_core::HostError& error) {
  return QVariantMap{{"status", error.status},
                     {"code", QString::fromStdString(error.code)},
                     {"message", QString::fromStdString(error.message)}};
}

}  // namespace zarvo_view
