// call_instructions: runs a fixed number of calls of one pipeline inside one function,
// zarvo_measured_calls, for bench/callgrind.sh, which counts the instructions executed inside it
// (valgrind --tool=callgrind --toggle-collect=zarvo_measured_calls) and divides by the number
// of calls. The set-up (loading the document, connecting, a first warm-up call) stays outside.
//
//   call_instructions <pipeline> tiny <calls>
//   call_instructions <pipeline> request|answer <document.json> <calls>
// Prints "<calls> calls, <allocations> allocations" for the measured calls; exit 1 on a failed
// call or bad arguments.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "allocation_count.h"
#include "pipelines.h"
#include "zarvo_bridging.h"

extern "C" __attribute__((noinline)) int zarvo_measured_calls(const callbench::Pipeline* pipeline,
                                                              const std::string* body,
                                                              const std::string* answer,
                                                              long calls) {
  int failures = 0;
  for (long i = 0; i < calls; ++i) {
    if (pipeline->call(*body, *answer) != 200) ++failures;
  }
  return failures;
}

namespace {

int usage() {
  std::fprintf(stderr,
               "usage: call_instructions <pipeline> tiny <calls>\n"
               "       call_instructions <pipeline> request|answer <document.json> <calls>\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return usage();
  const callbench::Pipeline* pipeline = nullptr;
  for (const callbench::Pipeline& p : callbench::pipelines()) {
    if (std::strcmp(p.name, argv[1]) == 0) pipeline = &p;
  }
  if (pipeline == nullptr) {
    std::fprintf(stderr, "call_instructions: no pipeline %s here\n", argv[1]);
    return 2;
  }
  const std::string mode = argv[2];
  std::string body = callbench::kTinyBody;
  std::string answer = callbench::kTinyAnswer;
  if (mode == "request" || mode == "answer") {
    if (argc != 5) return usage();
    std::ifstream in(argv[3], std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "call_instructions: cannot read %s\n", argv[3]);
      return 2;
    }
    std::ostringstream text;
    text << in.rdbuf();
    (mode == "request" ? body : answer) =
        mode == "request" ? callbench::requestBody(text.str()) : text.str();
  } else if (mode != "tiny" || argc != 4) {
    return usage();
  }
  const long calls = std::strtol(argv[argc - 1], nullptr, 10);
  if (calls <= 0) return usage();
  if (pipeline->prepare != nullptr) pipeline->prepare(answer);
  if (pipeline->call(body, answer) != 200) return 1;  // warm-up, outside the measured function
  const uint64_t before = callbench::allocationCount();
  const int failures = zarvo_measured_calls(pipeline, &body, &answer, calls);
  const uint64_t allocations = callbench::allocationCount() - before;
  std::printf("%ld calls, %llu allocations\n", calls, static_cast<unsigned long long>(allocations));
  TearDown();
  return failures == 0 ? 0 : 1;
}
