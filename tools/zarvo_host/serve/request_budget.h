// The bytes of requests the host holds at once, across every connection.
//
// Design note
// -----------
// Each request is bounded by the request size limit, and each connection reads one request at a
// time; this budget bounds their sum, so that many connections sending large requests together
// cannot exhaust the machine's memory. An HTTP body reserves its whole declared size before the
// first byte of it is read (a chunked body the full request limit), and is refused with 503 when
// that does not fit. A WebSocket message counts as its bytes arrive and until its answer has been
// written; a socket whose message takes the total over the budget is closed (1013, try again
// later). Refusing instead of waiting means no request ever waits for memory that other waiting
// requests hold.
//
// Threads: the event loop's only.
#ifndef ZARVO_HOST_SERVE_REQUEST_BUDGET_H
#define ZARVO_HOST_SERVE_REQUEST_BUDGET_H

#include <cstddef>

namespace zarvo_host::serve {

class RequestBudget {
 public:
  explicit RequestBudget(size_t capacity) : capacity_(capacity) {}

  // Takes `bytes` when they fit; false (nothing taken) when they do not.
  bool reserve(size_t bytes) {
    if (held_ > capacity_ || bytes > capacity_ - held_) return false;
    held_ += bytes;
    return true;
  }
  // Takes `bytes` whether they fit or not; false when the total is now over the capacity.
  bool add(size_t bytes) {
    held_ += bytes;
    return held_ <= capacity_;
  }
  void release(size_t bytes) { held_ -= bytes <= held_ ? bytes : held_; }
  size_t held() const { return held_; }
  size_t capacity() const { return capacity_; }

 private:
  size_t capacity_;
  size_t held_ = 0;
};

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_REQUEST_BUDGET_H
