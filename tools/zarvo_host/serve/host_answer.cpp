#include "serve/host_answer.h"

#include "host_core/json_text.h"

namespace zarvo_host::serve {

using host_core::quoteJson;

std::string hostErrorText(const std::string& name, const std::string& message) {
  return "{\"error\":{\"message\":" + quoteJson(message) + ",\"name\":" + quoteJson(name) + "}}";
}

void setHostError(httplib::Response& res, int status, const std::string& name,
                  const std::string& message) {
  res.status = status;
  res.set_content(hostErrorText(name, message), "application/json");
}

void setMethodNotAllowed(httplib::Response& res, const std::string& method, const std::string& path,
                         const std::string& allow) {
  res.set_header("Allow", allow);
  setHostError(res, 405, kMethodNotAllowed,
               "method " + method + " is not allowed on " + path + " (allowed: " + allow + ")");
}

void fillHostError(const httplib::Request& req, httplib::Response& res, size_t maxBody) {
  const bool form =
      req.get_header_value("Content-Type").rfind("application/x-www-form-urlencoded", 0) == 0;
  if (res.status == 413 && form && maxBody > kFormBodyLimit) {
    setHostError(res, 413, kPayloadTooLarge,
                 "a form-encoded request body exceeds " + std::to_string(kFormBodyLimit) +
                     " bytes; send it as application/json");
    return;
  }
  switch (res.status) {
    case 400:
      setHostError(res, 400, kBadProtocolRequest, "malformed HTTP request");
      return;
    case 404:
      setHostError(res, 404, kNotFound, "not found");
      return;
    case 413:
      setHostError(res, 413, kPayloadTooLarge,
                   "request body exceeds " + std::to_string(maxBody) + " bytes");
      return;
    case 414:
      setHostError(res, 414, kBadProtocolRequest, "request line is too long");
      return;
    case 416:
      setHostError(res, 416, kBadProtocolRequest, "requested range is not satisfiable");
      return;
    default:
      break;
  }
  if (res.status >= 500) {
    setHostError(res, res.status, kUnavailable, "the server could not answer this request");
  } else {
    setHostError(res, res.status, kBadProtocolRequest,
                 "the request was refused with HTTP status " + std::to_string(res.status));
  }
}

}  // namespace zarvo_host::serve
