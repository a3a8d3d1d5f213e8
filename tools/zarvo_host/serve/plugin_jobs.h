// The plug-in's two kinds of work for a connection: a call and TearDown, run on the host thread
// (the plug-in takes no lock, so one thread makes every call, in the order they were posted) with
// the outcome handed back to the event loop, where the connection answers it. Both channels (HTTP
// and the WebSocket) go through here.
//
// Threads: post from the loop; `done` runs on the loop. Returns false, without running anything,
// once the host thread has stopped (the host is shutting down).
#ifndef ZARVO_HOST_SERVE_PLUGIN_JOBS_H
#define ZARVO_HOST_SERVE_PLUGIN_JOBS_H

#include <utility>

#include "host_core/plugin_host.h"
#include "host_core/resource.h"
#include "serve/host_thread.h"
#include "serve/serve_context.h"

namespace zarvo_host::serve {

// Calls `resource` with `texts`; `done(const host_core::CallOutcome&)`.
template <class Done>
bool runPluginCall(ServeContext& context, host_core::Resource resource,
                   host_core::RequestTexts texts, Done done) {
  host_core::PluginHost& plugin = context.plugin;
  return runThenPost(
      context.hostThread, context.loop.get_executor(),
      [&plugin, resource, texts = std::move(texts)] { return plugin.call(resource, texts); },
      std::move(done));
}

// Calls TearDown; `done(bool)` once it has returned.
template <class Done>
bool runTearDown(ServeContext& context, Done done) {
  host_core::PluginHost& plugin = context.plugin;
  return runThenPost(
      context.hostThread, context.loop.get_executor(),
      [&plugin] {
        plugin.tearDown();
        return true;
      },
      std::move(done));
}

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_PLUGIN_JOBS_H
