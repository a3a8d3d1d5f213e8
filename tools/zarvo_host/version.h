// The reference host's version report (`zarvo_host --version`).
//
// Design note
// -----------
// The build compiles in the project version and the plug-in's soname, so the report needs no
// plug-in to be loadable: it says which plug-in interface this host was built for and which file
// it opens by default.
#ifndef ZARVO_HOST_VERSION_H
#define ZARVO_HOST_VERSION_H

#include <string>

namespace zarvo_host {

// "zarvo_host VERSION\nplug-in SONAME (zarvo_bridging VERSION)\ndefault plug-in file PATH\n".
std::string versionText();

}  // namespace zarvo_host

#endif  // ZARVO_HOST_VERSION_H
