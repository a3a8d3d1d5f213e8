/* A host that links the installed plug-in (zarvo_bridging::zarvo_bridging) and makes one call:
 * GET on ZarvoApplicationBridge, which every plug-in refuses with 405. The response is printed
 * when the stand-in host library is the one loaded. */
#include <dlfcn.h>
#include <stdio.h>

#include <zarvo_bridging.h>

#include "consumer_support.h"

int main(void) {
  consumer_print_responses(dlsym(RTLD_DEFAULT, "BridgeHelperStandInSetResponseSink"));
  const int promise = ZarvoApplicationBridge("{\"method\":\"get\"}", "{}", "{}", "");
  printf("promise %d\n", promise);
  TearDown();
  return 0;
}
