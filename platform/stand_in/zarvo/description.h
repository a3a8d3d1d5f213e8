// zarvo_sim::Description: the simulated applications of description mode, and their loader.
//
// Design note
// -----------
// A description is a JSON object naming applications and, for each, its answers to requests (by
// uri), its answers to custom tasks (by task type) and the events it raises while subscribed. The
// loader validates the whole text before anything is used and reports the first problem as one
// line "<source>: <where>: <problem>", where <where> is the dotted member path from the top
// (array elements as "[i]"), for example
//     examples/applications.json: applications.viewer.events[0].count: expected an integer
// Unknown members are errors, so a misspelt key never passes silently; the one extra member
// allowed is a top-level "$schema" string, for editors. The rules are those of the published JSON
// Schema (examples/applications.schema.json), so both accept the same descriptions: an integer
// may be written as any number without a fraction (200.0, 2e2), and names that the plug-in never
// sends empty (applications, uris, task types, event types) must not be empty.
//
// Syntax errors are "<source>:<line>:<column>: <message>", the JSON library's message at the place
// where its parser stopped (1-based; the column counts characters, not bytes). The text is read
// as the JSON library reads it, with two corrections: an object cut off after '{' or ',' is an
// error, not a shorter object, and an integer literal beyond 64 bits is a real number rather than
// the wrapped-around integer the library makes of it.
//
// Answers and payloads are kept as compact JSON text, ready to hand to a callback.
//
// Ownership: a loaded Description is immutable and shared (std::shared_ptr<const Description>)
// between the simulator and the timers of subscriptions made while it was current.
// Threads: loading touches only its arguments; a loaded description may be read by any thread.
// Failure: the loader never throws for bad input (only std::bad_alloc) and never crashes: the
// JSON library does not recurse on nesting, and validation looks only at fixed depths.
#ifndef ZARVO_SIM_DESCRIPTION_H
#define ZARVO_SIM_DESCRIPTION_H

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zarvo_sim {

// The answer to one ZrvBridgeCross.
struct RequestAnswer {
  int status = 200;
  std::string answer = "null";  // text handed to the callback
};

// The answer to one ZrvExecuteCustomTask.
struct TaskAnswer {
  std::string type;             // first text handed to the callback
  std::string answer = "null";  // JSON text handed to the callback
};

// An event raised while subscribed: payloads in turn (wrapping around), every `intervalMs`
// milliseconds after the subscription, `count` times (-1: until unsubscribed or disconnected).
struct EventSpec {
  std::string type;
  std::vector<std::string> payloads;  // never empty
  long long intervalMs = 100;
  long long count = -1;
};

struct SimulatedApplication {
  std::map<std::string, RequestAnswer> requests;
  bool hasDefaultRequest = false;
  RequestAnswer defaultRequest;
  std::map<std::string, TaskAnswer> tasks;
  std::vector<EventSpec> events;
};

struct Description {
  std::map<std::string, SimulatedApplication> applications;
};

// Bounds of the numeric members.
constexpr long long kMinIntervalMs = 1;
constexpr long long kMaxIntervalMs = 86400000;  // one day
constexpr long long kMinCount = 1;

// Validates the JSON `text` and fills `out`; on failure returns false and sets `error` to
// "<source>: <problem>", or "<source>:<line>:<column>: <problem>" for a syntax error (`out` is
// then unspecified).
bool parseDescription(const std::string& text, const std::string& source, Description& out,
                      std::string& error);

// Reads the file `path` and parses it as above, `path` naming it in messages.
bool loadDescriptionFile(const std::string& path, Description& out, std::string& error);

}  // namespace zarvo_sim

#endif  // ZARVO_SIM_DESCRIPTION_H
