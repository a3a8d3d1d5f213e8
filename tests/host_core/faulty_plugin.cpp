// A broken plug-in for the hosts' check of the one-response rule: ZarvoApplication sets no
// response, ZarvoApplicationBridge sets two, ZarvoApplicationCustom answers another promise than it
// returns. ZarvoApplicationEvent answers like a plug-in that knows nothing.
#include "bridge_helper.h"

extern "C" {

__attribute__((visibility("default"))) int ZarvoApplication(const char*, const char*, const char*,
                                                            const char*) {
  return BridgeHelperCreatePromiseID();
}

__attribute__((visibility("default"))) int ZarvoApplicationBridge(const char*, const char*,
                                                                  const char*, const char*) {
  const int promise = BridgeHelperCreatePromiseID();
  BridgeHelperSetResponse(promise, 200, "{\"error\":null,\"value\":1}");
  BridgeHelperSetResponse(promise, 200, "{\"error\":null,\"value\":2}");
  return promise;
}

__attribute__((visibility("default"))) int ZarvoApplicationEvent(const char*, const char*,
                                                                 const char*, const char*) {
  const int promise = BridgeHelperCreatePromiseID();
  BridgeHelperSetResponse(promise, 200, "{\"error\":null,\"value\":null}");
  return promise;
}

__attribute__((visibility("default"))) int ZarvoApplicationCustom(const char*, const char*,
                                                                  const char*, const char*) {
  const int promise = BridgeHelperCreatePromiseID();
  // Answers for another promise than the one it returns.
  BridgeHelperSetResponse(promise + 100, 200, "{\"error\":null,\"value\":null}");
  return promise;
}

__attribute__((visibility("default"))) void TearDown() {}

}  // extern "C"
