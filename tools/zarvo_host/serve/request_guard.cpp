#include "serve/request_guard.h"

namespace zarvo_host::serve {
namespace {

bool isOwnHost(const std::string& host, const std::string& port) {
  return host == "127.0.0.1:" + port || host == "localhost:" + port || host == "[::1]:" + port;
}

}  // namespace

bool requestAllowed(const httplib::Request& req, int port, std::string* problem) {
  const std::string portText = std::to_string(port);
  const size_t hosts = req.get_header_value_count("Host");
  if (hosts == 0) {
    *problem = "Host header is missing";
    return false;
  }
  if (hosts > 1) {
    *problem = "more than one Host header";
    return false;
  }
  const std::string host = req.get_header_value("Host");
  if (!isOwnHost(host, portText)) {
    *problem = "Host header '" + host + "' is not this server";
    return false;
  }
  const size_t origins = req.get_header_value_count("Origin");
  if (origins > 1) {
    *problem = "more than one Origin header";
    return false;
  }
  if (origins == 1) {
    const std::string origin = req.get_header_value("Origin");
    if (origin.compare(0, 7, "http://") != 0 || !isOwnHost(origin.substr(7), portText)) {
      *problem = "Origin '" + origin + "' is not this server's origin";
      return false;
    }
  }
  return true;
}

}  // namespace zarvo_host::serve
