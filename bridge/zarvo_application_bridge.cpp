#include "bridge/zarvo_application_bridge.h"

namespace bridge {

// Placeholder until the resource is implemented: refuses like the base.
BridgeResult ZarvoApplicationBridge::Post(const BridgeData& data) { return BridgeTemplate::Post(data); }

}  // namespace bridge
