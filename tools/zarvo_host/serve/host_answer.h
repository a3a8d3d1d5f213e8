// The answers the server makes itself (everything the plug-in did not answer).
//
// Design note
// -----------
// A host-made answer is `application/json` with the body {"error":{"message":…,"name":…}} and
// never carries a Zarvo-Status header, so a client can never take it for the plug-in's own
// answer (which always carries one). The error handler of the HTTP server routes the answers
// that cpp-httplib generates itself (a malformed request line, a body over the limit, ...)
// through `fillHostError` too.
//
// Threads: stateless; any thread.
#ifndef ZARVO_HOST_SERVE_HOST_ANSWER_H
#define ZARVO_HOST_SERVE_HOST_ANSWER_H

#include <httplib.h>

#include <cstddef>
#include <string>

namespace zarvo_host::serve {

// The error names, one per status.
constexpr const char* kBadProtocolRequest = "BadProtocolRequest";  // 400
constexpr const char* kForbidden = "Forbidden";                    // 403
constexpr const char* kNotFound = "NotFound";                      // 404
constexpr const char* kNotConnected = "NotConnected";              // 404
constexpr const char* kMethodNotAllowed = "MethodNotAllowed";      // 405
constexpr const char* kPayloadTooLarge = "PayloadTooLarge";        // 413
constexpr const char* kUnavailable = "Unavailable";                // 503

// The body text {"error":{"message":<message>,"name":<name>}}.
std::string hostErrorText(const std::string& name, const std::string& message);
// Sets `status` and the host-made error body on `res`.
void setHostError(httplib::Response& res, int status, const std::string& name,
                  const std::string& message);
// 405 with the Allow header.
void setMethodNotAllowed(httplib::Response& res, const std::string& method, const std::string& path,
                         const std::string& allow);
// For an answer that cpp-httplib produced itself (status set, no body yet): the name and
// message that fit its status. `maxBody` names the limit in a 413's message; a form-encoded
// body has the library's own, smaller limit (kFormBodyLimit), and its 413 says so.
void fillHostError(const httplib::Request& req, httplib::Response& res, size_t maxBody);

constexpr size_t kFormBodyLimit = 8192;

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_HOST_ANSWER_H
