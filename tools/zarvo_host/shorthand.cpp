#include "shorthand.h"

#include <algorithm>
#include <utility>

#include "host_core/json_text.h"

namespace zarvo_host {

using host_core::compactJson;
using host_core::parseJson;
using host_core::quoteJson;
namespace {

using pocketjson::Value;

// Help for one word: its syntax line and what it does, with an example.
struct Topic {
  const char* word;
  const char* text;
};

const Topic kTopics[] = {
    {"ZarvoApplication",
     "ZarvoApplication post|delete {\"name\":NAME}\n"
     "  Connects (post) or disconnects (delete) the application NAME.\n"
     "  e.g.  ZarvoApplication post {\"name\":\"viewer\"}\n"},
    {"ZarvoApplicationBridge",
     "ZarvoApplicationBridge post {\"name\":NAME} {\"uri\":URI, \"requestData\":V, "
     "\"settings\":V}\n"
     "  Sends a request to NAME; the answer is {\"data\":...,\"statuscode\":...}.\n"
     "  e.g.  ZarvoApplicationBridge post {\"name\":\"viewer\"} {\"uri\":\"/document/open\"}\n"},
    {"ZarvoApplicationCustom",
     "ZarvoApplicationCustom post {\"name\":NAME} {\"type\":TASK, \"data\":V}\n"
     "  Runs the custom task TASK in NAME; the answer is {\"data\":...,\"type\":...}.\n"
     "  e.g.  ZarvoApplicationCustom post {\"name\":\"viewer\"} {\"type\":\"render\"}\n"},
    {"ZarvoApplicationEvent",
     "ZarvoApplicationEvent post|delete {\"name\":NAME,\"type\":TYPE}\n"
     "  Subscribes to (post) or unsubscribes from (delete) the event TYPE of NAME; events\n"
     "  arrive as zarvoEvent lines.\n"
     "  e.g.  ZarvoApplicationEvent post {\"name\":\"viewer\",\"type\":\"progress\"}\n"},
    {"raise",
     "raise APP TYPE [PAYLOAD [COUNT]]\n"
     "  The connected application APP raises the event TYPE with the PAYLOAD text (default\n"
     "  null), COUNT times (default 1); every subscription of TYPE receives it.\n"
     "  e.g.  raise viewer progress {\"percent\":5}\n"
     "  JSON: {\"raise\":\"progress\",\"app\":\"viewer\",\"payload\":{\"percent\":5}}\n"},
    {"lostConnection",
     "lostConnection APP\n"
     "  The application library reports the connection of APP lost. The plug-in keeps the\n"
     "  name connected, so a new connect is refused until APP is deleted.\n"
     "  e.g.  lostConnection viewer\n"
     "  JSON: {\"lostConnection\":\"viewer\"}\n"},
    {"waitEvents",
     "waitEvents N [TIMEOUT_MS]\n"
     "  Takes N events from the queue of events received, waiting up to TIMEOUT_MS.\n"
     "  e.g.  waitEvents 3 2000\n"
     "  JSON: {\"waitEvents\":3,\"timeoutMs\":2000,\"expect\":{\"type\":\"progress\"}}\n"},
    {"sleepMs",
     "sleepMs MS\n"
     "  Pauses; events keep arriving.\n"
     "  e.g.  sleepMs 100\n"},
    {"callLog",
     "callLog\n"
     "  Shows the application library's calls since the last callLog.\n"},
    {"tearDown",
     "tearDown\n"
     "  Calls the plug-in's TearDown, which disconnects every application.\n"},
    {"note",
     "note TEXT\n"
     "  Writes TEXT into the transcript.\n"},
    {"help",
     "help [WORD]\n"
     "  The list of steps, or more about one word.\n"},
    {"quit",
     "quit (or exit, or Ctrl-D)\n"
     "  Ends the session: TearDown unless the last step was one, then the summary.\n"},
};

const char* const kOverview =
    "Type one step per line, as words or as a JSON object (the session script syntax).\n"
    "\n"
    "Calls: RESOURCE METHOD [PARAMETERS [BODY [EXTRA]]], texts sent as typed\n"
    "  ZarvoApplication post {\"name\":\"viewer\"}                      connect (delete: "
    "disconnect)\n"
    "  ZarvoApplicationBridge post {\"name\":\"viewer\"} {\"uri\":\"/document/open\"}\n"
    "  ZarvoApplicationCustom post {\"name\":\"viewer\"} {\"type\":\"render\"}\n"
    "  ZarvoApplicationEvent post {\"name\":\"viewer\",\"type\":\"progress\"}  subscribe "
    "(delete: unsubscribe)\n"
    "The application's side:\n"
    "  raise viewer progress {\"percent\":5}   APP TYPE [PAYLOAD [COUNT]]: raise an event\n"
    "  lostConnection viewer                 report the connection lost\n"
    "Session:\n"
    "  waitEvents 3 [TIMEOUT_MS]             take events from the queue\n"
    "  sleepMs 100                           pause\n"
    "  callLog                               the application library's calls so far\n"
    "  tearDown                              call the plug-in's TearDown\n"
    "  note TEXT                             a note in the transcript\n"
    "  help [WORD]                           this list, or more about one word\n"
    "  quit                                  end the session (also exit, Ctrl-D)\n"
    "As JSON: {\"call\":\"ZarvoApplication\",\"method\":\"post\",\"parameters\":{\"name\":"
    "\"viewer\"}}\n"
    "         {\"raise\":\"progress\",\"app\":\"viewer\",\"payload\":{\"percent\":5}}\n"
    "Tab completes resource names, methods and keywords; the up arrow recalls earlier lines;\n"
    "Ctrl-C drops the line being typed (while a step runs, it is ignored).\n";

// The end of the word that starts at `start` (a non-blank), or npos when a bracket or string
// stays open.
size_t wordEnd(const std::string& text, size_t start) {
  const char first = text[start];
  if (first != '{' && first != '[' && first != '"') {
    const size_t end = text.find_first_of(" \t", start);
    return end == std::string::npos ? text.size() : end;
  }
  std::vector<char> open;
  bool inString = false;
  for (size_t i = start; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') {
        ++i;
      } else if (c == '"') {
        inString = false;
      }
    } else if (c == '"') {
      inString = true;
    } else if (c == '{' || c == '[') {
      open.push_back(c);
    } else if (c == '}' || c == ']') {
      if (!open.empty()) open.pop_back();
    }
    if (!inString && open.empty()) {
      // The value is complete; glued text (`{}x`) stays part of the word and is sent as typed.
      const size_t end = text.find_first_of(" \t", i + 1);
      return end == std::string::npos ? text.size() : end;
    }
  }
  return std::string::npos;
}

// `word` as a JSON value when it is one, else as a string (so the script's own checks name its
// kind in their message).
Value wordValue(const std::string& word) {
  Value value;
  std::string error;
  if (parseJson(word, &value, &error)) return value;
  return Value(word);
}

// Runs the script parser on a step built from words, so both syntaxes share every check.
InteractiveLine fromObject(const Value& object, const Location& where) {
  InteractiveLine out;
  const LineKind kind = parseScriptLine(compactJson(object), where, &out.step, &out.problem);
  out.command = kind == LineKind::kStep ? Command::kStep : Command::kError;
  return out;
}

InteractiveLine failure(const std::string& problem) {
  InteractiveLine out;
  out.command = Command::kError;
  out.problem = problem;
  return out;
}

// `keyword` takes between `low` and `high` words after it.
bool arity(const std::vector<std::string>& words, size_t low, size_t high, const char* usage,
           std::string* problem) {
  const size_t given = words.size() - 1;
  if (given >= low && given <= high) return true;
  *problem = std::string("usage: ") + usage;
  return false;
}

InteractiveLine applicationSide(const std::vector<std::string>& words, const Location& where) {
  InteractiveLine out;
  Value step;
  if (words[0] == "raise") {
    if (!arity(words, 2, 4, "raise APP TYPE [PAYLOAD [COUNT]]", &out.problem)) {
      return failure(out.problem);
    }
    step["raise"] = words[2];
    step["app"] = words[1];
    if (words.size() > 3) step["payloadText"] = words[3];
    if (words.size() > 4) step["count"] = wordValue(words[4]);
  } else {
    if (!arity(words, 1, 1, "lostConnection APP", &out.problem)) return failure(out.problem);
    step["lostConnection"] = words[1];
  }
  return fromObject(step, where);
}

InteractiveLine sessionStep(const std::vector<std::string>& words, const std::string& rest,
                            const Location& where) {
  std::string problem;
  Value step;
  const std::string& keyword = words[0];
  if (keyword == "waitEvents") {
    if (!arity(words, 1, 2, "waitEvents N [TIMEOUT_MS]", &problem)) return failure(problem);
    step["waitEvents"] = wordValue(words[1]);
    if (words.size() > 2) step["timeoutMs"] = wordValue(words[2]);
  } else if (keyword == "sleepMs") {
    if (!arity(words, 1, 1, "sleepMs MS", &problem)) return failure(problem);
    step["sleepMs"] = wordValue(words[1]);
  } else if (keyword == "callLog" || keyword == "tearDown") {
    if (!arity(words, 0, 0, keyword == "callLog" ? "callLog" : "tearDown", &problem)) {
      return failure(problem);
    }
    step[keyword] = true;
  } else {
    step["note"] = rest;
  }
  return fromObject(step, where);
}

InteractiveLine call(const std::vector<std::string>& words, const Location& where) {
  InteractiveLine out;
  if (words.size() < 2 || words.size() > 5) {
    return failure("usage: " + words[0] + " METHOD [PARAMETERS [BODY [EXTRA]]]");
  }
  const std::vector<std::string> texts(words.begin() + 2, words.end());
  if (!makeCommandLineCall(words[0], words[1], texts, where, &out.step, &out.problem)) {
    return failure(out.problem);
  }
  out.command = Command::kStep;
  return out;
}

// The resource name or keyword that equals `word` but for letter case, or "".
std::string sameIgnoringCase(const std::string& word) {
  auto lower = [](std::string text) {
    for (char& c : text) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
  };
  std::vector<std::string> known = resourceNames();
  known.insert(known.end(), shorthandKeywords().begin(), shorthandKeywords().end());
  for (const std::string& candidate : known) {
    if (lower(candidate) == lower(word)) return candidate;
  }
  return "";
}

}  // namespace

bool splitWords(const std::string& text, std::vector<std::string>* words, std::string* problem) {
  words->clear();
  size_t at = text.find_first_not_of(" \t");
  while (at != std::string::npos) {
    const size_t end = wordEnd(text, at);
    if (end == std::string::npos) {
      *problem = "unclosed " + std::string(text[at] == '"' ? "string" : "bracket") +
                 " in the word starting at column " + std::to_string(at + 1);
      return false;
    }
    words->push_back(text.substr(at, end - at));
    at = text.find_first_not_of(" \t", end);
  }
  return true;
}

const std::vector<std::string>& shorthandKeywords() {
  static const std::vector<std::string> keywords = {
      "raise",    "lostConnection", "waitEvents", "sleepMs", "callLog",
      "tearDown", "note",           "help",       "quit",    "exit"};
  return keywords;
}

const std::vector<std::string>& methodWords() {
  static const std::vector<std::string> methods = {"post", "delete", "get", "put"};
  return methods;
}

InteractiveLine parseInteractiveLine(const std::string& rawLine, const Location& where) {
  std::string line = rawLine;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  const size_t first = line.find_first_not_of(" \t");
  if (first == std::string::npos || line[first] == '{' || line[first] == '#' ||
      line.compare(first, 2, "//") == 0) {
    InteractiveLine out;
    const LineKind kind = parseScriptLine(line, where, &out.step, &out.problem);
    out.command = kind == LineKind::kStep   ? Command::kStep
                  : kind == LineKind::kSkip ? Command::kSkip
                                            : Command::kError;
    return out;
  }
  std::vector<std::string> words;
  std::string problem;
  if (!splitWords(line, &words, &problem)) return failure(problem);
  const std::string& keyword = words[0];
  if (isResourceName(keyword)) return call(words, where);
  if (keyword == "raise" || keyword == "lostConnection") return applicationSide(words, where);
  if (keyword == "help") {
    if (words.size() > 2) return failure("usage: help [WORD]");
    InteractiveLine out;
    out.command = Command::kHelp;
    if (words.size() == 2) out.topic = words[1];
    return out;
  }
  if (keyword == "quit" || keyword == "exit") {
    if (words.size() > 1) return failure("usage: " + keyword);
    InteractiveLine out;
    out.command = Command::kQuit;
    return out;
  }
  if (std::find(shorthandKeywords().begin(), shorthandKeywords().end(), keyword) !=
      shorthandKeywords().end()) {
    const size_t restAt = line.find_first_not_of(" \t", first + keyword.size());
    return sessionStep(words, restAt == std::string::npos ? "" : line.substr(restAt), where);
  }
  const std::string unknown = "unknown word " + quoteJson(keyword);
  const std::string near = sameIgnoringCase(keyword);
  if (!near.empty()) return failure(unknown + " (did you mean " + near + "?)");
  return failure(unknown + ": a line is a resource name, a keyword (type help) or a JSON object");
}

std::string interactiveHelp(const std::string& topic) {
  if (topic.empty()) return kOverview;
  for (const Topic& entry : kTopics) {
    if (topic == entry.word) return entry.text;
  }
  if (topic == "exit") return interactiveHelp("quit");
  return "no help for " + quoteJson(topic) + "; type help for the list\n";
}

}  // namespace zarvo_host
