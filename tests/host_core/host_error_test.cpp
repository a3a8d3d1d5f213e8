// The host-made errors: one status, name and message per failure, and their JSON body.
#include <gtest/gtest.h>

#include "host_core/host_error.h"

namespace host_core {
namespace {

void expectError(const HostError& error, int status, const char* code, const char* message) {
  EXPECT_EQ(error.status, status);
  EXPECT_EQ(error.code, code);
  EXPECT_EQ(error.message, message);
}

TEST(HostError, EveryNameWithItsStatusAndMessage) {
  expectError(badProtocolRequest("m"), 400, "BadProtocolRequest", "m");
  expectError(forbidden("m"), 403, "Forbidden", "m");
  expectError(notFound("m"), 404, "NotFound", "m");
  expectError(notConnected("viewer"), 404, "NotConnected", "application 'viewer' is not connected");
  expectError(methodNotAllowed("PUT", "/events", "GET"), 405, "MethodNotAllowed",
              "method PUT is not allowed on /events (allowed: GET)");
  expectError(payloadTooLarge(16777216), 413, "PayloadTooLarge",
              "request body exceeds 16777216 bytes");
  expectError(headersTooLarge(8192), 431, "HeadersTooLarge",
              "request header fields exceed 8192 bytes");
  expectError(pluginFault("m"), 502, "PluginFault", "m");
  expectError(unavailable("m"), 503, "Unavailable", "m");
  expectError(shuttingDown(), 503, "Unavailable", "the host is shutting down");
}

TEST(HostError, JsonBodyIsCompactWithMembersInKeyOrder) {
  EXPECT_EQ(hostErrorJson(notFound("no file at '/a\"b'")),
            "{\"error\":{\"message\":\"no file at '/a\\\"b'\",\"name\":\"NotFound\"}}");
}

}  // namespace
}  // namespace host_core
