#include "chromium_setup.h"

#include <unistd.h>

#include <QLoggingCategory>
#include <QString>
#include <cstdlib>

namespace zarvo_view {
namespace {

QtMessageHandler qtHandler = nullptr;

void filterNotes(QtMsgType type, const QMessageLogContext& context, const QString& message) {
  const QString text = message.trimmed();
  if (text == QLatin1String("No suitable graphics backend found") ||
      text == QLatin1String("Sandboxing disabled by user.")) {
    return;
  }
  if (qtHandler != nullptr) qtHandler(type, context, message);
}

}  // namespace

std::string chromiumFlags() {
  return "--disable-gpu --disable-gpu-shader-disk-cache --disable-background-networking "
         "--disable-component-update --disable-domain-reliability --no-pings "
         "--dns-prefetch-disable";
}

void prepareChromium(int devtoolsPort) {
  std::string flags = chromiumFlags();
  if (const char* given = std::getenv("QTWEBENGINE_CHROMIUM_FLAGS")) {
    flags += std::string(" ") + given;
  }
  setenv("QTWEBENGINE_CHROMIUM_FLAGS", flags.c_str(), 1);
  if (devtoolsPort != 0) {
    const std::string address = "127.0.0.1:" + std::to_string(devtoolsPort);
    setenv("QTWEBENGINE_REMOTE_DEBUGGING", address.c_str(), 1);
  } else {
    unsetenv("QTWEBENGINE_REMOTE_DEBUGGING");
  }
  if (geteuid() == 0) setenv("QTWEBENGINE_DISABLE_SANDBOX", "1", 0);
}

void quietQtLogging() {
  QLoggingCategory::setFilterRules(QStringLiteral("qt.webenginecontext.info=false"));
  qtHandler = qInstallMessageHandler(&filterNotes);
}

}  // namespace zarvo_view
