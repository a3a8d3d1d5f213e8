// zarvo_host: the reference host. Reads the command line, loads the application description and
// the plug-in, and runs the chosen steps through a Session; see `zarvo_host --help`.
//
// Exit status: 0 every expectation held, 1 some failed, 2 usage or input error.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "command_line.h"
#include "plugin.h"
#include "script.h"
#include "serve/serve_main.h"
#include "session.h"
#include "transcript.h"
#include "zarvo_simulator.h"

namespace zarvo_host {
namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitInput = 2;

bool useColor(const Options& options) {
  if (options.json || options.color == 0) return false;
  if (options.color == 1) return true;
  return isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
}

// The steps of a script file, -e options or the call words; false after reporting problems.
bool collectSteps(const Options& options, std::vector<Step>* steps, Transcript& transcript) {
  std::vector<std::string> problems;
  if (options.mode == Mode::kScript) {
    std::ifstream in(options.script, std::ios::in | std::ios::binary);
    if (!in) {
      transcript.problem(options.script + ": cannot open the script: " + std::strerror(errno));
      return false;
    }
    // A directory opens like a file but reads as nothing; say so instead of running no steps.
    struct stat info;
    if (stat(options.script.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
      transcript.problem(options.script + ": cannot read the script: " + std::strerror(EISDIR));
      return false;
    }
    *steps = readScript(in, options.script, &problems);
    if (in.bad()) problems.push_back(options.script + ": cannot read the script");
  } else if (options.mode == Mode::kSteps) {
    for (size_t i = 0; i < options.steps.size(); ++i) {
      const Location where{"<command line>", i + 1};
      Step step;
      std::string problem;
      const LineKind kind = parseScriptLine(options.steps[i], where, &step, &problem);
      if (kind == LineKind::kStep) steps->push_back(step);
      if (kind == LineKind::kError) problems.push_back(where.text() + ": " + problem);
    }
  } else if (options.mode == Mode::kCall) {
    const std::vector<std::string> texts(options.callWords.begin() + 2, options.callWords.end());
    Step step;
    std::string problem;
    if (makeCommandLineCall(options.callWords[0], options.callWords[1], texts,
                            Location{"<command line>", 1}, &step, &problem)) {
      steps->push_back(step);
    } else {
      problems.push_back("<command line>: " + problem);
    }
  }
  for (const std::string& problem : problems) transcript.problem(problem);
  return problems.empty();
}

int run(const Options& options) {
  Transcript transcript(stdout, stderr, options.json, useColor(options));

  std::vector<Step> steps;
  if (options.mode != Mode::kInteractive && !collectSteps(options, &steps, transcript)) {
    return kExitInput;
  }

  char error[1024] = {0};
  if (ZrvSimLoadDescription(options.apps.c_str(), error, sizeof error) == 0) {
    transcript.problem(error[0] != '\0'
                           ? std::string(error)
                           : options.apps + ": cannot load the application description");
    return kExitInput;
  }
  Plugin plugin;
  std::string problem;
  if (!plugin.load(options.plugin, &problem)) {
    transcript.problem(problem);
    return kExitInput;
  }

  transcript.start(plugin.path(), options.apps);
  Session session(plugin, transcript, options.timeoutMs);
  session.attach();
  Location last{"<end>", 0};
  long badLines = 0;
  if (options.mode == Mode::kInteractive) {
    if (isatty(STDIN_FILENO) == 1) {
      std::fputs("Reading steps from standard input, one JSON object per line; end with Ctrl-D.\n",
                 stderr);
    }
    std::string line;
    Location where{"<stdin>", 0};
    while (std::getline(std::cin, line)) {
      ++where.line;
      Step step;
      switch (parseScriptLine(line, where, &step, &problem)) {
        case LineKind::kSkip:
          break;
        case LineKind::kStep:
          session.run(step);
          break;
        case LineKind::kError:
          transcript.problem(where.text() + ": " + problem);
          ++badLines;
          break;
      }
    }
    last = Location{"<stdin>", where.line};
  } else {
    for (const Step& step : steps) session.run(step);
    if (!steps.empty()) last = steps.back().where;
  }
  session.finish(last);
  Totals totals = session.totals();
  totals.badLines = badLines;
  transcript.summary(totals);
  if (badLines > 0) return kExitInput;
  return totals.failed == 0 ? kExitOk : kExitFailed;
}

}  // namespace
}  // namespace zarvo_host

int main(int argc, char** argv) {
  using namespace zarvo_host;
  // `zarvo_host serve ...` is its own mode with its own options.
  if (argc >= 2 && std::strcmp(argv[1], "serve") == 0) return serve::runServe(argc, argv, 2);
  Options options;
  std::string problem;
  if (!parseCommandLine(argc, argv, &options, &problem)) {
    std::fprintf(stderr, "zarvo_host: %s\nTry 'zarvo_host --help'.\n", problem.c_str());
    return kExitInput;
  }
  if (options.mode == Mode::kHelp) {
    std::fputs(helpText().c_str(), stdout);
    return kExitOk;
  }
  return run(options);
}
