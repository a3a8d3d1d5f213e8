#include "command_line.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <cerrno>
#include <cstdlib>
#include <limits>

#include "host_core/duration_text.h"

namespace zarvo_view {
namespace {

constexpr std::chrono::milliseconds kMaxTimeout = std::chrono::hours(24);

const char kDescription[] =
    "Shows the local HTML file PAGE in a desktop web view that hosts the zarvo_bridging\n"
    "plug-in; the page imports /zarvo/zarvo.js and calls openBridge().";

const char kEpilogue[] =
    "\n"
    "The program ends when the page calls window.close(), the window is closed, or on\n"
    "SIGINT/SIGTERM; the plug-in's TearDown runs first. Exit status: 0 closed, 1 timeout\n"
    "or a failure while running (also a page that closes before it has loaded), 2 usage\n"
    "or input error. The guide: docs/view.md.\n";

// The options in the order --help lists them.
struct Definitions {
  QCommandLineOption help{{"h", "help"}, "Displays this help."};
  QCommandLineOption version{{"v", "version"}, "Displays the version."};
  QCommandLineOption applications{
      {"applications", "apps"},
      "Application description for the simulated applications (default: the one installed "
      "with the view, or examples/applications.json of the source tree).",
      "FILE"};
  QCommandLineOption plugin{
      "plugin",
      "The plug-in to load (default: the one installed beside the view, or the one built with "
      "it).",
      "FILE"};
  QCommandLineOption web{"web",
                         "Serve DIR/zarvo/ at /zarvo/ (default: the installed web folder, or "
                         "web/ of the source tree).",
                         "DIR"};
  QCommandLineOption page{"page", "The page to show (or give it as PAGE).", "FILE"};
  QCommandLineOption console{"console", "Print each page console message as 'console: <text>'."};
  QCommandLineOption screenshot{
      "screenshot", "Save a PNG of the window once the page is ready, then end (docs/view.md).",
      "FILE"};
  QCommandLineOption timeout{"timeout",
                             "End with status 1 if the page has not closed (or, with "
                             "--screenshot, is not ready) by then: 1500ms, 30s, 2min.",
                             "DURATION"};
  QCommandLineOption devtools{"devtools", "Chromium remote debugging on 127.0.0.1:PORT.", "PORT"};
  QCommandLineOption maxRequest{"max-request",
                                "Largest call: the UTF-8 bytes of its four texts (default "
                                "16777216).",
                                "BYTES"};
  QCommandLineOption eventBuffer{"event-buffer",
                                 "Events kept for the page, each costing its text + 64 bytes; "
                                 "older ones become a gap report (default 16777216).",
                                 "BYTES"};

  void addTo(QCommandLineParser* parser) const {
    for (const QCommandLineOption* option :
         {&help, &version, &applications, &plugin, &web, &page, &console, &screenshot, &timeout,
          &devtools, &maxRequest, &eventBuffer}) {
      parser->addOption(*option);
    }
    parser->setApplicationDescription(kDescription);
    parser->addPositionalArgument("PAGE", "The local HTML file to show.", "[PAGE]");
  }
};

// A decimal number from `low` to `high`; false for anything else (signs and blanks included).
bool parseCount(const std::string& text, unsigned long long low, unsigned long long high,
                unsigned long long* out) {
  if (text.empty() || text.size() > 19 ||
      text.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  errno = 0;
  const unsigned long long value = std::strtoull(text.c_str(), nullptr, 10);
  if (errno != 0 || value < low || value > high) return false;
  *out = value;
  return true;
}

bool parseBytes(const std::string& name, const std::string& text, size_t* out, std::string* error) {
  unsigned long long value = 0;
  if (!parseCount(text, 1, std::numeric_limits<size_t>::max() / 2, &value)) {
    *error = name + " takes a number of bytes from 1, not '" + text + "'";
    return false;
  }
  *out = static_cast<size_t>(value);
  return true;
}

bool parseTimeout(const std::string& text, std::chrono::milliseconds* out, std::string* error) {
  std::string problem;
  if (!host_core::parseDuration(text, kMaxTimeout, out, &problem)) {
    *error = "--timeout " + problem;
    return false;
  }
  if (out->count() == 0) {
    *error = "--timeout must be longer than 0ms, not '" + text + "'";
    return false;
  }
  return true;
}

bool parsePort(const std::string& text, int* out, std::string* error) {
  unsigned long long port = 0;
  if (!parseCount(text, 1, 65535, &port)) {
    *error = "--devtools needs a port from 1 to 65535, not '" + text + "'";
    return false;
  }
  *out = static_cast<int>(port);
  return true;
}

// Qt's own messages ("Unknown option 'x'.") in the form of ours: lower case, no full stop.
std::string ownForm(const QString& qtMessage) {
  std::string text = qtMessage.toStdString();
  if (!text.empty() && text.back() == '.') text.pop_back();
  if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z') text[0] = static_cast<char>(text[0] + 32);
  return text;
}

// The text options: present means non-empty.
bool readText(const QCommandLineParser& parser, const QCommandLineOption& option, std::string* out,
              std::string* error) {
  if (!parser.isSet(option)) return true;
  const std::string value = parser.value(option).toStdString();
  if (value.empty()) {
    *error = "--" + option.names().constFirst().toStdString() + " needs a non-empty value";
    return false;
  }
  *out = value;
  return true;
}

bool readValues(const QCommandLineParser& parser, const Definitions& d, Options* o,
                std::string* error) {
  if (!readText(parser, d.applications, &o->applications, error) ||
      !readText(parser, d.plugin, &o->plugin, error) || !readText(parser, d.web, &o->web, error) ||
      !readText(parser, d.page, &o->page, error) ||
      !readText(parser, d.screenshot, &o->screenshot, error)) {
    return false;
  }
  const auto text = [&](const QCommandLineOption& option) {
    return parser.value(option).toStdString();
  };
  o->console = parser.isSet(d.console);
  return (!parser.isSet(d.timeout) || parseTimeout(text(d.timeout), &o->timeout, error)) &&
         (!parser.isSet(d.devtools) || parsePort(text(d.devtools), &o->devtoolsPort, error)) &&
         (!parser.isSet(d.maxRequest) ||
          parseBytes("--max-request", text(d.maxRequest), &o->limits.requestBytes, error)) &&
         (!parser.isSet(d.eventBuffer) ||
          parseBytes("--event-buffer", text(d.eventBuffer), &o->limits.eventBufferBytes, error));
}

bool readPage(const QCommandLineParser& parser, Options* o, std::string* error) {
  const QStringList pages = parser.positionalArguments();
  const qsizetype given = pages.size() + (o->page.empty() ? 0 : 1);
  if (given != 1) {
    *error = given == 0 ? "no PAGE given" : "more than one PAGE given";
    return false;
  }
  if (o->page.empty()) o->page = pages.constFirst().toStdString();
  if (o->page.empty()) {
    *error = "PAGE must not be empty";
    return false;
  }
  return true;
}

}  // namespace

Parsed parseCommandLine(const QStringList& args, const host_core::DefaultPaths& defaults,
                        Options* options, std::string* error) {
  const Definitions definitions;
  QCommandLineParser parser;
  definitions.addTo(&parser);
  if (!parser.parse(args)) {
    *error = ownForm(parser.errorText());
    return Parsed::kError;
  }
  if (parser.isSet(definitions.help)) return Parsed::kHelp;
  if (parser.isSet(definitions.version)) return Parsed::kVersion;
  Options o;
  o.applications = defaults.applications;
  o.plugin = defaults.plugin;
  o.web = defaults.web;
  if (!readValues(parser, definitions, &o, error) || !readPage(parser, &o, error)) {
    return Parsed::kError;
  }
  *options = o;
  return Parsed::kRun;
}

std::string helpText() {
  const Definitions definitions;
  QCommandLineParser parser;
  definitions.addTo(&parser);
  // Without an application object Qt names the program "<executable_name>".
  QString text = parser.helpText();
  text.replace("<executable_name>", "zarvo_view");
  return text.toStdString() + kEpilogue;
}

host_core::DefaultPaths viewDefaults() {
  host_core::InstallLayout layout;
  layout.libdir = ZARVO_VIEW_INSTALL_LIBDIR;
  return host_core::defaultPaths(
      host_core::DefaultPaths{ZARVO_VIEW_BUILD_PLUGIN, ZARVO_VIEW_BUILD_APPS, ZARVO_VIEW_BUILD_WEB},
      layout);
}

}  // namespace zarvo_view
