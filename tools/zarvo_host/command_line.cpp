#include "command_line.h"

#include <cerrno>
#include <cstdlib>

#include "script.h"

#ifndef ZARVO_HOST_DEFAULT_PLUGIN
#define ZARVO_HOST_DEFAULT_PLUGIN "libzarvo_bridging.so.2"
#endif
#ifndef ZARVO_HOST_DEFAULT_APPS
#define ZARVO_HOST_DEFAULT_APPS "applications.json"
#endif

namespace zarvo_host {
namespace {

bool parseMilliseconds(const std::string& text, long long* out) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) return false;
  errno = 0;
  const long long value = std::strtoll(text.c_str(), nullptr, 10);
  if (errno != 0 || value > kMaxMilliseconds) return false;
  *out = value;
  return true;
}

}  // namespace

bool parseCommandLine(int argc, char** argv, Options* options, std::string* problem) {
  Options o;
  o.plugin = ZARVO_HOST_DEFAULT_PLUGIN;
  o.apps = ZARVO_HOST_DEFAULT_APPS;
  bool interactive = false;
  bool help = false;
  bool version = false;
  std::vector<std::string> positional;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    // Options that take a value accept both "--name VALUE" and "--name=VALUE".
    auto value = [&](const std::string& name, std::string* out) {
      if (arg == name) {
        if (i + 1 >= argc) {
          *problem = name + " needs a value";
          return false;
        }
        *out = argv[++i];
        return true;
      }
      *out = arg.substr(name.size() + 1);
      return true;
    };
    auto named = [&](const std::string& name) {
      return arg == name || arg.compare(0, name.size() + 1, name + "=") == 0;
    };
    // After "call" every word belongs to the call, even one that starts with '-'.
    const bool callWord = !positional.empty() && positional.front() == "call";
    if (!callWord && (arg == "-" || arg == "-i" || arg == "--interactive")) {
      interactive = true;
    } else if (callWord || arg.empty() || arg[0] != '-') {
      positional.push_back(arg);
    } else if (arg == "-h" || arg == "--help") {
      help = true;
    } else if (arg == "--version") {
      version = true;
    } else if (arg == "--history" || arg.compare(0, 10, "--history=") == 0) {
      o.history = true;
      o.historyFile = arg.size() > 10 ? arg.substr(10) : std::string();
    } else if (arg == "--json") {
      o.json = true;
    } else if (arg == "--no-color") {
      o.color = 0;
    } else if (arg == "--color") {
      if (o.color != 0) o.color = 1;  // --no-color wins whatever the order
    } else if (named("--plugin")) {
      if (!value("--plugin", &o.plugin)) return false;
    } else if (named("--apps")) {
      if (!value("--apps", &o.apps)) return false;
    } else if (named("--timeout")) {
      std::string text;
      if (!value("--timeout", &text)) return false;
      if (!parseMilliseconds(text, &o.timeoutMs)) {
        *problem = "--timeout takes milliseconds from 0 to " + std::to_string(kMaxMilliseconds) +
                   ", not '" + text + "'";
        return false;
      }
    } else if (arg == "-e" || named("--step")) {
      std::string step;
      if (!value(arg == "-e" ? "-e" : "--step", &step)) return false;
      o.steps.push_back(step);
    } else {
      *problem = "unknown option '" + arg + "'";
      return false;
    }
  }
  if (help || version) {
    o.mode = help ? Mode::kHelp : Mode::kVersion;
    *options = o;
    return true;
  }
  const int modes =
      (interactive ? 1 : 0) + (!o.steps.empty() ? 1 : 0) + (!positional.empty() ? 1 : 0);
  if (modes == 0) {
    *problem = "nothing to run: give a script file, '-' for standard input, -e STEP or call ...";
    return false;
  }
  if (modes > 1) {
    *problem = "give only one of: a script file, '-'/--interactive, -e STEP, call ...";
    return false;
  }
  if (o.history && !interactive) {
    *problem = "--history applies to the interactive mode ('-' or --interactive) only";
    return false;
  }
  if (interactive) {
    o.mode = Mode::kInteractive;
  } else if (!o.steps.empty()) {
    o.mode = Mode::kSteps;
  } else if (positional.front() == "call") {
    if (positional.size() < 3 || positional.size() > 6) {
      *problem = "call takes RESOURCE METHOD [PARAMETERS [BODY [EXTRA]]]";
      return false;
    }
    o.mode = Mode::kCall;
    o.callWords.assign(positional.begin() + 1, positional.end());
  } else {
    if (positional.size() > 1) {
      *problem = "one script file at a time ('" + positional[1] + "' is one too many)";
      return false;
    }
    o.mode = Mode::kScript;
    o.script = positional.front();
  }
  *options = o;
  return true;
}

std::string helpText() {
  return std::string(
      "zarvo_host: the reference host of the zarvo bridging plug-in.\n"
      "\n"
      "It loads the plug-in file with dlopen, plays the web-view host through the stand-in\n"
      "host library (promise identifiers, responses, \"zarvoEvent\" events), runs the\n"
      "simulated application library from an application description, and drives the\n"
      "plug-in's entry points from a session script, printing every call, answer and event.\n"
      "\n"
      "Usage:\n"
      "  zarvo_host [OPTIONS] SCRIPT.jsonl          run a session script\n"
      "  zarvo_host [OPTIONS] - | --interactive     read steps from standard input, one per\n"
      "                                             line, answering each as it comes\n"
      "  zarvo_host [OPTIONS] -e STEP [-e STEP...]  run steps given on the command line\n"
      "  zarvo_host [OPTIONS] call RESOURCE METHOD [PARAMETERS [BODY [EXTRA]]]\n"
      "                                             one call, texts sent verbatim: options\n"
      "                                             {\"method\":METHOD}, PARAMETERS (default {}),\n"
      "                                             BODY (default empty), EXTRA (default {});\n"
      "                                             options go before 'call'\n"
      "\n"
      "Options:\n"
      "  --plugin PATH   plug-in file to load (default: the one built with this tool,\n"
      "                  " ZARVO_HOST_DEFAULT_PLUGIN
      ")\n"
      "  --apps FILE     application description for the simulated application library\n"
      "                  (default " ZARVO_HOST_DEFAULT_APPS
      ")\n"
      "  --json          JSON Lines output: one object per call, event, expectation, ...\n"
      "  --no-color      no colour (colour is used only when stdout is a terminal and\n"
      "                  NO_COLOR is unset); --color forces it, --no-color wins\n"
      "  --timeout MS    default timeout of waitEvents steps (default 2000)\n"
      "  -e, --step STEP one script line given on the command line (repeatable)\n"
      "  -i, --interactive, -   read steps from standard input; on a terminal with line\n"
      "                  editing, history (up arrow) and Tab completion; type help there\n"
      "  --history[=FILE]  keep the interactive history in FILE across sessions (default\n"
      "                  $XDG_STATE_HOME/zarvo_host/history, else\n"
      "                  ~/.local/state/zarvo_host/history); without it history lives in\n"
      "                  memory only. History is kept only when stdin is a terminal.\n"
      "  --version       the tool's and the plug-in's versions\n"
      "  -h, --help      this text\n"
      "\n"
      "Session script (JSON Lines): one step per line, a JSON object naming one step kind.\n"
      "Blank lines and lines starting with '#' or '//' are comments.\n"
      "\n"
      "  {\"call\":RESOURCE, \"method\":M, \"parameters\":V, \"body\":V, \"options\":V, "
      "\"extra\":V, \"expect\":E}\n"
      "      Calls an entry point: ZarvoApplication, ZarvoApplicationBridge,\n"
      "      ZarvoApplicationEvent or ZarvoApplicationCustom. Request texts:\n"
      "        options     {\"method\":M} built from \"method\"; \"options\" replaces it\n"
      "                    (without either: {} , which the plug-in treats as GET)\n"
      "        parameters  default {}\n"
      "        extra       default {}\n"
      "        body        default empty text\n"
      "      A member given as a JSON value is sent as its compact text (keys sorted);\n"
      "      \"optionsText\", \"parametersText\", \"extraText\" or \"bodyText\" (a string)\n"
      "      is sent verbatim instead, e.g. \"bodyText\":\"null\" sends the four letters.\n"
      "      \"expect\" (all parts optional):\n"
      "        \"status\":400        the status code\n"
      "        \"response\":{...}    the whole response, compared as JSON structure\n"
      "        \"text\":\"...\"        the whole response text, byte for byte\n"
      "        \"value\":...         the response's \"value\" member, as JSON structure\n"
      "      Every call must also get exactly one response, for the promise identifier\n"
      "      it returns; a broken rule is reported as a failed expectation.\n"
      "\n"
      "  {\"waitEvents\":N, \"timeoutMs\":T, \"expect\":E}\n"
      "      Takes N events from the queue of events received so far (in arrival order),\n"
      "      waiting up to T ms (default --timeout); fewer than N is a failure. Events\n"
      "      beyond N stay queued for the next waitEvents. \"expect\" is an object\n"
      "      (members every event must have, e.g. {\"app\":\"viewer\",\"type\":\"progress\"})\n"
      "      or an array of exactly N events compared as JSON structure.\n"
      "  {\"sleepMs\":T}        pauses (events keep arriving and printing)\n"
      "  {\"tearDown\":true}    calls the plug-in's TearDown\n"
      "  {\"note\":\"text\"}      prints the text into the transcript\n"
      "  {\"callLog\":true, \"expect\":[LINE, ...]}\n"
      "      Prints the application library's calls since the previous callLog step (or\n"
      "      the start), one canonical line each, e.g.\n"
      "        ZrvConnectApplication(\"viewer\", \"zarvo_host\") -> 1\n"
      "        ZrvBridgeCross(1, \"\", \"/document/open\", \"null\", \"null\", callback, context)"
      " -> 1 called back\n"
      "      With \"expect\", the lines must be exactly these, in this order.\n"
      "  {\"raise\":TYPE, \"app\":NAME, \"payload\":V, \"count\":N}\n"
      "      Raises the event TYPE as the connected application NAME would: the library\n"
      "      calls every subscription of TYPE on its event thread, and the plug-in turns\n"
      "      each into a zarvoEvent (queued for waitEvents). \"payloadText\" sends a text\n"
      "      verbatim instead of \"payload\" (default null); \"count\" repeats it (1 to\n"
      "      10000, default 1).\n"
      "  {\"lostConnection\":NAME}\n"
      "      The library reports the connection of NAME lost (its did-disconnect callback).\n"
      "      The plug-in keeps the name connected: a new connect is refused with \"Failed\n"
      "      to connect application.\" and requests still reach the library.\n"
      "      For raise and lostConnection, a NAME without an open connection is an input\n"
      "      error: \"file:line: no open connection for the application NAME ...\".\n"
      "Times are at most 600000 ms. Unknown members are errors. After the last step the\n"
      "host calls TearDown itself unless the last step was one.\n"
      "\n"
      "Interactive mode ('-', -i): one session for all lines, so connections,\n"
      "subscriptions and queued events carry over. A line is a JSON step as above or\n"
      "words: RESOURCE METHOD [PARAMETERS [BODY [EXTRA]]] (e.g. ZarvoApplication post\n"
      "{\"name\":\"viewer\"}), raise APP TYPE [PAYLOAD [COUNT]], lostConnection APP,\n"
      "waitEvents N [TIMEOUT_MS], sleepMs MS, callLog, tearDown, note TEXT, help [WORD],\n"
      "quit. On a terminal: line editing, history (up arrow) and Tab completion of\n"
      "resources, methods, keywords and application names.\n"
      "\n"
      "Output: each call with its promise identifier, status and response; each event as\n"
      "it arrives from the application library's thread; each failed expectation with its\n"
      "expected and actual side; a closing count. With --json the same as JSON objects,\n"
      "one per line, with \"kind\": start, call, event, expectation, wait, sleep, tearDown,\n"
      "note, callLog, raise, lostConnection, error, summary, and \"t\", the seconds since\n"
      "the start on the steady clock (never decreasing). The response and the event are\n"
      "parsed objects (\"response\", \"event\") next to their exact texts (\"responseText\",\n"
      "\"eventText\"); request texts are strings; an expectation's \"expected\" and\n"
      "\"actual\" are display texts. Problems with the input are reported as\n"
      "\"file:line: problem\" on stderr.\n"
      "\n"
      "Exit status: 0 every expectation held; 1 some expectation failed; 2 usage or input\n"
      "error (unreadable file, malformed line, unknown resource or step, plug-in or\n"
      "description that cannot be loaded). In interactive mode a bad line is reported and\n"
      "skipped, and the exit status is 2 at the end.\n"
      "\n"
      "Examples:\n"
      "  zarvo_host examples/session.jsonl\n"
      "  zarvo_host --apps examples/applications.json --json examples/session.jsonl\n"
      "  zarvo_host call ZarvoApplication post '{\"name\":\"viewer\"}'\n"
      "  zarvo_host -e '{\"call\":\"ZarvoApplication\",\"method\":\"post\","
      "\"parameters\":{\"name\":\"viewer\"}}' \\\n"
      "             -e '{\"call\":\"ZarvoApplicationBridge\",\"method\":\"post\","
      "\"parameters\":{\"name\":\"viewer\"},\"body\":{\"uri\":\"/document/open\"}}'\n"
      "  echo '{\"call\":\"ZarvoApplication\",\"method\":\"get\"}' | zarvo_host -\n");
}

}  // namespace zarvo_host
