// What every connection of the web host shares: the loop, the rules and limits, the plug-in's
// host thread, the event log, the files, the registry of connections.
//
// Design note
// -----------
// One ServeContext lives for the whole serve run (serve_main.cpp builds it before the first
// connection and destroys it after the loop has stopped), so sessions hold a plain reference.
// Everything in it is used on the event loop's thread, except where a member says otherwise.
#ifndef ZARVO_HOST_SERVE_SERVE_CONTEXT_H
#define ZARVO_HOST_SERVE_SERVE_CONTEXT_H

#include <string>

#include "host_core/event_log.h"
#include "host_core/limits.h"
#include "host_core/plugin_host.h"
#include "host_core/simulator_controls.h"
#include "host_core/static_files.h"
#include "serve/connections.h"
#include "serve/host_thread.h"
#include "serve/network.h"
#include "serve/request_budget.h"
#include "serve/serve_options.h"
#include "serve/socket_batches.h"

namespace zarvo_host::serve {

struct ServeContext {
  net::io_context& loop;
  const host_core::Limits& limits;
  const ConnectionRules& rules;
  host_core::EventLog& events;                   // any thread
  host_core::PluginHost& plugin;                 // the host thread's only
  HostThread& hostThread;                        // runs every plug-in call
  HostThread& controlThread;                     // runs the simulator controls
  const host_core::SimulatorControls& controls;  // the control thread's
  const host_core::StaticFiles& files;
  Connections& connections;
  RequestBudget& budget;
  SocketBatches& batches;     // the WebSockets' event messages
  int port = 0;               // the real listening port
  bool shuttingDown = false;  // set when SIGINT or SIGTERM arrived
};

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_SERVE_CONTEXT_H
