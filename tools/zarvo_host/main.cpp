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
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "command_line.h"
#include "host_core/description_file.h"
#include "host_core/json_text.h"
#include "host_core/plugin.h"
#include "interactive.h"
#include "line_reader.h"
#include "script.h"
#ifdef ZARVO_HOST_WITH_SERVE
#include "serve/serve_main.h"
#endif
#include "session.h"
#include "transcript.h"
#include "version.h"
#include "zarvo_simulator.h"

namespace zarvo_host {

using host_core::parseJson;
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

// The application names of the description, offered by Tab completion; empty when the file
// cannot be read again (it was loaded already, so this costs nothing but a missed offer).
std::vector<std::string> applicationNames(const std::string& apps) {
  std::ifstream in(apps, std::ios::in | std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  pocketjson::Value description;
  std::string error;
  std::vector<std::string> names;
  if (!parseJson(text, &description, &error)) return names;
  const pocketjson::Value& applications = description.get("applications");
  if (!applications.isObject()) return names;
  for (const auto& member : applications.asObject()) names.push_back(member.first);
  return names;
}

// `path` relative to the working directory when it lies below it, for a shorter first line
// (the compiled-in defaults are absolute).
std::string displayPath(const std::string& path) {
  char buffer[4096];
  if (getcwd(buffer, sizeof buffer) == nullptr) return path;
  const std::string prefix = std::string(buffer) + "/";
  if (path.size() > prefix.size() && path.compare(0, prefix.size(), prefix) == 0) {
    return path.substr(prefix.size());
  }
  return path;
}

// Standard input, edited on a terminal and read plainly otherwise.
InteractiveOutcome readInteractively(const Options& options, Session& session,
                                     Transcript& transcript) {
  if (isatty(STDIN_FILENO) != 1) {
    const std::unique_ptr<LineReader> reader = makeStreamReader(std::cin);
    return runInteractive(*reader, session, transcript);
  }
  std::fputs(
      "zarvo_host: one step per line, as words or JSON; help lists them, Tab completes, the up "
      "arrow recalls, Ctrl-D ends.\n",
      stderr);
  TerminalOptions terminal;
  terminal.applications = applicationNames(options.applications);
  // Events that arrive while a line is edited are shown above it, not written into it.
  terminal.holdOutput = [&transcript](std::function<void()> wake) {
    transcript.hold(std::move(wake));
  };
  terminal.takeOutput = [&transcript] { return transcript.takeHeld(); };
  terminal.releaseOutput = [&transcript] { transcript.release(); };
  if (options.history) {
    terminal.historyFile = options.historyFile.empty() ? defaultHistoryFile() : options.historyFile;
  }
  const std::unique_ptr<LineReader> reader = makeTerminalReader(terminal);
  return runInteractive(*reader, session, transcript);
}

#ifdef ZARVO_HOST_WITH_SERVE
int serveMode(const serve::ServeOptions& options) {
  return serve::runServe(options);
}
#else
int serveMode(const serve::ServeOptions& /*options*/) {
  std::fputs(
      "zarvo_host: this build has no web host: Boost.Beast was not found when it was configured "
      "(Debian: apt-get install -y libboost-dev)\n",
      stderr);
  return kExitInput;
}
#endif

int run(const Options& options) {
  const std::unique_ptr<Transcript> output =
      makeTranscript(stdout, stderr, options.json, useColor(options));
  Transcript& transcript = *output;
  // Before the application library starts its threads, which inherit the blocked signal.
  if (options.mode == Mode::kInteractive && isatty(STDIN_FILENO) == 1) blockInterrupts();

  std::vector<Step> steps;
  if (options.mode != Mode::kInteractive && !collectSteps(options, &steps, transcript)) {
    return kExitInput;
  }

  std::string description;
  std::string problem;
  if (!host_core::loadDescription(options.applications, &description, &problem)) {
    transcript.problem(problem);
    return kExitInput;
  }
  std::optional<host_core::Plugin> plugin = host_core::Plugin::open(options.plugin, &problem);
  if (!plugin) {
    transcript.problem(problem);
    return kExitInput;
  }
  // The session tears down as its script says (or at its end) and the process ends right after:
  // unloading would only add the plug-in's own unload work to the exit the transcript shows.
  plugin->keepLoaded();

  transcript.start(displayPath(plugin->path()), displayPath(options.applications));
  Session session(*plugin, transcript, options.timeoutMs);
  session.attach();
  Location last{"<end>", 0};
  long badLines = 0;
  if (options.mode == Mode::kInteractive) {
    const InteractiveOutcome outcome = readInteractively(options, session, transcript);
    badLines = outcome.badLines;
    last = outcome.last;
  } else {
    for (const Step& step : steps) session.run(step);
    if (!steps.empty()) last = steps.back().where;
  }
  session.finish(last);
  Totals totals = session.totals();
  totals.badLines += badLines;
  transcript.summary(totals);
  if (totals.badLines > 0) return kExitInput;
  return totals.failed == 0 ? kExitOk : kExitFailed;
}

}  // namespace
}  // namespace zarvo_host

int main(int argc, char** argv) {
  using namespace zarvo_host;
  const CommandLine line = parseCommandLine(std::vector<std::string>(argv, argv + argc));
  switch (line.options.mode) {
    case Mode::kHelp:
      std::fputs(line.text.c_str(), stdout);
      return kExitOk;
    case Mode::kVersion:
      std::fputs(versionText().c_str(), stdout);
      return kExitOk;
    case Mode::kError:
      std::fprintf(stderr, "zarvo_host: %s\nRun with --help for more information.\n",
                   line.text.c_str());
      return kExitInput;
    case Mode::kServe:
      return serveMode(line.options.serve);
    default:
      return run(line.options);
  }
}
