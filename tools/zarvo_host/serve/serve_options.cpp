#include "serve/serve_options.h"

#include <CLI/CLI.hpp>

#include <chrono>

#include "host_core/duration_text.h"
#include "host_defaults.h"

namespace zarvo_host::serve {
namespace {

constexpr size_t kLargestSize = static_cast<size_t>(1) << 40;  // 1 TiB: beyond any real limit
constexpr std::chrono::milliseconds kLongestTimeout{std::chrono::hours(24)};

// A folder that holds the client modules (zarvo/zarvo.js).
std::string webFolderProblem(const std::string& folder) {
  std::string module = folder + "/zarvo/zarvo.js";
  return CLI::ExistingFile(module).empty() ? std::string()
                                           : "no client module zarvo/zarvo.js in '" + folder + "'";
}

// A whole number of bytes from 1 to kLargestSize; the message says so for any other text.
CLI::Validator byteCount() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        const bool digits = !text.empty() && text.size() <= 13 &&
                            text.find_first_not_of("0123456789") == std::string::npos;
        if (digits && std::stoull(text) >= 1 && std::stoull(text) <= kLargestSize) return "";
        return "expected a number of bytes from 1 to " + std::to_string(kLargestSize) + ", not '" +
               text + "'";
      },
      "", "byte count");
}

// A duration option (with its unit, as in 1500ms, 30s, 2min) from 1ms to a day, into `*out`.
void addTimeout(CLI::App& serve, const std::string& name, std::chrono::milliseconds* out,
                const std::string& what) {
  serve
      .add_option_function<std::string>(
          name,
          [name, out](const std::string& text) {
            std::chrono::milliseconds value{0};
            std::string problem;
            if (!host_core::parseDuration(text, kLongestTimeout, &value, &problem)) {
              throw CLI::ValidationError(name, problem);
            }
            if (value.count() == 0) throw CLI::ValidationError(name, "must be at least 1ms");
            *out = value;
          },
          what + " (default " + host_core::durationText(*out) + ")")
      ->type_name("DURATION");
}

// The caps and deadlines of the connections (connections.h, http_session.h).
void addConnectionRules(CLI::App& serve, ConnectionRules& rules) {
  serve
      .add_option("--max-connections", rules.maxConnections,
                  "connections open at once, streams included (an idle one makes room)")
      ->type_name("N")
      ->check(CLI::Range(static_cast<size_t>(1), static_cast<size_t>(100000)))
      ->capture_default_str();
  serve.add_option("--max-streams", rules.maxStreams, "event streams and WebSockets open at once")
      ->type_name("N")
      ->check(CLI::Range(static_cast<size_t>(1), static_cast<size_t>(100000)))
      ->capture_default_str();
  addTimeout(serve, "--header-timeout", &rules.headerTimeout,
             "time for a request's header, from its first byte");
  addTimeout(serve, "--body-timeout", &rules.bodyTimeout, "time for a request's whole body");
  addTimeout(serve, "--idle-timeout", &rules.idleTimeout,
             "time a kept-alive connection may wait for its next request");
}

}  // namespace

void addServeOptions(CLI::App& serve, ServeOptions& options) {
  const host_core::DefaultPaths defaults = hostDefaults();
  options.plugin = defaults.plugin;
  options.applications = defaults.applications;
  options.web = defaults.web;
  serve.footer(
      "Serves a page on 127.0.0.1 (the reference host as a local web host). A page calls the\n"
      "four resources over the WebSocket GET /socket or with POST /bridge/RESOURCE, reads\n"
      "\"zarvoEvent\" events there or from GET /events (server-sent events), and drives the\n"
      "simulated applications through /simulator/...; see docs/serve_protocol.md. Prints\n"
      "'serving http://127.0.0.1:PORT/' once listening; SIGINT or SIGTERM stops it (TearDown,\n"
      "exit 0).");
  serve.add_option("--port", options.port, "port to listen on (0 picks a free one)")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  serve.add_option("--applications,--apps", options.applications, "application description")
      ->type_name("FILE")
      ->capture_default_str();
  serve.add_option("--plugin", options.plugin, "plug-in file to load")
      ->type_name("FILE")
      ->capture_default_str();
  serve
      .add_option("--page", options.page,
                  "serve your own page from DIR at / (default: the console)")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
  serve.add_option("--web", options.web, "folder holding zarvo/ (the client modules) and console/")
      ->type_name("DIR")
      ->check(CLI::Validator(webFolderProblem, "DIR", "web folder"))
      ->capture_default_str();
  serve
      .add_option("--max-body", options.limits.requestBytes,
                  "largest request: an HTTP body or a WebSocket message")
      ->type_name("BYTES")
      ->check(byteCount())
      ->capture_default_str();
  serve
      .add_option("--event-buffer", options.limits.eventBufferBytes,
                  "events kept for readers that are behind or reconnect (each counts its "
                  "length + 64)")
      ->type_name("BYTES")
      ->check(byteCount())
      ->capture_default_str();
  addConnectionRules(serve, options.rules);
}

}  // namespace zarvo_host::serve
