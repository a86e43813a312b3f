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
#include "bench/ShmWebRoot.h"
#include "bench/UpdaterCycle.h"
#include "livedata/Globals.h"
#include "livedata/JsonDirectory.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StreamCapture.h"
#include "tests/updaters/energy_test_data.h"
#include "updaters/EnergyUpdate.h"

static void BM_EnergyCycle(benchmark::State& state) {
  ShmWebRoot root("ldu-energy-bench", state);
  if (!root.ok()) return;
  const std::string& jsonDir = root.jsonDir();
  testsupport::MapFixture map(energy_test::catalog());
  energy_test::writeBlockTexts(map);
  energy_test::writeFactoryRecord(map, energy_test::factoryRecord("0000001234567890", "ACME"));
  EnergyUpdate updater;
  updater.setJsonFile((jsonDir + "energy_data.json").c_str());
  // Key 21's read error goes to stderr every cycle; keep it out of the report.
  testsupport::StreamCapture quiet(2);
  std::unique_ptr<FloorCycle> floor = warmUpUpdater(updater, 512 / 8);
  for (const char* name : {"energy_data.json", "meter_factory_setting.json"}) {
    floor->addDocumentLike(jsonDir + "/" + name, jsonDir + "/floor_" + name);
  }
  reportAllocationsPerCycle(state, measureUpdaterCycles(state, *floor, updater));
  quiet.finish();
}
BENCHMARK(BM_EnergyCycle)->Apply(updaterCycleOptions);

BENCHMARK_MAIN();
