#include "pocketjson/text_buffer.h"

#include <cstring>
#include <utility>

namespace pocketjson {

void TextBuffer::grow(size_t n) {
  const size_t needed = size_ + n + 1;
  size_t capacity = capacity_ * 2;
  if (capacity < needed) capacity = needed;
  std::unique_ptr<char[]> heap(new char[capacity]);
  std::memcpy(heap.get(), data_, size_ + 1);
  heap_ = std::move(heap);
  data_ = heap_.get();
  capacity_ = capacity;
}

}  // namespace pocketjson
