#include "view_app.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <csignal>
#include <utility>

#include "host_core/duration_text.h"
#include "host_core/instance_id.h"
#include "messages.h"

namespace zarvo_view {

bool locatePage(const Options& options, PageFolders* out, std::string* problem) {
  const QFileInfo page(QString::fromStdString(options.page));
  if (!page.isFile()) {
    *problem = options.page + ": no such page file";
    return false;
  }
  const QFileInfo client(QString::fromStdString(options.web) + "/zarvo/zarvo.js");
  if (!client.isFile()) {
    *problem = options.web + ": no client module zarvo/zarvo.js in this folder";
    return false;
  }
  out->pageDir = page.absoluteDir().canonicalPath().toStdString();
  out->pageFile = page.fileName();
  out->moduleDir = client.absoluteDir().canonicalPath().toStdString();
  return true;
}

ViewApp::ViewApp(const Options& options, const PageFolders& folders, host_core::Plugin plugin,
                 std::string applicationsText)
    : options_(options),
      folders_(folders),
      plugin_(std::move(plugin)),
      events_(options.limits.eventBufferBytes, host_core::newInstanceId()),
      host_(plugin_, events_),
      controls_(std::move(applicationsText), options.limits),
      bridge_(host_, events_, options.limits),
      simulator_(controls_),
      scheme_(host_core::StaticFiles(folders.pageDir, folders.moduleDir)),
      page_(&profile_, options.console) {
  // A profile without a storage name is off the record: nothing is written to disk.
  profile_.setHttpCacheType(QWebEngineProfile::MemoryHttpCache);
  profile_.setPersistentCookiesPolicy(QWebEngineProfile::NoPersistentCookies);
  profile_.installUrlSchemeHandler(kPageScheme, &scheme_);
  channel_.registerObject("zarvo", &bridge_);
  channel_.registerObject("zarvoSimulator", &simulator_);
  page_.setWebChannel(&channel_);
  view_.setPage(&page_);
  connectEnds();
  if (!options_.screenshot.empty()) startScreenshot();
}

void ViewApp::connectEnds() {
  // Each connection has a member as its context, so it ends when that member is destroyed.
  QObject::connect(&page_, &QWebEnginePage::loadFinished, &page_,
                   [this](bool ok) { onLoadFinished(ok); });
  QObject::connect(&page_, &QWebEnginePage::windowCloseRequested, &page_,
                   [this] { onCloseRequested(); });
  QObject::connect(qApp, &QGuiApplication::lastWindowClosed, &view_, [this] { finish(0); });
  if (!quitSignals_.install()) problem("SIGINT and SIGTERM cannot be caught; they end at once");
  QObject::connect(&quitSignals_, &QuitSignals::received, &quitSignals_, [this](int number) {
    problem(number == SIGINT ? "SIGINT: closing" : "SIGTERM: closing");
    finish(0);
  });
  // With --screenshot the screenshot's own cap applies instead.
  if (options_.timeout.count() > 0 && options_.screenshot.empty()) {
    timeout_.setSingleShot(true);
    QObject::connect(&timeout_, &QTimer::timeout, &timeout_, [this] {
      problem("the page did not close within " + host_core::durationText(options_.timeout));
      finish(1);
    });
    timeout_.start(options_.timeout);
  }
}

void ViewApp::startScreenshot() {
  const std::chrono::milliseconds limit =
      options_.timeout.count() > 0 ? options_.timeout : kDefaultScreenshotLimit;
  screenshot_ =
      std::make_unique<Screenshot>(&view_, QString::fromStdString(options_.screenshot), limit);
  screenshotPending_ = true;
  QObject::connect(&scheme_, &PageSchemeHandler::served, screenshot_.get(),
                   &Screenshot::requestServed);
  QObject::connect(screenshot_.get(), &Screenshot::saved, screenshot_.get(),
                   [this](const QString& failure) {
                     screenshotPending_ = false;
                     if (!failure.isEmpty()) problem(failure.toStdString());
                     finish(failure.isEmpty() ? 0 : 1);
                   });
}

void ViewApp::onLoadFinished(bool ok) {
  // Only the first load is the page's own; later ones are its navigations inside the origin. A
  // page still loading when the run ends reports a failed load while it is destroyed: not news.
  if (loadSeen_ || finished_) return;
  loadSeen_ = true;
  loaded_ = ok;
  if (ok) {
    if (screenshot_) screenshot_->pageLoaded(true);
    return;
  }
  // A page that calls window.close() while it loads fails its load too, and Chromium reports the
  // two in either order; the close request, when there is one, comes within the grace time, so
  // such a page is always reported as closing early.
  QTimer::singleShot(kLoadFailureGrace, &view_, [this] {
    if (finished_) return;
    problem(options_.page + ": the page could not be loaded");
    if (screenshot_) screenshot_->pageLoaded(false);
  });
}

void ViewApp::onCloseRequested() {
  // "Loaded" is Qt WebEngine's account: the load finished before the close request. A page that
  // closes while it loads (its load handlers included) aborts its own load, which Chromium
  // reports as failed.
  if (!loaded_) {
    problem("the page closed before it had loaded");
    finish(1);
  } else if (screenshotPending_) {
    problem("the page closed before the screenshot was taken");
    finish(1);
  } else {
    finish(0);
  }
}

void ViewApp::finish(int code) {
  if (finished_) return;
  finished_ = true;
  bridge_.close();
  QApplication::exit(code);
}

int ViewApp::exec() {
  view_.resize(1024, 768);
  view_.setWindowTitle("zarvo_view");
  view_.show();
  if (options_.devtoolsPort != 0) {
    problem("remote debugging at http://127.0.0.1:" + std::to_string(options_.devtoolsPort));
  }
  page_.load(pageUrl(folders_.pageFile));
  return QApplication::exec();
}

}  // namespace zarvo_view
