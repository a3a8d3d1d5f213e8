#include "bridge/zarvo_application.h"

#include <string>

#include "bridge/application_manager.h"
#include "bridge/messages.h"
#include "bridge/resource_request.h"

namespace bridge {

BridgeResult ZarvoApplication::Post(const BridgeData& data) {
  const std::string name = fieldText(data.parameters, "name");
  if (name.empty()) throwNameIsEmpty();
  // One message for both an already-connected name and a refused connection: the registry
  // does not tell them apart.
  if (!ApplicationManager::Shared().connect(name)) {
    throw BridgeResultError(kBridgeStatusInternalServerError, messages::kInternalError,
                            messages::kFailedToConnect);
  }
  return BridgeResult::ok();
}

BridgeResult ZarvoApplication::Delete(const BridgeData& data) {
  const std::string name = fieldText(data.parameters, "name");
  if (name.empty()) throwNameIsEmpty();
  ApplicationManager& registry = ApplicationManager::Shared();
  if (!registry.contains(name)) throwApplicationIsNotExisted();
  // Unreachable with the current registry, whose disconnect fails only for an unknown name; kept
  // so that a registry with other failure modes is still reported.
  if (!registry.disconnect(name)) {
    throw BridgeResultError(kBridgeStatusInternalServerError, messages::kInternalError,
                            messages::kFailedToDisconnect);
  }
  return BridgeResult::ok();
}

}  // namespace bridge
