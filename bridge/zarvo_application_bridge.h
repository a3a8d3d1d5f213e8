// bridge::ZarvoApplicationBridge: send one request to a connected application (POST) and answer
// with the application's status and answer.
//
// Design note
// -----------
// Post reads "name" from the URI parameters and "uri", "requestData", "settings" and "target"
// from the body, serializes "requestData" and "settings" to compact JSON text ("null" when
// absent) and calls ZrvBridgeCross with zarvo::OnBridgeResponse and the address of a
// zarvo::BridgeCrossResponse in its own frame. The exchange is synchronous: the library calls
// the callback at most once, before ZrvBridgeCross returns, on the calling thread; the record is
// therefore not locked, and a deferred callback would write into a record that no longer exists.
//
// The result value is {"data":<answer>,"statuscode":<status>}. The application's own status,
// whatever it is, travels inside a status-200 result; an answer that is not valid JSON is not an
// error either (ParseOption::kLenient, errors dropped).
//
// Failure (checked in this order):
//   empty name                        400 "BadRequestError" "URI parameter 'name' is empty."
//   unknown name                      400 "BadRequestError" "Application instance is not existed."
//   empty uri                         400 "BadRequestError" "uri is empty string."
//   ZrvBridgeCross returns zero       500 "InternalError"   "No response from the application."
//   non-zero return, no callback      500 "InternalError"   "No response from the application."
#ifndef BRIDGE_ZARVO_APPLICATION_BRIDGE_H
#define BRIDGE_ZARVO_APPLICATION_BRIDGE_H

#include <cstdint>

#include "bridge/bridge_template.h"
#include "pocketjson/value.h"

namespace bridge {

class ZarvoApplicationBridge : public BridgeTemplate {
 public:
  // Forwards the request; 200 with {"data":…,"statuscode":…}, or throws BridgeResultError.
  BridgeResult Post(const BridgeData& data) override;
};

}  // namespace bridge

namespace zarvo {

// The answer to one ZrvBridgeCross: lives in the handler's frame for one call and is the
// callback's context.
struct BridgeCrossResponse {
  bool received = false;   //!< the callback has run for this request
  int32_t statusCode = 0;  //!< the status the application reported
  pocketjson::Value data;  //!< the parsed answer; null until the callback stores it
};

// The response callback handed to ZrvBridgeCross. `json` must not be null; `context` is the
// caller's BridgeCrossResponse (null: nothing happens). Runs inside ZrvBridgeCross.
void OnBridgeResponse(int statusCode, const char* json, void* context);

}  // namespace zarvo

#endif  // BRIDGE_ZARVO_APPLICATION_BRIDGE_H
