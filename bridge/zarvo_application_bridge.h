// bridge::ZarvoApplicationBridge: Send one request to a connected application and answer with its status and answer.
#ifndef BRIDGE_ZARVO_APPLICATION_BRIDGE_H
#define BRIDGE_ZARVO_APPLICATION_BRIDGE_H

#include "bridge/bridge_template.h"

namespace bridge {

class ZarvoApplicationBridge : public BridgeTemplate {
 public:
  BridgeResult Post(const BridgeData& data) override;
};

}  // namespace bridge

#endif  // BRIDGE_ZARVO_APPLICATION_BRIDGE_H
