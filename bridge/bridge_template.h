// BridgeTemplate: the base of every bridge resource, and the one path every host call takes.
//
// operator() obtains a promise identifier from the host, parses the four request texts into a
// BridgeData, selects the handler from the request's "method", runs it, turns what it returned or
// threw into one JSON envelope {"error":...,"value":...} and hands it to the host with the status
// code, exactly once, before it returns the promise identifier.
//
// A resource overrides only the handlers it supports; the defaults refuse the method with 405
// "MethodError". BridgeTemplate has no data members: an instance is nothing but its virtual
// table, so entry points create one on the stack for every call.
//
// Threads: the frame takes no lock and keeps nothing between calls.
#ifndef BRIDGE_BRIDGE_TEMPLATE_H
#define BRIDGE_BRIDGE_TEMPLATE_H

#include "bridge/bridge_result.h"
#include "pocketjson/text_buffer.h"

namespace bridge {

class BridgeTemplate {
 public:
  BridgeTemplate() = default;
  BridgeTemplate(const BridgeTemplate&) = delete;
  BridgeTemplate& operator=(const BridgeTemplate&) = delete;
  virtual ~BridgeTemplate() = default;

  // Parses the four texts, dispatches by method, runs the hooks; returns the final result.
  // A null pointer for any text is not supported.
  virtual BridgeResult execute(const char* options, const char* parameters, const char* extra,
                               const char* body);
  // Hook before the handler; does nothing by default.
  virtual void onBeginBridge(const BridgeData& data);
  // Hook after the handler with the final result (errors included); does nothing by default.
  virtual void onEndBridge(const BridgeData& data, const BridgeResult& result);

  // Method handlers. Each default throws BridgeResultError 405 "MethodError" with the message
  // "GET method is not allowed." (PUT, POST, DELETE likewise) and never returns.
  virtual BridgeResult Get(const BridgeData& data);
  virtual BridgeResult Put(const BridgeData& data);
  virtual BridgeResult Post(const BridgeData& data);
  virtual BridgeResult Delete(const BridgeData& data);

  // The whole call: promise identifier, execute, envelope, BridgeHelperSetResponse exactly once.
  // Returns the promise identifier.
  int operator()(const char* options, const char* parameters, const char* extra, const char* body);

  // The envelope text for a result (compact): {"error":null|{...},"value":...}.
  static std::string envelope(const BridgeResult& result);
  // The same text appended to `text`; operator() builds it in a buffer on its stack, so a short
  // envelope is sent without a heap allocation.
  static void writeEnvelope(pocketjson::TextBuffer& text, const BridgeResult& result);
};

}  // namespace bridge

#endif  // BRIDGE_BRIDGE_TEMPLATE_H
