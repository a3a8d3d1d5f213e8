// The answers a host makes itself, when a request never reaches the plug-in or the plug-in
// breaks its contract.
//
// Design note
// -----------
// Every host reports the same failure with the same status, name and message, whatever carries
// it: an HTTP answer with the body {"error":{"message":…,"name":…}}, a WebSocket "error"
// message, a web-channel {hostError: {status, code, message}}, a transcript line. So the names
// live here once, and each host only translates a HostError into its own shape. A host-made
// answer never looks like the plug-in's envelope ({"error":…,"value":…}), so a client can always
// tell the two apart.
//
// Threads: plain values and stateless functions; any thread.
#ifndef ZARVO_HOST_CORE_HOST_ERROR_H
#define ZARVO_HOST_CORE_HOST_ERROR_H

#include <cstddef>
#include <string>

namespace host_core {

// The error names, each with the status it is sent with.
constexpr const char* kBadProtocolRequest = "BadProtocolRequest";  // 400
constexpr const char* kForbidden = "Forbidden";                    // 403
constexpr const char* kNotFound = "NotFound";                      // 404
constexpr const char* kNotConnected = "NotConnected";              // 404
constexpr const char* kMethodNotAllowed = "MethodNotAllowed";      // 405
constexpr const char* kPayloadTooLarge = "PayloadTooLarge";        // 413
constexpr const char* kHeadersTooLarge = "HeadersTooLarge";        // 431
constexpr const char* kPluginFault = "PluginFault";                // 502
constexpr const char* kUnavailable = "Unavailable";                // 503

struct HostError {
  int status = 0;
  std::string code;  // one of the names above
  std::string message;
};

HostError badProtocolRequest(std::string message);
HostError forbidden(std::string message);
HostError notFound(std::string message);
HostError notConnected(const std::string& app);
// 405; `allowed` lists the methods, e.g. "GET, HEAD".
HostError methodNotAllowed(const std::string& method, const std::string& path,
                           const std::string& allowed);
// 413 "request body exceeds <limit> bytes".
HostError payloadTooLarge(size_t limit);
HostError headersTooLarge(size_t limit);
HostError pluginFault(std::string message);
HostError unavailable(std::string message);
// 503 for every request that arrives while the host shuts down.
HostError shuttingDown();

// {"error":{"message":<message>,"name":<code>}}
std::string hostErrorJson(const HostError& error);

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_HOST_ERROR_H
