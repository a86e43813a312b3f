// One energy cycle (getData + displayData, both documents) with the documents on
// tmpfs, against its floor (same reads plus the 512-byte factory record the
// checksum covers, same document bytes, same system calls; counters floor_us and
// ratio), and the heap allocations it makes (counted by replacing the global
// operator new; reported as the "allocs_per_cycle" counter).
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
#include "tests/updaters/energy_test_data.h"
#include "updaters/EnergyUpdate.h"


static void BM_EnergyCycle(benchmark::State& state) {
  char base[] = "/dev/shm/ldu-energy-bench-XXXXXX";
  if (mkdtemp(base) == nullptr) {
    state.SkipWithError("no tmpfs directory");
    return;
  }
  std::string webRoot = base;
  std::string jsonDir = webRoot + kJsonDirectory;
  testsupport::makeDirs(jsonDir);
  setenv("WEB_ROOT", webRoot.c_str(), 1);
  {
    testsupport::MapFixture map(energy_test::catalog());
    energy_test::writeBlockTexts(map);
    energy_test::writeFactoryRecord(map, energy_test::factoryRecord("0000001234567890", "ACME"));
    EnergyUpdate updater;
    updater.setJsonFile((jsonDir + "energy_data.json").c_str());
    // Key 21's read error goes to stderr every cycle; keep it out of the report.
    testsupport::StreamCapture quiet(2);
    updater.init();
    const long long readsBefore = datamap_read_count();
    updater.getData();
    FloorCycle floor(datamap_read_count() - readsBefore + 512 / 8);
    updater.displayData();  // warm-up: buffers reach their size
    for (const char* name : {"energy_data.json", "meter_factory_setting.json"}) {
      floor.addDocumentLike(jsonDir + "/" + name, jsonDir + "/floor_" + name);
    }
    const long long allocations = measureUpdaterCycles(state, floor, updater);
    quiet.finish();
    state.counters["allocs_per_cycle"] =
        benchmark::Counter(static_cast<double>(allocations) / static_cast<double>(state.iterations()));
  }
  unsetenv("WEB_ROOT");
  testsupport::removeTree(webRoot);
}
BENCHMARK(BM_EnergyCycle)->Apply(updaterCycleOptions);

BENCHMARK_MAIN();
