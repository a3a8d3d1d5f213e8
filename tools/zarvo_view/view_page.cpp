#include "view_page.h"

#include <cstdio>

#include "page_scheme.h"

namespace zarvo_view {

ViewPage::ViewPage(QWebEngineProfile* profile, bool printConsole, QObject* parent)
    : QWebEnginePage(profile, parent), printConsole_(printConsole) {}

QByteArray ViewPage::consoleLine(const QString& message) {
  QString text = message;
  text.replace("\r\n", "\\n").replace('\n', "\\n").replace('\r', "\\n");
  return "console: " + text.toUtf8() + '\n';
}

bool ViewPage::acceptNavigationRequest(const QUrl& url, NavigationType /*type*/,
                                       bool /*isMainFrame*/) {
  if (isPageOrigin(url)) return true;
  const QByteArray shown = url.toDisplayString().toUtf8();
  std::fprintf(stderr, "zarvo_view: refused navigation to %s: only %s://%s may be shown\n",
               shown.constData(), kPageScheme, kPageHost);
  std::fflush(stderr);
  return false;
}

void ViewPage::javaScriptConsoleMessage(JavaScriptConsoleMessageLevel /*level*/,
                                        const QString& message, int /*lineNumber*/,
                                        const QString& /*sourceID*/) {
  if (!printConsole_) return;
  const QByteArray line = consoleLine(message);
  std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
  std::fflush(stdout);
}

}  // namespace zarvo_view
