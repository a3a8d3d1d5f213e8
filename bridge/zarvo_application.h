// bridge::ZarvoApplication: the connect (POST) and disconnect (DELETE) resource.
//
// Design note
// -----------
// A thin front to the application registry: it reads the URI parameter "name" (as text, so 7
// names the application "7"; null, arrays, objects and an absent key give the empty name),
// validates it, calls bridge::ApplicationManager::Shared() and turns the outcome into a result
// or a BridgeResultError. GET and PUT keep the refusing defaults (405 "MethodError").
//
// Ownership and state: none; every connection lives in the registry until a successful DELETE or
// TearDown. A name whose connection the library reported lost stays registered, so the page has
// to DELETE it before it can POST it again.
//
// Threads: both handlers run synchronously on the host's calling thread; no locks.
//
// Failure (checked in this order, the first failing check decides):
//   POST    empty name                    400 "BadRequestError" "URI parameter 'name' is empty."
//   POST    already connected or refused  500 "InternalError"   "Failed to connect application."
//   DELETE  empty name                    400 "BadRequestError" "URI parameter 'name' is empty."
//   DELETE  unknown name                  400 "BadRequestError" "Application instance is not
//   existed." DELETE  registry could not disconnect 500 "InternalError"   "Failed to disconnect
//   application."
// A success answers 200 with a null value.
#ifndef BRIDGE_ZARVO_APPLICATION_H
#define BRIDGE_ZARVO_APPLICATION_H

#include "bridge/bridge_template.h"

namespace bridge {

class ZarvoApplication : public BridgeTemplate {
 public:
  // Connects the application "name"; 200 with a null value, or throws BridgeResultError.
  BridgeResult Post(const BridgeData& data) override;
  // Disconnects the application "name"; 200 with a null value, or throws BridgeResultError.
  BridgeResult Delete(const BridgeData& data) override;
};

}  // namespace bridge

#endif  // BRIDGE_ZARVO_APPLICATION_H
