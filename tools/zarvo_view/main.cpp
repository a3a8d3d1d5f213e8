// zarvo_view: the plug-in hosted in a desktop web view. The local page is served under its own
// origin, reaches the plug-in through the web channel object "zarvo", and receives the
// application events through it; see `zarvo_view --help`.
//
// Exit status: 0 the page or the user closed the window (or SIGINT/SIGTERM), 1 timeout or a
// failure while running, 2 usage or input error. Every way out runs TearDown and unloads the
// plug-in before the process ends.
#include <unistd.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimer>
#include <QWebChannel>
#include <QWebEngineProfile>
#include <QWebEngineView>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "command_line.h"
#include "host_bridge.h"
#include "page_scheme.h"
#include "plugin.h"
#include "quit_signals.h"
#include "screenshot.h"
#include "simulator_controls.h"
#include "view_page.h"
#include "zarvo_simulator.h"

namespace zarvo_view {
namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitInput = 2;

void problem(const std::string& text) {
  std::fprintf(stderr, "zarvo_view: %s\n", text.c_str());
}

// Chromium settings that must be in the environment before Qt WebEngine starts: no GPU (and so
// no shader cache on disk), remote debugging only on the loopback interface, and no sandbox
// for root, which Chromium refuses otherwise.
void prepareEnvironment(const Options& options) {
  std::string flags = "--disable-gpu --disable-gpu-shader-disk-cache";
  if (const char* given = std::getenv("QTWEBENGINE_CHROMIUM_FLAGS"))
    flags += std::string(" ") + given;
  setenv("QTWEBENGINE_CHROMIUM_FLAGS", flags.c_str(), 1);
  if (options.devtoolsPort != 0) {
    const std::string address = "127.0.0.1:" + std::to_string(options.devtoolsPort);
    setenv("QTWEBENGINE_REMOTE_DEBUGGING", address.c_str(), 1);
  } else {
    unsetenv("QTWEBENGINE_REMOTE_DEBUGGING");
  }
  if (geteuid() == 0) setenv("QTWEBENGINE_DISABLE_SANDBOX", "1", 0);
}

// The page file and the folders it is served from; false after reporting the problem.
struct Locations {
  QString pageDir;    // canonical folder of the page
  QString pageFile;   // the page's file name inside it
  QString clientDir;  // canonical <web>/zarvo
};

bool locate(const Options& options, Locations* out) {
  const QFileInfo page(QString::fromStdString(options.page));
  if (!page.isFile()) {
    problem(options.page + ": no such page file");
    return false;
  }
  const QFileInfo client(QString::fromStdString(options.web) + "/zarvo/zarvo.js");
  if (!client.isFile()) {
    problem(options.web + ": no client module zarvo/zarvo.js in this folder");
    return false;
  }
  out->pageDir = page.absoluteDir().canonicalPath();
  out->pageFile = page.fileName();
  out->clientDir = client.absoluteDir().canonicalPath();
  return true;
}

bool loadApplications(const std::string& path, QString* text) {
  char error[1024] = {};
  if (ZrvSimLoadDescription(path.c_str(), error, sizeof error) == 0) {
    problem(error);
    return false;
  }
  QFile file(QString::fromStdString(path));
  if (file.open(QIODevice::ReadOnly)) *text = QString::fromUtf8(file.readAll());
  return true;
}

int run(int argc, char** argv, const Options& options) {
  Locations where;
  if (!locate(options, &where)) return kExitInput;
  prepareEnvironment(options);
  registerPageScheme();
  QApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
  QApplication app(argc, argv);
  QApplication::setApplicationName("zarvo_view");
  QApplication::setApplicationVersion(ZARVO_VIEW_VERSION);
  QApplication::setQuitOnLastWindowClosed(false);

  QString applicationsText;
  if (!loadApplications(options.applications, &applicationsText)) return kExitInput;
  zarvo_tools::Plugin plugin;
  std::string error;
  if (!plugin.load(options.plugin, &error)) {
    problem(error);
    return kExitInput;
  }
  HostBridge bridge(&plugin);
  bridge.install();
  SimulatorControls simulator(applicationsText);

  // A profile without a storage name is off the record: nothing is written to disk.
  QWebEngineProfile profile;
  profile.setHttpCacheType(QWebEngineProfile::MemoryHttpCache);
  profile.setPersistentCookiesPolicy(QWebEngineProfile::NoPersistentCookies);
  PageSchemeHandler handler(where.pageDir, where.clientDir);
  profile.installUrlSchemeHandler(kPageScheme, &handler);

  QWebChannel channel;
  channel.registerObject("zarvo", &bridge);
  channel.registerObject("zarvoSimulator", &simulator);
  QWebEngineView view;
  auto page = std::make_unique<ViewPage>(&profile, options.console);
  page->setWebChannel(&channel);
  view.setPage(page.get());

  bool finished = false;
  const auto finish = [&](int code) {
    if (finished) return;
    finished = true;
    bridge.shutDown();
    QApplication::exit(code);
  };
  bool screenshotPending = !options.screenshot.empty();
  QObject::connect(page.get(), &QWebEnginePage::windowCloseRequested, [&] {
    if (screenshotPending && !finished) {
      problem("the page closed before the screenshot was taken");
      finish(kExitFailed);
      return;
    }
    finish(kExitOk);
  });
  QObject::connect(&app, &QApplication::lastWindowClosed, [&] { finish(kExitOk); });

  QuitSignals quitSignals;
  if (!quitSignals.install()) problem("SIGINT and SIGTERM cannot be caught; they end at once");
  QObject::connect(&quitSignals, &QuitSignals::received, [&](int number) {
    problem(number == SIGINT ? "SIGINT: closing" : "SIGTERM: closing");
    finish(kExitOk);
  });
  if (options.timeoutSeconds > 0) {
    QTimer::singleShot(static_cast<int>(options.timeoutSeconds * 1000), &app, [&] {
      problem("the page did not close within " +
              QString::number(options.timeoutSeconds).toStdString() + " seconds");
      finish(kExitFailed);
    });
  }
  bool firstLoad = true;
  QObject::connect(page.get(), &QWebEnginePage::loadFinished, [&](bool ok) {
    if (firstLoad && !ok && !finished) problem(options.page + ": the page could not be loaded");
    firstLoad = false;
  });
  std::unique_ptr<Screenshot> screenshot;
  if (!options.screenshot.empty()) {
    screenshot = std::make_unique<Screenshot>(&view, QString::fromStdString(options.screenshot));
    QObject::connect(page.get(), &QWebEnginePage::loadFinished, screenshot.get(),
                     &Screenshot::pageLoaded);
    QObject::connect(screenshot.get(), &Screenshot::saved, [&](const QString& failure) {
      screenshotPending = false;
      if (!failure.isEmpty()) problem(failure.toStdString());
      finish(failure.isEmpty() ? kExitOk : kExitFailed);
    });
  }

  view.resize(1024, 768);
  view.setWindowTitle("zarvo_view");
  view.show();
  if (options.devtoolsPort != 0) {
    problem("remote debugging at http://127.0.0.1:" + std::to_string(options.devtoolsPort));
  }
  page->load(pageUrl(where.pageFile));
  const int code = QApplication::exec();
  bridge.shutDown();
  view.setPage(nullptr);
  page.reset();
  return code;
}

}  // namespace
}  // namespace zarvo_view

int main(int argc, char** argv) {
  using namespace zarvo_view;
  const std::vector<std::string> args(argv, argv + argc);
  Options options;
  std::string error;
  switch (parseCommandLine(args, &options, &error)) {
    case Parsed::kHelp:
      std::fputs(usageText().c_str(), stdout);
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
  return run(argc, argv, options);
}
