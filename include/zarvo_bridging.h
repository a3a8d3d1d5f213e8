/* libzarvo_bridging.so.2: the plug-in's entry points, for host integrators.
 *
 * Each resource function serves one REST-like resource. The host calls it with four NUL-terminated
 * JSON request texts:
 *   options     {"method":"post"}  (get, post, put, delete in any case; anything else is GET)
 *   parameters  the URI parameters, e.g. {"name":"viewer"}
 *   extra       kept, read by no resource
 *   body        the request body (JSON, or any text, which is then taken as a JSON string)
 * The function answers exactly once, before it returns, by calling the host's
 * BridgeHelperSetResponse(promiseId, status, envelope) with the promise identifier it obtained from
 * BridgeHelperCreatePromiseID, and returns that identifier. The envelope is compact JSON:
 *   {"error":null,"value":...}                                  status 200
 *   {"error":{"message":"...","name":"..."},"value":null}       status 400, 405 or 500
 * Application events reach the page as BridgeHelperDispatchEvent("zarvoEvent",
 * {"app":...,"data":...,"type":...}).
 *
 * Exactly once does not hold in two cases, both errors of the host: a NULL request text (the
 * standard library throws std::logic_error when the text is read) and a host function that
 * throws (BridgeHelperCreatePromiseID, BridgeHelperSetResponse). The exception leaves the entry
 * point unchanged and the promise may stay without a response; a C host terminates. Never pass
 * NULL: pass "" for an absent text.
 *
 * Lifetimes. The plug-in reads the four request texts only during the call and keeps no pointer
 * to them: the host may free or reuse them as soon as the function returns. The envelope passed
 * to BridgeHelperSetResponse and the event text passed to BridgeHelperDispatchEvent (and its
 * event name) belong to the plug-in and are valid only until that host function returns: copy
 * what you keep.
 *
 * Threads. The plug-in takes no lock. Call the four resource functions and TearDown from one
 * thread at a time: any thread may make a call, but calls must not overlap, so a host that calls
 * from several threads orders the calls itself (one bridge thread, or a mutex around each call).
 * Do not call an entry point or TearDown from inside BridgeHelperSetResponse or
 * BridgeHelperDispatchEvent; return from the callback first and make the call afterwards.
 * Events: BridgeHelperDispatchEvent is called on the application library's own thread, not on
 * the thread that subscribed, and may run while the host thread is inside a call; the host's
 * implementation of it must be safe against its own bridge thread.
 *
 * Unloading. Call TearDown before dlclose. If applications are still connected when the plug-in
 * is unloaded, the unload disconnects them as TearDown would (in ascending name order) before the
 * code goes away, so no event arrives after dlclose returns (the application library makes no
 * callback after ZrvDisconnectApplication has returned). Process exit without TearDown
 * closes nothing: the connections are left to the application library.
 *
 * Loading. The plug-in needs the host library libQtWebKitBridgeHelper.so.2 and the
 * application-connection library libzarvo_x64.so.1 at load time (it is linked with immediate
 * binding, so a missing function fails dlopen rather than a later call). Load it with
 * dlopen("libzarvo_bridging.so.2", RTLD_NOW) and look the five names up with dlsym, or link with
 * -lzarvo_bridging (pkg-config zarvo_bridging, or the CMake package zarvo_bridging).
 *
 * Usage:
 *   1. dlopen("libzarvo_bridging.so.2", RTLD_NOW) (or link with -lzarvo_bridging);
 *   2. ZarvoApplication("{\"method\":\"post\"}", "{\"name\":\"viewer\"}", "{}", "");
 *   3. ZarvoApplicationBridge("{\"method\":\"post\"}", "{\"name\":\"viewer\"}", "{}",
 *                             "{\"uri\":\"/document/open\"}");
 *   4. TearDown() when done: disconnects every application in ascending name order;
 *   5. dlclose.
 */
#ifndef ZARVO_BRIDGING_H
#define ZARVO_BRIDGING_H

/* The plug-in is built with hidden visibility; only what carries this attribute is exported (the
 * version script zarvo_bridging.map then keeps exactly these five names). For a consumer the
 * attribute is harmless. */
#if defined(__GNUC__) || defined(__clang__)
#define ZARVO_BRIDGING_EXPORT __attribute__((visibility("default")))
#else
#define ZARVO_BRIDGING_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Connect (POST) and disconnect (DELETE) the application "name" of parameters. */
ZARVO_BRIDGING_EXPORT int ZarvoApplication(const char* options, const char* parameters,
                                           const char* extra, const char* body);
/* Send a request (POST): body {"uri":..., "requestData":..., "settings":..., "target":...}. */
ZARVO_BRIDGING_EXPORT int ZarvoApplicationBridge(const char* options, const char* parameters,
                                                 const char* extra, const char* body);
/* Subscribe (POST) / unsubscribe (DELETE) the event "type" of parameters; body {"target":...}. */
ZARVO_BRIDGING_EXPORT int ZarvoApplicationEvent(const char* options, const char* parameters,
                                                const char* extra, const char* body);
/* Run a custom task (POST): body {"type":..., "data":..., "target":...}. */
ZARVO_BRIDGING_EXPORT int ZarvoApplicationCustom(const char* options, const char* parameters,
                                                 const char* extra, const char* body);
/* Disconnects and forgets every connected application. Calling it again is harmless; the entry
 * points stay usable afterwards. */
ZARVO_BRIDGING_EXPORT void TearDown(void);

#ifdef __cplusplus
}
#endif

#endif /* ZARVO_BRIDGING_H */
