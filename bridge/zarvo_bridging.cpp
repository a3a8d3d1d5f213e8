// The plug-in's five exported C functions. Each resource function creates its resource object on
// the stack (it holds nothing but its virtual table) and runs the request frame; TearDown empties
// the application registry. Nothing here keeps state between calls. The connect entry point also
// arms the tear-down that runs if the plug-in is unloaded while applications are connected.
#include "zarvo_bridging.h"

#include "bridge/application_manager.h"
#include "bridge/unload_teardown.h"
#include "bridge/zarvo_application.h"
#include "bridge/zarvo_application_bridge.h"
#include "bridge/zarvo_application_custom.h"
#include "bridge/zarvo_application_event.h"

extern "C" {

ZARVO_BRIDGING_EXPORT int ZarvoApplication(const char* options, const char* parameters,
                                           const char* extra, const char* body) {
  bridge::ArmUnloadTearDown();
  bridge::ZarvoApplication resource;
  return resource(options, parameters, extra, body);
}

ZARVO_BRIDGING_EXPORT int ZarvoApplicationBridge(const char* options, const char* parameters,
                                                 const char* extra, const char* body) {
  bridge::ZarvoApplicationBridge resource;
  return resource(options, parameters, extra, body);
}

ZARVO_BRIDGING_EXPORT int ZarvoApplicationEvent(const char* options, const char* parameters,
                                                const char* extra, const char* body) {
  bridge::ZarvoApplicationEvent resource;
  return resource(options, parameters, extra, body);
}

ZARVO_BRIDGING_EXPORT int ZarvoApplicationCustom(const char* options, const char* parameters,
                                                 const char* extra, const char* body) {
  bridge::ZarvoApplicationCustom resource;
  return resource(options, parameters, extra, body);
}

ZARVO_BRIDGING_EXPORT void TearDown(void) {
  bridge::ApplicationManager::Shared().clear();
}

}  // extern "C"
