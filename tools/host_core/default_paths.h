// The files a host uses when its command line names none: the plug-in, the application
// description and the web folder (the client modules and the console).
//
// Design note
// -----------
// A host runs either from the build tree or from an installed prefix. From the build tree the
// defaults are the paths the build compiled in (the plug-in built alongside, the source tree's
// examples and web folders). Installed (`cmake --install`), those paths may not exist any more,
// so the defaults are found next to the executable instead: when it lies in <prefix>/bin and
// <prefix>/<libdir>/libzarvo_bridging.so.2 exists, the plug-in is that file and the description
// and web folder are the ones installed under <prefix>/share/zarvo_bridging. The decision is made
// once, from the executable's own location (/proc/self/exe), so the same binary works in both
// places and a copy moved with its prefix keeps working.
//
// Threads: stateless apart from reading /proc/self/exe; any thread.
#ifndef ZARVO_HOST_CORE_DEFAULT_PATHS_H
#define ZARVO_HOST_CORE_DEFAULT_PATHS_H

#include <string>

namespace host_core {

struct DefaultPaths {
  std::string plugin;
  std::string applications;
  std::string web;
};

// The installed layout relative to a prefix (libdir as configured, e.g. "lib").
struct InstallLayout {
  std::string libdir = "lib";
  std::string pluginFile = "libzarvo_bridging.so.2";
  std::string datadir = "share/zarvo_bridging";  // holds applications.json and web/
};

// The installed defaults when `executable` lies in <prefix>/bin of an installed prefix (the
// plug-in file exists there), else `buildTree`.
DefaultPaths defaultPathsFor(const std::string& executable, const DefaultPaths& buildTree,
                             const InstallLayout& layout);
// The same for the running executable.
DefaultPaths defaultPaths(const DefaultPaths& buildTree, const InstallLayout& layout);
// The path of the running executable, or empty when it cannot be read.
std::string runningExecutable();

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_DEFAULT_PATHS_H
