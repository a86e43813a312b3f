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
#include "bench/UpdaterCycle.h"
#include "livedata/Globals.h"
#include "livedata/JsonDirectory.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StreamCapture.h"
#include "tests/updaters/polling_test_data.h"
#include "updaters/PollingUpdate.h"


static void BM_PollingCycle(benchmark::State& state) {
  char base[] = "/dev/shm/ldu-polling-bench-XXXXXX";
  if (mkdtemp(base) == nullptr) {
    state.SkipWithError("no tmpfs directory");
    return;
  }
  std::string webRoot = base;
  std::string jsonDir = webRoot + kJsonDirectory;
  testsupport::makeDirs(jsonDir);
  setenv("WEB_ROOT", webRoot.c_str(), 1);
  {
    testsupport::MapFixture map(polling_test::catalog());
    PollingUpdate updater;
    updater.setJsonFile((jsonDir + "polling_data.json").c_str());
    testsupport::StreamCapture quiet(2);
    updater.init();
    const long long readsBefore = datamap_read_count();
    updater.getData();
    FloorCycle floor(datamap_read_count() - readsBefore);
    updater.displayData();  // warm-up: buffers reach their size
    floor.addDocumentLike(jsonDir + "/polling_data.json", jsonDir + "/floor_polling_data.json");
    const long long allocations = measureUpdaterCycles(state, floor, updater);
    quiet.finish();
    state.counters["allocs_per_cycle"] =
        benchmark::Counter(static_cast<double>(allocations) / static_cast<double>(state.iterations()));
  }
  unsetenv("WEB_ROOT");
  testsupport::removeTree(webRoot);
}
BENCHMARK(BM_PollingCycle)->Apply(updaterCycleOptions);

BENCHMARK_MAIN();
