// The plug-in pipeline: a whole call through the exported entry point and the stand-ins.
#include <cstdlib>
#include <string>

#include "bridge_helper_stand_in.h"
#include "pipelines.h"
#include "zarvo_bridging.h"
#include "zarvo_simulator.h"

namespace callbench {

const char kPost[] = "{\"method\":\"post\"}";
const char kParameters[] = "{\"name\":\"bench\"}";
const char kExtra[] = "{}";
const char kTinyBody[] = "{\"uri\":\"/ping\",\"requestData\":{\"id\":1},\"settings\":null}";
const char kTinyAnswer[] = "{\"ok\":true}";

Sink& sink() {
  static Sink theSink;
  return theSink;
}

std::string requestBody(const std::string& document) {
  return "{\"uri\":\"/document\",\"requestData\":" + document + "}";
}

namespace {

void onResponse(int, int status, const char* json, void*) {
  Sink& s = sink();
  ++s.responses;
  s.lastStatus = status;
  s.bytes += std::char_traits<char>::length(json);
}

bool callLogOn() {
  const char* setting = std::getenv("ZARVO_CALL_BENCH_LOG");
  return setting != nullptr && setting[0] != '\0' && setting[0] != '0';
}

// The simulator keeps the answer text pointer, so the text lives here.
std::string programmedAnswer;

void programAnswer(const std::string& answer) {
  programmedAnswer = answer;
  ZrvSimProgram p;
  ZrvSimDefaultProgram(&p);
  p.bridgeCrossStatus = 200;
  p.bridgeCrossAnswer = programmedAnswer.c_str();
  ZrvSimSetProgram(&p);
}

// Connects "bench" once; the connection lasts for the process.
void setUpHost() {
  static bool done = false;
  if (done) return;
  done = true;
  BridgeHelperStandInReset();
  BridgeHelperStandInSetResponseSink(onResponse, nullptr);
  ZrvSimReset();
  ZrvSimSetCallLogEnabled(callLogOn() ? 1 : 0);
  programAnswer(kTinyAnswer);
  ZarvoApplication(kPost, kParameters, kExtra, "");
  if (sink().lastStatus != 200) std::abort();
}

void preparePlugin(const std::string& answer) {
  setUpHost();
  programAnswer(answer);
  ZrvSimClearLog();
}

int callPlugin(const std::string& body, const std::string&) {
  ZarvoApplicationBridge(kPost, kParameters, kExtra, body.c_str());
  return sink().lastStatus;
}

}  // namespace

// The peers' pipelines, each defined in its own file when its library was found.
#ifdef ZARVO_CALL_BENCH_HAVE_NLOHMANN
int callNlohmann(const std::string& body, const std::string& answer);
#endif
#ifdef ZARVO_CALL_BENCH_HAVE_RAPIDJSON
int callRapidjson(const std::string& body, const std::string& answer);
#endif
#ifdef ZARVO_CALL_BENCH_HAVE_SIMDJSON
int callSimdjson(const std::string& body, const std::string& answer);
#endif

void deliver(int status, const char* text) {
  onResponse(0, status, text, nullptr);
}

const std::vector<Pipeline>& pipelines() {
  static const std::vector<Pipeline> all = {
      {"plug-in", callPlugin, preparePlugin},
#ifdef ZARVO_CALL_BENCH_HAVE_RAPIDJSON
      {"rapidjson", callRapidjson, nullptr},
#endif
#ifdef ZARVO_CALL_BENCH_HAVE_SIMDJSON
      {"simdjson", callSimdjson, nullptr},
#endif
#ifdef ZARVO_CALL_BENCH_HAVE_NLOHMANN
      {"nlohmann", callNlohmann, nullptr},
#endif
  };
  return all;
}

}  // namespace callbench
