// zarvo_view: the plug-in hosted in a desktop web view. The local page is served under its own
// origin and reaches the plug-in through the web channel object "zarvo"; see docs/view.md and
// `zarvo_view --help`.
//
// Exit status: 0 the page or the user closed the window (or SIGINT/SIGTERM), 1 timeout or a
// failure while running, 2 usage or input error. Input is checked before the web engine starts:
// the command line, the page and web folders, the description and the plug-in file.
#include <QApplication>
#include <QStringList>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

#include "chromium_setup.h"
#include "command_line.h"
#include "host_core/description_file.h"
#include "host_core/plugin.h"
#include "messages.h"
#include "page_scheme.h"
#include "view_app.h"

namespace {

constexpr int kExitOk = 0;
constexpr int kExitInput = 2;

QStringList arguments(int argc, char** argv) {
  QStringList out;
  for (int i = 0; i < argc; ++i) out.push_back(QString::fromLocal8Bit(argv[i]));
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace zarvo_view;
  Options options;
  std::string error;
  switch (parseCommandLine(arguments(argc, argv), viewDefaults(), &options, &error)) {
    case Parsed::kHelp:
      std::fputs(helpText().c_str(), stdout);
      return kExitOk;
    case Parsed::kVersion:
      std::printf("zarvo_view %s\n", ZARVO_VIEW_VERSION);
      return kExitOk;
    case Parsed::kError:
      problem(error + " (see zarvo_view --help)");
      return kExitInput;
    case Parsed::kRun:
      break;
  }
  PageFolders folders;
  std::string applicationsText;
  if (!locatePage(options, &folders, &error) ||
      !host_core::loadDescription(options.applications, &applicationsText, &error)) {
    problem(error);
    return kExitInput;
  }
  std::optional<host_core::Plugin> plugin = host_core::Plugin::open(options.plugin, &error);
  if (!plugin) {
    problem(error);
    return kExitInput;
  }

  prepareChromium(options.devtoolsPort);
  quietQtLogging();
  registerPageScheme();
  QApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
  // Qt sees only the program name: every argument was the view's own.
  int qtArgc = 1;
  QApplication app(qtArgc, argv);
  QApplication::setApplicationName("zarvo_view");
  QApplication::setApplicationVersion(ZARVO_VIEW_VERSION);
  QApplication::setQuitOnLastWindowClosed(false);
  ViewApp view(options, folders, std::move(*plugin), std::move(applicationsText));
  return view.exec();
}
