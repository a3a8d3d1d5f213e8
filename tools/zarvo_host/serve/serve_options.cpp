#include "serve/serve_options.h"

#include <CLI/CLI.hpp>

#include "host_defaults.h"

namespace zarvo_host::serve {
namespace {

constexpr size_t kLargestSize = static_cast<size_t>(1) << 40;  // 1 TiB: beyond any real limit

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
}

}  // namespace zarvo_host::serve
