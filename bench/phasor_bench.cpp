// One cycle (getData + displayData) of the phasor, symmetrical components,
// flicker and THD updaters against a host datamap, with the document in a tmpfs
// directory, each against its floor (same reads, plus the harmonic arrays THD
// reads from the block; same document bytes, same system calls; counters
// floor_us and ratio). The "allocs" counter is the number of heap allocations
// per cycle after a warm-up cycle (0 in the steady state).
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <cstdint>
#include <new>
#include <string>

#include "bench/DatamapReadCounter.h"
#include "bench/FloorCycle.h"
#include "bench/HeapAllocationCounter.h"
#include "bench/ShmWebRoot.h"
#include "bench/UpdaterCycle.h"
#include "livedata/Globals.h"
#include "platform/meter_blocks.h"
#include "tests/support/MapFixture.h"
#include "tests/support/TempDir.h"
#include "updaters/FlickerUpdate.h"
#include "updaters/PhasorUpdate.h"
#include "updaters/SymmUpdate.h"
#include "updaters/ThdUpdate.h"

namespace {

// Every key the four updaters read, with plausible values.
std::string catalog() {
  std::string text;
  const char* flt64Keys[] = {
      "reading.1sec.freq", "reading.1sec.volt.an", "reading.1sec.volt.bn", "reading.1sec.volt.cn",
      "reading.1sec.volt.ab", "reading.1sec.volt.bc", "reading.1sec.volt.ca",
      "reading.1sec.current.a", "reading.1sec.current.b", "reading.1sec.current.c",
      "reading.1sec.power.watt.a", "reading.1sec.power.watt.b", "reading.1sec.power.watt.c",
      "reading.1sec.power.va.a", "reading.1sec.power.va.b", "reading.1sec.power.va.c",
      "reading.02sec.volt.an.phase", "reading.02sec.volt.bn.phase", "reading.02sec.volt.cn.phase",
      "reading.02sec.volt.ab.phase", "reading.02sec.volt.bc.phase", "reading.02sec.volt.ca.phase",
      "reading.02sec.current.a.phase", "reading.02sec.current.b.phase",
      "reading.02sec.current.c.phase", "reading.1sec.volt.aux", "reading.02sec.volt.aux.phase",
      "reading.1sec.current.x", "reading.02sec.current.x.phase",
      "reading.3secs.symcomp.volt.zeroseq.mag", "reading.3secs.symcomp.volt.zeroseq.phase",
      "reading.3secs.symcomp.volt.posseq.mag", "reading.3secs.symcomp.volt.posseq.phase",
      "reading.3secs.symcomp.volt.negseq.mag", "reading.3secs.symcomp.volt.negseq.phase",
      "reading.3secs.symcomp.current.zeroseq.mag", "reading.3secs.symcomp.current.zeroseq.phase",
      "reading.3secs.symcomp.current.posseq.mag", "reading.3secs.symcomp.current.posseq.phase",
      "reading.3secs.symcomp.current.negseq.mag", "reading.3secs.symcomp.current.negseq.phase",
      "reading.1sec.thd.van", "reading.1sec.thd.vbn", "reading.1sec.thd.vcn",
      "reading.3sec.kfactor.van.total", "reading.3sec.kfactor.vbn.total",
      "reading.3sec.kfactor.vcn.total", "reading.1sec.tdd.van", "reading.1sec.tdd.vbn",
      "reading.1sec.tdd.vcn", "reading.3sec.thd.ia.total", "reading.3sec.thd.ib.total",
      "reading.3sec.thd.ic.total", "reading.3sec.kfactor.ia.total",
      "reading.3sec.kfactor.ib.total", "reading.3sec.kfactor.ic.total",
      "reading.3sec.tdd.ia.total", "reading.3sec.tdd.ib.total", "reading.3sec.tdd.ic.total"};
  int n = 0;
  for (const char* key : flt64Keys) text += std::string(key) + " flt64 " + std::to_string(-50 + 37 * n++) + ".125\n";
  const char* flt32Keys[] = {
      "setting.en50160.nominal_voltage", "reading.flicker.pinst.a", "reading.flicker.pinst.b",
      "reading.flicker.pinst.c", "reading.flicker.pst.a", "reading.flicker.pst.b",
      "reading.flicker.pst.c", "reading.flicker.plt.a", "reading.flicker.plt.b",
      "reading.flicker.plt.c"};
  for (const char* key : flt32Keys) text += std::string(key) + " flt32 0.75\n";
  for (const char* kind : {"pst", "plt"}) {
    for (const char* bound : {"posmax", "posmin"}) {
      for (const char* phase : {"a", "b", "c"}) {
        const std::string tail = std::string(".flicker.") + kind + "." + phase;
        text += std::string(bound) + tail + " flt32 1.5\n";
        text += std::string(bound) + ".valid" + tail + " boolean 1\n";
        text += std::string(bound) + ".timestamp" + tail + " ts8 2022-10-02 10:00:00\n";
      }
    }
  }
  text +=
      "sys.timestamp.reset_flicker_peak ts8 2022-10-01 00:00:00\n"
      "reading.flicker.countdown_sec.pst uint32 125\n"
      "reading.flicker.countdown_sec.plt uint32 7199\n"
      "sys.enumeration.frequency_type uint32 1\n"
      "reading.valid.pst boolean 1\n"
      "reading.valid.plt boolean 1\n"
      "reading.flicker.timestamp.pst ts8 2022-10-05 19:00:00\n"
      "reading.flicker.timestamp.plt ts8 2022-10-05 18:00:00\n"
      "dev.designation string64 Bench \"meter\" 1\n"
      "reading.time.ltc ts8 2022-10-05 19:03:30\n"
      "sys.ontime ts8 2022-01-02 03:04:05\n"
      "dev.pt.pn.ratio uint32 10\n"
      "dev.ct.abc.ratio uint32 5\n"
      "dev.pt.aux.ratio uint32 1\n"
      "dev.ct.aux.ratio uint32 1\n";
  return text;
}

template <typename Updater>
void runCycles(benchmark::State& state, const char* document, uint32_t wiring,
               long long blockReads = 0) {
  testsupport::MapFixture map(catalog());
  // Harmonic arrays with values in every element.
  using namespace meter_blocks;
  const size_t first = harmonicPhaseOffset(0);
  unsigned char harmonicArrays[harmonicMagnitudeOffset(kHarmonicChannels - 1) +
                               kHarmonicArrayBytes - harmonicPhaseOffset(0)];
  for (size_t i = 0; i < sizeof harmonicArrays; ++i) harmonicArrays[i] = static_cast<unsigned char>(i * 7);
  map.writeBlock(kReadingsBlock, first, harmonicArrays, sizeof harmonicArrays);
  hookup.store(wiring, std::memory_order_relaxed);
  ShmWebRoot root("ldu-phasor-bench", state);
  if (!root.ok()) return;
  Updater updater;
  updater.setJsonFile((root.jsonDir() + document).c_str());
  std::unique_ptr<FloorCycle> floor = warmUpUpdater(updater, blockReads);
  floor->addDocumentLike(root.jsonDir() + document, root.jsonDir() + "floor_" + document);
  const long long allocations = measureUpdaterCycles(state, *floor, updater);
  state.counters["allocs"] =
      benchmark::Counter(static_cast<double>(allocations), benchmark::Counter::kAvgIterations);
}

void BM_PhasorCycle(benchmark::State& state) {
  runCycles<PhasorUpdate>(state, "phasor_data.json", 1);
}
void BM_SymmCycle(benchmark::State& state) {
  runCycles<SymmUpdate>(state, "symmetrical_components.json", 0);
}
void BM_FlickerCycle(benchmark::State& state) {
  runCycles<FlickerUpdate>(state, "flicker_data.json", 0);
}
// Twelve arrays of 128 two-byte elements: 3072 bytes, 384 words.
void BM_ThdCycle(benchmark::State& state) {
  runCycles<ThdUpdate>(state, "thd_data.json", 0, 12 * 128 * 2 / 8);
}

BENCHMARK(BM_PhasorCycle)->Apply(updaterCycleOptions);
BENCHMARK(BM_SymmCycle)->Apply(updaterCycleOptions);
BENCHMARK(BM_FlickerCycle)->Apply(updaterCycleOptions);
BENCHMARK(BM_ThdCycle)->Apply(updaterCycleOptions);

}  // namespace

BENCHMARK_MAIN();
