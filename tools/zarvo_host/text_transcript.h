// The transcript as readable text: each call as a request line and an answer line, each event as
// it arrives, each failed expectation with its expected and actual side, a closing count.
// Colour (ANSI) only when the caller asks for it (stdout is a terminal and --no-color was not
// given). Threads and output rules: transcript.h.
#ifndef ZARVO_HOST_TEXT_TRANSCRIPT_H
#define ZARVO_HOST_TEXT_TRANSCRIPT_H

#include <string>
#include <vector>

#include "transcript.h"

namespace zarvo_host {

class TextTranscript : public Transcript {
 public:
  TextTranscript(std::FILE* out, std::FILE* err, bool color)
      : Transcript(out, err), color_(color) {}

  void start(const std::string& plugin, const std::string& apps) override;
  void callStarted(const Step& step) override;
  void callAnswered(const Step& step, const Answer& answer,
                    const std::vector<CheckResult>& checks) override;
  void event(long seq, const std::string& name, const std::string& text) override;
  void waited(const Step& step, long long timeoutMs, const std::vector<std::string>& events,
              const std::vector<CheckResult>& checks) override;
  void slept(const Step& step) override;
  void tornDown(const Location& where, bool automatic) override;
  void note(const Step& step) override;
  void raiseStarted(const Step& step) override;
  void raised(const Step& step, long long delivered) override;
  void lostConnection(const Step& step, bool delivered) override;
  void callLog(const Step& step, const std::vector<std::string>& lines,
               const std::vector<CheckResult>& checks) override;
  void summary(const Totals& totals) override;
  bool json() const override { return false; }

 private:
  // `text` wrapped in the colour `code` when colour is on.
  std::string paint(const char* code, const std::string& text) const;
  // The failure lines of the checks that did not hold.
  std::string failures(const Location& where, const std::vector<CheckResult>& checks) const;
  // "  ok", "  FAIL" (painted) or nothing, for the end of an answer line.
  std::string verdict(const std::vector<CheckResult>& checks) const;

  bool color_;
};

}  // namespace zarvo_host

#endif  // ZARVO_HOST_TEXT_TRANSCRIPT_H
