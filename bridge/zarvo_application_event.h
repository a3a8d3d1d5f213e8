// bridge::ZarvoApplicationEvent: Subscribe (POST) and unsubscribe (DELETE) an application's event type; events reach the page as "zarvoEvent".
#ifndef BRIDGE_ZARVO_APPLICATION_EVENT_H
#define BRIDGE_ZARVO_APPLICATION_EVENT_H

#include "bridge/bridge_template.h"

namespace bridge {

class ZarvoApplicationEvent : public BridgeTemplate {
 public:
  BridgeResult Post(const BridgeData& data) override;
  BridgeResult Delete(const BridgeData& data) override;
};

}  // namespace bridge

#endif  // BRIDGE_ZARVO_APPLICATION_EVENT_H
