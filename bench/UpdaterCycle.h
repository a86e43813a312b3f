// What the updater cycle benchmarks share: the warm-up that sizes the floor, one
// cycle (getData + displayData) measured against its floor with the heap
// allocations it makes, and the options every such benchmark runs with.
//
// Thread-safety: the benchmark's thread only.
#ifndef BENCH_UPDATERCYCLE_H_
#define BENCH_UPDATERCYCLE_H_

#include <benchmark/benchmark.h>

#include <memory>

#include "bench/DatamapReadCounter.h"
#include "bench/FloorCycle.h"
#include "bench/HeapAllocationCounter.h"

// init(), one getData whose datamap reads (plus extraReads, words the cycle
// reads besides) size the floor, and a warm-up displayData that brings the
// buffers to their working size; returns the floor, documents still to add.
template <typename Updater>
std::unique_ptr<FloorCycle> warmUpUpdater(Updater& updater, long long extraReads = 0) {
  updater.init();
  const long long readsBefore = datamap_read_count();
  updater.getData();
  auto floor = std::make_unique<FloorCycle>(datamap_read_count() - readsBefore + extraReads);
  updater.displayData();
  return floor;
}

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

// Reports allocations (made over all of state's iterations) per cycle as the
// counter "allocs_per_cycle".
inline void reportAllocationsPerCycle(benchmark::State& state, long long allocations) {
  state.counters["allocs_per_cycle"] = benchmark::Counter(static_cast<double>(allocations) /
                                                          static_cast<double>(state.iterations()));
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
