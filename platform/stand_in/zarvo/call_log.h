// zarvo_sim::CallLog: the record of every call of an application-connection function.
//
// Design note
// -----------
// One entry per call, in the order the calls began. An entry is opened when a call starts (its
// function, handle, texts, callback and context) and closed when it returns (its result and
// whether it called back). Opening at the start keeps a call made from inside a callback after
// the call that made the callback.
//
// Canonical text: `Function(args) -> result`, texts written as JSON strings, handles as decimal
// numbers (0 for NULL), a NULL text, callback or context written NULL, a non-null callback or
// context written "callback" / "context", and " called back" appended when the call invoked its
// callback before returning. An entry still open reads `Function(args) -> ...`.
//
// Cost: a call copies each text argument once into its entry and nothing else; the canonical
// line is written only when somebody reads it (`get`, `text`) and then kept with the entry. With
// the log switched off (`setEnabled(false)`) `begin` records nothing and returns 0, and `finish`
// of sequence 0 returns at once, so the stand-in then costs a call next to nothing.
//
// Ownership: the log owns every text of its entries; entries live in a deque and a line once
// written is never changed, so texts handed out by `get` stay valid until `clear`.
//
// Threads: every operation locks the log's own mutex (the on/off switch is an atomic flag); the
// log may be used from any thread.
// Failure: none, except memory exhaustion.
#ifndef ZARVO_SIM_CALL_LOG_H
#define ZARVO_SIM_CALL_LOG_H

#include <atomic>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "zarvo_simulator.h"

namespace zarvo_sim {

// One text argument of a call as the caller passed it (not owned; valid during the call).
struct TextArg {
  TextArg(const char* text) : pointer(text) {}  // NOLINT(google-explicit-constructor)
  const char* pointer;                          // NULL when the caller passed NULL
};

// What is known when a call starts.
struct CallStart {
  const char* function = "";  // a string literal
  unsigned long handle = 0;
  bool writesHandle = true;  // false for ZrvConnectApplication (no handle argument)
  std::vector<TextArg> args;
  bool takesCallback = false;  // the function has callback and context parameters
  const void* callback = nullptr;
  const void* context = nullptr;
  bool canCallBack = false;  // ZrvBridgeCross / ZrvExecuteCustomTask
};

class CallLog {
 public:
  // Opens an entry (copying the texts); returns its sequence number for `finish`, or 0 when the
  // log is switched off.
  unsigned long long begin(const CallStart& start);
  // Closes the entry `sequence` (ignored for 0 and when it was cleared meanwhile). For a
  // connect, `handle` replaces the entry's handle with the one returned.
  void finish(unsigned long long sequence, long result, bool calledBack);
  void finishConnect(unsigned long long sequence, unsigned long handle);

  // Switches recording on or off; entries already recorded stay. On by default.
  void setEnabled(bool enabled) { enabled_.store(enabled, std::memory_order_relaxed); }
  // Whether calls are being recorded.
  bool enabled() const { return enabled_.load(std::memory_order_relaxed); }

  size_t size() const;
  // Fills `out` with entry `index`; false when out of range.
  bool get(size_t index, ZrvSimCall* out) const;
  // Every entry's line, each followed by '\n'.
  std::string text() const;
  void clear();

 private:
  // A copied text argument; `isNull` records a NULL pointer passed by the caller.
  struct StoredArg {
    std::string value;
    bool isNull = false;
  };

  struct Entry {
    unsigned long long sequence = 0;
    const char* function = "";
    unsigned long handle = 0;
    bool writesHandle = true;
    std::vector<StoredArg> args;
    const void* callback = nullptr;
    const void* context = nullptr;
    bool takesCallback = false;
    bool canCallBack = false;
    bool done = false;
    long result = 0;
    bool calledBack = false;
    // Written on first read; the pending line only while the entry is open, the final line only
    // once it is closed. Neither changes once written, so handed-out pointers stay valid.
    mutable std::string pendingText;
    mutable std::string text;
    mutable bool pendingWritten = false;
    mutable bool textWritten = false;
  };

  Entry* find(unsigned long long sequence);
  // The entry's current line (written now if needed); call with the mutex held.
  static const std::string& line(const Entry& entry);
  static void appendCallPart(std::string& line, const Entry& entry);

  mutable std::mutex mutex_;
  std::deque<Entry> entries_;
  unsigned long long nextSequence_ = 1;
  std::atomic<bool> enabled_{true};
};

}  // namespace zarvo_sim

#endif  // ZARVO_SIM_CALL_LOG_H
