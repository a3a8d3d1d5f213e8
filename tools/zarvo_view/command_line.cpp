#include "command_line.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace zarvo_view {
namespace {

bool parseSeconds(const std::string& text, double* out) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(text.c_str(), &end);
  if (errno != 0 || end != text.c_str() + text.size() || !std::isfinite(value)) return false;
  if (value <= 0 || value > 86400) return false;
  *out = value;
  return true;
}

bool parsePort(const std::string& text, int* out) {
  if (text.empty() || text.size() > 5) return false;
  int value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
  }
  if (value < 1 || value > 65535) return false;
  *out = value;
  return true;
}

// Options that take a value: the member it fills, or null for the two number options.
std::string* textOption(const std::string& name, Options* options) {
  if (name == "--applications") return &options->applications;
  if (name == "--plugin") return &options->plugin;
  if (name == "--web") return &options->web;
  if (name == "--screenshot") return &options->screenshot;
  return nullptr;
}

bool takesValue(const std::string& name) {
  return name == "--applications" || name == "--plugin" || name == "--web" ||
         name == "--screenshot" || name == "--timeout" || name == "--devtools";
}

// Stores one option with its value; false with `error` set for a bad value.
bool storeOption(const std::string& name, const std::string& value, Options* options,
                 std::string* error) {
  if (std::string* text = textOption(name, options)) {
    if (value.empty()) {
      *error = name + " needs a non-empty value";
      return false;
    }
    *text = value;
    return true;
  }
  if (name == "--timeout") {
    if (parseSeconds(value, &options->timeoutSeconds)) return true;
    *error = "--timeout needs a number of seconds above 0 and at most 86400, not '" + value + "'";
    return false;
  }
  if (parsePort(value, &options->devtoolsPort)) return true;
  *error = "--devtools needs a port from 1 to 65535, not '" + value + "'";
  return false;
}

}  // namespace

std::string usageText() {
  return "Usage: zarvo_view [OPTIONS] PAGE\n"
         "Shows the local HTML file PAGE in a desktop web view that hosts the zarvo_bridging\n"
         "plug-in; the page imports /zarvo/zarvo.js and calls openBridge().\n"
         "\n"
         "  --applications FILE  application description for the simulated applications\n"
         "                       (default: examples/applications.json of the source tree)\n"
         "  --plugin FILE        the plug-in to load (default: the one built with this tool)\n"
         "  --web DIR            serve DIR/zarvo/ at /zarvo/ (default: web/ of the source tree)\n"
         "  --console            print each page console message as 'console: <text>'\n"
         "  --screenshot FILE    save a PNG of the window once the page has settled, then end\n"
         "  --timeout SECONDS    end with status 1 if the page has not closed by then\n"
         "  --devtools PORT      Chromium remote debugging on 127.0.0.1:PORT\n"
         "  --help, --version\n"
         "\n"
         "The program ends when the page calls window.close(), the window is closed, or on\n"
         "SIGINT/SIGTERM; the plug-in's TearDown runs first. Exit status: 0 closed, 1 timeout\n"
         "or a failure while running, 2 usage or input error.\n";
}

Parsed parseCommandLine(const std::vector<std::string>& args, Options* options,
                        std::string* error) {
  options->applications = ZARVO_VIEW_DEFAULT_APPS;
  options->plugin = ZARVO_VIEW_DEFAULT_PLUGIN;
  options->web = ZARVO_VIEW_DEFAULT_WEB;
  std::vector<std::string> pages;
  for (size_t i = 1; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg == "--help" || arg == "-h") return Parsed::kHelp;
    if (arg == "--version") return Parsed::kVersion;
    if (arg == "--console") {
      options->console = true;
      continue;
    }
    const size_t eq = arg.find('=');
    const std::string name = arg.substr(0, eq);
    if (arg.size() > 2 && arg.compare(0, 2, "--") == 0 && takesValue(name)) {
      std::string value;
      if (eq != std::string::npos) {
        value = arg.substr(eq + 1);
      } else if (i + 1 < args.size()) {
        value = args[++i];
      } else {
        *error = name + " needs a value";
        return Parsed::kError;
      }
      if (!storeOption(name, value, options, error)) return Parsed::kError;
      continue;
    }
    if (arg.size() > 1 && arg[0] == '-') {
      *error = "unknown option '" + arg + "'";
      return Parsed::kError;
    }
    pages.push_back(arg);
  }
  if (pages.size() != 1) {
    *error = pages.empty() ? "no PAGE given" : "more than one PAGE given";
    return Parsed::kError;
  }
  options->page = pages[0];
  return Parsed::kRun;
}

}  // namespace zarvo_view
