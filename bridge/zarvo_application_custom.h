// bridge::ZarvoApplicationCustom: have a connected application run a named custom task (POST) and
// answer with the type and answer it sends back.
//
// Design note
// -----------
// Post reads "name" from the URI parameters and "type", "data" and "target" from the body,
// serializes "data" to compact JSON text ("null" when absent) and calls ZrvExecuteCustomTask with
// zarvo::OnCustomTaskResponse and the address of a zarvo::CustomTaskResponse in its own frame.
// The exchange is synchronous: the library calls the callback at most once, before it returns,
// on the calling thread; the record is not locked.
//
// The result value is {"data":<answer>,"type":<type text>}, "type" present also when empty. An
// answer that is not valid JSON is not an error (ParseOption::kLenient, errors dropped).
//
// Failure (checked in this order):
//   empty name                         400 "BadRequestError" "URI parameter 'name' is empty."
//   unknown name                       400 "BadRequestError" "Application instance is not existed."
//   empty type                         400 "BadRequestError" "type is empty string."
//   ZrvExecuteCustomTask returns zero  500 "InternalError"   "No response from the application."
//   non-zero return, no callback       500 "InternalError"   "No response from the application."
#ifndef BRIDGE_ZARVO_APPLICATION_CUSTOM_H
#define BRIDGE_ZARVO_APPLICATION_CUSTOM_H

#include <string>

#include "bridge/bridge_template.h"
#include "pocketjson/value.h"

namespace bridge {

class ZarvoApplicationCustom : public BridgeTemplate {
 public:
  // Runs the task; 200 with {"data":…,"type":…}, or throws BridgeResultError.
  BridgeResult Post(const BridgeData& data) override;
};

}  // namespace bridge

namespace zarvo {

// The answer to one ZrvExecuteCustomTask: lives in the handler's frame for one call and is the
// callback's context.
struct CustomTaskResponse {
  bool received = false;   //!< the callback has run for this request
  std::string type;        //!< the first text the application passed back
  pocketjson::Value data;  //!< the parsed answer; null until the callback stores it
};

// The response callback handed to ZrvExecuteCustomTask. `type` and `json` must not be null;
// `context` is the caller's CustomTaskResponse (null: nothing happens). Runs inside the call.
void OnCustomTaskResponse(const char* type, const char* json, void* context);

}  // namespace zarvo

#endif  // BRIDGE_ZARVO_APPLICATION_CUSTOM_H
