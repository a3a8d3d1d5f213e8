// Session scripts of the reference host: one step per line (JSON Lines).
//
// Design note
// -----------
// A script line is one JSON object naming exactly one step kind:
//   {"call":RESOURCE, "method":M, "parameters":V, "body":V, "options":V, "extra":V, "expect":E}
//   {"waitEvents":N, "timeoutMs":T, "expect":E}
//   {"sleepMs":T}
//   {"tearDown":true}
//   {"note":"text"}
//   {"callLog":true, "expect":["ZrvConnectApplication(\"viewer\", \"zarvo_host\") -> 1", ...]}
//   {"raise":TYPE, "app":NAME, "payload":V, "count":N}      (or "payloadText" sent verbatim)
//   {"lostConnection":NAME}
// A call's four request texts are built here, once, so the runner hands the plug-in exactly the
// bytes shown in the transcript: a JSON value is written compactly, a "...Text" member is taken
// verbatim. Blank lines and lines starting with '#' or '//' are comments.
//
// Everything a script can get wrong is reported as one problem text (the caller prefixes
// "file:line: "); unknown members are problems too, so typos never pass silently. Parsing keeps
// no state between lines and is safe on any thread.
#ifndef ZARVO_HOST_SCRIPT_H
#define ZARVO_HOST_SCRIPT_H

#include <cstddef>
#include <istream>
#include <string>
#include <vector>

#include "pocketjson/value.h"

namespace zarvo_host {

// Where a step came from, for messages: "session.jsonl:12".
struct Location {
  std::string source;  // file name as given, "<stdin>" or "<command line>"
  size_t line = 0;     // 1-based
  // "source:line".
  std::string text() const { return source + ":" + std::to_string(line); }
};

// What a call expects of its answer; each part is checked only when present.
struct CallExpectation {
  bool hasStatus = false;
  long long status = 0;
  bool hasResponse = false;  // the whole envelope, compared as JSON structure
  pocketjson::Value response;
  bool hasText = false;  // the whole envelope, compared byte for byte
  std::string text;
  bool hasValue = false;  // only the envelope's "value" member, compared as JSON structure
  pocketjson::Value value;
  bool any() const { return hasStatus || hasResponse || hasText || hasValue; }
};

// One call of a resource entry point, with its four request texts ready to pass.
struct CallStep {
  std::string resource;  // one of the four resource names
  std::string method;    // as written in the script, for the transcript ("" when not given)
  std::string options;
  std::string parameters;
  std::string extra;
  std::string body;
  bool optionsGiven = false;  // "options"/"optionsText" given, so "method" did not make them
  CallExpectation expect;
};

// Waiting for application events that arrive on the library's threads.
struct WaitStep {
  long long count = 0;       // events to take from the queue
  long long timeoutMs = -1;  // -1: the session's default
  bool hasExpect = false;    // object: members every event must have; array: the exact events
  pocketjson::Value expect;
};

// Showing (and optionally checking) the application library's calls since the last such step.
struct CallLogStep {
  bool hasExpect = false;
  std::vector<std::string> lines;  // the exact canonical lines expected, in call order
};

// Raising an application event through the simulator, as the application named `app` would.
struct RaiseStep {
  std::string type;
  std::string app;
  std::string payload = "null";  // the payload text handed to the library, compact or verbatim
  long long count = 1;           // how many times the event is raised
};

enum class StepKind {
  kCall,
  kWaitEvents,
  kSleep,
  kTearDown,
  kNote,
  kCallLog,
  kRaise,
  kLostConnection,
};

struct Step {
  StepKind kind = StepKind::kNote;
  Location where;
  CallStep call;
  WaitStep wait;
  CallLogStep callLog;
  RaiseStep raise;
  long long sleepMs = 0;
  std::string note;  // kNote: the text; kLostConnection: the application name
};

// The four resource names the plug-in exports, in the order of its header.
const std::vector<std::string>& resourceNames();
// True when `name` is one of them.
bool isResourceName(const std::string& name);

// The step kinds, by the member that names each ("call", "waitEvents", ...).
const std::vector<std::string>& stepKeywords();

// The upper limit of every time value in a script (ten minutes), so a typo cannot hang a run.
constexpr long long kMaxMilliseconds = 600000;
// The upper limit of a raise step's "count".
constexpr long long kMaxRaiseCount = 10000;

enum class LineKind { kSkip, kStep, kError };

// Parses one script line (without its newline; a trailing '\r' is ignored). kSkip for blank and
// comment lines, kStep with `out` filled, or kError with `problem` set.
LineKind parseScriptLine(const std::string& line, const Location& where, Step* out,
                         std::string* problem);

// Builds a call step from command-line words: resource, method and optional raw texts.
// False with `problem` set when the resource is unknown.
bool makeCommandLineCall(const std::string& resource, const std::string& method,
                         const std::vector<std::string>& texts, const Location& where, Step* out,
                         std::string* problem);

// Reads a whole script. Returns the steps in order; every problem, already prefixed with
// "source:line: ", is appended to `problems` (reading goes on after a bad line, so one run
// reports them all).
std::vector<Step> readScript(std::istream& in, const std::string& source,
                             std::vector<std::string>* problems);

}  // namespace zarvo_host

#endif  // ZARVO_HOST_SCRIPT_H
