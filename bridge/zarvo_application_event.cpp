#include "bridge/zarvo_application_event.h"

namespace bridge {

// Placeholder until the resource is implemented: refuses like the base.
BridgeResult ZarvoApplicationEvent::Post(const BridgeData& data) { return BridgeTemplate::Post(data); }
BridgeResult ZarvoApplicationEvent::Delete(const BridgeData& data) { return BridgeTemplate::Delete(data); }

}  // namespace bridge
