#include "serve/static_response.h"

#include <utility>

namespace zarvo_host::serve {
namespace {

using host_core::FileLookup;

void setFileHeaders(http::fields& fields, const std::string& file) {
  setCommonHeaders(fields);
  fields.set(http::field::content_type, host_core::contentTypeFor(file));
  fields.set(http::field::accept_ranges, "none");
}

StringResponse redirect(const std::string& location, unsigned version) {
  StringResponse response{http::status::moved_permanently, version};
  setCommonHeaders(response);
  response.set(http::field::location, location);
  response.prepare_payload();
  return response;
}

}  // namespace

StaticAnswer staticAnswer(const host_core::StaticFiles& files, const std::string& path, bool head,
                          unsigned version) {
  const FileLookup lookup = files.lookUp(path);
  if (lookup.kind == FileLookup::Kind::kRedirect) return redirect(lookup.location, version);
  if (lookup.kind == FileLookup::Kind::kMissing) return hostErrorAnswer(lookup.error, version);
  http::file_body::value_type body;
  error_code ec;
  body.open(lookup.file.c_str(), beast::file_mode::scan, ec);
  if (ec) return hostErrorAnswer(host_core::notFound("no file at '" + path + "'"), version);
  if (head) {
    // The header a GET would get, with its Content-Length, and no body.
    StringResponse response{http::status::ok, version};
    setFileHeaders(response, lookup.file);
    response.content_length(body.size());
    return response;
  }
  FileResponse response{http::status::ok, version};
  setFileHeaders(response, lookup.file);
  response.body() = std::move(body);
  response.prepare_payload();
  return response;
}

}  // namespace zarvo_host::serve
