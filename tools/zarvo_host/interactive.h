// The interactive mode: steps read one line at a time and run at once in one Session.
//
// Design note
// -----------
// Every line goes through parseInteractiveLine (shorthand.h), so JSON lines and the short word
// syntax both work; `help` prints to the transcript's information channel and `quit`/`exit`
// end the loop like the end of input. All steps run in the one Session the caller made, so
// connections, subscriptions, the event queue and the call log carry over from line to line,
// exactly as in a session file. A bad line is reported as "<stdin>:N: problem", counted, and
// skipped; the session goes on.
//
// Threads: main thread only. Events keep arriving (and printing) on the application library's
// thread while the loop waits for input.
#ifndef ZARVO_HOST_INTERACTIVE_H
#define ZARVO_HOST_INTERACTIVE_H

#include "line_reader.h"
#include "script.h"
#include "session.h"
#include "transcript.h"

namespace zarvo_host {

struct InteractiveOutcome {
  long badLines = 0;            // lines reported and skipped
  Location last{"<stdin>", 0};  // the last line read, for the closing TearDown
};

// Reads and runs lines from `reader` until the end of input or quit.
InteractiveOutcome runInteractive(LineReader& reader, Session& session, Transcript& transcript);

}  // namespace zarvo_host

#endif  // ZARVO_HOST_INTERACTIVE_H
