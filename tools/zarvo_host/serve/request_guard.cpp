#include "serve/request_guard.h"

#include <string>

namespace zarvo_host::serve {
namespace {

using host_core::forbidden;
using host_core::HostError;

bool isOwnHost(std::string_view host, const std::string& port) {
  return host == "127.0.0.1:" + port || host == "localhost:" + port || host == "[::1]:" + port;
}

std::optional<HostError> checkHost(const http::fields& fields, const std::string& port) {
  const size_t hosts = fields.count(http::field::host);
  if (hosts == 0) return forbidden("Host header is missing");
  if (hosts > 1) return forbidden("more than one Host header");
  const std::string host(fields[http::field::host]);
  if (!isOwnHost(host, port)) return forbidden("Host header '" + host + "' is not this server");
  return std::nullopt;
}

std::optional<HostError> checkOrigin(const http::fields& fields, const std::string& port) {
  const size_t origins = fields.count(http::field::origin);
  if (origins > 1) return forbidden("more than one Origin header");
  if (origins == 0) return std::nullopt;
  const std::string origin(fields[http::field::origin]);
  if (origin.compare(0, 7, "http://") != 0 || !isOwnHost(origin.substr(7), port)) {
    return forbidden("Origin '" + origin + "' is not this server's origin");
  }
  return std::nullopt;
}

std::optional<HostError> checkFetchSite(const http::fields& fields) {
  const size_t sites = fields.count("Sec-Fetch-Site");
  if (sites > 1) return forbidden("more than one Sec-Fetch-Site header");
  if (sites == 0) return std::nullopt;
  const std::string site(fields["Sec-Fetch-Site"]);
  if (site == "same-origin" || site == "none") return std::nullopt;
  return forbidden("Sec-Fetch-Site '" + site +
                   "' is not allowed: only this server's own pages may call it");
}

}  // namespace

std::optional<HostError> checkRequestSource(const http::fields& fields, int port) {
  const std::string portText = std::to_string(port);
  if (auto refused = checkHost(fields, portText)) return refused;
  if (auto refused = checkOrigin(fields, portText)) return refused;
  return checkFetchSite(fields);
}

}  // namespace zarvo_host::serve
