// The ELF destructor that empties the registry on dlclose, and the sentinel that keeps it from
// doing so at process exit (see unload_teardown.h for the ordering it relies on).
#include "bridge/unload_teardown.h"

#include "bridge/application_manager.h"

namespace bridge {
namespace {

bool g_armed = false;    // a connect entry point ran: the registry may hold applications
bool g_exiting = false;  // the static destructors have run: this is process exit, not dlclose

// Destroyed by the static destructors at exit, or by __cxa_finalize after UnloadTearDown.
struct ExitSentinel {
  constexpr ExitSentinel() = default;
  ~ExitSentinel() { g_exiting = true; }
  ExitSentinel(const ExitSentinel&) = delete;
  ExitSentinel& operator=(const ExitSentinel&) = delete;
};

__attribute__((destructor)) void UnloadTearDown() {
  if (g_armed && !g_exiting) {
    ApplicationManager::Shared().clear();
  }
}

}  // namespace

void ArmUnloadTearDown() {
  static ExitSentinel sentinel;
  g_armed = true;
}

}  // namespace bridge
