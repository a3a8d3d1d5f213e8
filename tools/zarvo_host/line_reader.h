// Reading the interactive mode's lines: with line editing on a terminal, plainly otherwise.
//
// Design note
// -----------
// On a terminal the reader uses libedit (BSD licence) through its readline interface: the usual
// editing keys, history recalled with the up and down arrows, and Tab completion by
// completeWord (completion.h). History is kept in memory for the session; with a history file it
// is read at the start and written back (at most kHistoryLines lines) when the reader is
// destroyed. Keys come through TerminalInput (terminal_input.h), which shows the output of other
// threads above the line being edited; the character type locale is set to UTF-8 so that libedit
// hands back what was typed byte for byte. Anything else (a pipe, a file) is read line by line from
// the stream, with no prompt, no history and no terminal control bytes, so scripts piped into
// `zarvo_host -` behave exactly like session files.
//
// Threads and lifetime: one reader at a time, used from the main thread only (libedit keeps
// global state). Ctrl-C drops the line being typed; see blockInterrupts. The reader owns nothing
// the caller passed; `applications` is copied. Failure: a history file that cannot be read is
// treated as empty; one that cannot be written is reported once on stderr when the reader is
// destroyed.
#ifndef ZARVO_HOST_LINE_READER_H
#define ZARVO_HOST_LINE_READER_H

#include <functional>
#include <istream>
#include <memory>
#include <string>
#include <vector>

namespace zarvo_host {

// The most lines a history file keeps.
constexpr int kHistoryLines = 1000;

class LineReader {
 public:
  virtual ~LineReader() = default;
  // Reads one line, without its line break, into `line`. False at the end of the input.
  virtual bool read(std::string* line) = 0;
};

struct TerminalOptions {
  std::string prompt = "zarvo> ";
  std::string historyFile;                // empty: history in memory only
  std::vector<std::string> applications;  // offered after raise and lostConnection
  // Output that other threads produce while a line is edited (events): `holdOutput` starts
  // collecting it and calls the wake-up it is given after each piece, `takeOutput` returns what
  // was collected (shown above the line being edited), `releaseOutput` stops collecting and
  // writes the rest. Unset: other threads write whenever they like.
  std::function<void(std::function<void()>)> holdOutput;
  std::function<std::string()> takeOutput;
  std::function<void()> releaseOutput;
};

// Blocks SIGINT in the calling thread, and so in every thread it starts afterwards. Call it on the
// main thread before any other thread exists when a terminal reader will be used: that reader
// unblocks SIGINT only while it waits for a line, so Ctrl-C always reaches the thread that is
// reading (one pressed while a step runs is ignored).
void blockInterrupts();
// A line-editing reader on the terminal of standard input.
std::unique_ptr<LineReader> makeTerminalReader(const TerminalOptions& options);
// A plain reader of `in`, which must outlive it.
std::unique_ptr<LineReader> makeStreamReader(std::istream& in);

// The default history file: $XDG_STATE_HOME/zarvo_host/history, or
// $HOME/.local/state/zarvo_host/history; empty when neither variable is set to an absolute path.
std::string defaultHistoryFile();

}  // namespace zarvo_host

#endif  // ZARVO_HOST_LINE_READER_H
