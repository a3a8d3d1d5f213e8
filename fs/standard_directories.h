// Standard locations of the file system: temporary, application-data, colour-profile, home and
// desktop directories, the running executable and the directory that holds it.
//
// Design note
// -----------
// Every function takes no argument and returns a freshly computed fs::Path by value; nothing is
// cached. The rules are fixed Linux conventions. The only environment variable read is "TMPDIR";
// the home directory is derived from the login name of the controlling terminal (getlogin_r),
// never from HOME or from the password database, so a process without a terminal is treated as
// root ("/root").
//
// The `..._for` / `..._of` functions are the pure halves of the rules, taking as an argument what
// the public functions read from the process (login name, environment value, executable path);
// they let the rules be exercised for any input.
//
// Threads: no state is kept; every function may be called from any thread (getenv, getlogin_r
// and readlink are thread-safe as used here, as long as nobody modifies the environment at the
// same time).
// Failure: nothing is reported. A failed getlogin_r gives the empty user name (and so "/root"); a
// failed readlink gives the empty executable path and the empty bundle directory. No directory
// is checked for existence.
#ifndef ZARVO_FS_STANDARD_DIRECTORIES_H
#define ZARVO_FS_STANDARD_DIRECTORIES_H

#include <string>

#include "fs/path.h"

namespace fs {

// "TMPDIR" when set and not empty, otherwise "/tmp"; normalised as any path.
Path temporary_directory();
// "/var/opt".
Path common_application_data_directory();
// common_application_data_directory() joined with "VURN/profiles".
Path common_color_profile_directory();
// "/root" for an empty or "root" login name, otherwise "/home" joined with the login name.
Path home_directory();
// home_directory() joined with ".local/share".
Path user_application_data_directory();
// user_application_data_directory() joined with "icc".
Path user_color_profile_directory();
// home_directory() joined with "Desktop".
Path desktop_directory();
// The target of "/proc/<pid>/exe" (cut to 2047 bytes); empty when it cannot be read.
Path executable_path();
// executable_path() cut before its last '/' (see bundle_directory_of).
Path bundle_directory();
// The login name of the controlling terminal, or "" when getlogin_r fails.
std::string user_name_for_linux();

// The temporary directory for the value of "TMPDIR" (`value` null: the variable is unset).
Path temporary_directory_for(const char* value);
// The home directory of the login name `login` (used as it is, "/" included).
Path home_directory_for(const std::string& login);
// The directories below the home directory of `login`.
Path user_application_data_directory_for(const std::string& login);
Path user_color_profile_directory_for(const std::string& login);
Path desktop_directory_for(const std::string& login);
// The directory holding `executable`: the text before its last '/' when that '/' exists and is
// not the first character, otherwise the whole text; copied without the construction rules.
Path bundle_directory_of(const Path& executable);

}  // namespace fs

#endif  // ZARVO_FS_STANDARD_DIRECTORIES_H
