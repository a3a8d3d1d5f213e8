// Test helper: collects what the stand-in host receives through BridgeHelperSetResponse.
//
// Ownership: a ResponseCapture registers itself as the stand-in's response sink on construction
// and resets the stand-in (sinks, promise counter, call counters) both on construction and on
// destruction, so no test sees another test's state. Threads: responses are set on the calling
// thread; the stand-in serialises sink calls, so the vector needs no lock of its own.
#ifndef TESTS_BRIDGE_RESPONSE_CAPTURE_H
#define TESTS_BRIDGE_RESPONSE_CAPTURE_H

#include <string>
#include <vector>

#include "bridge_helper_stand_in.h"

namespace bridge_test {

struct Response {
  int promiseId = 0;
  int status = 0;
  std::string text;
};

class ResponseCapture {
 public:
  ResponseCapture() {
    BridgeHelperStandInReset();
    BridgeHelperStandInSetResponseSink(&ResponseCapture::onResponse, this);
  }
  ~ResponseCapture() { BridgeHelperStandInReset(); }
  ResponseCapture(const ResponseCapture&) = delete;
  ResponseCapture& operator=(const ResponseCapture&) = delete;

  // Every response received since construction, in order.
  const std::vector<Response>& responses() const { return responses_; }
  // The last response; a default Response when there is none.
  Response last() const { return responses_.empty() ? Response() : responses_.back(); }

 private:
  static void onResponse(int promiseId, int status, const char* json, void* userData) {
    static_cast<ResponseCapture*>(userData)->responses_.push_back(
        Response{promiseId, status, json != nullptr ? std::string(json) : std::string("<null>")});
  }

  std::vector<Response> responses_;
};

}  // namespace bridge_test

#endif  // TESTS_BRIDGE_RESPONSE_CAPTURE_H
