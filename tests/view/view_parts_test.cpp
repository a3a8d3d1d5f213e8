// The parts of zarvo_view that need no web engine running: the command line, the page scheme's
// answers, the page origin, the console line, Chromium's switches, and the channel objects over
// a real plug-in (calls, the request limit, events with their signal and gaps, the simulator).
#include <gtest/gtest.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonValue>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bridge_object.h"
#include "chromium_setup.h"
#include "command_line.h"
#include "host_core/description_file.h"
#include "host_core/plugin.h"
#include "host_core/plugin_host.h"
#include "host_core/simulator_controls.h"
#include "page_scheme.h"
#include "qt_values.h"
#include "simulator_object.h"
#include "view_page.h"

namespace zarvo_view {
namespace {

using std::chrono::milliseconds;

const host_core::DefaultPaths kDefaults{"/defaults/plugin.so", "/defaults/apps.json",
                                        "/defaults/web"};

Parsed parse(const std::vector<QString>& args, Options* options, std::string* error) {
  QStringList list{"/any/path/zarvo_view"};
  for (const QString& arg : args) list.push_back(arg);
  return parseCommandLine(list, kDefaults, options, error);
}

TEST(ViewCommandLine, EveryOptionInBothForms) {
  Options options;
  std::string error;
  ASSERT_EQ(parse({"--console", "--timeout=1500ms", "--devtools", "9222", "--apps=a.json",
                   "--plugin", "p.so", "--web", "w", "--screenshot=s.png", "--max-request", "1000",
                   "--event-buffer=4096", "--page", "page.html"},
                  &options, &error),
            Parsed::kRun)
      << error;
  EXPECT_TRUE(options.console);
  EXPECT_EQ(options.timeout, milliseconds(1500));
  EXPECT_EQ(options.devtoolsPort, 9222);
  EXPECT_EQ(options.applications, "a.json");
  EXPECT_EQ(options.plugin, "p.so");
  EXPECT_EQ(options.web, "w");
  EXPECT_EQ(options.screenshot, "s.png");
  EXPECT_EQ(options.limits.requestBytes, 1000u);
  EXPECT_EQ(options.limits.eventBufferBytes, 4096u);
  EXPECT_EQ(options.page, "page.html");
}

TEST(ViewCommandLine, DefaultsWaitForeverWithTheHostCoreLimits) {
  Options options;
  std::string error;
  ASSERT_EQ(parse({"page.html"}, &options, &error), Parsed::kRun);
  EXPECT_FALSE(options.console);
  EXPECT_EQ(options.timeout, milliseconds(0));
  EXPECT_EQ(options.devtoolsPort, 0);
  EXPECT_TRUE(options.screenshot.empty());
  EXPECT_EQ(options.plugin, kDefaults.plugin);
  EXPECT_EQ(options.applications, kDefaults.applications);
  EXPECT_EQ(options.web, kDefaults.web);
  EXPECT_EQ(options.limits.requestBytes, host_core::Limits().requestBytes);
  EXPECT_EQ(options.limits.eventBufferBytes, host_core::Limits().eventBufferBytes);
  EXPECT_EQ(options.page, "page.html");
}

TEST(ViewCommandLine, TimeoutUnits) {
  const std::vector<std::pair<QString, milliseconds>> cases = {{"1500ms", milliseconds(1500)},
                                                               {"30s", milliseconds(30000)},
                                                               {"2min", milliseconds(120000)},
                                                               {"1440min", milliseconds(86400000)}};
  for (const auto& [text, expected] : cases) {
    Options options;
    std::string error;
    ASSERT_EQ(parse({"--timeout", text, "p"}, &options, &error), Parsed::kRun) << error;
    EXPECT_EQ(options.timeout, expected);
  }
}

TEST(ViewCommandLine, HelpAndVersionEndTheReading) {
  Options options;
  std::string error;
  EXPECT_EQ(parse({"page.html", "-h"}, &options, &error), Parsed::kHelp);
  EXPECT_EQ(parse({"--nope", "--help"}, &options, &error), Parsed::kError);
  EXPECT_EQ(parse({"a", "b", "--version"}, &options, &error), Parsed::kVersion);
  EXPECT_EQ(parse({"-v"}, &options, &error), Parsed::kVersion);
}

TEST(ViewCommandLine, BadValues) {
  const std::vector<std::pair<std::vector<QString>, std::string>> cases = {
      {{"--timeout", "30", "p"},
       "--timeout needs a number with a unit, as in 1500ms, 30s or 2min, not '30'"},
      {{"--timeout", "1.5s", "p"},
       "--timeout needs a number with a unit, as in 1500ms, 30s or 2min, not '1.5s'"},
      {{"--timeout", "2h", "p"},
       "--timeout needs a number with a unit, as in 1500ms, 30s or 2min, not '2h'"},
      {{"--timeout", "1441min", "p"}, "--timeout is at most 1440min, not '1441min'"},
      {{"--timeout", "0ms", "p"}, "--timeout must be longer than 0ms, not '0ms'"},
      {{"--devtools", "0", "p"}, "--devtools needs a port from 1 to 65535, not '0'"},
      {{"--devtools", "-1", "p"}, "--devtools needs a port from 1 to 65535, not '-1'"},
      {{"--devtools", "123456", "p"}, "--devtools needs a port from 1 to 65535, not '123456'"},
      {{"--max-request", "0", "p"}, "--max-request takes a number of bytes from 1, not '0'"},
      {{"--max-request", "1k", "p"}, "--max-request takes a number of bytes from 1, not '1k'"},
      {{"--event-buffer", "", "p"}, "--event-buffer takes a number of bytes from 1, not ''"},
      {{"--event-buffer", "+5", "p"}, "--event-buffer takes a number of bytes from 1, not '+5'"},
      {{"--web=", "p"}, "--web needs a non-empty value"},
      {{"--screenshot"}, "missing value after '--screenshot'"},
      {{"-x", "p"}, "unknown option 'x'"},
      {{"--nope", "p"}, "unknown option 'nope'"},
      {{}, "no PAGE given"},
      {{"a", "b"}, "more than one PAGE given"},
      {{"--page", "a", "b"}, "more than one PAGE given"},
      {{""}, "PAGE must not be empty"},
  };
  for (const auto& [args, message] : cases) {
    Options options;
    std::string error;
    EXPECT_EQ(parse(args, &options, &error), Parsed::kError) << message;
    EXPECT_EQ(error, message);
  }
}

TEST(ViewCommandLine, HelpNamesTheProgramAndEveryOption) {
  const std::string help = helpText();
  EXPECT_EQ(help.rfind("Usage: zarvo_view [options] [PAGE]\n", 0), 0u) << help;
  for (const char* option :
       {"--applications, --apps <FILE>", "--plugin <FILE>", "--web <DIR>", "--page <FILE>",
        "--console", "--screenshot <FILE>", "--timeout <DURATION>", "--devtools <PORT>",
        "--max-request <BYTES>", "--event-buffer <BYTES>", "-h, --help", "-v, --version"}) {
    EXPECT_NE(help.find(option), std::string::npos) << option;
  }
}

TEST(QtValues, PluginTextIsRepairedAsBrowsersDo) {
  EXPECT_EQ(pluginText("plain"), "plain");
  EXPECT_EQ(pluginText("\xc3\xa9"), QString(QChar(0xe9)));
  // Each maximal ill-formed part becomes one U+FFFD, as host_core repairs WebSocket text.
  EXPECT_EQ(pluginText("a\xff"
                       "b\xe2\x82"
                       "c"),
            QString("a\uFFFDb\uFFFDc"));
  EXPECT_EQ(pluginText(std::string_view("n\0ul", 4)), QString::fromUtf8("n\0ul", 4));
}

TEST(QtValues, HostErrorFields) {
  const QVariantMap fields = hostErrorFields(host_core::payloadTooLarge(10));
  EXPECT_EQ(fields.value("status").toInt(), 413);
  EXPECT_EQ(fields.value("code").toString(), "PayloadTooLarge");
  EXPECT_EQ(fields.value("message").toString(), "request body exceeds 10 bytes");
  EXPECT_EQ(fields.size(), 3);
}

TEST(ChromiumSetup, NoGpuAndNoBackgroundNetworking) {
  const std::string flags = chromiumFlags();
  for (const char* flag : {"--disable-gpu", "--disable-background-networking",
                           "--disable-component-update", "--no-pings"}) {
    EXPECT_NE(flags.find(flag), std::string::npos) << flag;
  }
}

class PageAnswers : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(root_.isValid());
    const QDir root(root_.path());
    ASSERT_TRUE(root.mkpath("page/sub") && root.mkpath("web/zarvo"));
    write("page/index.html");
    write("page/sub/index.html");
    write("page/data.json");
    write("web/zarvo/zarvo.js");
    write("secret.txt");
    ASSERT_EQ(symlink("../secret.txt", path("page/out.txt").c_str()), 0);
    files_ = std::make_unique<host_core::StaticFiles>(path("page"), path("web/zarvo"));
  }
  std::string path(const char* relative) const {
    return QDir(root_.path()).canonicalPath().toStdString() + '/' + relative;
  }
  void write(const char* relative) const {
    QFile file(QString::fromStdString(path(relative)));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("x");
  }
  PageAnswer answer(const char* urlPath) const { return answerFor(*files_, urlPath); }

  QTemporaryDir root_;
  std::unique_ptr<host_core::StaticFiles> files_;
};

TEST_F(PageAnswers, FilesWithTheHostCoreTypes) {
  EXPECT_EQ(answer("/index.html").file.toStdString(), path("page/index.html"));
  EXPECT_EQ(answer("/index.html").contentType, "text/html; charset=utf-8");
  EXPECT_EQ(answer("/data.json").contentType, "application/json; charset=utf-8");
  EXPECT_EQ(answer("/zarvo/zarvo.js").file.toStdString(), path("web/zarvo/zarvo.js"));
  EXPECT_EQ(answer("/zarvo/zarvo.js").contentType, "text/javascript; charset=utf-8");
  EXPECT_EQ(answer("/sub/").file.toStdString(), path("page/sub/index.html"));
  EXPECT_EQ(answer("/zarvo/qwebchannel.js").file, ":/qtwebchannel/qwebchannel.js");
  EXPECT_EQ(answer("/zarvo/qwebchannel.js").contentType, "text/javascript; charset=utf-8");
}

TEST_F(PageAnswers, DirectoryWithoutSlashRedirects) {
  const PageAnswer found = answer("/sub");
  EXPECT_EQ(found.location, "/sub/");
  EXPECT_TRUE(found.file.isEmpty());
}

TEST_F(PageAnswers, RefusedOutsideOrMissing) {
  for (const char* refused : {"/../secret.txt", "/sub/../../secret.txt", "/out.txt",
                              "/zarvo/../index.html", "/missing.html", "/a\x01.html"}) {
    const PageAnswer found = answer(refused);
    EXPECT_TRUE(found.file.isEmpty()) << refused;
    EXPECT_TRUE(found.location.isEmpty()) << refused;
  }
}

TEST(PageOrigin, OnlyTheSchemeAndHostWithoutPort) {
  EXPECT_EQ(pageUrl("index.html").toString(), "zarvo-view://page/index.html");
  EXPECT_TRUE(isPageOrigin(QUrl("zarvo-view://page/x/y.js?q#f")));
  EXPECT_FALSE(isPageOrigin(QUrl("zarvo-view://other/index.html")));
  EXPECT_FALSE(isPageOrigin(QUrl("zarvo-view://page:8080/index.html")));
  EXPECT_FALSE(isPageOrigin(QUrl("http://page/index.html")));
  EXPECT_FALSE(isPageOrigin(QUrl("file:///tmp/index.html")));
  EXPECT_FALSE(isPageOrigin(QUrl("data:text/html,x")));
}

TEST(ConsoleLine, OneLineEach) {
  EXPECT_EQ(ViewPage::consoleLine("hello"), "console: hello\n");
  EXPECT_EQ(ViewPage::consoleLine("a\nb\r\nc\rd"), "console: a\\nb\\nc\\nd\n");
  EXPECT_EQ(ViewPage::consoleLine(""), "console: \n");
  EXPECT_EQ(ViewPage::consoleLine(QString::fromUtf8("\xc3\xa9")), "console: \xc3\xa9\n");
  // Errors name where they came from; other levels do not.
  EXPECT_EQ(ViewPage::consoleLine("Uncaught Error: x", true, "zarvo-view://page/a.js", 7),
            "console: Uncaught Error: x (zarvo-view://page/a.js:7)\n");
  EXPECT_EQ(ViewPage::consoleLine("note", false, "zarvo-view://page/a.js", 7), "console: note\n");
  EXPECT_EQ(ViewPage::consoleLine("Uncaught", true, QString(), 0), "console: Uncaught\n");
}

// The channel objects over the real plug-in, as the view builds them, without a web engine.
class ChannelObjects : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string problem;
    ASSERT_TRUE(host_core::loadDescription(VIEW_TEST_APPS, &description_, &problem)) << problem;
    plugin_ = host_core::Plugin::open(VIEW_TEST_PLUGIN, &problem);
    ASSERT_TRUE(plugin_) << problem;
    limits_.requestBytes = 64;
    limits_.eventBufferBytes = 3 * (host_core::kEventOverheadBytes + 60);
    events_ = std::make_unique<host_core::EventLog>(limits_.eventBufferBytes, "0123456789abcdef");
    host_ = std::make_unique<host_core::PluginHost>(*plugin_, *events_);
    controls_ = std::make_unique<host_core::SimulatorControls>(description_, limits_);
    bridge_ = std::make_unique<BridgeObject>(*host_, *events_, limits_);
    simulator_ = std::make_unique<SimulatorObject>(*controls_);
  }
  void TearDown() override {
    simulator_.reset();
    bridge_.reset();
    controls_.reset();
    host_.reset();
    events_.reset();
    plugin_.reset();
  }
  QVariantMap connect(const char* parameters) {
    return bridge_->call("ZarvoApplication", "{\"method\":\"post\"}", parameters, "", "");
  }
  static QVariantMap hostError(const QVariantMap& answer) {
    return answer.value("hostError").toMap();
  }

  std::string description_;
  host_core::Limits limits_;
  std::optional<host_core::Plugin> plugin_;
  std::unique_ptr<host_core::EventLog> events_;
  std::unique_ptr<host_core::PluginHost> host_;
  std::unique_ptr<host_core::SimulatorControls> controls_;
  std::unique_ptr<BridgeObject> bridge_;
  std::unique_ptr<SimulatorObject> simulator_;
};

TEST_F(ChannelObjects, HelloNamesTheInstanceAndTheLimit) {
  const QVariantMap hello = bridge_->hello();
  EXPECT_EQ(hello.value("instance").toString(), "0123456789abcdef");
  EXPECT_EQ(hello.value("limits").toMap().value("message").toDouble(), 64.0);
  EXPECT_EQ(hello.value("protocol").toInt(), 1);
}

TEST_F(ChannelObjects, TheLimitCountsUtf8Bytes) {
  // {"method":"post"} is 17 bytes; {"name":"viewer"} 17 more; 30 left within 64: fifteen "é"
  // (two bytes each in UTF-8, one unit in UTF-16).
  const QVariantMap exact = bridge_->call("ZarvoApplication", "{\"method\":\"post\"}",
                                          "{\"name\":\"viewer\"}", "", QString(15, QChar(0xe9)));
  EXPECT_EQ(exact.value("status").toInt(), 200) << exact.value("text").toString().toStdString();
  const QVariantMap over =
      bridge_->call("ZarvoApplication", "{\"method\":\"post\"}", "{\"name\":\"viewer\"}", "",
                    QString(15, QChar(0xe9)) + "x");
  EXPECT_EQ(hostError(over).value("status").toInt(), 413);
  EXPECT_EQ(hostError(over).value("code").toString(), "PayloadTooLarge");
  EXPECT_EQ(hostError(over).value("message").toString(), "request body exceeds 64 bytes");
}

TEST_F(ChannelObjects, AnswersAndHostErrors) {
  const QVariantMap answer = connect("{\"name\":\"viewer\"}");
  EXPECT_EQ(answer.value("status").toInt(), 200);
  EXPECT_EQ(answer.value("text").toString(), "{\"error\":null,\"value\":null}");
  EXPECT_EQ(answer.value("promise").toInt(), 1);
  const QVariantMap unknown = bridge_->call("ZarvoNothing", "", "", "", "");
  EXPECT_EQ(hostError(unknown).value("status").toInt(), 404);
  EXPECT_EQ(hostError(unknown).value("message").toString(), "unknown resource 'ZarvoNothing'");
  EXPECT_EQ(bridge_->teardown().value("done").toBool(), true);
  bridge_->close();
  EXPECT_EQ(hostError(connect("{\"name\":\"viewer\"}")).value("status").toInt(), 503);
  EXPECT_EQ(hostError(bridge_->teardown()).value("message").toString(),
            "the host is shutting down");
}

TEST_F(ChannelObjects, EventsAreSignalledOnceUntilRead) {
  int argc = 1;
  char name[] = "view_parts_test";
  char* argv[] = {name, nullptr};
  QCoreApplication app(argc, argv);
  QSignalSpy ready(bridge_.get(), &BridgeObject::eventsReady);
  ASSERT_EQ(connect("{\"name\":\"viewer\"}").value("status").toInt(), 200);
  ASSERT_EQ(bridge_
                ->call("ZarvoApplicationEvent", "{\"method\":\"post\"}",
                       "{\"name\":\"viewer\",\"type\":\"t\"}", "", "")
                .value("status")
                .toInt(),
            200);
  const QString raise = "{\"app\":\"viewer\",\"type\":\"t\",\"payload\":\"1\",\"count\":2}";
  EXPECT_EQ(simulator_->raise(raise).value("value").toString(), "{\"raised\":2}");
  QCoreApplication::processEvents();
  ASSERT_EQ(ready.count(), 1);
  EXPECT_EQ(ready.at(0).at(0).toDouble(), 2.0);
  // Not read yet: more events, no second signal.
  simulator_->raise(raise);
  QCoreApplication::processEvents();
  EXPECT_EQ(ready.count(), 1);

  // The buffer holds three of these events: the first read reports the oldest one lost.
  const QVariantMap batch = bridge_->readEvents(QJsonValue(0));
  const QVariantMap gap = batch.value("gap").toMap();
  EXPECT_EQ(gap.value("first").toDouble(), 1.0);
  EXPECT_EQ(gap.value("last").toDouble(), 1.0);
  EXPECT_EQ(gap.value("lost").toDouble(), 1.0);
  EXPECT_EQ(batch.value("first").toDouble(), 2.0);
  EXPECT_EQ(batch.value("texts").toStringList().size(), 3);
  EXPECT_EQ(batch.value("instance").toString(), "0123456789abcdef");
  simulator_->raise(raise);
  QCoreApplication::processEvents();
  EXPECT_EQ(ready.count(), 2);
}

TEST_F(ChannelObjects, ReadPositions) {
  const QVariantMap now = bridge_->readEvents(QJsonValue(QJsonValue::Null));
  EXPECT_EQ(now.value("first").toDouble(), 1.0);
  EXPECT_TRUE(now.value("texts").toStringList().isEmpty());
  EXPECT_TRUE(now.value("gap").isNull());
  for (const QJsonValue& bad : {QJsonValue(-1), QJsonValue(0.5), QJsonValue("1"), QJsonValue(true),
                                QJsonValue(9007199254740992.0)}) {
    EXPECT_EQ(hostError(bridge_->readEvents(bad)).value("message").toString(),
              "readEvents: 'after' must be an integer from 0 to 9007199254740991, or null");
  }
}

TEST_F(ChannelObjects, SimulatorAnswersInOneShape) {
  const QVariantMap refused = simulator_->raise("{\"app\":\"scanner\",\"type\":\"t\"}");
  EXPECT_EQ(refused.value("ok").toBool(), false);
  EXPECT_EQ(refused.value("status").toInt(), 404);
  EXPECT_EQ(refused.value("code").toString(), "NotConnected");
  EXPECT_EQ(refused.value("message").toString(), "application 'scanner' is not connected");
  const QVariantMap bad = simulator_->callLog("x");
  EXPECT_EQ(bad.value("code").toString(), "BadProtocolRequest");
  EXPECT_EQ(bad.value("message").toString(), "from 'x' is not a decimal number");
  const QVariantMap log = simulator_->callLog("0");
  EXPECT_EQ(log.value("ok").toBool(), true);
  EXPECT_TRUE(log.value("value").toString().startsWith("{\"calls\":["))
      << log.value("value").toString().toStdString();
  EXPECT_EQ(simulator_->applicationsText().value("value").toString().toStdString(), description_);
}

}  // namespace
}  // namespace zarvo_view
