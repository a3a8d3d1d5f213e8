// The HTTP answers of the web host: the plug-in's answers, the host's own errors and the small
// JSON answers of the controls.
//
// Design note
// -----------
// The plug-in's answer goes out exactly as the plug-in set it: its status as the HTTP status, its
// envelope text byte for byte as the body, with Zarvo-Status, Zarvo-Promise and Zarvo-Instance
// headers. A host-made answer (host_core's table of errors) has the body
// {"error":{"message":…,"name":…}} and never a Zarvo-Status header, so a client can never take it
// for the plug-in's own. Every answer forbids caching and content sniffing, and none carries CORS
// headers: only pages served by this host may read anything from it.
//
// Threads: stateless; any thread.
#ifndef ZARVO_HOST_SERVE_HTTP_ANSWERS_H
#define ZARVO_HOST_SERVE_HTTP_ANSWERS_H

#include <string>

#include "host_core/host_error.h"
#include "host_core/plugin_host.h"
#include "serve/network.h"

namespace zarvo_host::serve {

using StringResponse = http::response<http::string_body>;

// Cache-Control: no-store and X-Content-Type-Options: nosniff.
void setCommonHeaders(http::fields& fields);
// The host-made error; `allow` (for a 405) becomes the Allow header.
StringResponse hostErrorAnswer(const host_core::HostError& error, unsigned version,
                               const std::string& allow = std::string());
// The plug-in's answer, or the 502 of a call that broke the plug-in's contract.
StringResponse pluginAnswer(const host_core::CallOutcome& outcome, const std::string& instance,
                            unsigned version);
// 200 with a JSON body.
StringResponse jsonAnswer(std::string json, unsigned version);
// 204 No Content.
StringResponse noContentAnswer(unsigned version);

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_HTTP_ANSWERS_H
