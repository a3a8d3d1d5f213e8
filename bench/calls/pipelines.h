// The bridge-cross call pipelines that call_bench and call_instructions measure side by side.
//
// The plug-in pipeline is the real thing: ZarvoApplicationBridge through the stand-in host and the
// simulated application library (programmed mode, call log off unless ZARVO_CALL_BENCH_LOG=1).
// The peer pipelines do what the plug-in does for one call, written with another JSON library:
// parse the four request texts (a body that is not JSON becomes a string), select the method from
// "method" (lower-cased), read "name", "uri" and "target", write "requestData" and "settings" as
// texts for the application, parse the application's answer text, build
// {"error":null,"value":{"data":…,"statuscode":200}} and write it.
//   nlohmann   nlohmann::json (objects are sorted maps, so its text has the plug-in's key order)
//   rapidjson  RapidJSON at full precision; every object's members are stable-sorted by key,
//              recursively, after each parse (the sort is part of its time), so its text has the
//              plug-in's key order too
//   simdjson   simdjson's DOM with one reused parser, members in input order: an upper bound that
//              does less than the others (no sorted objects, no tree the caller could change)
// Single-threaded; every pipeline hands its response text to the same host-side sink.
#ifndef BENCH_CALLS_PIPELINES_H
#define BENCH_CALLS_PIPELINES_H

#include <string>
#include <vector>

namespace callbench {

extern const char kPost[];
extern const char kParameters[];
extern const char kExtra[];
extern const char kTinyBody[];
extern const char kTinyAnswer[];

// One pipeline: `call(body, answer)` performs one whole call and returns the response status.
struct Pipeline {
  const char* name;
  int (*call)(const std::string& body, const std::string& answer);
  // Called once before a run of calls with the same answer (the plug-in programs the simulator).
  void (*prepare)(const std::string& answer);
};

// The pipelines compiled into this binary, the plug-in first.
const std::vector<Pipeline>& pipelines();

// The host's side of every pipeline's response: counts responses and their bytes.
struct Sink {
  long responses = 0;
  size_t bytes = 0;
  int lastStatus = 0;
};
Sink& sink();
// Hands a peer pipeline's response to the sink, as the stand-in host does for the plug-in's.
void deliver(int status, const char* text);

// The body of a request that carries `document` as "requestData".
std::string requestBody(const std::string& document);

}  // namespace callbench

#endif  // BENCH_CALLS_PIPELINES_H
