#include "transcript.h"

#include <utility>

#include "json_transcript.h"
#include "text_transcript.h"

namespace zarvo_host {

void Transcript::write(const std::string& text) {
  if (holding_) {
    held_ += text;
    if (wake_) wake_();
    return;
  }
  std::fwrite(text.data(), 1, text.size(), out_);
  std::fflush(out_);
}

void Transcript::emit(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  write(text);
}

void Transcript::emitError(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::fflush(out_);
  std::fputs(text.c_str(), err_);
  std::fflush(err_);
}

void Transcript::problem(const std::string& message) {
  emitError(message + "\n");
}

void Transcript::info(const std::string& text) {
  emit(text);
}

void Transcript::hold(std::function<void()> wake) {
  std::lock_guard<std::mutex> lock(mutex_);
  holding_ = true;
  wake_ = std::move(wake);
}

std::string Transcript::takeHeld() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string text;
  text.swap(held_);
  return text;
}

void Transcript::release() {
  std::lock_guard<std::mutex> lock(mutex_);
  holding_ = false;
  wake_ = nullptr;
  std::string text;
  text.swap(held_);
  if (!text.empty()) write(text);
}

std::unique_ptr<Transcript> makeTranscript(std::FILE* out, std::FILE* err, bool json, bool color) {
  if (json) return std::make_unique<JsonTranscript>(out, err);
  return std::make_unique<TextTranscript>(out, err, color);
}

}  // namespace zarvo_host
