// fuzz_serve_request: bytes as a connection of the web host receives them, through Beast's
// request parser with the host's limits, into the source checks and the router's decision,
// request after request (pipelined) as the HTTP session reads them. No sockets.
//
// Checks: nothing crashes, leaks or overruns (the sanitizers), and every decision keeps the
// rules the session relies on:
//   - a refusal is a host error of the table (400, 403, 404, 405) with a message, and a 405
//     names the methods it allows;
//   - only POST reads a body; a request with a body the route does not read ends its
//     connection; a file is only ever GET or HEAD;
//   - a route's decoded path starts with '/';
//   - the error's JSON body parses as an object naming the error.
#include <boost/asio/buffer.hpp>
#include <boost/beast/http.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host_core/json_text.h"
#include "serve/request_guard.h"
#include "serve/router.h"

namespace {

namespace http = boost::beast::http;
using zarvo_host::serve::RequestHead;
using zarvo_host::serve::Route;
using zarvo_host::serve::RouteKind;

constexpr size_t kHeaderLimit = 16384;
constexpr size_t kBodyLimit = 65536;
constexpr int kMaxRequests = 8;

[[noreturn]] void fail(const char* what, const std::string& detail) {
  std::fprintf(stderr, "fuzz_serve_request: %s: %s\n", what, detail.c_str());
  std::abort();
}

void checkError(const host_core::HostError& error, const std::string& allow) {
  const int status = error.status;
  if (status != 400 && status != 403 && status != 404 && status != 405) {
    fail("refusal status outside the table", std::to_string(status));
  }
  if (error.message.empty()) fail("refusal without a message", error.code);
  if ((status == 405) != !allow.empty()) fail("Allow and 405 disagree", error.message);
  pocketjson::Value body;
  std::string problem;
  if (!host_core::parseJson(host_core::hostErrorJson(error), &body, &problem) ||
      body.get("error").get("name").asString() != error.code) {
    fail("error body is not the table's JSON", host_core::hostErrorJson(error));
  }
}

void checkRoute(const RequestHead& head, const Route& route) {
  const std::string method(head.method);
  if (route.kind == RouteKind::kRefuse) {
    checkError(route.error, route.allow);
  } else if (route.target.path.empty() || route.target.path[0] != '/') {
    fail("routed path does not start with '/'", route.target.path);
  }
  if (route.readsBody && method != "POST") fail("a body read for another method", method);
  if (head.hasBody && !route.readsBody && !route.closeAfter) {
    fail("an unread body keeps its connection", std::string(head.target));
  }
  if (route.kind == RouteKind::kFile && method != "GET" && method != "HEAD") {
    fail("a file for another method", method);
  }
}

// Parses one request from `data`; returns the bytes it used, or 0 when it cannot go on.
size_t oneRequest(const char* data, size_t size) {
  http::request_parser<http::string_body> parser;
  parser.header_limit(kHeaderLimit);
  parser.body_limit(kBodyLimit);
  boost::beast::error_code ec;
  size_t used = 0;
  while (used < size && !parser.is_done()) {
    const size_t n = parser.put(boost::asio::buffer(data + used, size - used), ec);
    used += n;
    if (ec || n == 0) break;
  }
  if (!parser.is_header_done()) return 0;
  const auto& request = parser.get();
  if (const auto refused = zarvo_host::serve::checkRequestSource(request, 8207)) {
    if (refused->status != 403 || refused->code != "Forbidden") fail("source check", refused->code);
    checkError(*refused, "");
  }
  const RequestHead head{request.method_string(), request.target(),
                         parser.chunked() || parser.content_length().value_or(0) > 0};
  const Route route = zarvo_host::serve::routeRequest(head);
  checkRoute(head, route);
  return ec || !parser.is_done() || route.closeAfter ? 0 : used;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* bytes = reinterpret_cast<const char*>(data);
  size_t offset = 0;
  for (int i = 0; i < kMaxRequests && offset < size; ++i) {
    const size_t used = oneRequest(bytes + offset, size - offset);
    if (used == 0) break;
    offset += used;
  }
  return 0;
}
