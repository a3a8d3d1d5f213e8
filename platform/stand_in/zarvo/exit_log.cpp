// The library's ELF destructor: stops the event threads and, when ZRV_SIM_EXIT_LOG names a file,
// writes the call log there.
//
// Why an ELF destructor: at exit, glibc first runs the atexit handlers, which include every C++
// static destructor of the program and of the plug-in (including function-local statics); only
// then does the dynamic linker run the ELF destructors of the loaded libraries, dependents before
// their dependencies. This library is a dependency of the plug-in, so the log written here
// includes every call the plug-in made on its way out.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "simulator.h"

namespace {

__attribute__((destructor)) void zrvSimAtUnload() {
  zarvo_sim::Simulator& simulator = zarvo_sim::Simulator::instance();
  simulator.shutdown();
  const char* path = std::getenv("ZRV_SIM_EXIT_LOG");
  if (path == nullptr || *path == '\0') return;
  try {
    const std::string log = simulator.log().text();
    if (std::FILE* file = std::fopen(path, "wb")) {
      std::fwrite(log.data(), 1, log.size(), file);
      std::fclose(file);
    }
  } catch (...) {
  }
}

}  // namespace
