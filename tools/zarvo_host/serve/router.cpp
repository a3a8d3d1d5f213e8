#include "serve/router.h"

#include <utility>

namespace zarvo_host::serve {
namespace {

using host_core::HostError;

const std::string kBridgePrefix = "/bridge/";
const std::string kSimulatorPrefix = "/simulator/";

bool startsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

Route refuse(Route route, HostError error) {
  route.kind = RouteKind::kRefuse;
  route.readsBody = false;
  route.error = std::move(error);
  return route;
}

Route notAllowed(Route route, std::string_view method, const std::string& allow) {
  HostError error = host_core::methodNotAllowed(std::string(method), route.target.path, allow);
  route = refuse(std::move(route), std::move(error));
  route.allow = allow;
  return route;
}

// A route that takes one method; any other is 405.
Route only(Route route, std::string_view method, const char* wanted, RouteKind kind) {
  if (method != wanted) return notAllowed(std::move(route), method, wanted);
  route.kind = kind;
  route.readsBody = method == "POST";
  return route;
}

Route bridge(Route route, std::string_view method) {
  const std::string name = route.target.path.substr(kBridgePrefix.size());
  const auto resource = host_core::resourceNamed(name);
  if (!resource)
    return refuse(std::move(route), host_core::notFound("unknown resource '" + name + "'"));
  route.resource = *resource;
  return only(std::move(route), method, "POST", RouteKind::kCall);
}

Route simulator(Route route, std::string_view method) {
  const std::string& path = route.target.path;
  if (path == "/simulator/raise") return only(std::move(route), method, "POST", RouteKind::kRaise);
  if (path == "/simulator/disconnect") {
    return only(std::move(route), method, "POST", RouteKind::kDisconnect);
  }
  if (path == "/simulator/log") return only(std::move(route), method, "GET", RouteKind::kCallLog);
  if (path == "/simulator/applications") {
    return only(std::move(route), method, "GET", RouteKind::kApplications);
  }
  const std::string control = path.substr(kSimulatorPrefix.size());
  return refuse(std::move(route),
                host_core::notFound("unknown simulator control '" + control + "'"));
}

Route byPath(Route route, std::string_view method) {
  const std::string& path = route.target.path;
  if (startsWith(path, kBridgePrefix)) return bridge(std::move(route), method);
  if (startsWith(path, kSimulatorPrefix)) return simulator(std::move(route), method);
  if (path == "/teardown") return only(std::move(route), method, "POST", RouteKind::kTeardown);
  if (path == "/events") return only(std::move(route), method, "GET", RouteKind::kEvents);
  if (path == "/socket") return only(std::move(route), method, "GET", RouteKind::kSocket);
  if (method != "GET" && method != "HEAD") return notAllowed(std::move(route), method, "GET, HEAD");
  route.kind = RouteKind::kFile;
  return route;
}

}  // namespace

Route routeRequest(const RequestHead& head) {
  Route route;
  if (!parseRequestTarget(head.target, &route.target)) {
    route = refuse(std::move(route),
                   host_core::badProtocolRequest("request target '" + std::string(head.target) +
                                                 "' is not a path on this server"));
  } else {
    route = byPath(std::move(route), head.method);
  }
  if (head.hasBody && !route.readsBody) {
    if (route.kind != RouteKind::kRefuse) {
      HostError error = host_core::badProtocolRequest(std::string(head.method) + " " +
                                                      route.target.path + " takes no request body");
      route = refuse(std::move(route), std::move(error));
    }
    route.closeAfter = true;
  }
  return route;
}

}  // namespace zarvo_host::serve
