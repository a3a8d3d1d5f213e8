// bridge::ZarvoApplicationCustom: Run a named custom task on a connected application and answer with its type and answer.
#ifndef BRIDGE_ZARVO_APPLICATION_CUSTOM_H
#define BRIDGE_ZARVO_APPLICATION_CUSTOM_H

#include "bridge/bridge_template.h"

namespace bridge {

class ZarvoApplicationCustom : public BridgeTemplate {
 public:
  BridgeResult Post(const BridgeData& data) override;
};

}  // namespace bridge

#endif  // BRIDGE_ZARVO_APPLICATION_CUSTOM_H
