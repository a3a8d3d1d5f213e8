/* The web-view bridge host's functions that the plug-in calls (libQtWebKitBridgeHelper.so.2).
 *
 * Our own declarations of the host interface. Every text is NUL-terminated and valid only for the
 * duration of the call; the host copies what it keeps.
 *
 * Threads: BridgeHelperCreatePromiseID and BridgeHelperSetResponse are called on the thread on
 * which the host called the plug-in; BridgeHelperDispatchEvent may be called from any thread
 * (application events arrive on the application-connection library's threads).
 */
#ifndef ZARVO_PLATFORM_BRIDGE_HELPER_H
#define ZARVO_PLATFORM_BRIDGE_HELPER_H

#ifdef __cplusplus
extern "C" {
#endif

/* A new promise identifier; called once per call, before anything else. */
int BridgeHelperCreatePromiseID(void);

/* Settles `promiseId` with an HTTP-like status code and a compact JSON envelope text. Called
 * exactly once per promise, before the plug-in's entry point returns. The result is not used. */
int BridgeHelperSetResponse(int promiseId, int statusCode, const char* json);

/* Raises the script event `eventName` ("zarvoEvent") in the page with a JSON text.
 * The result is ignored. */
int BridgeHelperDispatchEvent(const char* eventName, const char* json);

#ifdef __cplusplus
}
#endif

#endif /* ZARVO_PLATFORM_BRIDGE_HELPER_H */
