// malloc-family replacements that count allocations (see allocation_count.h). glibc exports its
// allocator under __libc_* names, which is what these forward to.
#include "allocation_count.h"

#include <atomic>
#include <cstddef>

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* pointer, size_t size);
void __libc_free(void* pointer);
}

namespace {

std::atomic<uint64_t> allocations{0};

// A load and a store rather than an atomic increment: no locked instruction on every malloc.
inline void countOne() {
  allocations.store(allocations.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

}  // namespace

namespace callbench {

uint64_t allocationCount() {
  return allocations.load(std::memory_order_relaxed);
}

}  // namespace callbench

extern "C" {

void* malloc(size_t size) {
  countOne();
  return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
  countOne();
  return __libc_calloc(count, size);
}

void* realloc(void* pointer, size_t size) {
  if (pointer == nullptr) countOne();
  return __libc_realloc(pointer, size);
}

void free(void* pointer) {
  __libc_free(pointer);
}

}  // extern "C"
