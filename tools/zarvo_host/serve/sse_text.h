// The text of the HTTP event stream (server-sent events, GET /events).
//
// Design note
// -----------
// The stream opens with "retry: 1000" (a browser's EventSource reconnects after a second) and a
// "zarvoHello" event naming the host's instance id, without an id line, so a client learns at
// once whether it reconnected to the same host process. Every event then goes out as
// "id: <n>\nevent: zarvoEvent\ndata: <text>\n\n"; a text holding CR or LF is split over several
// data lines, as the format requires, so a reader rebuilds it with LF. Lost events are one
// "zarvoGap" event whose id is the last lost id, so a client that reconnects after it does not
// ask again for what is gone. A comment line keeps a quiet stream alive through proxies and
// shows the client the connection still works.
//
// Threads: stateless; any thread.
#ifndef ZARVO_HOST_SERVE_SSE_TEXT_H
#define ZARVO_HOST_SERVE_SSE_TEXT_H

#include <cstdint>
#include <string>

#include "host_core/event_log.h"

namespace zarvo_host::serve {

// "retry: 1000\n\nevent: zarvoHello\ndata: {\"instance\":\"<instance>\"}\n\n"
std::string sseOpening(const std::string& instance);
// Appends the "zarvoEvent" event `id` with `text`.
void appendSseEvent(std::string* out, uint64_t id, const std::string& text);
// Appends the "zarvoGap" event for `gap`.
void appendSseGap(std::string* out, const host_core::Gap& gap);
// Appends a whole batch: its gap, then its events.
void appendSseBatch(std::string* out, const host_core::EventBatch& batch);
// ": keep-alive\n\n"
const std::string& sseKeepAlive();

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_SSE_TEXT_H
