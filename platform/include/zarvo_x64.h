/* The local application-connection library's functions (libzarvo_x64.so.1).
 *
 * Our own declarations of that interface. Every text argument is NUL-terminated and valid only
 * for the duration of the call.
 *
 * Contracts the plug-in relies on:
 *   - ZrvBridgeCross and ZrvExecuteCustomTask call their callback at most once, and only before
 *     they return, on the calling thread (the context points into the caller's stack frame).
 *   - Event and did-disconnect callbacks may come from the library's own threads. No event
 *     callback is made for a connection after ZrvDisconnectApplication has closed it.
 *   - Results typed int: zero means failure, any other value (negative included) success.
 */
#ifndef ZARVO_PLATFORM_ZARVO_X64_H
#define ZARVO_PLATFORM_ZARVO_X64_H

#ifdef __cplusplus
extern "C" {
#endif

/* Opaque, pointer-sized connection handle; NULL means "no connection". */
typedef void* ZrvApplicationHandle;

/* The connection is gone. `context` is what was registered. */
typedef void (*ZrvDidDisconnectCallback)(void* context);
/* The application raised event `type` with the payload `json` (JSON text, never NULL). */
typedef void (*ZrvEventCallback)(const char* type, const char* json, void* context);
/* The application's status and answer (JSON text, never NULL) for one ZrvBridgeCross. */
typedef void (*ZrvBridgeResponseCallback)(int statusCode, const char* json, void* context);
/* The answer type and answer (JSON text); both never NULL, for one ZrvExecuteCustomTask. */
typedef void (*ZrvCustomTaskCallback)(const char* type, const char* json, void* context);

/* Connects the application `name` for the client `clientName` (possibly empty).
 * Returns NULL when the connection could not be made. */
ZrvApplicationHandle ZrvConnectApplication(const char* name, const char* clientName);

/* Closes a connection (never called with NULL by the plug-in). */
int ZrvDisconnectApplication(ZrvApplicationHandle handle);

/* Registers the did-disconnect callback of a connection (`handle` may be NULL after a failed
 * connect; the library ignores that). */
int ZrvSetApplicationDidDisconnectCallback(ZrvApplicationHandle handle,
                                           ZrvDidDisconnectCallback callback, void* context);

/* Subscribes to event `type` of `target` (possibly empty); `callback` is called with `context`
 * whenever the application raises it, until unsubscribed or disconnected. */
int ZrvRegisterEvent(ZrvApplicationHandle handle, const char* target, const char* type,
                     ZrvEventCallback callback, void* context);

/* Unsubscribes from event `type` of `target`. */
int ZrvUnregisterEvent(ZrvApplicationHandle handle, const char* target, const char* type);

/* Sends one request to the application; the answer arrives through `callback` before return. */
int ZrvBridgeCross(ZrvApplicationHandle handle, const char* target, const char* uri,
                   const char* settings, const char* requestData,
                   ZrvBridgeResponseCallback callback, void* context);

/* Runs the custom task `type` with the JSON argument `data`; the answer arrives through
 * `callback` before return. */
int ZrvExecuteCustomTask(ZrvApplicationHandle handle, const char* target, const char* type,
                         const char* data, ZrvCustomTaskCallback callback, void* context);

#ifdef __cplusplus
}
#endif

#endif /* ZARVO_PLATFORM_ZARVO_X64_H */
