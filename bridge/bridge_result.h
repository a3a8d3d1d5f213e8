// The records that pass between the request frame and the resource handlers.
//
// BridgeData is the parsed request a handler reads; BridgeResult is what a handler returns;
// BridgeResultError is what a handler throws to fail (the frame catches it by reference). All are
// values created per call; their pocketjson members share containers with the values they were
// copied from, so copying a result is cheap.
//
// How a handler reports its outcome:
//   success: return a BridgeResult with code 200, empty error texts, null details and the answer
//            in `value` (see BridgeResult::ok);
//   failure: throw BridgeResultError(code, name, message).
#ifndef BRIDGE_BRIDGE_RESULT_H
#define BRIDGE_BRIDGE_RESULT_H

#include <cstdint>
#include <string>

#include "pocketjson/value.h"

namespace bridge {

// Status code handed to the host beside the response text; the values mean what the HTTP status
// codes of the same numbers mean.
enum BridgeStatusCode : int32_t {
  kBridgeStatusOK = 200,                   //!< every successful handler result
  kBridgeStatusBadRequest = 400,           //!< "BadRequestError"
  kBridgeStatusMethodNotAllowed = 405,     //!< "MethodError"
  kBridgeStatusInternalServerError = 500,  //!< "InternalError", "UnknownError"
};

// The parsed request: one value per request text of the host call, in argument order.
struct BridgeData {
  pocketjson::Value options;     //!< request options; the frame reads "method"
  pocketjson::Value parameters;  //!< URI parameters; resources read "name" and "type"
  pocketjson::Value extra;       //!< the third text, parsed; read by no resource
  pocketjson::Value body;        //!< the body as JSON, or its raw text as a string
};

// The error part of a result; empty name, message and details mean "no error".
struct BridgeError {
  std::string name;           //!< e.g. "MethodError"
  std::string message;        //!< e.g. "GET method is not allowed."
  pocketjson::Value details;  //!< an object here is the base of the response's "error" object
};

// What a handler returns.
struct BridgeResult {
  BridgeResult() = default;
  BridgeResult(const BridgeResult&) = default;
  BridgeResult(BridgeResult&&) = default;
  ~BridgeResult() = default;
  // Copies code, name and message; details and value share the source's values. Self-assignment
  // leaves everything as it is.
  BridgeResult& operator=(const BridgeResult& other);
  // Copies code; swaps name, message, details and value with the source (the values only when
  // source and target differ). The source is left with the target's former contents.
  BridgeResult& operator=(BridgeResult&& other) noexcept;

  // A successful result: code 200, no error, `answer` as the value.
  static BridgeResult ok(const pocketjson::Value& answer = pocketjson::Value());

  // True when the error's name or message is non-empty, or details is a non-empty object, array
  // or string.
  bool hasError() const;

  BridgeStatusCode code = kBridgeStatusOK;
  BridgeError error;
  pocketjson::Value value;
};

// The exception type of the bridge: handlers throw it by value, the frame catches it by
// reference. No members of its own, so it slices into a BridgeResult without loss.
struct BridgeResultError : BridgeResult {
  // `code`, and an error of `name` and `message` with null details; `value` stays null.
  BridgeResultError(const BridgeStatusCode& statusCode, const std::string& name,
                    const std::string& message);
};

}  // namespace bridge

#endif  // BRIDGE_BRIDGE_RESULT_H
