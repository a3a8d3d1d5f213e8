#include "view_page.h"

#include <cstdio>

#include "messages.h"
#include "page_scheme.h"

namespace zarvo_view {

ViewPage::ViewPage(QWebEngineProfile* profile, bool printConsole, QObject* parent)
    : QWebEnginePage(profile, parent), printConsole_(printConsole) {}

QByteArray ViewPage::consoleLine(const QString& message, bool error, const QString& source,
                                 int line) {
  QString text = message;
  if (error && !source.isEmpty()) text += QString(" (%1:%2)").arg(source).arg(line);
  text.replace("\r\n", "\\n").replace('\n', "\\n").replace('\r', "\\n");
  return "console: " + text.toUtf8() + '\n';
}

bool ViewPage::acceptNavigationRequest(const QUrl& url, NavigationType /*type*/,
                                       bool /*isMainFrame*/) {
  if (isPageOrigin(url)) return true;
  problem("refused navigation to " + url.toDisplayString().toStdString() + ": only " + kPageScheme +
          "://" + kPageHost + " may be shown");
  return false;
}

void ViewPage::javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString& message,
                                        int lineNumber, const QString& sourceID) {
  if (!printConsole_) return;
  const QByteArray line = consoleLine(message, level == ErrorMessageLevel, sourceID, lineNumber);
  std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
  std::fflush(stdout);
}

}  // namespace zarvo_view
