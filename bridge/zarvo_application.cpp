#include "bridge/zarvo_application.h"

#include <string>

#include "bridge/application_manager.h"

namespace bridge {

namespace {

// The URI parameter "name" as text; anything that has no text form reads as the empty name.
std::string requestedName(const BridgeData& data) {
  return data.parameters.get("name").toString("");
}

}  // namespace

BridgeResult ZarvoApplication::Post(const BridgeData& data) {
  const std::string name = requestedName(data);
  if (name.empty()) {
    throw BridgeResultError(kBridgeStatusBadRequest, "BadRequestError",
                            "URI parameter 'name' is empty.");
  }
  // One message for both an already-connected name and a refused connection: the registry
  // does not tell them apart.
  if (!ApplicationManager::Shared().connect(name)) {
    throw BridgeResultError(kBridgeStatusInternalServerError, "InternalError",
                            "Failed to connect application.");
  }
  return BridgeResult::ok();
}

BridgeResult ZarvoApplication::Delete(const BridgeData& data) {
  const std::string name = requestedName(data);
  if (name.empty()) {
    throw BridgeResultError(kBridgeStatusBadRequest, "BadRequestError",
                            "URI parameter 'name' is empty.");
  }
  ApplicationManager& registry = ApplicationManager::Shared();
  if (!registry.contains(name)) {
    throw BridgeResultError(kBridgeStatusBadRequest, "BadRequestError",
                            "Application instance is not existed.");
  }
  // Unreachable with the current registry, whose disconnect fails only for an unknown name; kept
  // so that a registry with other failure modes is still reported.
  if (!registry.disconnect(name)) {
    throw BridgeResultError(kBridgeStatusInternalServerError, "InternalError",
                            "Failed to disconnect application.");
  }
  return BridgeResult::ok();
}

}  // namespace bridge
