// SmallStack<T, N>: a stack whose first N entries live inside the object itself, for the
// parser's and the serializer's explicit stacks of open containers.
//
// Design note
// -----------
// Most documents nest only a few levels, so a walk with a SmallStack on the native stack
// allocates nothing for its own bookkeeping. Deeper nesting moves the entries to the heap, which
// then doubles as needed: a million levels cost a million entries of heap, not of native stack.
// T must be trivially copyable (entries are moved with memcpy and never destroyed).
//
// Failure: growing throws std::bad_alloc like any container. Not copyable. One thread.
#ifndef POCKETJSON_INTERNAL_SMALL_STACK_H
#define POCKETJSON_INTERNAL_SMALL_STACK_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

namespace pocketjson {
namespace detail {

template <typename T, size_t N>
class SmallStack {
  static_assert(std::is_trivially_copyable<T>::value, "entries are moved with memcpy");
  static_assert(N > 0, "at least one inline entry");

 public:
  SmallStack() = default;
  SmallStack(const SmallStack&) = delete;
  SmallStack& operator=(const SmallStack&) = delete;
  ~SmallStack() = default;

  bool empty() const noexcept { return size_ == 0; }
  size_t size() const noexcept { return size_; }
  T& back() noexcept { return data_[size_ - 1]; }
  T& operator[](size_t i) noexcept { return data_[i]; }
  void pop_back() noexcept { --size_; }
  void push_back(const T& entry) {
    if (size_ == capacity_) grow();
    data_[size_++] = entry;
  }

 private:
  void grow() {
    const size_t capacity = capacity_ * 2;
    std::unique_ptr<T[]> bigger(new T[capacity]);
    std::memcpy(static_cast<void*>(bigger.get()), data_, size_ * sizeof(T));
    heap_ = std::move(bigger);
    data_ = heap_.get();
    capacity_ = capacity;
  }

  T inline_[N];
  std::unique_ptr<T[]> heap_;
  T* data_ = inline_;  // inline_ or heap_ (the object is neither copied nor moved)
  size_t size_ = 0;
  size_t capacity_ = N;
};

}  // namespace detail
}  // namespace pocketjson

#endif  // POCKETJSON_INTERNAL_SMALL_STACK_H
