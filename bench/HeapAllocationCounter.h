// Counts the heap allocations of a benchmark program: this file's .cpp replaces
// the global operator new/delete (every bench program links it), so a benchmark
// can report allocations per cycle as a counter.
//
// Thread-safety: the count is a relaxed atomic.
#ifndef BENCH_HEAPALLOCATIONCOUNTER_H_
#define BENCH_HEAPALLOCATIONCOUNTER_H_

// Number of operator new calls since the program started.
long long heap_allocation_count();

#endif  // BENCH_HEAPALLOCATIONCOUNTER_H_
