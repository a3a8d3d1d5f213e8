/* Control interface of the simulated application-connection library (libzarvo_x64.so.1).
 *
 * The simulator implements every function of zarvo_x64.h with applications kept in-process, and
 * honours the contracts the plug-in relies on:
 *   - ZrvBridgeCross / ZrvExecuteCustomTask call their callback at most once, before returning,
 *     on the calling thread;
 *   - event and did-disconnect callbacks run on the simulator's own event thread(s), never on the
 *     caller's thread;
 *   - after ZrvDisconnectApplication returns, no callback for that connection is made any more
 *     (a delivery already running on an event thread is waited for first; a disconnect made from
 *     inside a callback on the event thread does not wait for that callback itself);
 *   - no callback is made while the simulator holds its own lock, so a callback may call any
 *     function of this library;
 *   - handles are the numbers 1, 2, 3, ... in connect order (cast to a pointer), never reused
 *     until ZrvSimReset; a refused connect consumes no number.
 *
 * Rules common to both modes:
 *   - A handle that was never returned, or whose connection was closed, is refused: the function
 *     returns 0 and calls nothing. The exception is ZrvSetApplicationDidDisconnectCallback, which
 *     ignores such a handle (NULL included) and still returns its normal result (1, or the
 *     programmed value).
 *   - ZrvDisconnectApplication always closes an open connection and drops its subscriptions and
 *     did-disconnect callback, whatever result it is programmed to return.
 *   - A subscription is keyed by connection + target + type. Registering an existing key again
 *     replaces its callback and context (and restarts its timed events). A NULL callback is
 *     refused (0).
 *   - A NULL text argument is logged as NULL and otherwise taken as the empty text; a NULL name
 *     makes ZrvConnectApplication fail.
 *   - A did-disconnect notice (ZrvSimRaiseDidDisconnect) is only a notice: the connection stays
 *     open and keeps its subscriptions.
 *
 * Two ways to drive it:
 *
 * 1. Programmed mode (the state after loading and after ZrvSimReset), for tests: every name
 *    connects, and each function's result and callback are set by a ZrvSimProgram. Every call is
 *    logged with its arguments; events and did-disconnect notices are raised on request. The
 *    "calls back" and "result" settings are independent (a call may return 0 and still call
 *    back). ZrvUnregisterEvent returns the programmed value whether or not the subscription
 *    exists; a zero result keeps the subscription.
 *
 * 2. Description mode, for the reference host and for page development: ZrvSimLoadDescription
 *    reads a JSON description of applications. Only described applications connect. The format
 *    (also published as a JSON Schema, examples/applications.schema.json):
 *
 *    {
 *      "$schema": "applications.schema.json",  optional, for editors
 *      "applications": {
 *        "viewer": {
 *          "requests": {                       answers by uri for ZrvBridgeCross
 *            "/document/open": {"status": 200, "answer": {"opened": true}},
 *            "/document/save": {"status": 507, "answerText": "{\"error\":\"disk full\"}"}
 *          },
 *          "defaultRequest": {"status": 404, "answer": {"error": "unknown uri"}},
 *          "tasks": {                          answers by task type for ZrvExecuteCustomTask
 *            "render": {"type": "done", "answer": {"pages": 3}}
 *          },
 *          "events": [                         raised while subscribed, on the event thread
 *            {"type": "progress", "payloads": [{"percent": 10}, {"percent": 20}],
 *             "intervalMs": 50, "count": 2}
 *          ]
 *        }
 *      }
 *    }
 *
 *    "applications" is required; every other member is optional. A top-level "$schema" (a
 *    string) names the schema for an editor and is otherwise ignored; it is allowed nowhere else.
 *    Application names, uris and task types must not be empty (the plug-in never sends an empty
 *    one). "answer" is any JSON value (sent as its compact text) whose numbers fit a double;
 *    "answerText" is sent verbatim (for answers that are not JSON); giving both is an error,
 *    giving neither sends "null". "status" is an int (default 200). Every integer member may
 *    also be written as a number without a fraction (200.0, 2e2 for 200), as in JSON Schema; an
 *    integer literal beyond 64 bits is read as the real number it is (never wrapped around).
 *    A task's "type" is the text passed back with its answer (default ""). A uri with no entry
 *    gets "defaultRequest", or status 404 with the answer {"error":"Unknown uri.","uri":<uri>}
 *    when there is none. A task type with no entry makes ZrvExecuteCustomTask return 0 without
 *    calling back. An event ("type" required, a non-empty string) raises "payload" (one value,
 *    default null) or each of "payloads" (a non-empty array) in turn, wrapping around, every
 *    "intervalMs" milliseconds (1 to 86400000, default 100) from the moment it is subscribed,
 *    "count" times (at least 1; default: until unsubscribed or disconnected). Each subscription
 *    of the type has its own schedule, also for several event entries of one type. Unknown
 *    members are errors, so typos do not pass silently. In description mode every accepted call
 *    returns 1, and ZrvUnregisterEvent returns 0 when there is no such subscription. Loading a
 *    description leaves existing connections, subscriptions and the log as they are.
 *
 *    A refused description is reported as "<source>: <where>: <problem>" (or "<source>:
 *    <problem>" for the whole text), <where> being the member path from the top with array
 *    elements as [i], e.g.
 *      examples/applications.json: applications.viewer.events[0].count: expected an integer
 *    The problems: "cannot be opened (<system message>)", "cannot be read (<system message>)",
 *    "expected an object at the top level", "required member missing", "unknown member",
 *    "expected an object", "expected an array", "expected a string", "expected a non-empty
 *    string", "expected a non-empty array", "expected a non-empty application name", "expected a
 *    non-empty uri", "expected a non-empty task type", "expected an integer", "expected an
 *    integer from <low> to <high>", "give either answer or answerText, not both", "give either
 *    payload or payloads, not both", "holds a number too large for JSON text".
 *    A text that is not JSON is reported as "<source>:<line>:<column>: <message>", e.g.
 *      examples/applications.json:3:14: Unexpected string exists while parsing object.
 *    at the place where the parser stopped: the first character it could not take (for a lone
 *    low surrogate escape, the escape's backslash), or just past the last character when the
 *    text ends too early. Lines and columns count from 1; lines end at "\n", "\r\n" or a lone
 *    "\r"; a column counts characters (UTF-8 code points), a leading byte-order mark excluded.
 *    The message is the JSON library's parse message, except for "lone low surrogate escape:
 *    \uDC00 to \uDFFF must follow a high surrogate escape (\uD800 to \uDBFF)" and for "the text
 *    ends before the top-level object is closed" (the library itself would end the object there).
 *
 * Call log: one entry per call of a zarvo_x64.h function, in the order the calls began (a call
 * made from inside a callback follows the call that made the callback), also as canonical text
 * lines such as
 *     ZrvConnectApplication("viewer", "client") -> 1
 *     ZrvSetApplicationDidDisconnectCallback(1, callback, context) -> 1
 *     ZrvSetApplicationDidDisconnectCallback(0, callback, context) -> 1
 *     ZrvRegisterEvent(1, "", "progress", callback, context) -> 1
 *     ZrvUnregisterEvent(1, "", "progress") -> 1
 *     ZrvBridgeCross(1, "", "/uri", "null", "null", callback, context) -> 1 called back
 *     ZrvExecuteCustomTask(1, "", "render", "null", callback, context) -> 0
 *     ZrvDisconnectApplication(1) -> 1
 * Texts are written as JSON strings (escaped); handles as numbers (0 for NULL); a NULL text,
 * callback or context is written NULL; a failed connect is "-> 0". A call still running when the
 * log is read ends in "-> ..." instead of its result.
 *
 * Threads: every function here may be called from any thread, also from inside a callback. On an
 * event thread, ZrvSimRaiseEvent and ZrvSimRaiseDidDisconnect deliver at once on that thread,
 * and ZrvSimFlush returns at once (it cannot wait for itself). The event threads are stopped and
 * joined by ZrvSimReset, when their number changes, and at process exit (before the static
 * destructors of everything that was created before the first event thread started).
 *
 * Event threads run on a small stack (ZrvSimEventThreadStackSize: 256 KiB, also in sanitizer
 * builds), as a host's event threads may, so a callback that recursed natively in proportion to
 * its payload's nesting would crash here.
 *
 * Memory: a closed connection is forgotten once no callback for it is running (an unknown handle
 * then answers as a closed one), and its timed events are dropped with it, as are those of an
 * unregistered or replaced subscription; connect/disconnect cycles do not accumulate state.
 */
#ifndef ZARVO_STAND_IN_ZARVO_SIMULATOR_H
#define ZARVO_STAND_IN_ZARVO_SIMULATOR_H

#include <stddef.h>

#include "zarvo_x64.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Programmed mode ---------------------------------------------------------------------- */

typedef struct ZrvSimProgram {
  int connectFails;              /* non-zero: ZrvConnectApplication returns NULL (default 0) */
  int disconnectResult;          /* result of ZrvDisconnectApplication (default 1) */
  int setDidDisconnectResult;    /* result of ZrvSetApplicationDidDisconnectCallback (1) */
  int registerResult;            /* result of ZrvRegisterEvent (1); 0 keeps no subscription */
  int unregisterResult;          /* result of ZrvUnregisterEvent (1) */
  int bridgeCrossResult;         /* result of ZrvBridgeCross (1) */
  int bridgeCrossCallsBack;      /* non-zero: ZrvBridgeCross calls back before returning (1) */
  int bridgeCrossStatus;         /* status passed to the callback (200) */
  const char* bridgeCrossAnswer; /* answer text passed to the callback ("null"); copied */
  int customTaskResult;          /* result of ZrvExecuteCustomTask (1) */
  int customTaskCallsBack;       /* non-zero: ZrvExecuteCustomTask calls back (1) */
  const char* customTaskType;    /* type text passed to the callback (""); copied */
  const char* customTaskAnswer;  /* answer text passed to the callback ("null"); copied */
} ZrvSimProgram;

/* Fills `program` with the defaults listed above. */
void ZrvSimDefaultProgram(ZrvSimProgram* program);
/* Switches to programmed mode with `program` (strings are copied, NULL ones as ""; a NULL
 * `program` means the default program). Connections and subscriptions are kept. */
void ZrvSimSetProgram(const ZrvSimProgram* program);

/* ---- Description mode --------------------------------------------------------------------- */

/* Loads the description file `path` and switches to description mode. Returns 1 on success (and
 * writes the empty text into `error`). On failure returns 0, keeps the previous state and writes
 * a message naming the file and the problem into `error` (NUL-terminated, cut to `errorSize`;
 * nothing is written when `error` is NULL or `errorSize` is 0). */
int ZrvSimLoadDescription(const char* path, char* error, size_t errorSize);
/* The same from a text; `sourceName` names it in messages ("description" when NULL). */
int ZrvSimLoadDescriptionText(const char* json, const char* sourceName, char* error,
                              size_t errorSize);

/* ---- Raising events and notices (both modes) ---------------------------------------------- */

/* Raises event `type` with payload text `json` on the event thread, to every subscription of
 * that type on connection `handle` (whatever its target), each with its registered context.
 * Waits until delivered; returns the number of callbacks made. */
int ZrvSimRaiseEvent(ZrvApplicationHandle handle, const char* type, const char* json);
/* The same, but the callbacks receive a NULL context. */
int ZrvSimRaiseEventWithNullContext(ZrvApplicationHandle handle, const char* type,
                                    const char* json);
/* Queues the event and returns at once (for stress tests); ZrvSimFlush waits for delivery. */
void ZrvSimPostEvent(ZrvApplicationHandle handle, const char* type, const char* json);
/* Waits until every queued event and notice has been delivered. */
void ZrvSimFlush(void);
/* Reports the connection lost: calls its did-disconnect callback on the event thread with its
 * registered context (or NULL when `nullContext`). Waits; returns 1 when a callback was made. */
int ZrvSimRaiseDidDisconnect(ZrvApplicationHandle handle, int nullContext);
/* Number of event threads (default 1, clamped to 1..64); connection h is served by thread
 * (h - 1) % count, so the events of one connection arrive in order. Events still queued and
 * timed events move to the new threads. */
void ZrvSimSetEventThreadCount(int count);
/* The newest open connection that was made under the application name `name` (NULL when there
 * is none, or `name` is NULL), so that a host can raise events and notices for an application
 * that the plug-in connected: the plug-in keeps its handles to itself. */
ZrvApplicationHandle ZrvSimConnectionNamed(const char* name);
/* Number of event callbacks made since the last reset. */
long ZrvSimEventCallbackCount(void);
/* The stack size, in bytes, that every event thread is created with. */
size_t ZrvSimEventThreadStackSize(void);
/* Connection records held: open connections, plus closed ones whose callback is still running. */
size_t ZrvSimConnectionRecordCount(void);
/* Timed events waiting to be raised (description mode), over all event threads. */
size_t ZrvSimTimerCount(void);

/* ---- Call log ----------------------------------------------------------------------------- */

typedef struct ZrvSimCall {
  const char* function; /* "ZrvConnectApplication", "ZrvBridgeCross", ... */
  unsigned long handle; /* handle argument (0 for NULL); for a connect, the handle returned */
  int argCount;         /* number of text arguments below */
  const char* args[4];  /* text arguments in call order */
  const void* callback; /* the callback passed, or NULL (also where the function takes none) */
  const void* context;  /* the context passed, or NULL */
  long result;          /* the result returned (the handle number for a connect) */
  int calledBack;       /* ZrvBridgeCross / ZrvExecuteCustomTask called back before returning */
  const char* text;     /* the canonical text line, without a newline */
} ZrvSimCall;

/* Number of logged calls. */
size_t ZrvSimCallCount(void);
/* Copies entry `index` into `out`; returns 0 when out of range. The texts stay valid until
 * ZrvSimClearLog or ZrvSimReset. */
int ZrvSimGetCall(size_t index, ZrvSimCall* out);
/* The whole log, one canonical line per call, each ending in '\n'. The pointer is valid until the
 * calling thread's next call of this function. */
const char* ZrvSimCallLog(void);
/* Forgets the logged calls. */
void ZrvSimClearLog(void);
/* Switches the call log on (non-zero, the default) or off (0). While it is off, calls are not
 * recorded at all (not even counted), so they cost the simulator almost nothing; entries recorded
 * before stay. ZrvSimReset switches it on again. A call that began while the log was on is
 * completed in it even when the log is switched off meanwhile. */
void ZrvSimSetCallLogEnabled(int enabled);

/* ---- Reset -------------------------------------------------------------------------------- */

/* Back to the initial state: programmed mode with the default program, no connections or
 * subscriptions, empty log (switched on), handles from 1, pending events dropped, one event
 * thread. */
void ZrvSimReset(void);

/* When the environment variable ZRV_SIM_EXIT_LOG names a file, the simulator writes its call log
 * there when the process exits (after every static destructor of the plug-in has run), so a test
 * can see what a process did on its way out. */

#ifdef __cplusplus
}
#endif

#endif /* ZARVO_STAND_IN_ZARVO_SIMULATOR_H */
