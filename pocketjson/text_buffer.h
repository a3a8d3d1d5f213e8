// pocketjson::TextBuffer: a text under construction that lives in an inline array and moves to
// the heap only when it outgrows that array.
//
// Contract
// --------
// Ownership: the buffer owns its bytes; `data()`/`c_str()` stay valid until the next append or
// the buffer's destruction. A text of up to kInlineSize - 1 bytes never touches the heap, so a
// buffer on the stack builds a short text without any allocation. Growth doubles the room.
// The text is always followed by a NUL byte, so `c_str()` is always ready to hand out.
// Threads: one thread at a time, like any object. Not copyable, not movable (the inline array
// would move with it and the pointer into it would not).
// Failure: memory exhaustion while growing propagates as std::bad_alloc; the text written so
// far stays unchanged.
#ifndef POCKETJSON_TEXT_BUFFER_H
#define POCKETJSON_TEXT_BUFFER_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

namespace pocketjson {

class TextBuffer {
 public:
  // Bytes held inline, the terminating NUL included.
  static constexpr size_t kInlineSize = 256;

  TextBuffer() noexcept { inline_[0] = '\0'; }
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;
  ~TextBuffer() = default;

  const char* data() const noexcept { return data_; }
  const char* c_str() const noexcept { return data_; }
  size_t size() const noexcept { return size_; }
  // Bytes that can be appended without growing.
  size_t spare() const noexcept { return capacity_ - size_ - 1; }
  bool onHeap() const noexcept { return data_ != inline_; }
  std::string str() const { return std::string(data_, size_); }

  void push_back(char c) {
    if (size_ + 1 == capacity_) grow(1);
    data_[size_++] = c;
    data_[size_] = '\0';
  }
  void append(const char* p, size_t n) {
    if (capacity_ - size_ <= n) grow(n);
    if (n != 0) std::memcpy(data_ + size_, p, n);
    size_ += n;
    data_[size_] = '\0';
  }
  template <size_t N>
  void appendLiteral(const char (&literal)[N]) {
    append(literal, N - 1);
  }

  // Room for `n` more bytes after the text (plus the NUL): the returned pointer may be written
  // up to `n` bytes, then `commit(count)` with count <= n makes them part of the text.
  char* room(size_t n) {
    if (capacity_ - size_ <= n) grow(n);
    return data_ + size_;
  }
  void commit(size_t count) noexcept {
    size_ += count;
    data_[size_] = '\0';
  }

 private:
  // Makes room for `n` more bytes and the NUL: at least double the present room.
  void grow(size_t n);

  char inline_[kInlineSize];
  std::unique_ptr<char[]> heap_;
  char* data_ = inline_;
  size_t size_ = 0;
  size_t capacity_ = kInlineSize;
};

}  // namespace pocketjson

#endif  // POCKETJSON_TEXT_BUFFER_H
