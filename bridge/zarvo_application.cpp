#include "bridge/zarvo_application.h"

namespace bridge {

// Placeholder until the resource is implemented: refuses like the base.
BridgeResult ZarvoApplication::Post(const BridgeData& data) { return BridgeTemplate::Post(data); }
BridgeResult ZarvoApplication::Delete(const BridgeData& data) { return BridgeTemplate::Delete(data); }

}  // namespace bridge
