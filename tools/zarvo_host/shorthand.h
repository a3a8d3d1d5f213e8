// The interactive mode's short syntax: steps typed as words instead of JSON objects.
//
// Design note
// -----------
// A line whose first non-blank character is '{' is a script line and goes to parseScriptLine
// unchanged, as do blank and comment lines; every other line is words, the first of which names
// what to do:
//   RESOURCE METHOD [PARAMETERS [BODY [EXTRA]]]   a call; the texts are sent verbatim, as with
//                                                 `zarvo_host call` (default {} , empty, {})
//   raise APP TYPE [PAYLOAD [COUNT]]              {"raise":TYPE,"app":APP,"payloadText":PAYLOAD}
//   lostConnection APP                            {"lostConnection":APP}
//   waitEvents N [TIMEOUT_MS]                     {"waitEvents":N,"timeoutMs":TIMEOUT_MS}
//   sleepMs MS, tearDown, callLog, note TEXT      the steps of the same names
// and the session commands `help [WORD]` and `quit` (or `exit`). A word that is not one of
// these is an error, never guessed at, so the two syntaxes cannot be confused: no keyword
// begins with '{'.
//
// Words are separated by blanks; a JSON object, array or string counts as one word however many
// blanks it holds (brackets are matched outside strings), so `{"name": "viewer"}` needs no
// quoting. Pure functions; safe on any thread.
#ifndef ZARVO_HOST_SHORTHAND_H
#define ZARVO_HOST_SHORTHAND_H

#include <string>
#include <vector>

#include "script.h"

namespace zarvo_host {

// What an interactive line asks for.
enum class Command {
  kSkip,   // blank or comment
  kStep,   // a step to run
  kHelp,   // print help (for `topic` when given)
  kQuit,   // end the session
  kError,  // `problem` says why
};

struct InteractiveLine {
  Command command = Command::kSkip;
  Step step;          // kStep
  std::string topic;  // kHelp: the word after help, possibly empty
  std::string problem;
};

// Parses one line typed in interactive mode (JSON or words).
InteractiveLine parseInteractiveLine(const std::string& line, const Location& where);

// Splits `text` into words as described above. False with `problem` set when a bracket or a
// string is not closed.
bool splitWords(const std::string& text, std::vector<std::string>* words, std::string* problem);

// The keywords of the short syntax that are not resource names, in the order help lists them.
const std::vector<std::string>& shorthandKeywords();
// The methods offered after a resource name.
const std::vector<std::string>& methodWords();

// The text of `help` (empty topic) or of `help TOPIC`; an unknown topic gets a pointer to the
// list.
std::string interactiveHelp(const std::string& topic);

}  // namespace zarvo_host

#endif  // ZARVO_HOST_SHORTHAND_H
