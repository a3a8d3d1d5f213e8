#include "call_log.h"

#include <iterator>

#include "pocketjson/serializer.h"

namespace zarvo_sim {

namespace {

std::string quoted(const TextArg& arg) {
  if (arg.isNull) return "NULL";
  std::string out;
  auto inserter = std::back_inserter(out);
  pocketjson::Serializer::serialize_string(inserter, arg.value);
  return out;
}

}  // namespace

std::string CallLog::callPart(const Entry& entry) {
  std::string line = entry.function;
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
  for (const TextArg& arg : entry.args) {
    separate();
    line += quoted(arg);
  }
  if (entry.takesCallback) {
    separate();
    line += entry.callback != nullptr ? "callback" : "NULL";
    separate();
    line += entry.context != nullptr ? "context" : "NULL";
  }
  line += ')';
  return line;
}

unsigned long long CallLog::begin(const CallStart& start) {
  Entry entry;
  entry.function = start.function;
  entry.handle = start.handle;
  entry.writesHandle = start.writesHandle;
  entry.args = start.args;
  entry.takesCallback = start.takesCallback;
  entry.callback = start.callback;
  entry.context = start.context;
  entry.canCallBack = start.canCallBack;
  entry.pendingText = callPart(entry) + " -> ...";
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
  std::lock_guard<std::mutex> lock(mutex_);
  Entry* entry = find(sequence);
  if (entry == nullptr) return;
  entry->result = result;
  entry->calledBack = calledBack;
  std::string text = callPart(*entry) + " -> " + std::to_string(result);
  if (calledBack) text += " called back";
  entry->text = std::move(text);
  entry->done = true;
}

void CallLog::finishConnect(unsigned long long sequence, unsigned long handle) {
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
  out->text = entry.done ? entry.text.c_str() : entry.pendingText.c_str();
  return true;
}

std::string CallLog::text() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string all;
  for (const Entry& entry : entries_) {
    all += entry.done ? entry.text : entry.pendingText;
    all += '\n';
  }
  return all;
}

void CallLog::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  entries_.clear();
}

}  // namespace zarvo_sim
