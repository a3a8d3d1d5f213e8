// Every text the bridge sends to the page, in one place: the error names and messages of the
// responses and the name of the script event. Tests and pages compare these byte for byte, so
// they are kept exactly as they are, spelling included ("is not existed").
//
// Plain constants; no state, any thread.
#ifndef BRIDGE_MESSAGES_H
#define BRIDGE_MESSAGES_H

namespace bridge {
namespace messages {

// Error names (the "name" member of a response's "error" object).
constexpr char kBadRequestError[] = "BadRequestError";  //!< 400: what the page got wrong
constexpr char kInternalError[] = "InternalError";      //!< 500: the library or application failed
constexpr char kMethodError[] = "MethodError";          //!< 405: a method the resource lacks
constexpr char kUnknownError[] = "UnknownError";        //!< 500: any other exception in a handler

// The frame: a handler threw something other than a BridgeResultError.
constexpr char kUnknownErrorOccurred[] = "Unknown error occurred.";

// The default handlers of BridgeTemplate.
constexpr char kGetNotAllowed[] = "GET method is not allowed.";
constexpr char kPutNotAllowed[] = "PUT method is not allowed.";
constexpr char kPostNotAllowed[] = "POST method is not allowed.";
constexpr char kDeleteNotAllowed[] = "DELETE method is not allowed.";

// Shared by the resources.
constexpr char kNameIsEmpty[] = "URI parameter 'name' is empty.";
constexpr char kApplicationIsNotExisted[] = "Application instance is not existed.";
constexpr char kNoResponse[] = "No response from the application.";

// ZarvoApplication.
constexpr char kFailedToConnect[] = "Failed to connect application.";
constexpr char kFailedToDisconnect[] = "Failed to disconnect application.";

// ZarvoApplicationEvent.
constexpr char kTypeIsEmpty[] = "URI parameter 'type' is empty.";

// ZarvoApplicationBridge. The second text is only ever stored in the response record of a
// refused request, never sent (kNoResponse is).
constexpr char kUriIsEmpty[] = "uri is empty string.";
constexpr char kNoResponseOrDisconnected[] = "No response or disconnected from application.";

// ZarvoApplicationCustom.
constexpr char kTaskTypeIsEmpty[] = "type is empty string.";

// The script event that carries every application event into the page.
constexpr char kEventName[] = "zarvoEvent";

}  // namespace messages
}  // namespace bridge

#endif  // BRIDGE_MESSAGES_H
