// bridge::ZarvoApplicationEvent: subscribe (POST) to and unsubscribe (DELETE) from one event type
// of a connected application; the events themselves reach the page as "zarvoEvent".
//
// Design note
// -----------
// Both handlers read "name" and "type" from the URI parameters and "target" from the body (each
// as text; an absent or non-text "target" is the empty target), look the application up in the
// registry and call ZrvRegisterEvent / ZrvUnregisterEvent. The resource keeps no list of
// subscriptions: whether a type is subscribed twice or unsubscribed without a subscription is for
// the library to decide, and its zero or non-zero result is all that is reported.
//
// The registration hands the library zarvo::OnEvent with the application object as context.
// Whenever the application raises the event, zarvo::OnEvent parses the payload
// (ParseOption::kLenient: byte-order mark skipped, trailing comma accepted, trailing text ignored,
// parse errors dropped) and calls the object's onEvent, which dispatches
// {"app":…,"data":…,"type":…} through BridgeHelperDispatchEvent. Events never travel in a promise's
// response.
//
// Threads: Post and Delete run on the host's calling thread. zarvo::OnEvent runs on whatever
// thread the library delivers events on and dispatches directly on that thread: nothing is
// queued or locked; it reads only the object's `name` and builds its own values. The library
// must not call it for a connection after ZrvDisconnectApplication has closed it, because the
// object is destroyed right after.
//
// Failure (POST and DELETE, checked in this order):
//   empty name            400 "BadRequestError" "URI parameter 'name' is empty."
//   empty type            400 "BadRequestError" "URI parameter 'type' is empty."
//   unknown name          400 "BadRequestError" "Application instance is not existed."
//   library returns zero  500 "InternalError"   "No response from the application."
// In the callback path nothing is reported: a null context drops the event, an unparsable payload
// is delivered with whatever value the parser left.
#ifndef BRIDGE_ZARVO_APPLICATION_EVENT_H
#define BRIDGE_ZARVO_APPLICATION_EVENT_H

#include "bridge/bridge_template.h"

namespace bridge {

class ZarvoApplicationEvent : public BridgeTemplate {
 public:
  // Subscribes to "type" of the application "name"; 200 with a null value, or throws.
  BridgeResult Post(const BridgeData& data) override;
  // Unsubscribes from "type" of the application "name"; 200 with a null value, or throws.
  BridgeResult Delete(const BridgeData& data) override;
};

}  // namespace bridge

namespace zarvo {

// The event callback handed to ZrvRegisterEvent. `type` and `json` must not be null; `context`
// is the application object given at registration (null: the event is dropped).
void OnEvent(const char* type, const char* json, void* context);

}  // namespace zarvo

#endif  // BRIDGE_ZARVO_APPLICATION_EVENT_H
