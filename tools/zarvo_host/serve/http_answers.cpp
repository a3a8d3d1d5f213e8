#include "serve/http_answers.h"

#include <utility>

namespace zarvo_host::serve {
namespace {

// HTTP carries three-digit statuses; a plug-in that answers with another number has broken its
// contract as surely as one that answers twice.
bool carriable(int status) {
  return status >= 100 && status <= 999;
}

StringResponse withJson(unsigned status, std::string body, unsigned version) {
  StringResponse response;
  response.version(version);
  response.result(status);
  setCommonHeaders(response);
  response.set(http::field::content_type, "application/json");
  response.body() = std::move(body);
  response.prepare_payload();
  return response;
}

}  // namespace

void setCommonHeaders(http::fields& fields) {
  fields.set(http::field::cache_control, "no-store");
  fields.set("X-Content-Type-Options", "nosniff");
}

StringResponse hostErrorAnswer(const host_core::HostError& error, unsigned version,
                               const std::string& allow) {
  StringResponse response =
      withJson(static_cast<unsigned>(error.status), host_core::hostErrorJson(error), version);
  if (!allow.empty()) response.set(http::field::allow, allow);
  return response;
}

StringResponse pluginAnswer(const host_core::CallOutcome& outcome, const std::string& instance,
                            unsigned version) {
  if (!outcome.ok()) return hostErrorAnswer(*outcome.fault, version);
  const host_core::Answer& answer = outcome.answer;
  if (!carriable(answer.status)) {
    return hostErrorAnswer(
        host_core::pluginFault("the plug-in answered promise " + std::to_string(answer.promise) +
                               " with status " + std::to_string(answer.status) +
                               ", which HTTP cannot carry"),
        version);
  }
  StringResponse response = withJson(static_cast<unsigned>(answer.status), answer.text, version);
  response.set("Zarvo-Status", std::to_string(answer.status));
  response.set("Zarvo-Promise", std::to_string(answer.promise));
  response.set("Zarvo-Instance", instance);
  return response;
}

StringResponse jsonAnswer(std::string json, unsigned version) {
  return withJson(200, std::move(json), version);
}

StringResponse noContentAnswer(unsigned version) {
  StringResponse response{http::status::no_content, version};
  setCommonHeaders(response);
  return response;
}

}  // namespace zarvo_host::serve
