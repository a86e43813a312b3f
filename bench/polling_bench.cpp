// One polling cycle (getData + displayData) with the documents on
// tmpfs, against its floor (same reads, same document bytes, same system calls;
// counters floor_us and ratio), and the heap allocations it makes (counted by
// replacing the global operator new; reported as the "allocs_per_cycle" counter).
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <new>
#include <string>

#include <benchmark/benchmark.h>

#include "bench/DatamapReadCounter.h"
#include "bench/FloorCycle.h"
#include "bench/HeapAllocationCounter.h"
#include "bench/ShmWebRoot.h"
#include "bench/UpdaterCycle.h"
#include "livedata/Globals.h"
#include "livedata/JsonDirectory.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StreamCapture.h"
#include "tests/updaters/polling_test_data.h"
#include "updaters/PollingUpdate.h"

static void BM_PollingCycle(benchmark::State& state) {
  ShmWebRoot root("ldu-polling-bench", state);
  if (!root.ok()) return;
  const std::string& jsonDir = root.jsonDir();
  testsupport::MapFixture map(polling_test::catalog());
  PollingUpdate updater;
  updater.setJsonFile((jsonDir + "polling_data.json").c_str());
  testsupport::StreamCapture quiet(2);
  std::unique_ptr<FloorCycle> floor = warmUpUpdater(updater);
  floor->addDocumentLike(jsonDir + "/polling_data.json", jsonDir + "/floor_polling_data.json");
  reportAllocationsPerCycle(state, measureUpdaterCycles(state, *floor, updater));
  quiet.finish();
}
BENCHMARK(BM_PollingCycle)->Apply(updaterCycleOptions);

BENCHMARK_MAIN();
