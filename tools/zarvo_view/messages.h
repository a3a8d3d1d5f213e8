// The view's own lines on stderr: "zarvo_view: <text>", flushed at once so that a test (or a
// person) reading stderr sees them in order with the page's console lines on stdout.
//
// Threads: any thread (one fprintf per line).
#ifndef ZARVO_VIEW_MESSAGES_H
#define ZARVO_VIEW_MESSAGES_H

#include <string>

namespace zarvo_view {

void problem(const std::string& text);

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_MESSAGES_H
