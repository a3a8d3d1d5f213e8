// The reference host's output: what a session did, written as a readable transcript or as JSON
// Lines for machines.
//
// Design note
// -----------
// Transcript is the interface the session and the interactive loop write to; TextTranscript
// (text_transcript.h) and JsonTranscript (json_transcript.h) are its two writers, and
// makeTranscript picks one. This base owns what both share: the output streams, one mutex, and
// holding output back while a line is being edited.
//
// Output comes from two kinds of threads: the main thread runs the script, and the application
// library's threads deliver events at any moment. Every write is of whole lines under the one
// mutex, flushed before the mutex is released, so an event line can fall between two lines of a
// call but never inside one. No function here calls back into the plug-in or the stand-in
// libraries, so holding the mutex can never wait on them.
//
// Problems with the input (the "file:line: problem" messages) go to standard error in both
// formats (the JSON writer also writes them to standard output as "error" objects).
#ifndef ZARVO_HOST_TRANSCRIPT_H
#define ZARVO_HOST_TRANSCRIPT_H

#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "expectations.h"
#include "script.h"

namespace zarvo_host {

// What a call got back from the plug-in.
struct Answer {
  int promise = 0;          // what the entry point returned
  bool answered = false;    // the host library received a response during the call
  int answeredPromise = 0;  // the identifier that response carried
  int status = 0;
  std::string text;
};

// Totals for the closing line.
struct Totals {
  long calls = 0;
  long events = 0;
  long passed = 0;
  long failed = 0;
  long badLines = 0;  // input lines that were reported and skipped (interactive mode)
};

class Transcript {
 public:
  virtual ~Transcript() = default;
  Transcript(const Transcript&) = delete;
  Transcript& operator=(const Transcript&) = delete;

  // The plug-in file and application description in use.
  virtual void start(const std::string& plugin, const std::string& apps) = 0;
  // A call is about to be made (the text writer prints the request line now).
  virtual void callStarted(const Step& step) = 0;
  // The call returned: the answer and the results of its expectations.
  virtual void callAnswered(const Step& step, const Answer& answer,
                            const std::vector<CheckResult>& checks) = 0;
  // An event arrived from the host library's event sink (any thread); `seq` counts from 1.
  virtual void event(long seq, const std::string& name, const std::string& text) = 0;
  // A waitEvents step finished with `events` taken from the queue.
  virtual void waited(const Step& step, long long timeoutMs, const std::vector<std::string>& events,
                      const std::vector<CheckResult>& checks) = 0;
  virtual void slept(const Step& step) = 0;
  // TearDown was called, by a step or (`automatic`) at the end of the session.
  virtual void tornDown(const Location& where, bool automatic) = 0;
  virtual void note(const Step& step) = 0;
  // A raise step is about to raise its events (the text writer prints the request line now).
  virtual void raiseStarted(const Step& step) = 0;
  // The raise step is done; `delivered` event callbacks were made in all.
  virtual void raised(const Step& step, long long delivered) = 0;
  // A lostConnection step reported the loss; `delivered` when a did-disconnect callback ran.
  virtual void lostConnection(const Step& step, bool delivered) = 0;
  // The application library's calls since the previous callLog step, and their checks.
  virtual void callLog(const Step& step, const std::vector<std::string>& lines,
                       const std::vector<CheckResult>& checks) = 0;
  virtual void summary(const Totals& totals) = 0;
  // A problem with the input or the setup, already phrased "file:line: problem" where it has a
  // place: to standard error.
  virtual void problem(const std::string& message);
  // Text for the person at the keyboard (interactive help): on the transcript's stream, unless
  // that stream is for machines.
  virtual void info(const std::string& text);
  // Whether this transcript writes JSON Lines.
  virtual bool json() const = 0;

  // While held, output from any thread is collected instead of written, and `wake` is called
  // (under the output mutex; it must not block or write here) after each piece, so that a line
  // editor can print it above the line being edited. `wake` must stay callable until release.
  void hold(std::function<void()> wake);
  // What was collected since the last call (empty when nothing was).
  std::string takeHeld();
  // Stops holding and writes whatever is still collected.
  void release();

 protected:
  // `out` receives the transcript and `err` the problems; both must outlive the object.
  Transcript(std::FILE* out, std::FILE* err) : out_(out), err_(err) {}
  // Takes the mutex and writes `text` (whole lines).
  void emit(const std::string& text);
  // Writes `text` to standard error under the mutex, after flushing the transcript.
  void emitError(const std::string& text);
  // Writes `text` (whole lines) and flushes; the caller holds `mutex()`.
  void write(const std::string& text);
  std::mutex& mutex() { return mutex_; }

 private:
  std::FILE* out_;
  std::FILE* err_;
  std::mutex mutex_;
  bool holding_ = false;        // under mutex_
  std::string held_;            // under mutex_
  std::function<void()> wake_;  // under mutex_
};

// The JSON Lines writer when `json`, else the text writer (with colour when `color`).
std::unique_ptr<Transcript> makeTranscript(std::FILE* out, std::FILE* err, bool json, bool color);

}  // namespace zarvo_host

#endif  // ZARVO_HOST_TRANSCRIPT_H
