#include "serve/serve_options.h"

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <utility>

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

// `unit` names what the number counts, for the message ("bytes", "milliseconds").
bool parseSize(const std::string& name, const std::string& unit, const std::string& text,
               size_t* out, std::string* problem) {
  unsigned long long value = 0;
  if (!parseCount(text, 1, std::numeric_limits<size_t>::max() / 2, &value)) {
    *problem = name + " takes a number of " + unit + " from 1, not '" + text + "'";
    return false;
  }
  *out = static_cast<size_t>(value);
  return true;
}

bool isTimeout(const std::string& name) {
  return name.size() > 8 && name.compare(name.size() - 8, 8, "-timeout") == 0;
}

// The options that take a number, each written to its field.
bool parseCountOption(const std::string& name, const std::string& text, ServeOptions* o,
                      std::string* problem) {
  const bool timeout = isTimeout(name);
  const bool count = name == "--max-connections" || name == "--max-streams";
  const std::string unit = timeout                   ? "milliseconds"
                           : name == "--max-streams" ? "streams"
                           : count                   ? "connections"
                                                     : "bytes";
  size_t value = 0;
  if (!parseSize(name, unit, text, &value, problem)) return false;
  const std::chrono::milliseconds ms(static_cast<long long>(value));
  if (name == "--max-body") o->limits.requestBytes = value;
  if (name == "--event-buffer") o->limits.eventBufferBytes = value;
  if (name == "--max-connections") o->rules.maxConnections = value;
  if (name == "--max-streams") o->rules.maxStreams = value;
  if (name == "--header-timeout") o->rules.headerTimeout = ms;
  if (name == "--body-timeout") o->rules.bodyTimeout = ms;
  if (name == "--idle-timeout") o->rules.idleTimeout = ms;
  return true;
}

const char* const kCountOptions[] = {"--max-body",    "--event-buffer",   "--max-connections",
                                     "--max-streams", "--header-timeout", "--body-timeout",
                                     "--idle-timeout"};

// One option at argv[*i]; false with `problem` set when it is not understood.
bool parseOption(int argc, char** argv, int* i, ServeOptions* o, std::string* problem) {
  const std::string arg = argv[*i];
  std::string text;
  if (arg == "-h" || arg == "--help") {
    o->help = true;
    return true;
  }
  if (isOption(arg, "--port")) {
    if (!optionValue(argc, argv, i, "--port", &text, problem)) return false;
    unsigned long long port = 0;
    if (!parseCount(text, 0, 65535, &port)) {
      *problem = "--port takes a port number from 0 to 65535, not '" + text + "'";
      return false;
    }
    o->port = static_cast<int>(port);
    return true;
  }
  if (isOption(arg, "--applications") || isOption(arg, "--apps")) {
    const std::string name = isOption(arg, "--apps") ? "--apps" : "--applications";
    return optionValue(argc, argv, i, name, &o->applications, problem);
  }
  for (const auto& [name, field] : {std::pair<const char*, std::string*>{"--plugin", &o->plugin},
                                    {"--page", &o->page},
                                    {"--web", &o->web}}) {
    if (isOption(arg, name)) return optionValue(argc, argv, i, name, field, problem);
  }
  for (const char* name : kCountOptions) {
    if (isOption(arg, name)) {
      return optionValue(argc, argv, i, name, &text, problem) &&
             parseCountOption(name, text, o, problem);
    }
  }
  *problem = "serve: unknown option '" + arg + "'";
  return false;
}

}  // namespace

bool parseServeCommandLine(int argc, char** argv, int first, ServeOptions* options,
                           std::string* problem) {
  ServeOptions o;
  o.plugin = ZARVO_HOST_DEFAULT_PLUGIN;
  o.applications = ZARVO_HOST_DEFAULT_APPS;
  o.web = ZARVO_HOST_DEFAULT_WEB;
  for (int i = first; i < argc; ++i) {
    if (!parseOption(argc, argv, &i, &o, problem)) return false;
  }
  *options = o;
  return true;
}

std::string serveHelpText() {
  return std::string(
      "Serving a page (the reference host as a local web host):\n"
      "  zarvo_host serve [--port N] [--applications FILE] [--plugin FILE] [--page DIR]\n"
      "                   [--web DIR] [--max-body BYTES] [--event-buffer BYTES]\n"
      "                   [--max-connections N] [--max-streams N] [--header-timeout MS]\n"
      "                   [--body-timeout MS] [--idle-timeout MS]\n"
      "      Listens on 127.0.0.1 only and prints 'serving http://127.0.0.1:PORT/' once\n"
      "      listening. A page calls the four resources and reads \"zarvoEvent\" events over\n"
      "      one WebSocket (GET /socket), or with POST /bridge/RESOURCE and GET /events\n"
      "      (server-sent events), and drives the simulated applications through\n"
      "      /simulator/...; see docs/serve_protocol.md.\n"
      "  --port N            port to listen on (default 8207; 0 picks a free one)\n"
      "  --applications FILE application description (also --apps; default as above)\n"
      "  --page DIR          serve your own page from DIR at / (default: the console)\n"
      "  --web DIR           folder holding zarvo/ (the client module) and console/\n"
      "                      (default " ZARVO_HOST_DEFAULT_WEB
      ")\n"
      "  --max-body BYTES    largest request body or WebSocket message (default 16777216)\n"
      "  --event-buffer BYTES  events kept for replay to reconnecting streams\n"
      "                      (default 16777216; each event counts its length + 64)\n"
      "  --max-connections N connections open at once (default 256; an idle one makes room)\n"
      "  --max-streams N     event streams and WebSockets open at once (default 64)\n"
      "  --header-timeout MS time for a request's header (default 10000)\n"
      "  --body-timeout MS   time for a request's body (default 30000)\n"
      "  --idle-timeout MS   time a connection may wait between requests (default 15000)\n"
      "  SIGINT or SIGTERM stops the server, calls TearDown and exits 0.\n");
}

}  // namespace zarvo_host::serve
