// Counts heap allocations made anywhere in the process (the plug-in and the stand-ins included):
// allocation_count.cpp replaces malloc, calloc, realloc and free in the benchmark binaries only,
// forwarding to glibc's own functions, and bumps one counter per allocation. operator new
// allocates through malloc, so it is counted too. The counter is not atomic with respect to other
// threads; the benchmarks allocate on one thread.
#ifndef BENCH_CALLS_ALLOCATION_COUNT_H
#define BENCH_CALLS_ALLOCATION_COUNT_H

#include <cstdint>

namespace callbench {

// Allocations (malloc, calloc, realloc of a null pointer) since the process started.
uint64_t allocationCount();

}  // namespace callbench

#endif  // BENCH_CALLS_ALLOCATION_COUNT_H
