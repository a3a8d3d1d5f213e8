// A small program for the exit-log test. It plays a plug-in at process exit: a static object and
// a function-local static whose destructors make calls into the simulated library, and an event
// subscription with timed events still running when the process exits.
//
// Usage: simulator_exit_probe <mode>
//   static-disconnect  connect, subscribe, disconnect from a static destructor
//   no-disconnect      connect, subscribe, exit without disconnecting
#include <cstdio>
#include <cstring>

#include "zarvo_simulator.h"

namespace {

ZrvApplicationHandle gHandle = nullptr;
bool gDisconnectAtExit = false;

void onEvent(const char*, const char*, void*) {}

// Destroyed by the C++ runtime at exit, as the plug-in's statics are.
struct DisconnectAtExit {
  ~DisconnectAtExit() {
    if (gDisconnectAtExit) ZrvDisconnectApplication(gHandle);
  }
} gStatic;

struct LateUnregister {
  ~LateUnregister() { ZrvUnregisterEvent(gHandle, "", "tick"); }
};

// Constructed on first use, after the simulator started its event thread: destroyed earlier
// than gStatic, and before the simulator's own exit handler.
LateUnregister& lateUnregister() {
  static LateUnregister instance;
  return instance;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const char kDescription[] =
      "{\"applications\":{\"viewer\":{\"events\":[{\"type\":\"tick\",\"intervalMs\":1}]}}}";
  char error[256] = "";
  if (ZrvSimLoadDescriptionText(kDescription, "probe", error, sizeof error) == 0) {
    std::fprintf(stderr, "%s\n", error);
    return 3;
  }
  gHandle = ZrvConnectApplication("viewer", "probe");
  ZrvRegisterEvent(gHandle, "", "tick", onEvent, nullptr);
  lateUnregister();
  if (std::strcmp(argv[1], "static-disconnect") == 0) {
    gDisconnectAtExit = true;
  } else if (std::strcmp(argv[1], "no-disconnect") != 0) {
    return 2;
  }
  return 0;
}
