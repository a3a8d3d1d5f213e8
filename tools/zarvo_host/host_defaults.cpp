#include "host_defaults.h"

// The build passes the build tree's files and the install layout; these fallbacks only keep the
// file compilable on its own.
#ifndef ZARVO_HOST_DEFAULT_PLUGIN
#define ZARVO_HOST_DEFAULT_PLUGIN "libzarvo_bridging.so.2"
#endif
#ifndef ZARVO_HOST_DEFAULT_APPS
#define ZARVO_HOST_DEFAULT_APPS "applications.json"
#endif
#ifndef ZARVO_HOST_DEFAULT_WEB
#define ZARVO_HOST_DEFAULT_WEB "web"
#endif
#ifndef ZARVO_INSTALL_LIBDIR
#define ZARVO_INSTALL_LIBDIR "lib"
#endif
#ifndef ZARVO_INSTALL_DATADIR
#define ZARVO_INSTALL_DATADIR "share/zarvo_bridging"
#endif

namespace zarvo_host {

host_core::DefaultPaths hostDefaults() {
  host_core::InstallLayout layout;
  layout.libdir = ZARVO_INSTALL_LIBDIR;
  layout.datadir = ZARVO_INSTALL_DATADIR;
  return host_core::defaultPaths(
      {ZARVO_HOST_DEFAULT_PLUGIN, ZARVO_HOST_DEFAULT_APPS, ZARVO_HOST_DEFAULT_WEB}, layout);
}

}  // namespace zarvo_host
