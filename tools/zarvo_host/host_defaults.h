// The reference host's default files: the plug-in, the application description and the web
// folder, from the build tree or from the prefix the host is installed in
// (host_core/default_paths.h decides which).
#ifndef ZARVO_HOST_HOST_DEFAULTS_H
#define ZARVO_HOST_HOST_DEFAULTS_H

#include "host_core/default_paths.h"

namespace zarvo_host {

host_core::DefaultPaths hostDefaults();

}  // namespace zarvo_host

#endif  // ZARVO_HOST_HOST_DEFAULTS_H
