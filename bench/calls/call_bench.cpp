// call_bench: whole host calls through the plug-in's exported entry point ZarvoApplicationBridge,
// with the stand-in host and the simulated application library in programmed mode, next to the
// same request pipeline written with nlohmann::json.
//
// Benchmarks (names are <what>/<document>/<implementation>):
//   TinyCall/pocketjson            a tiny bridge-cross request and answer: time per call
//   TinyCall/nlohmann              the same pipeline on nlohmann::json
//   Request/<doc>/pocketjson       the document as "requestData" (serialized again for the
//                                  application), a tiny answer: bytes/s of the document
//   Answer/<doc>/pocketjson        a tiny request, the document as the application's answer
//                                  (parsed, wrapped, serialized into the response)
//   Request|Answer/<doc>/nlohmann  the same pipelines on nlohmann::json
//   Request|Answer/<doc>/simulator the simulated library's own share of a plug-in call, measured
//                                  alone, so that the plug-in's time can be told from the
//                                  stand-in's
//
// The simulator's call log (a copy of every text argument per call) is a cost of the stand-in,
// not of the plug-in, so it is switched off for the whole run (ZrvSimSetCallLogEnabled(0)). Set
// ZARVO_CALL_BENCH_LOG=1 to keep it on and measure the plug-in calls with it.
//
// The nlohmann pipeline does what the plug-in does for one call: parse the four request texts
// (a body that is not JSON becomes a string), select the method from "method" (lower-cased), read
// "name", "uri" and "target", serialize "requestData" and "settings", parse the answer text,
// build {"data":…,"statuscode":…} and the envelope {"error":null,"value":…}, and serialize it.
//
// Documents: the folder compiled in as ZARVO_CALL_BENCH_CORPUS_DIR, or $ZARVO_CALL_BENCH_CORPUS.
#include <benchmark/benchmark.h>
#include <dirent.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "bridge_helper_stand_in.h"
#include "zarvo_bridging.h"
#include "zarvo_simulator.h"

#ifdef ZARVO_CALL_BENCH_HAVE_NLOHMANN
#include <nlohmann/json.hpp>
#endif

namespace {

const char kPost[] = "{\"method\":\"post\"}";
const char kParameters[] = "{\"name\":\"bench\"}";
const char kExtra[] = "{}";
const char kTinyBody[] = "{\"uri\":\"/ping\",\"requestData\":{\"id\":1},\"settings\":null}";
const char kTinyAnswer[] = "{\"ok\":true}";

// The host's side of a response: the length is kept so that the text is looked at.
size_t responseBytes = 0;
long responses = 0;
int lastStatus = 0;

void onResponse(int, int status, const char* json, void*) {
  ++responses;
  lastStatus = status;
  responseBytes += std::char_traits<char>::length(json);
}

struct Document {
  std::string name;
  std::string text;
};

std::vector<Document> loadCorpus() {
  const char* fromEnvironment = std::getenv("ZARVO_CALL_BENCH_CORPUS");
  const std::string folder =
      fromEnvironment != nullptr ? fromEnvironment : ZARVO_CALL_BENCH_CORPUS_DIR;
  std::vector<Document> documents;
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return documents;
  while (dirent* entry = readdir(dir)) {
    const std::string file = entry->d_name;
    if (file.size() < 6 || file.compare(file.size() - 5, 5, ".json") != 0) continue;
    std::ifstream in(folder + "/" + file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    documents.push_back(Document{file.substr(0, file.size() - 5), text.str()});
  }
  closedir(dir);
  std::sort(documents.begin(), documents.end(),
            [](const Document& a, const Document& b) { return a.name < b.name; });
  return documents;
}

// Programs the simulator's answer and connects "bench" once; the program persists.
void program(const std::string& answer) {
  ZrvSimProgram p;
  ZrvSimDefaultProgram(&p);
  p.bridgeCrossStatus = 200;
  p.bridgeCrossAnswer = answer.c_str();
  ZrvSimSetProgram(&p);
}

// Whether the simulator's call log stays on during the measurements.
bool callLogOn() {
  const char* setting = std::getenv("ZARVO_CALL_BENCH_LOG");
  return setting != nullptr && setting[0] != '\0' && setting[0] != '0';
}

void setUpHost() {
  static bool done = false;
  if (done) return;
  done = true;
  BridgeHelperStandInReset();
  BridgeHelperStandInSetResponseSink(onResponse, nullptr);
  ZrvSimReset();
  ZrvSimSetCallLogEnabled(callLogOn() ? 1 : 0);
  program(kTinyAnswer);
  ZarvoApplication(kPost, kParameters, kExtra, "");
  if (lastStatus != 200) std::abort();
}

// Runs plug-in calls; the simulator's call log is cleared every `clearEvery` calls (it keeps a
// copy of every argument).
void runPlugin(benchmark::State& state, const std::string& body, const std::string& answer,
               size_t bytes, int clearEvery) {
  setUpHost();
  program(answer);
  responses = 0;
  int sinceClear = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ZarvoApplicationBridge(kPost, kParameters, kExtra, body.c_str()));
    if (++sinceClear == clearEvery) {
      ZrvSimClearLog();
      sinceClear = 0;
    }
  }
  ZrvSimClearLog();
  if (lastStatus != 200 || responses != static_cast<long>(state.iterations())) {
    state.SkipWithError("a call was not answered with status 200");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
  program(kTinyAnswer);
}

void noAnswer(int, const char*, void*) {}

// The simulator alone: ZrvBridgeCross with exactly the texts the plug-in passes for `body`
// (taken from the simulator's call log after one plug-in call), and the programmed answer.
void runSimulator(benchmark::State& state, const std::string& body, const std::string& answer,
                  size_t bytes) {
  setUpHost();
  program(answer);
  ZrvSimClearLog();
  ZrvSimSetCallLogEnabled(1);  // for this one call, whatever the run's setting
  ZarvoApplicationBridge(kPost, kParameters, kExtra, body.c_str());
  ZrvSimSetCallLogEnabled(callLogOn() ? 1 : 0);
  ZrvSimCall call;
  if (ZrvSimCallCount() != 1 || ZrvSimGetCall(0, &call) == 0 || call.argCount != 4) {
    state.SkipWithError("the plug-in call was not logged as one ZrvBridgeCross");
    return;
  }
  const ZrvApplicationHandle handle = reinterpret_cast<ZrvApplicationHandle>(call.handle);
  const std::string target = call.args[0];
  const std::string uri = call.args[1];
  const std::string settings = call.args[2];
  const std::string requestData = call.args[3];
  ZrvSimClearLog();
  // The log is cleared as often as in the matching plug-in benchmark.
  const int clearEvery = bytes > 0 ? 1 : 4096;
  int sinceClear = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ZrvBridgeCross(handle, target.c_str(), uri.c_str(), settings.c_str(),
                                            requestData.c_str(), noAnswer, nullptr));
    if (++sinceClear == clearEvery) {
      ZrvSimClearLog();
      sinceClear = 0;
    }
  }
  ZrvSimClearLog();
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
  program(kTinyAnswer);
}

#ifdef ZARVO_CALL_BENCH_HAVE_NLOHMANN
using nlohmann::json;

json parseText(const char* text) {
  // A UTF-8 byte-order mark is skipped, as the plug-in does; a failed parse stays "discarded".
  if (static_cast<unsigned char>(text[0]) == 0xEF && static_cast<unsigned char>(text[1]) == 0xBB &&
      static_cast<unsigned char>(text[2]) == 0xBF) {
    text += 3;
  }
  return json::parse(text, nullptr, false);
}

std::string textOf(const json& holder, const char* key) {
  if (!holder.is_object()) return std::string();
  const auto it = holder.find(key);
  if (it == holder.end()) return std::string();
  if (it->is_string()) return it->get<std::string>();
  if (it->is_boolean() || it->is_number()) return it->dump();
  return std::string();
}

std::string dumpMember(const json& holder, const char* key) {
  if (!holder.is_object()) return "null";
  const auto it = holder.find(key);
  return it == holder.end() ? std::string("null") : it->dump();
}

// One call of the bridge-cross pipeline; the application's answer is `answerText`.
std::string nlohmannCall(const char* options, const char* parameters, const char* extra,
                         const char* body, const std::string& answerText, int& status) {
  json data[4] = {parseText(options), parseText(parameters), parseText(extra), parseText(body)};
  if (data[3].is_discarded() && body[0] != '\0') data[3] = std::string(body);
  std::string method = textOf(data[0], "method");
  for (char& c : method) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (method != "post") {
    status = 405;
    return "{\"error\":{\"message\":\"GET method is not allowed.\",\"name\":\"MethodError\"},"
           "\"value\":null}";
  }
  const std::string name = textOf(data[1], "name");
  const std::string uri = textOf(data[3], "uri");
  const std::string target = textOf(data[3], "target");
  if (name.empty() || uri.empty()) {
    status = 400;
    return "{\"error\":{\"message\":\"uri is empty string.\",\"name\":\"BadRequestError\"},"
           "\"value\":null}";
  }
  const std::string requestData = dumpMember(data[3], "requestData");
  const std::string settings = dumpMember(data[3], "settings");
  benchmark::DoNotOptimize(requestData.data());
  benchmark::DoNotOptimize(settings.data());
  // What the application sends back, parsed as the answer callback does.
  json answer = parseText(answerText.c_str());
  if (answer.is_discarded()) answer = nullptr;
  json value = json::object();
  value["data"] = std::move(answer);
  value["statuscode"] = 200;
  json envelope = json::object();
  envelope["error"] = nullptr;
  envelope["value"] = std::move(value);
  status = 200;
  return envelope.dump();
}

void runNlohmann(benchmark::State& state, const std::string& body, const std::string& answer,
                 size_t bytes) {
  int status = 0;
  for (auto _ : state) {
    std::string text = nlohmannCall(kPost, kParameters, kExtra, body.c_str(), answer, status);
    onResponse(0, status, text.c_str(), nullptr);
  }
  if (status != 200) state.SkipWithError("the nlohmann pipeline did not answer 200");
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}
#endif

void registerAll(const std::vector<Document>& documents) {
  const std::string tinyBody = kTinyBody;
  const std::string tinyAnswer = kTinyAnswer;
  benchmark::RegisterBenchmark("TinyCall/pocketjson", [=](benchmark::State& state) {
    runPlugin(state, tinyBody, tinyAnswer, 0, 4096);
  });
  benchmark::RegisterBenchmark("TinyCall/simulator", [=](benchmark::State& state) {
    runSimulator(state, tinyBody, tinyAnswer, 0);
  });
#ifdef ZARVO_CALL_BENCH_HAVE_NLOHMANN
  benchmark::RegisterBenchmark("TinyCall/nlohmann", [=](benchmark::State& state) {
    runNlohmann(state, tinyBody, tinyAnswer, 0);
  });
#endif
  for (const Document& document : documents) {
    const std::string requestBody = "{\"uri\":\"/document\",\"requestData\":" + document.text + "}";
    const size_t bytes = document.text.size();
    const std::string& text = document.text;
    const std::string prefix = "Request/" + document.name + "/";
    benchmark::RegisterBenchmark((prefix + "pocketjson").c_str(), [=](benchmark::State& state) {
      runPlugin(state, requestBody, tinyAnswer, bytes, 1);
    })->Unit(benchmark::kMillisecond);
#ifdef ZARVO_CALL_BENCH_HAVE_NLOHMANN
    benchmark::RegisterBenchmark((prefix + "nlohmann").c_str(), [=](benchmark::State& state) {
      runNlohmann(state, requestBody, tinyAnswer, bytes);
    })->Unit(benchmark::kMillisecond);
#endif
    benchmark::RegisterBenchmark((prefix + "simulator").c_str(), [=](benchmark::State& state) {
      runSimulator(state, requestBody, tinyAnswer, bytes);
    })->Unit(benchmark::kMillisecond);

    const std::string answerPrefix = "Answer/" + document.name + "/";
    benchmark::RegisterBenchmark(
        (answerPrefix + "pocketjson").c_str(),
        [=](benchmark::State& state) { runPlugin(state, tinyBody, text, bytes, 1); })
        ->Unit(benchmark::kMillisecond);
#ifdef ZARVO_CALL_BENCH_HAVE_NLOHMANN
    benchmark::RegisterBenchmark((answerPrefix + "nlohmann").c_str(), [=](benchmark::State& state) {
      runNlohmann(state, tinyBody, text, bytes);
    })->Unit(benchmark::kMillisecond);
#endif
    benchmark::RegisterBenchmark(
        (answerPrefix + "simulator").c_str(),
        [=](benchmark::State& state) { runSimulator(state, tinyBody, text, bytes); })
        ->Unit(benchmark::kMillisecond);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<Document> documents = loadCorpus();
  if (documents.empty()) {
    std::fprintf(stderr, "call_bench: no documents found (set ZARVO_CALL_BENCH_CORPUS)\n");
  }
  registerAll(documents);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  TearDown();
  return 0;
}
