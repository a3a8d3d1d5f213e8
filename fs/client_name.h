// The client name: how this process introduces itself when it connects to an application, derived
// from the running executable's path.
//
// Rule: the executable's file name without its last extension. A '/' or '.' at position 0 counts
// as not found, on purpose: "/viewer" and "viewer" have no file name (""), "/usr/bin/.hidden" has
// no extension (".hidden"); "/usr/lib/app.beta.run" gives "app.beta". The path text is used as it
// is (no separator is trimmed first), so "/usr/bin/" gives "".
//
// Threads: no state; any thread. Failure: none; an unreadable executable path gives "".
#ifndef ZARVO_FS_CLIENT_NAME_H
#define ZARVO_FS_CLIENT_NAME_H

#include <string>

namespace fs {

// The client name of the executable at `executablePath` (the rule above).
std::string client_name_of(const std::string& executablePath);
// The client name of the running executable: client_name_of(executable_path().text()).
std::string client_name();

}  // namespace fs

#endif  // ZARVO_FS_CLIENT_NAME_H
