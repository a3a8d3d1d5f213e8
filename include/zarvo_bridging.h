/* libzarvo_bridging.so.2: the plug-in's entry points, for host integrators.
 *
 * Each resource function serves one REST-like resource. The host calls it with four NUL-terminated
 * JSON request texts (none may be NULL):
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
 * {"app":...,"data":...,"type":...}), from the application library's threads.
 *
 * Threads: call the entry points and TearDown from one host thread at a time; TearDown must not
 * race with calls still running.
 *
 * Usage:
 *   1. dlopen("libzarvo_bridging.so.2", RTLD_NOW) (or link with -lzarvo_bridging);
 *   2. ZarvoApplication("{\"method\":\"post\"}", "{\"name\":\"viewer\"}", "{}", "");
 *   3. ZarvoApplicationBridge("{\"method\":\"post\"}", "{\"name\":\"viewer\"}", "{}",
 *                             "{\"uri\":\"/document/open\"}");
 *   4. TearDown() when done: disconnects every application in ascending name order.
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
