#include "completion.h"

#include <algorithm>

#include "script.h"
#include "shorthand.h"

namespace zarvo_host {
namespace {

// Resource names and keywords: everything a line may start with.
std::vector<std::string> firstWords() {
  std::vector<std::string> words = resourceNames();
  words.insert(words.end(), shorthandKeywords().begin(), shorthandKeywords().end());
  return words;
}

}  // namespace

std::vector<std::string> completeWord(const std::string& before, const std::string& prefix,
                                      const std::vector<std::string>& applications) {
  std::vector<std::string> words;
  std::string problem;
  const size_t first = before.find_first_not_of(" \t");
  if (first != std::string::npos && before[first] == '{') return {};
  if (!splitWords(before, &words, &problem)) return {};

  std::vector<std::string> offered;
  // The first word, and a help topic, can be anything a line starts with.
  if (words.empty() || (words.size() == 1 && words[0] == "help")) {
    offered = firstWords();
  } else if (words.size() == 1 && isResourceName(words[0])) {
    offered = methodWords();
  } else if (words.size() == 1 && (words[0] == "raise" || words[0] == "lostConnection")) {
    offered = applications;
  }
  std::vector<std::string> out;
  for (const std::string& word : offered) {
    if (word.compare(0, prefix.size(), prefix) == 0) out.push_back(word);
  }
  std::sort(out.begin(), out.end());
  out.erase(std::unique(out.begin(), out.end()), out.end());
  return out;
}

}  // namespace zarvo_host
