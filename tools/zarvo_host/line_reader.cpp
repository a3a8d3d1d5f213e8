#include "line_reader.h"

#include <langinfo.h>
#include <pthread.h>
#include <sys/stat.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// libedit's readline interface (not GNU readline, whose licence would bind the tool).
#include <editline/readline.h>

#include "completion.h"
#include "terminal_input.h"

namespace zarvo_host {
namespace {

class StreamReader : public LineReader {
 public:
  explicit StreamReader(std::istream& in) : in_(in) {}
  bool read(std::string* line) override { return static_cast<bool>(std::getline(in_, *line)); }

 private:
  std::istream& in_;
};

// Set by SIGINT (Ctrl-C). readline then returns null, which this flag tells apart from the end of
// input.
volatile std::sig_atomic_t gInterrupted = 0;

void onInterrupt(int /*signal*/) {
  gInterrupted = 1;
}

void setInterruptsBlocked(bool blocked) {
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  pthread_sigmask(blocked ? SIG_BLOCK : SIG_UNBLOCK, &interrupt, nullptr);
}

// libedit calls plain functions; they reach the one active reader's data through these.
std::vector<std::string> gApplications;
std::vector<std::string> gCandidates;

char* nextCandidate(const char* /*text*/, int state) {
  static size_t next = 0;
  if (state == 0) next = 0;
  if (next >= gCandidates.size()) return nullptr;
  return strdup(gCandidates[next++].c_str());
}

char** completeAt(const char* text, int start, int /*end*/) {
  rl_attempted_completion_over = 1;  // never fall back to file names
  const std::string before(rl_line_buffer, static_cast<size_t>(start));
  gCandidates = completeWord(before, text, gApplications);
  if (gCandidates.empty()) return nullptr;
  return rl_completion_matches(text, nextCandidate);
}

// A UTF-8 character type locale: the user's when it is one, else C.UTF-8. Only LC_CTYPE changes,
// so numbers are still written with '.'.
void useUtf8Characters() {
  std::setlocale(LC_CTYPE, "");
  if (std::string(nl_langinfo(CODESET)) != "UTF-8") std::setlocale(LC_CTYPE, "C.UTF-8");
}

// Creates the directories above `file` (like mkdir -p), user-only.
void makeParents(const std::string& file) {
  for (size_t slash = file.find('/', 1); slash != std::string::npos;
       slash = file.find('/', slash + 1)) {
    mkdir(file.substr(0, slash).c_str(), 0700);
  }
}

class TerminalReader : public LineReader {
 public:
  explicit TerminalReader(const TerminalOptions& options)
      : prompt_(options.prompt),
        historyFile_(options.historyFile),
        holdOutput_(options.holdOutput),
        releaseOutput_(options.releaseOutput),
        input_(
            options.takeOutput ? options.takeOutput : [] { return std::string(); },
            [] { return gInterrupted != 0; }) {
    gApplications = options.applications;
    useUtf8Characters();
    input_.install();
    rl_getc_function = TerminalInput::readKey;
    // Installed before libedit starts, which passes the signal on to it after restoring the
    // terminal. No SA_RESTART: the interrupted read ends the line being typed.
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &previousInterrupt_);
    rl_readline_name = "zarvo_host";
    rl_basic_word_break_characters = " \t\n";
    rl_attempted_completion_function = completeAt;
    rl_initialize();
    stifle_history(kHistoryLines);
    if (!historyFile_.empty()) read_history(historyFile_.c_str());
  }

  ~TerminalReader() override {
    if (!historyFile_.empty()) {
      makeParents(historyFile_);
      if (write_history(historyFile_.c_str()) != 0) {
        std::fprintf(stderr, "zarvo_host: cannot write the history file %s\n",
                     historyFile_.c_str());
      }
    }
    rl_attempted_completion_function = nullptr;
    sigaction(SIGINT, &previousInterrupt_, nullptr);
    gApplications.clear();
    gCandidates.clear();
  }

  TerminalReader(const TerminalReader&) = delete;
  TerminalReader& operator=(const TerminalReader&) = delete;

  bool read(std::string* line) override {
    char* text = nullptr;
    for (;;) {
      setInterruptsBlocked(false);  // a Ctrl-C pressed while a step ran is taken here...
      gInterrupted = 0;             // ...and ignored
      if (holdOutput_) holdOutput_([this] { input_.wake(); });
      text = readline(prompt_.c_str());
      if (releaseOutput_) releaseOutput_();
      setInterruptsBlocked(true);
      if (text != nullptr) break;
      // Ctrl-D leaves the cursor after the prompt; what follows starts on a line of its own.
      std::fputs(gInterrupted != 0 ? "^C\n" : "\n", stdout);
      std::fflush(stdout);
      // Ctrl-C drops the line being typed and asks again; only Ctrl-D ends the input.
      if (gInterrupted == 0) return false;
    }
    *line = text;
    std::free(text);
    // Blank lines and a repeat of the previous line are not worth recalling.
    if (line->find_first_not_of(" \t") != std::string::npos && *line != last_) {
      add_history(line->c_str());
      last_ = *line;
    }
    return true;
  }

 private:
  std::string prompt_;
  std::string historyFile_;
  std::function<void(std::function<void()>)> holdOutput_;
  std::function<void()> releaseOutput_;
  TerminalInput input_;
  std::string last_;
  struct sigaction previousInterrupt_ {};
};

}  // namespace

void blockInterrupts() {
  setInterruptsBlocked(true);
}

std::unique_ptr<LineReader> makeTerminalReader(const TerminalOptions& options) {
  return std::make_unique<TerminalReader>(options);
}

std::unique_ptr<LineReader> makeStreamReader(std::istream& in) {
  return std::make_unique<StreamReader>(in);
}

std::string defaultHistoryFile() {
  const char* state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && state[0] == '/') return std::string(state) + "/zarvo_host/history";
  const char* home = std::getenv("HOME");
  if (home != nullptr && home[0] == '/') {
    return std::string(home) + "/.local/state/zarvo_host/history";
  }
  return std::string();
}

}  // namespace zarvo_host
