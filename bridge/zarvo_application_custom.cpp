#include "bridge/zarvo_application_custom.h"

namespace bridge {

// Placeholder until the resource is implemented: refuses like the base.
BridgeResult ZarvoApplicationCustom::Post(const BridgeData& data) { return BridgeTemplate::Post(data); }

}  // namespace bridge
