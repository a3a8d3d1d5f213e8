// The request target of an HTTP request: its path, percent-decoded, and its query.
//
// Design note
// -----------
// Only the origin form ("/path?query") is accepted, as a browser sends it; a target of any other
// form ("*", "http://host/path") is not a path on this server. The path is decoded once (%2e%2e
// becomes "..", %00 a NUL byte) and then judged as decoded: the static files refuse such
// segments and bytes, so no encoding can slip past them. A '%' that does not start two hex
// digits makes the target malformed rather than being passed on as it is.
//
// Threads: stateless; any thread.
#ifndef ZARVO_HOST_SERVE_REQUEST_TARGET_H
#define ZARVO_HOST_SERVE_REQUEST_TARGET_H

#include <optional>
#include <string>
#include <string_view>

namespace zarvo_host::serve {

struct RequestTarget {
  std::string path;   // decoded, starts with '/'
  std::string query;  // as sent, without the '?'
};

// Splits and decodes `target`; false when it is not origin form or holds a bad escape.
bool parseRequestTarget(std::string_view target, RequestTarget* out);
// `text` with each %XX decoded (and '+' as a blank when `plusIsBlank`); false for a bad escape.
bool percentDecode(std::string_view text, bool plusIsBlank, std::string* out);
// The decoded value of the first `name=value` pair of `query` named `name`; nothing when there
// is none or it does not decode.
std::optional<std::string> queryValue(std::string_view query, std::string_view name);

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_REQUEST_TARGET_H
