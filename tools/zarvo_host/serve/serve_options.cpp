#include "serve/serve_options.h"

#include <cerrno>
#include <cstdlib>
#include <limits>

#ifndef ZARVO_HOST_DEFAULT_PLUGIN
#define ZARVO_HOST_DEFAULT_PLUGIN "libzarvo_bridging.so.2"
#endif
#ifndef ZARVO_HOST_DEFAULT_APPS
#define ZARVO_HOST_DEFAULT_APPS "applications.json"
#endif
#ifndef ZARVO_HOST_DEFAULT_WEB
#define ZARVO_HOST_DEFAULT_WEB "web"
#endif

namespace zarvo_host::serve {
namespace {

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

// Reads the value of the option at argv[*i] ("--name VALUE" or "--name=VALUE").
bool optionValue(int argc, char** argv, int* i, const std::string& name, std::string* out,
                 std::string* problem) {
  const std::string arg = argv[*i];
  if (arg == name) {
    if (*i + 1 >= argc) {
      *problem = name + " needs a value";
      return false;
    }
    *out = argv[++*i];
    return true;
  }
  *out = arg.substr(name.size() + 1);
  return true;
}

bool isOption(const std::string& arg, const std::string& name) {
  return arg == name || arg.compare(0, name.size() + 1, name + "=") == 0;
}

bool parseSize(const std::string& name, const std::string& text, size_t* out,
               std::string* problem) {
  unsigned long long value = 0;
  if (!parseCount(text, 1, std::numeric_limits<size_t>::max() / 2, &value)) {
    *problem = name + " takes a number of bytes from 1, not '" + text + "'";
    return false;
  }
  *out = static_cast<size_t>(value);
  return true;
}

}  // namespace

bool parseServeCommandLine(int argc, char** argv, int first, ServeOptions* options,
                           std::string* problem) {
  ServeOptions o;
  o.plugin = ZARVO_HOST_DEFAULT_PLUGIN;
  o.applications = ZARVO_HOST_DEFAULT_APPS;
  o.web = ZARVO_HOST_DEFAULT_WEB;
  for (int i = first; i < argc; ++i) {
    const std::string arg = argv[i];
    std::string text;
    if (arg == "-h" || arg == "--help") {
      o.help = true;
    } else if (isOption(arg, "--port")) {
      if (!optionValue(argc, argv, &i, "--port", &text, problem)) return false;
      unsigned long long port = 0;
      if (!parseCount(text, 0, 65535, &port)) {
        *problem = "--port takes a port number from 0 to 65535, not '" + text + "'";
        return false;
      }
      o.port = static_cast<int>(port);
    } else if (isOption(arg, "--applications") || isOption(arg, "--apps")) {
      const std::string name = isOption(arg, "--apps") ? "--apps" : "--applications";
      if (!optionValue(argc, argv, &i, name, &o.applications, problem)) return false;
    } else if (isOption(arg, "--plugin")) {
      if (!optionValue(argc, argv, &i, "--plugin", &o.plugin, problem)) return false;
    } else if (isOption(arg, "--page")) {
      if (!optionValue(argc, argv, &i, "--page", &o.page, problem)) return false;
    } else if (isOption(arg, "--web")) {
      if (!optionValue(argc, argv, &i, "--web", &o.web, problem)) return false;
    } else if (isOption(arg, "--max-body")) {
      if (!optionValue(argc, argv, &i, "--max-body", &text, problem) ||
          !parseSize("--max-body", text, &o.maxBody, problem)) {
        return false;
      }
    } else if (isOption(arg, "--event-buffer")) {
      if (!optionValue(argc, argv, &i, "--event-buffer", &text, problem) ||
          !parseSize("--event-buffer", text, &o.eventBuffer, problem)) {
        return false;
      }
    } else {
      *problem = "serve: unknown option '" + arg + "'";
      return false;
    }
  }
  *options = o;
  return true;
}

std::string serveHelpText() {
  return std::string(
      "Serving a page (the reference host as a local web host):\n"
      "  zarvo_host serve [--port N] [--applications FILE] [--plugin FILE] [--page DIR]\n"
      "                   [--web DIR] [--max-body BYTES] [--event-buffer BYTES]\n"
      "      Listens on 127.0.0.1 only and prints 'serving http://127.0.0.1:PORT/' once\n"
      "      listening. A page calls the four resources with POST /bridge/RESOURCE, reads\n"
      "      \"zarvoEvent\" events from GET /events (server-sent events), and drives the\n"
      "      simulated applications through /simulator/...; see docs/serve_protocol.md.\n"
      "  --port N            port to listen on (default 8207; 0 picks a free one)\n"
      "  --applications FILE application description (also --apps; default as above)\n"
      "  --page DIR          serve your own page from DIR at / (default: the console)\n"
      "  --web DIR           folder holding zarvo/ (the client module) and console/\n"
      "                      (default " ZARVO_HOST_DEFAULT_WEB
      ")\n"
      "  --max-body BYTES    largest request body (default 16777216)\n"
      "  --event-buffer BYTES  events kept for replay to reconnecting streams\n"
      "                      (default 16777216; each event counts its length + 64)\n"
      "  SIGINT or SIGTERM stops the server, calls TearDown and exits 0.\n");
}

}  // namespace zarvo_host::serve
