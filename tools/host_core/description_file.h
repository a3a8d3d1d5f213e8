// Loading the application description into the simulated application library.
//
// Every host loads one description at start and keeps its text, which the simulator controls
// answer to a page that asks what the applications are. The library's own message names the file
// and the problem ("<file>: <where>: <problem>").
#ifndef ZARVO_HOST_CORE_DESCRIPTION_FILE_H
#define ZARVO_HOST_CORE_DESCRIPTION_FILE_H

#include <string>

namespace host_core {

// Loads `path` into the simulator (description mode) and reads its text into `text`. False with
// `problem` set when the library refuses it.
bool loadDescription(const std::string& path, std::string* text, std::string* problem);

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_DESCRIPTION_FILE_H
