// zarvo_sim::CallLog: the record of every call of an application-connection function.
//
// Design note
// -----------
// One entry per call, in the order the calls began. An entry is opened when a call starts (its
// function, handle, texts, callback and context) and closed when it returns (its result, whether
// it called back, and its canonical text line). Opening at the start keeps a call made from
// inside a callback after the call that made the callback.
//
// Canonical text: `Function(args) -> result`, texts written as JSON strings, handles as decimal
// numbers (0 for NULL), a NULL text, callback or context written NULL, a non-null callback or
// context written "callback" / "context", and " called back" appended when the call invoked its
// callback before returning. An entry still open reads `Function(args) -> ...`.
//
// Ownership: the log owns every text of its entries; entries live in a deque, so texts handed
// out by `get` stay valid until `clear`.
//
// Threads: every operation locks the log's own mutex; the log may be used from any thread.
// Failure: none, except memory exhaustion.
#ifndef ZARVO_SIM_CALL_LOG_H
#define ZARVO_SIM_CALL_LOG_H

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "zarvo_simulator.h"

namespace zarvo_sim {

// One text argument of a logged call; `isNull` records a NULL pointer passed by the caller.
struct TextArg {
  TextArg(const char* text)
      : value(text != nullptr ? text : ""), isNull(text == nullptr) {}  // NOLINT
  std::string value;
  bool isNull;
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
  // Opens an entry; returns its sequence number for `finish`.
  unsigned long long begin(const CallStart& start);
  // Closes the entry `sequence` (ignored when it was cleared meanwhile). For a connect, `handle`
  // replaces the entry's handle with the one returned.
  void finish(unsigned long long sequence, long result, bool calledBack);
  void finishConnect(unsigned long long sequence, unsigned long handle);

  size_t size() const;
  // Fills `out` with entry `index`; false when out of range.
  bool get(size_t index, ZrvSimCall* out) const;
  // Every entry's line, each followed by '\n'.
  std::string text() const;
  void clear();

 private:
  struct Entry {
    unsigned long long sequence = 0;
    const char* function = "";
    unsigned long handle = 0;
    bool writesHandle = true;
    std::vector<TextArg> args;
    const void* callback = nullptr;
    const void* context = nullptr;
    bool takesCallback = false;
    bool canCallBack = false;
    bool done = false;
    long result = 0;
    bool calledBack = false;
    std::string pendingText;  // written once at `begin`, never changed
    std::string text;         // written once at `finish`, never changed
  };

  Entry* find(unsigned long long sequence);
  static std::string callPart(const Entry& entry);

  mutable std::mutex mutex_;
  std::deque<Entry> entries_;
  unsigned long long nextSequence_ = 1;
};

}  // namespace zarvo_sim

#endif  // ZARVO_SIM_CALL_LOG_H
