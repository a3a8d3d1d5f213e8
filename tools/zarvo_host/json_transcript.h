// The transcript as JSON Lines for machines: one compact object per line with a "kind" member
// ("start", "call", "event", "expectation", "wait", "sleep", "tearDown", "note", "callLog",
// "raise", "lostConnection", "error", "summary"). Every object carries "t", the seconds since the
// transcript was created on the steady clock with microsecond resolution, taken under the output
// mutex so that the values never decrease from one line to the next. Responses and events appear
// parsed ("response", "event") next to their exact texts ("responseText", "eventText").
// A call and a raise are written as one object once they are done. Problems go to standard error
// and also to standard output as "error" objects; help for the person at the keyboard goes to
// standard error, so standard output stays JSON Lines. Threads: transcript.h.
#ifndef ZARVO_HOST_JSON_TRANSCRIPT_H
#define ZARVO_HOST_JSON_TRANSCRIPT_H

#include <chrono>
#include <string>
#include <vector>

#include "pocketjson/value.h"
#include "transcript.h"

namespace zarvo_host {

class JsonTranscript : public Transcript {
 public:
  JsonTranscript(std::FILE* out, std::FILE* err)
      : Transcript(out, err), started_(std::chrono::steady_clock::now()) {}

  void start(const std::string& plugin, const std::string& apps) override;
  void callStarted(const Step& /*step*/) override {}
  void callAnswered(const Step& step, const Answer& answer,
                    const std::vector<CheckResult>& checks) override;
  void event(long seq, const std::string& name, const std::string& text) override;
  void waited(const Step& step, long long timeoutMs, const std::vector<std::string>& events,
              const std::vector<CheckResult>& checks) override;
  void slept(const Step& step) override;
  void tornDown(const Location& where, bool automatic) override;
  void note(const Step& step) override;
  void raiseStarted(const Step& /*step*/) override {}
  void raised(const Step& step, long long delivered) override;
  void lostConnection(const Step& step, bool delivered) override;
  void callLog(const Step& step, const std::vector<std::string>& lines,
               const std::vector<CheckResult>& checks) override;
  void summary(const Totals& totals) override;
  void problem(const std::string& message) override;
  void info(const std::string& text) override;
  bool json() const override { return true; }

 private:
  // Takes the mutex, stamps each object with "t" and writes one line per object.
  void emitJson(const std::vector<pocketjson::Value>& objects);
  // The objects of a step: its own, then one "expectation" object per check.
  static std::vector<pocketjson::Value> withExpectations(const pocketjson::Value& object,
                                                         const Location& where,
                                                         const std::vector<CheckResult>& checks);

  std::chrono::steady_clock::time_point started_;
};

}  // namespace zarvo_host

#endif  // ZARVO_HOST_JSON_TRANSCRIPT_H
