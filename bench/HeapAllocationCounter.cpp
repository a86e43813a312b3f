#include "bench/HeapAllocationCounter.h"

#include <stdlib.h>

#include <atomic>
#include <new>

namespace {
std::atomic<long long> g_allocations{0};
}  // namespace

long long heap_allocation_count() { return g_allocations.load(std::memory_order_relaxed); }

// The replacements pair malloc with free; GCC cannot see that through operator new.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(size_t size) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void* operator new[](size_t size) { return operator new(size); }
void operator delete(void* p) noexcept { free(p); }
void operator delete[](void* p) noexcept { free(p); }
void operator delete(void* p, size_t) noexcept { free(p); }
void operator delete[](void* p, size_t) noexcept { free(p); }
