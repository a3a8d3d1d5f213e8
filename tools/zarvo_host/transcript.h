// The reference host's output: a readable transcript, or JSON Lines for machines.
//
// Design note
// -----------
// Output comes from two kinds of threads: the main thread runs the script, and the application
// library's threads deliver events at any moment. Every public function writes whole lines under
// one mutex and flushes before releasing it, so an event line can fall between two lines of a
// call but never inside one. No function here calls back into the plug-in or the stand-in
// libraries, so holding the mutex can never wait on them.
//
// Text mode shows each call as a request line and an answer line, each event as it arrives,
// and each failed expectation with its expected and actual side. Colour (ANSI) is used only
// when the caller asks for it (stdout is a terminal and --no-color was not given).
// JSON mode writes one compact object per line with a "kind" member: "start", "call", "event",
// "expectation", "wait", "sleep", "tearDown", "note", "callLog", "raise", "lostConnection",
// "error", "summary". Every object carries "t", the seconds since the transcript was created
// on the steady clock with microsecond resolution, taken under the output mutex so that the
// values never decrease from one line to the next. Responses and events appear parsed
// ("response", "event") next to their exact texts ("responseText", "eventText").
//
// Problems with the input (the "file:line: problem" messages) go to standard error in both modes
// and, in JSON mode, also to standard output as "error" objects.
#ifndef ZARVO_HOST_TRANSCRIPT_H
#define ZARVO_HOST_TRANSCRIPT_H

#include <chrono>
#include <cstdio>
#include <functional>
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
  // `out` receives the transcript and `err` the problems; both must outlive the object.
  Transcript(std::FILE* out, std::FILE* err, bool json, bool color);

  // The plug-in file and application description in use.
  void start(const std::string& plugin, const std::string& apps);
  // A call is about to be made (text mode prints the request line now).
  void callStarted(const Step& step);
  // The call returned: the answer and the results of its expectations.
  void callAnswered(const Step& step, const Answer& answer, const std::vector<CheckResult>& checks);
  // An event arrived from the host library's event sink (any thread); `seq` counts from 1.
  void event(long seq, const std::string& name, const std::string& text);
  // A waitEvents step finished with `events` taken from the queue.
  void waited(const Step& step, long long timeoutMs, const std::vector<std::string>& events,
              const std::vector<CheckResult>& checks);
  void slept(const Step& step);
  // TearDown was called, by a step or (`automatic`) at the end of the session.
  void tornDown(const Location& where, bool automatic);
  void note(const Step& step);
  // A raise step is about to raise its events (text mode prints the request line now).
  void raiseStarted(const Step& step);
  // The raise step is done; `delivered` event callbacks were made in all.
  void raised(const Step& step, long long delivered);
  // A lostConnection step reported the loss; `delivered` when a did-disconnect callback ran.
  void lostConnection(const Step& step, bool delivered);
  // The application library's calls since the previous callLog step, and their checks.
  void callLog(const Step& step, const std::vector<std::string>& lines,
               const std::vector<CheckResult>& checks);
  // A problem with the input or the setup, already phrased "file:line: problem" where it has a
  // place.
  void problem(const std::string& message);
  void summary(const Totals& totals);
  // Text for the person at the keyboard (interactive help): on the transcript's stream in text
  // mode, on the problem stream in JSON mode so that standard output stays JSON Lines.
  void info(const std::string& text);
  // While held, output from any thread is collected instead of written, and `wake` is called
  // (under the output mutex; it must not block or write here) after each piece, so that a line
  // editor can print it above the line being edited. `wake` must stay callable until release.
  void hold(std::function<void()> wake);
  // What was collected since the last call (empty when nothing was).
  std::string takeHeld();
  // Stops holding and writes whatever is still collected.
  void release();
  // Whether this transcript writes JSON Lines.
  bool json() const { return json_; }

 private:
  // Writes `text` (whole lines) and flushes; the caller holds `mutex_`.
  void write(const std::string& text);
  // Seconds since construction ("12.345678"); the caller holds `mutex_`.
  std::string stamp() const;
  // Takes the mutex and writes `text` (text mode).
  void emit(const std::string& text);
  // Takes the mutex, stamps each object with "t" and writes one line per object (JSON mode).
  void emitJson(const std::vector<pocketjson::Value>& objects);
  // `text` wrapped in the colour `code` when colour is on.
  std::string paint(const char* code, const std::string& text) const;
  // The failure lines of the checks that did not hold (text mode).
  std::string failures(const Location& where, const std::vector<CheckResult>& checks) const;
  // Appends one "expectation" object per check to `objects` (JSON mode).
  static void addExpectations(const Location& where, const std::vector<CheckResult>& checks,
                              std::vector<pocketjson::Value>* objects);

  std::FILE* out_;
  std::FILE* err_;
  bool json_;
  bool color_;
  std::chrono::steady_clock::time_point started_;
  std::mutex mutex_;
  bool holding_ = false;        // under mutex_
  std::string held_;            // under mutex_
  std::function<void()> wake_;  // under mutex_
};

}  // namespace zarvo_host

#endif  // ZARVO_HOST_TRANSCRIPT_H
