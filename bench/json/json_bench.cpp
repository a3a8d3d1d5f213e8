// json_bench: parse and compact-serialize throughput of pocketjson, with nlohmann::json and
// RapidJSON side by side when they were found at configure time.
//
// Design note
// -----------
// Benchmarks are registered at run time, one per operation, library and document, named
// "<op>/<library>/<document>" (op: parse or serialize) so that bench/compare.py can pair them up.
// Throughput is reported through SetBytesProcessed: for parse the bytes of the input text, for
// serialize the bytes of the compact output text.
//
// Parse: each iteration builds a complete document from the text and destroys it again, so
// allocation and release are part of the cost for every library. Serialize: the document is parsed
// once before timing; each iteration writes it compactly into a fresh string.
//
// The documents are read once from POCKETJSON_BENCH_CORPUS (environment) or else from the folder
// compiled in by CMake. A missing or unparsable document turns its benchmarks into errors; the
// others still run. Single-threaded.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"

#if defined(POCKETJSON_BENCH_HAVE_NLOHMANN)
#include <nlohmann/json.hpp>
#endif
#if defined(POCKETJSON_BENCH_HAVE_RAPIDJSON)
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif

#ifndef POCKETJSON_BENCH_CORPUS_DIR
#define POCKETJSON_BENCH_CORPUS_DIR "."
#endif

namespace {

const char* const kDocuments[] = {"canada", "citm_catalog", "twitter"};

std::string corpusDir() {
  const char* env = std::getenv("POCKETJSON_BENCH_CORPUS");
  return (env != nullptr && *env != '\0') ? std::string(env)
                                          : std::string(POCKETJSON_BENCH_CORPUS_DIR);
}

// The text of a document, read once; an empty text with `error` set when it cannot be read.
struct Document {
  std::string text;
  std::string error;
};

const Document& document(const std::string& name) {
  static std::map<std::string, Document> cache;
  auto found = cache.find(name);
  if (found != cache.end()) return found->second;
  Document& doc = cache[name];
  const std::string path = corpusDir() + "/" + name + ".json";
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    doc.error = "cannot read " + path + " (set POCKETJSON_BENCH_CORPUS)";
    return doc;
  }
  std::ostringstream buffer;
  buffer << in.rdbuf();
  doc.text = buffer.str();
  if (doc.text.empty()) doc.error = path + " is empty";
  return doc;
}

// Serialize throughput counts each library's own output; the output size is reported too,
// since the libraries format doubles differently (pocketjson always with 17 significant digits).
void setOutputCounters(benchmark::State& state, size_t outputBytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(outputBytes));
  state.counters["output_bytes"] = static_cast<double>(outputBytes);
}

// ---- pocketjson ------------------------------------------------------------------------------

void parsePocketjson(benchmark::State& state, const std::string& name) {
  const Document& doc = document(name);
  if (!doc.error.empty()) return state.SkipWithError(doc.error.c_str());
  for (auto _ : state) {
    pocketjson::Value value;
    pocketjson::Parser parser;
    if (!parser.tryParse(value, doc.text)) {
      state.SkipWithError("pocketjson failed to parse the document");
      break;
    }
    benchmark::DoNotOptimize(value);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(doc.text.size()));
}

void serializePocketjson(benchmark::State& state, const std::string& name) {
  const Document& doc = document(name);
  if (!doc.error.empty()) return state.SkipWithError(doc.error.c_str());
  pocketjson::Value value;
  pocketjson::Parser parser;
  if (!parser.tryParse(value, doc.text)) {
    return state.SkipWithError("pocketjson failed to parse the document");
  }
  const pocketjson::Serializer serializer;
  const pocketjson::Serializer::Attributes attributes;
  const int depth = -1;
  size_t outputBytes = 0;
  for (auto _ : state) {
    std::string out;
    serializer.serialize(out, value, attributes, depth, nullptr);
    outputBytes = out.size();
    benchmark::DoNotOptimize(out.data());
  }
  setOutputCounters(state, outputBytes);
}

// ---- nlohmann::json --------------------------------------------------------------------------

#if defined(POCKETJSON_BENCH_HAVE_NLOHMANN)
void parseNlohmann(benchmark::State& state, const std::string& name) {
  const Document& doc = document(name);
  if (!doc.error.empty()) return state.SkipWithError(doc.error.c_str());
  for (auto _ : state) {
    nlohmann::json value = nlohmann::json::parse(doc.text, nullptr, /*allow_exceptions=*/false);
    if (value.is_discarded()) {
      state.SkipWithError("nlohmann::json failed to parse the document");
      break;
    }
    benchmark::DoNotOptimize(value);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(doc.text.size()));
}

void serializeNlohmann(benchmark::State& state, const std::string& name) {
  const Document& doc = document(name);
  if (!doc.error.empty()) return state.SkipWithError(doc.error.c_str());
  nlohmann::json value = nlohmann::json::parse(doc.text, nullptr, false);
  if (value.is_discarded()) return state.SkipWithError("nlohmann::json failed to parse");
  size_t outputBytes = 0;
  for (auto _ : state) {
    std::string out = value.dump();
    outputBytes = out.size();
    benchmark::DoNotOptimize(out.data());
  }
  setOutputCounters(state, outputBytes);
}
#endif

// ---- RapidJSON -------------------------------------------------------------------------------

#if defined(POCKETJSON_BENCH_HAVE_RAPIDJSON)
void parseRapidjson(benchmark::State& state, const std::string& name) {
  const Document& doc = document(name);
  if (!doc.error.empty()) return state.SkipWithError(doc.error.c_str());
  for (auto _ : state) {
    rapidjson::Document value;
    value.Parse(doc.text.c_str(), doc.text.size());
    if (value.HasParseError()) {
      state.SkipWithError("RapidJSON failed to parse the document");
      break;
    }
    benchmark::DoNotOptimize(value);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(doc.text.size()));
}

void serializeRapidjson(benchmark::State& state, const std::string& name) {
  const Document& doc = document(name);
  if (!doc.error.empty()) return state.SkipWithError(doc.error.c_str());
  rapidjson::Document value;
  value.Parse(doc.text.c_str(), doc.text.size());
  if (value.HasParseError()) return state.SkipWithError("RapidJSON failed to parse");
  size_t outputBytes = 0;
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    outputBytes = buffer.GetSize();
    benchmark::DoNotOptimize(buffer.GetString());
  }
  setOutputCounters(state, outputBytes);
}
#endif

using BenchFunction = void (*)(benchmark::State&, const std::string&);

struct Library {
  const char* name;
  BenchFunction parse;
  BenchFunction serialize;
};

const std::vector<Library>& libraries() {
  static const std::vector<Library> all = {
    {"pocketjson", parsePocketjson, serializePocketjson},
#if defined(POCKETJSON_BENCH_HAVE_NLOHMANN)
    {"nlohmann", parseNlohmann, serializeNlohmann},
#endif
#if defined(POCKETJSON_BENCH_HAVE_RAPIDJSON)
    {"rapidjson", parseRapidjson, serializeRapidjson},
#endif
  };
  return all;
}

void registerAll() {
  for (const char* op : {"parse", "serialize"}) {
    const bool parse = std::string(op) == "parse";
    for (const char* doc : kDocuments) {
      for (const Library& lib : libraries()) {
        const std::string name = std::string(op) + "/" + lib.name + "/" + doc;
        const std::string docName = doc;
        BenchFunction fn = parse ? lib.parse : lib.serialize;
        benchmark::RegisterBenchmark(name.c_str(), [fn, docName](benchmark::State& state) {
          fn(state, docName);
        })->Unit(benchmark::kMillisecond);
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  registerAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::AddCustomContext("corpus", corpusDir());
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
