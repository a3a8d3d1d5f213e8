/* A host that loads the installed plug-in with dlopen, as the README's install section shows:
 * dlopen(RTLD_NOW), the five entry points by name, one call, TearDown, dlclose. When the stand-in
 * host library is what the plug-in bound to, its response sink prints the answer.
 * Usage: consumer_dlopen <path of libzarvo_bridging.so.2>. Exit 0, or 2 with dlerror's text. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "consumer_support.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: consumer_dlopen PLUGIN\n");
    return 2;
  }
  void* plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (plugin == NULL) {
    printf("dlopen failed: %s\n", dlerror());
    return 2;
  }
  static const char* const names[5] = {"ZarvoApplication", "ZarvoApplicationBridge",
                                       "ZarvoApplicationEvent", "ZarvoApplicationCustom",
                                       "TearDown"};
  void* symbols[5];
  for (int i = 0; i < 5; ++i) {
    symbols[i] = dlsym(plugin, names[i]);
    if (symbols[i] == NULL) {
      printf("missing entry point %s\n", names[i]);
      return 2;
    }
  }
  consumer_print_responses(dlsym(plugin, "BridgeHelperStandInSetResponseSink"));
  ResourceFunction application;
  TearDownFunction tear_down;
  memcpy(&application, &symbols[0], sizeof application);
  memcpy(&tear_down, &symbols[4], sizeof tear_down);
  const int promise = application("{\"method\":\"post\"}", "{\"name\":\"viewer\"}", "{}", "");
  printf("promise %d\n", promise);
  tear_down();
  return dlclose(plugin) == 0 ? 0 : 2;
}
