// The answers to GET and HEAD of a page's files: the file itself, streamed from disk, a redirect
// to a folder's canonical path, or 404.
//
// Design note
// -----------
// Which file a path names, and whether it may be served at all, is host_core's StaticFiles
// decision; this only turns it into HTTP. A file is sent with Beast's file_body, which reads it
// piece by piece as the socket takes it, so a large file never sits in memory. A redirect's
// Location is the canonical path StaticFiles made (one leading '/', never "//"), so it can never
// name another host.
//
// Range requests are not supported: a Range header is ignored and the whole file is sent with
// status 200 (the answers carry "Accept-Ranges: none"). A development host gains nothing from
// partial answers, and any multi-range answer is a way to make a small file cost a large answer.
//
// Threads: stateless; any thread (the event loop calls it).
#ifndef ZARVO_HOST_SERVE_STATIC_RESPONSE_H
#define ZARVO_HOST_SERVE_STATIC_RESPONSE_H

#include <string>
#include <variant>

#include "host_core/static_files.h"
#include "serve/http_answers.h"
#include "serve/network.h"

namespace zarvo_host::serve {

using FileResponse = http::response<http::file_body>;
using StaticAnswer = std::variant<StringResponse, FileResponse>;

// The answer to GET (or, with `head`, HEAD) of the decoded `path`.
StaticAnswer staticAnswer(const host_core::StaticFiles& files, const std::string& path, bool head,
                          unsigned version);

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_STATIC_RESPONSE_H
