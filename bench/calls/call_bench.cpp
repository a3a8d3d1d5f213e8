// call_bench: whole bridge-cross calls through the plug-in's exported entry point
// ZarvoApplicationBridge (stand-in host, simulated application library in programmed mode), next
// to the same pipeline written with RapidJSON, simdjson and nlohmann::json (see pipelines.h).
//
// Benchmark names are "<case>/<pipeline>":
//   case      "tiny call"                  a request whose data is a few bytes, a tiny answer
//             "<document> as request data" the corpus document as "requestData", a tiny answer
//             "<document> as answer"       a tiny request, the document as the application's answer
//   pipeline  plug-in, rapidjson, simdjson, nlohmann, and "simulator": the simulated library's
//             own share of a plug-in call (ZrvBridgeCross with the texts the plug-in passes),
//             measured alone so that the plug-in's time can be told from the stand-in's
// The time of an iteration is the time of one whole call. Every benchmark carries a label that
// says the same in words, and counters:
//   allocs_per_call   heap allocations per call, stand-ins included (allocation_count.h)
//   allocs_per_KiB    the same per KiB of the document (document cases)
//   bytes_per_second  bytes of the document per second (document cases)
//
// Documents: the folder compiled in as ZARVO_CALL_BENCH_CORPUS_DIR, or $ZARVO_CALL_BENCH_CORPUS.
// The simulator's call log is off unless ZARVO_CALL_BENCH_LOG=1.
#include <benchmark/benchmark.h>
#include <dirent.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "allocation_count.h"
#include "pipelines.h"
#include "zarvo_bridging.h"
#include "zarvo_simulator.h"

namespace callbench {
namespace {

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

// What one benchmark sends: the request body, the application's answer, and the document size
// that the byte counters refer to (0 for the tiny call).
struct Case {
  std::string title;
  std::string body;
  std::string answer;
  size_t documentBytes;
};

void setCounters(benchmark::State& state, const Case& c, uint64_t allocations) {
  const double calls = static_cast<double>(state.iterations());
  state.counters["allocs_per_call"] = static_cast<double>(allocations) / calls;
  if (c.documentBytes > 0) {
    state.counters["allocs_per_KiB"] =
        static_cast<double>(allocations) / calls / (static_cast<double>(c.documentBytes) / 1024.0);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(c.documentBytes));
  }
}

void runPipeline(benchmark::State& state, const Pipeline& pipeline, const Case& c) {
  if (pipeline.prepare != nullptr) pipeline.prepare(c.answer);
  state.SetLabel(std::string(pipeline.name) + " pipeline, one whole call: " + c.title);
  const long before = sink().responses;
  const uint64_t allocationsBefore = allocationCount();
  for (auto _ : state) {
    if (pipeline.call(c.body, c.answer) != 200) {
      state.SkipWithError("the call was not answered with status 200");
      break;
    }
  }
  const uint64_t allocations = allocationCount() - allocationsBefore;
  if (sink().responses - before != static_cast<long>(state.iterations())) {
    state.SkipWithError("not every call delivered exactly one response");
  }
  setCounters(state, c, allocations);
}

void noAnswer(int, const char*, void*) {}

// The simulator alone: ZrvBridgeCross with exactly the texts the plug-in passes for the case
// (taken from the simulator's call log after one plug-in call), and the programmed answer.
void runSimulator(benchmark::State& state, const Case& c) {
  pipelines().front().prepare(c.answer);
  state.SetLabel("the simulated application library alone, its share of the plug-in's call: " +
                 c.title);
  ZrvSimSetCallLogEnabled(1);  // for this one call, whatever the run's setting
  ZarvoApplicationBridge(kPost, kParameters, kExtra, c.body.c_str());
  ZrvSimCall call;
  if (ZrvSimCallCount() != 1 || ZrvSimGetCall(0, &call) == 0 || call.argCount != 4) {
    state.SkipWithError("the plug-in call was not logged as one ZrvBridgeCross");
    return;
  }
  const auto handle = reinterpret_cast<ZrvApplicationHandle>(call.handle);
  const std::string target = call.args[0];
  const std::string uri = call.args[1];
  const std::string settings = call.args[2];
  const std::string requestData = call.args[3];
  pipelines().front().prepare(c.answer);  // back to the run's call log setting, log cleared
  const uint64_t allocationsBefore = allocationCount();
  for (auto _ : state) {
    benchmark::DoNotOptimize(ZrvBridgeCross(handle, target.c_str(), uri.c_str(), settings.c_str(),
                                            requestData.c_str(), noAnswer, nullptr));
  }
  setCounters(state, c, allocationCount() - allocationsBefore);
  ZrvSimClearLog();
}

std::vector<Case> cases(const std::vector<Document>& documents) {
  std::vector<Case> all;
  all.push_back(
      Case{"tiny call (request data {\"id\":1}, answer {\"ok\":true})", kTinyBody, kTinyAnswer, 0});
  for (const Document& d : documents) {
    const std::string size = std::to_string(d.text.size()) + " bytes";
    all.push_back(Case{d.name + ".json (" + size + ") as request data, tiny answer",
                       requestBody(d.text), kTinyAnswer, d.text.size()});
    all.push_back(Case{"tiny request, " + d.name + ".json (" + size + ") as the answer", kTinyBody,
                       d.text, d.text.size()});
  }
  return all;
}

std::string caseName(const std::vector<Document>& documents, size_t index) {
  if (index == 0) return "tiny call";
  const Document& d = documents[(index - 1) / 2];
  return d.name + ((index - 1) % 2 == 0 ? " as request data" : " as answer");
}

void registerAll(const std::vector<Document>& documents) {
  const std::vector<Case> all = cases(documents);
  for (size_t i = 0; i < all.size(); ++i) {
    const Case c = all[i];
    const std::string prefix = caseName(documents, i) + "/";
    const benchmark::TimeUnit unit = i == 0 ? benchmark::kNanosecond : benchmark::kMicrosecond;
    for (const Pipeline& p : pipelines()) {
      benchmark::RegisterBenchmark((prefix + p.name).c_str(), [p, c](benchmark::State& state) {
        runPipeline(state, p, c);
      })->Unit(unit);
    }
    benchmark::RegisterBenchmark((prefix + "simulator").c_str(), [c](benchmark::State& state) {
      runSimulator(state, c);
    })->Unit(unit);
  }
}

}  // namespace
}  // namespace callbench

int main(int argc, char** argv) {
  const std::vector<callbench::Document> documents = callbench::loadCorpus();
  if (documents.empty()) {
    std::fprintf(stderr, "call_bench: no documents found (set ZARVO_CALL_BENCH_CORPUS)\n");
  }
  callbench::registerAll(documents);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  TearDown();
  return 0;
}
