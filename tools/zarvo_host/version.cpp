#include "version.h"

#ifndef ZARVO_HOST_VERSION
#define ZARVO_HOST_VERSION "unknown"
#endif
#ifndef ZARVO_HOST_PLUGIN_SONAME
#define ZARVO_HOST_PLUGIN_SONAME "libzarvo_bridging.so.2"
#endif
#ifndef ZARVO_HOST_DEFAULT_PLUGIN
#define ZARVO_HOST_DEFAULT_PLUGIN "libzarvo_bridging.so.2"
#endif

namespace zarvo_host {

std::string versionText() {
  return "zarvo_host " ZARVO_HOST_VERSION
         "\n"
         "plug-in " ZARVO_HOST_PLUGIN_SONAME " (zarvo_bridging " ZARVO_HOST_VERSION
         ")\n"
         "default plug-in file " ZARVO_HOST_DEFAULT_PLUGIN "\n";
}

}  // namespace zarvo_host
