// The limits every host applies, in one table.
//
// Design note
// -----------
// A page must meet the same limits whichever host runs it: the browser host over HTTP or a
// WebSocket, the desktop view over its web channel, the reference host's scripts. Each host reads
// its numbers from a Limits record (the defaults below, changed only by its command line), and
// every refusal names the number it applied, so a page author can tell a limit from a fault.
//
// Memory is bounded by construction: a request larger than `requestBytes` is refused before it
// is kept, and events wait in one buffer of `eventBufferBytes` shared by every reader; a reader
// that falls further behind than the buffer holds is told which events it lost (a gap report)
// instead of the host keeping them for it.
#ifndef ZARVO_HOST_CORE_LIMITS_H
#define ZARVO_HOST_CORE_LIMITS_H

#include <cstddef>

namespace host_core {

constexpr size_t kMebibyte = size_t{1} << 20;

// What each event costs in the event buffer besides its text: the bookkeeping of one entry.
constexpr size_t kEventOverheadBytes = 64;

struct Limits {
  // Largest request: an HTTP body, a WebSocket message, or the four texts of a web-channel call
  // (their UTF-8 bytes together).
  size_t requestBytes = 16 * kMebibyte;
  // Events kept for readers that are behind or reconnect: each costs its text plus
  // kEventOverheadBytes; the oldest go first, the newest always stays.
  size_t eventBufferBytes = 16 * kMebibyte;
  // Text handed to a reader in one batch (at least one event, however large).
  size_t eventBatchBytes = 64 * 1024;
  // Events one simulator "raise" control may ask for.
  long long maxRaiseCount = 1000000;
};

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_LIMITS_H
