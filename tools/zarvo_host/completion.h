// Tab completion in the interactive mode: which words fit where the cursor is.
//
// Design note
// -----------
// Completion follows the short syntax of shorthand.h: the first word of a line is a resource
// name or a keyword, the word after a resource is a method, the word after raise or
// lostConnection is an application name (from the application description), and the word after
// help is any first word. Inside a JSON line nothing is offered. The function is pure, so the
// terminal glue in line_reader.cpp stays thin and the rules can be tested without a terminal.
#ifndef ZARVO_HOST_COMPLETION_H
#define ZARVO_HOST_COMPLETION_H

#include <string>
#include <vector>

namespace zarvo_host {

// The words that complete `prefix`, the part of the current word typed so far, given `before`,
// the line up to the start of that word. `applications` are the names offered for APP words.
// Sorted, without duplicates; empty when nothing fits.
std::vector<std::string> completeWord(const std::string& before, const std::string& prefix,
                                      const std::vector<std::string>& applications);

}  // namespace zarvo_host

#endif  // ZARVO_HOST_COMPLETION_H
