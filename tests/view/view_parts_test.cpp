// The parts of zarvo_view that need no web engine running: the command line, the page scheme's
// paths and MIME types, the page origin, and the console line.
#include <gtest/gtest.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <string>
#include <vector>

#include "command_line.h"
#include "page_scheme.h"
#include "view_page.h"

namespace zarvo_view {
namespace {

Parsed parse(std::vector<std::string> args, Options* options, std::string* error) {
  args.insert(args.begin(), "zarvo_view");
  return parseCommandLine(args, options, error);
}

TEST(ViewCommandLine, EveryOptionInBothForms) {
  Options options;
  std::string error;
  ASSERT_EQ(parse({"--console", "--timeout=1.5", "--devtools", "9222", "--applications=a.json",
                   "--plugin", "p.so", "--web", "w", "--screenshot=s.png", "page.html"},
                  &options, &error),
            Parsed::kRun)
      << error;
  EXPECT_TRUE(options.console);
  EXPECT_DOUBLE_EQ(options.timeoutSeconds, 1.5);
  EXPECT_EQ(options.devtoolsPort, 9222);
  EXPECT_EQ(options.applications, "a.json");
  EXPECT_EQ(options.plugin, "p.so");
  EXPECT_EQ(options.web, "w");
  EXPECT_EQ(options.screenshot, "s.png");
  EXPECT_EQ(options.page, "page.html");
}

TEST(ViewCommandLine, DefaultsWaitForeverWithoutConsoleOrDebugging) {
  Options options;
  std::string error;
  ASSERT_EQ(parse({"page.html"}, &options, &error), Parsed::kRun);
  EXPECT_FALSE(options.console);
  EXPECT_EQ(options.timeoutSeconds, 0);
  EXPECT_EQ(options.devtoolsPort, 0);
  EXPECT_TRUE(options.screenshot.empty());
  EXPECT_FALSE(options.plugin.empty());
  EXPECT_FALSE(options.applications.empty());
}

TEST(ViewCommandLine, HelpAndVersionEndTheReading) {
  Options options;
  std::string error;
  EXPECT_EQ(parse({"page.html", "-h"}, &options, &error), Parsed::kHelp);
  EXPECT_EQ(parse({"--nope", "--help"}, &options, &error), Parsed::kError);
  EXPECT_EQ(parse({"a", "b", "--version"}, &options, &error), Parsed::kVersion);
}

TEST(ViewCommandLine, BadValues) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"--timeout", "abc", "p"},
       "--timeout needs a number of seconds above 0 and at most 86400, not 'abc'"},
      {{"--timeout", "86401", "p"},
       "--timeout needs a number of seconds above 0 and at most 86400, not '86401'"},
      {{"--timeout", "nan", "p"},
       "--timeout needs a number of seconds above 0 and at most 86400, not 'nan'"},
      {{"--devtools", "0", "p"}, "--devtools needs a port from 1 to 65535, not '0'"},
      {{"--devtools", "-1", "p"}, "--devtools needs a port from 1 to 65535, not '-1'"},
      {{"--devtools", "123456", "p"}, "--devtools needs a port from 1 to 65535, not '123456'"},
      {{"--web=", "p"}, "--web needs a non-empty value"},
      {{"--screenshot"}, "--screenshot needs a value"},
      {{"-x", "p"}, "unknown option '-x'"},
  };
  for (const auto& [args, message] : cases) {
    Options options;
    std::string error;
    EXPECT_EQ(parse(args, &options, &error), Parsed::kError) << args[0];
    EXPECT_EQ(error, message);
  }
}

TEST(PageScheme, MimeTypesByExtension) {
  EXPECT_EQ(mimeTypeFor("a/index.html"), "text/html");
  EXPECT_EQ(mimeTypeFor("INDEX.HTM"), "text/html");
  EXPECT_EQ(mimeTypeFor("zarvo.js"), "text/javascript");
  EXPECT_EQ(mimeTypeFor("m.mjs"), "text/javascript");
  EXPECT_EQ(mimeTypeFor("page.css"), "text/css");
  EXPECT_EQ(mimeTypeFor("d.json"), "application/json");
  EXPECT_EQ(mimeTypeFor("x.js.map"), "application/json");
  EXPECT_EQ(mimeTypeFor("i.svg"), "image/svg+xml");
  EXPECT_EQ(mimeTypeFor("i.png"), "image/png");
  EXPECT_EQ(mimeTypeFor("i.jpg"), "image/jpeg");
  EXPECT_EQ(mimeTypeFor("i.jpeg"), "image/jpeg");
  EXPECT_EQ(mimeTypeFor("i.gif"), "image/gif");
  EXPECT_EQ(mimeTypeFor("i.webp"), "image/webp");
  EXPECT_EQ(mimeTypeFor("favicon.ico"), "image/x-icon");
  EXPECT_EQ(mimeTypeFor("m.wasm"), "application/wasm");
  EXPECT_EQ(mimeTypeFor("r.txt"), "text/plain");
  EXPECT_EQ(mimeTypeFor("f.woff2"), "font/woff2");
  EXPECT_EQ(mimeTypeFor("f.woff"), "font/woff");
  EXPECT_EQ(mimeTypeFor("archive.tar"), "application/octet-stream");
  EXPECT_EQ(mimeTypeFor("no_extension"), "application/octet-stream");
}

class PagePaths : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(root_.isValid());
    const QDir root(root_.path());
    ASSERT_TRUE(root.mkpath("page/sub") && root.mkpath("web/zarvo"));
    write("page/index.html");
    write("page/sub/a.js");
    write("web/zarvo/zarvo.js");
    write("secret.txt");
    ASSERT_EQ(symlink("../secret.txt", path("page/out.txt").c_str()), 0);
    ASSERT_EQ(symlink("sub/a.js", path("page/in.js").c_str()), 0);
    pageDir_ = QDir(path("page").c_str()).canonicalPath();
    clientDir_ = QDir(path("web/zarvo").c_str()).canonicalPath();
  }
  std::string path(const char* relative) const {
    return root_.path().toStdString() + '/' + relative;
  }
  void write(const char* relative) const {
    QFile file(path(relative).c_str());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("x");
  }
  QString resolve(const char* urlPath) const {
    return resolvePagePath(urlPath, pageDir_, clientDir_);
  }

  QTemporaryDir root_;
  QString pageDir_;
  QString clientDir_;
};

TEST_F(PagePaths, FilesInsideTheirFolder) {
  EXPECT_EQ(resolve("/index.html"), pageDir_ + "/index.html");
  EXPECT_EQ(resolve("/sub/a.js"), pageDir_ + "/sub/a.js");
  EXPECT_EQ(resolve("/sub/../index.html"), pageDir_ + "/index.html");
  EXPECT_EQ(resolve("/in.js"), pageDir_ + "/sub/a.js");  // a link that stays inside
  EXPECT_EQ(resolve("/zarvo/zarvo.js"), clientDir_ + "/zarvo.js");
  EXPECT_EQ(resolve("/zarvo/qwebchannel.js"), ":/qtwebchannel/qwebchannel.js");
}

TEST_F(PagePaths, RefusedOutsideMissingOrNotAFile) {
  EXPECT_EQ(resolve("/../secret.txt"), QString());
  EXPECT_EQ(resolve("/sub/../../secret.txt"), QString());
  EXPECT_EQ(resolve("/out.txt"), QString());  // a link that leads out
  EXPECT_EQ(resolve("/zarvo/../index.html"), QString());
  EXPECT_EQ(resolve("/zarvo/../../secret.txt"), QString());
  EXPECT_EQ(resolve("/missing.html"), QString());
  EXPECT_EQ(resolve("/sub"), QString());
  EXPECT_EQ(resolve("/"), QString());
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
}

}  // namespace
}  // namespace zarvo_view
