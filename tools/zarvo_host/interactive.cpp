#include "interactive.h"

#include <string>

#include "shorthand.h"

namespace zarvo_host {

InteractiveOutcome runInteractive(LineReader& reader, Session& session, Transcript& transcript) {
  InteractiveOutcome outcome;
  Location& where = outcome.last;
  std::string line;
  while (reader.read(&line)) {
    ++where.line;
    const InteractiveLine parsed = parseInteractiveLine(line, where);
    switch (parsed.command) {
      case Command::kSkip:
        break;
      case Command::kStep:
        session.run(parsed.step);
        break;
      case Command::kHelp:
        transcript.info(interactiveHelp(parsed.topic));
        break;
      case Command::kQuit:
        return outcome;
      case Command::kError:
        transcript.problem(where.text() + ": " + parsed.problem);
        ++outcome.badLines;
        break;
    }
  }
  return outcome;
}

}  // namespace zarvo_host
