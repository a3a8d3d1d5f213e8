#include "command_line.h"

#include <CLI/CLI.hpp>

#include "help_text.h"
#include "host_core/duration_text.h"
#include "host_defaults.h"
#include "script.h"

namespace zarvo_host {
namespace {

// Shows "--history{}" (a flag that may take "=FILE") as "--history [=FILE]".
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_option_name(const CLI::Option* option, bool positional) const override {
    std::string name = CLI::Formatter::make_option_name(option, positional);
    const size_t open = name.find('{');
    if (open != std::string::npos) name.erase(open, name.find('}', open) - open + 1);
    return name;
  }
};

// --timeout: a duration with its unit, kept in milliseconds.
CLI::Option* addTimeout(CLI::App& app, long long* timeoutMs) {
  return app
      .add_option_function<std::string>(
          "--timeout",
          [timeoutMs](const std::string& text) {
            std::chrono::milliseconds value{0};
            std::string problem;
            if (!host_core::parseDuration(text, std::chrono::milliseconds(kMaxMilliseconds), &value,
                                          &problem)) {
              throw CLI::ValidationError("--timeout", problem);
            }
            *timeoutMs = value.count();
          },
          "default timeout of waitEvents steps (default 2s), with its unit: 1500ms, 30s, 2min")
      ->type_name("DURATION");
}

void addSessionOptions(CLI::App& app, Options& o, bool* interactive) {
  const host_core::DefaultPaths defaults = hostDefaults();
  o.plugin = defaults.plugin;
  o.applications = defaults.applications;
  app.add_option("--plugin", o.plugin, "plug-in file to load")
      ->type_name("FILE")
      ->capture_default_str();
  app.add_option("--applications,--apps", o.applications,
                 "application description for the simulated application library")
      ->type_name("FILE")
      ->capture_default_str();
  app.add_flag("--json", o.json, "JSON Lines output: one object per call, event, expectation, ...");
  app.add_flag_function(
      "--color", [&o](int64_t) { o.color = o.color == 0 ? 0 : 1; },
      "colour even when stdout is not a terminal (--no-color wins)");
  app.add_flag_function(
      "--no-color", [&o](int64_t) { o.color = 0; },
      "no colour (default: colour only on a terminal with NO_COLOR unset)");
  addTimeout(app, &o.timeoutMs);
  app.add_option("-e,--step", o.steps, "one script line given on the command line (repeatable)")
      ->type_name("STEP")
      ->expected(1)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.add_flag("-i,--interactive", *interactive,
               "read steps from standard input ('-' too): line editing, history and Tab "
               "completion on a terminal; type help there");
  app.add_flag("--history{}", o.historyFile,
               "keep the interactive history in a file across sessions (default "
               "$XDG_STATE_HOME/zarvo_host/history, else ~/.local/state/zarvo_host/history)")
      ->type_name("[=FILE]");
  app.add_option("script", o.script, "session script (JSON Lines), or '-' for standard input")
      ->type_name("SCRIPT");
}

// The one mode the words and options ask for; false with `problem` set.
bool chooseMode(Options& o, bool interactive, const CLI::App& call, std::string* problem) {
  if (o.script == "-") {
    interactive = true;
    o.script.clear();
  }
  const int modes = (interactive ? 1 : 0) + (!o.steps.empty() ? 1 : 0) +
                    (!o.script.empty() ? 1 : 0) + (call.parsed() ? 1 : 0);
  if (modes == 0) {
    *problem = "nothing to run: give a script file, '-' for standard input, -e STEP or call ...";
  } else if (modes > 1) {
    *problem = "give only one of: a script file, '-'/--interactive, -e STEP, call ...";
  } else if (o.history && !interactive) {
    *problem = "--history applies to the interactive mode ('-' or --interactive) only";
  } else if (call.parsed() && (call.remaining().size() < 2 || call.remaining().size() > 5)) {
    *problem = "call takes RESOURCE METHOD [PARAMETERS [BODY [EXTRA]]]";
  }
  if (!problem->empty()) return false;
  o.mode = interactive        ? Mode::kInteractive
           : !o.steps.empty() ? Mode::kSteps
           : call.parsed()    ? Mode::kCall
                              : Mode::kScript;
  if (call.parsed()) o.callWords = call.remaining();
  return true;
}

CommandLine problemText(const std::string& text) {
  CommandLine out;
  out.options.mode = Mode::kError;
  out.text = text;
  return out;
}

}  // namespace

CommandLine parseCommandLine(const std::vector<std::string>& args) {
  CommandLine out;
  Options& o = out.options;
  CLI::App app(kHostDescription, "zarvo_host");
  app.formatter(std::make_shared<HelpFormatter>());
  // An option given twice takes its last value, as shells and scripts expect when they add
  // an option to a command line that already has it.
  app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.set_version_flag("--version", std::string(), "the tool's and the plug-in's versions");
  bool interactive = false;
  addSessionOptions(app, o, &interactive);
  CLI::App* call = app.add_subcommand(
      "call", "one call, texts sent verbatim: call RESOURCE METHOD [PARAMETERS [BODY [EXTRA]]]");
  call->prefix_command();
  CLI::App* serveMode = app.add_subcommand("serve", "serve a page on 127.0.0.1 (see serve --help)");
  serve::addServeOptions(*serveMode, o.serve);
  app.footer(kSessionHelpFooter);  // after the subcommands, which would inherit it
  app.require_subcommand(0, 1);
  std::vector<std::string> reversed(args.rbegin(), args.rend() - 1);
  try {
    app.parse(reversed);
  } catch (const CLI::CallForHelp&) {
    out.options.mode = Mode::kHelp;
    out.text = (serveMode->parsed() ? serveMode : &app)->help();
    return out;
  } catch (const CLI::CallForVersion&) {
    out.options.mode = Mode::kVersion;
    return out;
  } catch (const CLI::ParseError& error) {
    return problemText(error.what());
  }
  if (serveMode->parsed()) {
    o.mode = Mode::kServe;
    return out;
  }
  o.history = app.count("--history") > 0;
  std::string problem;
  if (!chooseMode(o, interactive, *call, &problem)) return problemText(problem);
  return out;
}

}  // namespace zarvo_host
