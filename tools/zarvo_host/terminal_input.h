// Keys for the line editor, read so that output of other threads can appear while a line is
// being edited.
//
// Design note
// -----------
// libedit reads keys through a replaceable function. readKey waits with poll() on standard input
// and on a wake-up pipe: other threads that have output for the terminal (events arriving from
// the application library) write one byte into the pipe, and readKey, on the main thread,
// clears the line being edited, prints the output and has libedit redraw the prompt and the
// line. Nothing but the main thread ever writes to the terminal while a line is edited, so the
// two never overlap.
//
// Keys are decoded from UTF-8 here (libedit hands a key function's result on as one character);
// a byte that does not start a valid sequence is passed on as it is.
//
// Threads: readKey and the setup run on the main thread; wake() may be called from any thread at
// any time between setup and teardown (it only writes to a non-blocking pipe).
// Failure: readKey returns -1 at the end of input, on a read error, and when SIGINT interrupted
// the wait (the caller's handler records that).
#ifndef ZARVO_HOST_TERMINAL_INPUT_H
#define ZARVO_HOST_TERMINAL_INPUT_H

#include <cstdio>
#include <functional>
#include <string>

namespace zarvo_host {

class TerminalInput {
 public:
  // `takeOutput` returns the output waiting to be shown (called on the main thread after a
  // wake-up); `interrupted` tells whether a SIGINT arrived.
  TerminalInput(std::function<std::string()> takeOutput, std::function<bool()> interrupted);
  ~TerminalInput();
  TerminalInput(const TerminalInput&) = delete;
  TerminalInput& operator=(const TerminalInput&) = delete;

  // Makes readKey use this object (one at a time).
  void install();
  // Signals that output is waiting. Any thread; never blocks.
  void wake();

  // The key function handed to libedit: the next key as a Unicode code point, or -1.
  static int readKey(std::FILE* in);

 private:
  int key(int fd);
  void showOutput();

  std::function<std::string()> takeOutput_;
  std::function<bool()> interrupted_;
  int pipe_[2] = {-1, -1};
};

}  // namespace zarvo_host

#endif  // ZARVO_HOST_TERMINAL_INPUT_H
