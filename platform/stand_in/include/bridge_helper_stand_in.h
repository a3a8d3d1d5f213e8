/* Control interface of the stand-in host library (libQtWebKitBridgeHelper.so.2).
 *
 * The stand-in implements the three host functions of bridge_helper.h for tests, the reference
 * host and development:
 *   - BridgeHelperCreatePromiseID returns 1, 2, 3, ... (a process-wide atomic counter);
 *   - BridgeHelperSetResponse and BridgeHelperDispatchEvent hand their arguments to the sinks a
 *     host program registered here, and return 1 (0 when no sink is registered).
 *
 * Threads: every function may be called from any thread. Sink calls are serialised by one
 * mutex, so a sink never runs twice at once and output written from a sink never interleaves;
 * a sink must therefore not call back into this library's control functions.
 *
 * Usage (a host program or a test):
 *   1. BridgeHelperStandInSetResponseSink(onResponse, &myState);
 *   2. BridgeHelperStandInSetEventSink(onEvent, &myState);
 *   3. call the plug-in's entry points; onResponse runs inside each call, onEvent on whatever
 *      thread raised the event;
 *   4. BridgeHelperStandInReset() forgets both sinks and restarts the promise counter at 1.
 *
 * Exit report: when the environment variable BRIDGE_HELPER_STAND_IN_EXIT_LOG names a file, the
 * library writes its counters there when the process exits (or the library is unloaded), one
 * "name value" line each:
 *     promises 23
 *     responses 23
 *     response threads 1
 *     events 3
 * so a test can check what a host process did, for example that every response was set on one
 * thread, without the host exposing anything for it.
 */
#ifndef ZARVO_STAND_IN_BRIDGE_HELPER_STAND_IN_H
#define ZARVO_STAND_IN_BRIDGE_HELPER_STAND_IN_H

#include "bridge_helper.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Receives every BridgeHelperSetResponse; `json` is valid only during the call. */
typedef void (*BridgeHelperStandInResponseSink)(int promiseId, int statusCode, const char* json,
                                                void* userData);
/* Receives every BridgeHelperDispatchEvent; the texts are valid only during the call. */
typedef void (*BridgeHelperStandInEventSink)(const char* eventName, const char* json,
                                             void* userData);

/* Registers (or, with NULL, removes) the response sink. */
void BridgeHelperStandInSetResponseSink(BridgeHelperStandInResponseSink sink, void* userData);
/* Registers (or, with NULL, removes) the event sink. */
void BridgeHelperStandInSetEventSink(BridgeHelperStandInEventSink sink, void* userData);
/* Removes both sinks and restarts the promise counter, so the next identifier is 1. */
void BridgeHelperStandInReset(void);
/* How many times each host function has been called since the last reset. */
long BridgeHelperStandInPromiseCount(void);
long BridgeHelperStandInResponseCount(void);
long BridgeHelperStandInEventCount(void);
/* How many distinct threads have called BridgeHelperSetResponse since the last reset. */
long BridgeHelperStandInResponseThreadCount(void);

#ifdef __cplusplus
}
#endif

#endif /* ZARVO_STAND_IN_BRIDGE_HELPER_STAND_IN_H */
