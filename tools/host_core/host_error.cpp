#include "host_core/host_error.h"

#include <utility>

#include "host_core/json_text.h"

namespace host_core {

HostError badProtocolRequest(std::string message) {
  return {400, kBadProtocolRequest, std::move(message)};
}

HostError forbidden(std::string message) {
  return {403, kForbidden, std::move(message)};
}

HostError notFound(std::string message) {
  return {404, kNotFound, std::move(message)};
}

HostError notConnected(const std::string& app) {
  return {404, kNotConnected, "application '" + app + "' is not connected"};
}

HostError methodNotAllowed(const std::string& method, const std::string& path,
                           const std::string& allowed) {
  return {405, kMethodNotAllowed,
          "method " + method + " is not allowed on " + path + " (allowed: " + allowed + ")"};
}

HostError payloadTooLarge(size_t limit) {
  return {413, kPayloadTooLarge, "request body exceeds " + std::to_string(limit) + " bytes"};
}

HostError headersTooLarge(size_t limit) {
  return {431, kHeadersTooLarge,
          "request header fields exceed " + std::to_string(limit) + " bytes"};
}

HostError pluginFault(std::string message) {
  return {502, kPluginFault, std::move(message)};
}

HostError unavailable(std::string message) {
  return {503, kUnavailable, std::move(message)};
}

HostError shuttingDown() {
  return unavailable("the host is shutting down");
}

std::string hostErrorJson(const HostError& error) {
  return "{\"error\":{\"message\":" + quoteJson(error.message) +
         ",\"name\":" + quoteJson(error.code) + "}}";
}

}  // namespace host_core
