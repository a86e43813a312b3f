// What the updater cycle benchmarks share: one cycle (getData + displayData)
// measured against its floor with the heap allocations it makes, and the
// options every such benchmark runs with.
//
// Thread-safety: the benchmark's thread only.
#ifndef BENCH_UPDATERCYCLE_H_
#define BENCH_UPDATERCYCLE_H_

#include <benchmark/benchmark.h>

#include "bench/FloorCycle.h"
#include "bench/HeapAllocationCounter.h"

// Runs the benchmark's iterations as updater cycles against floor (see
// FloorCycle::measure); returns the heap allocations all of them made.
template <typename Updater>
long long measureUpdaterCycles(benchmark::State& state, FloorCycle& floor, Updater& updater) {
  const long long before = heap_allocation_count();
  floor.measure(state, [&updater] {
    updater.getData();
    updater.displayData();
  });
  return heap_allocation_count() - before;
}

// The cycle's own time as the manual time, in microseconds, five repetitions
// reported as their aggregates: BENCHMARK(BM_X)->Apply(updaterCycleOptions).
inline void updaterCycleOptions(benchmark::internal::Benchmark* benchmark) {
  benchmark->UseManualTime()
      ->Unit(benchmark::kMicrosecond)
      ->Repetitions(5)
      ->ReportAggregatesOnly(true);
}

#endif  // BENCH_UPDATERCYCLE_H_
