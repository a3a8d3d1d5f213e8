// bridge::ZarvoApplication: Connect (POST) and disconnect (DELETE) the application named by the URI parameter "name".
#ifndef BRIDGE_ZARVO_APPLICATION_H
#define BRIDGE_ZARVO_APPLICATION_H

#include "bridge/bridge_template.h"

namespace bridge {

class ZarvoApplication : public BridgeTemplate {
 public:
  BridgeResult Post(const BridgeData& data) override;
  BridgeResult Delete(const BridgeData& data) override;
};

}  // namespace bridge

#endif  // BRIDGE_ZARVO_APPLICATION_H
