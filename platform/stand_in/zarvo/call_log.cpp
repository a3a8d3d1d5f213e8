#include "call_log.h"

#include <cstring>
#include <iterator>

#include "pocketjson/serializer.h"

namespace zarvo_sim {

void CallLog::appendCallPart(std::string& line, const Entry& entry) {
  line += entry.function;
  line += '(';
  bool first = true;
  auto separate = [&line, &first] {
    if (!first) line += ", ";
    first = false;
  };
  if (entry.writesHandle) {
    separate();
    line += std::to_string(entry.handle);
  }
  auto inserter = std::back_inserter(line);
  for (const StoredArg& arg : entry.args) {
    separate();
    if (arg.isNull) {
      line += "NULL";
    } else {
      pocketjson::Serializer::serialize_string(inserter, arg.value);
    }
  }
  if (entry.takesCallback) {
    separate();
    line += entry.callback != nullptr ? "callback" : "NULL";
    separate();
    line += entry.context != nullptr ? "context" : "NULL";
  }
  line += ')';
}

const std::string& CallLog::line(const Entry& entry) {
  if (entry.done) {
    if (!entry.textWritten) {
      std::string text;
      appendCallPart(text, entry);
      text += " -> ";
      text += std::to_string(entry.result);
      if (entry.calledBack) text += " called back";
      entry.text = std::move(text);
      entry.textWritten = true;
    }
    return entry.text;
  }
  if (!entry.pendingWritten) {
    std::string text;
    appendCallPart(text, entry);
    text += " -> ...";
    entry.pendingText = std::move(text);
    entry.pendingWritten = true;
  }
  return entry.pendingText;
}

unsigned long long CallLog::begin(const CallStart& start) {
  if (!enabled()) return 0;
  // The texts are copied outside the lock; the entry goes into the deque in one move.
  Entry entry;
  entry.function = start.function;
  entry.handle = start.handle;
  entry.writesHandle = start.writesHandle;
  entry.args.resize(start.args.size());
  for (size_t i = 0; i < start.args.size(); ++i) {
    const char* text = start.args[i].pointer;
    if (text == nullptr) {
      entry.args[i].isNull = true;
    } else {
      entry.args[i].value.assign(text, std::strlen(text));
    }
  }
  entry.takesCallback = start.takesCallback;
  entry.callback = start.callback;
  entry.context = start.context;
  entry.canCallBack = start.canCallBack;
  std::lock_guard<std::mutex> lock(mutex_);
  entry.sequence = nextSequence_++;
  entries_.push_back(std::move(entry));
  return entries_.back().sequence;
}

CallLog::Entry* CallLog::find(unsigned long long sequence) {
  // Entries are appended in sequence order, so the newest are at the back; an open entry is
  // almost always among the last few.
  for (auto it = entries_.rbegin(); it != entries_.rend(); ++it) {
    if (it->sequence == sequence) return &*it;
    if (it->sequence < sequence) break;
  }
  return nullptr;
}

void CallLog::finish(unsigned long long sequence, long result, bool calledBack) {
  if (sequence == 0) return;  // begun while the log was off
  std::lock_guard<std::mutex> lock(mutex_);
  Entry* entry = find(sequence);
  if (entry == nullptr) return;
  entry->result = result;
  entry->calledBack = calledBack;
  entry->done = true;
}

void CallLog::finishConnect(unsigned long long sequence, unsigned long handle) {
  if (sequence == 0) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    Entry* entry = find(sequence);
    if (entry == nullptr) return;
    entry->handle = handle;
  }
  finish(sequence, static_cast<long>(handle), false);
}

size_t CallLog::size() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return entries_.size();
}

bool CallLog::get(size_t index, ZrvSimCall* out) const {
  if (out == nullptr) return false;
  std::lock_guard<std::mutex> lock(mutex_);
  if (index >= entries_.size()) return false;
  const Entry& entry = entries_[index];
  *out = ZrvSimCall{};
  out->function = entry.function;
  out->handle = entry.handle;
  const size_t count = entry.args.size() < 4 ? entry.args.size() : 4;
  out->argCount = static_cast<int>(count);
  for (size_t i = 0; i < count; ++i) {
    out->args[i] = entry.args[i].isNull ? nullptr : entry.args[i].value.c_str();
  }
  out->callback = entry.callback;
  out->context = entry.context;
  out->result = entry.done ? entry.result : 0;
  out->calledBack = entry.calledBack ? 1 : 0;
  out->text = line(entry).c_str();
  return true;
}

std::string CallLog::text() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string all;
  for (const Entry& entry : entries_) {
    all += line(entry);
    all += '\n';
  }
  return all;
}

void CallLog::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  entries_.clear();
}

}  // namespace zarvo_sim
