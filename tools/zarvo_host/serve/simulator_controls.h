// The simulator controls of the server: raise events, report a connection lost, read the call
// log, show the application description.
//
// Design note
// -----------
// These act on the simulated application library through its control header, not through the
// plug-in, so they run on the HTTP worker that received them. The plug-in keeps its connection
// handles to itself; ZrvSimConnectionNamed finds the open connection made under an application
// name. Raised events reach the page the ordinary way: the library calls the plug-in's event
// callback on its event thread, the plug-in dispatches "zarvoEvent", the ring takes it.
//
// Threads: every function may be called from any thread.
#ifndef ZARVO_HOST_SERVE_SIMULATOR_CONTROLS_H
#define ZARVO_HOST_SERVE_SIMULATOR_CONTROLS_H

#include <httplib.h>

#include <cstdint>
#include <string>

namespace zarvo_host::serve {

// POST /simulator/raise: answers {"raised":<count>} or a host error.
void raiseEvents(const std::string& body, httplib::Response& res);
// POST /simulator/disconnect: answers {"notified":true} or a host error.
void reportDisconnect(const std::string& body, httplib::Response& res);
// GET /simulator/log: {"calls":[...],"next":<total>} from entry `from` on.
void callLog(uint64_t from, httplib::Response& res);

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_SIMULATOR_CONTROLS_H
