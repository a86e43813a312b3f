// One polling cycle (getData + displayData) with the documents on
// tmpfs, and the heap allocations it makes (counted by replacing the global
// operator new; reported as the "allocs_per_cycle" counter).
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <new>
#include <string>

#include <benchmark/benchmark.h>

#include "livedata/Globals.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StreamCapture.h"
#include "tests/updaters/polling_test_data.h"
#include "updaters/PollingUpdate.h"

namespace {
std::atomic<long long> g_allocations{0};
}  // namespace

// The replacements pair malloc with free; GCC cannot see that through operator new.
#pragma GCC diagnostic push
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
#pragma GCC diagnostic pop

static void BM_PollingCycle(benchmark::State& state) {
  char base[] = "/dev/shm/ldu-polling-bench-XXXXXX";
  if (mkdtemp(base) == nullptr) {
    state.SkipWithError("no tmpfs directory");
    return;
  }
  std::string webRoot = base;
  std::string jsonDir = webRoot + "/home/korvo.web/lighttpd/www/htdocs/common_ui/json";
  testsupport::makeDirs(jsonDir);
  setenv("WEB_ROOT", webRoot.c_str(), 1);
  {
    testsupport::MapFixture map(polling_test::catalog());
    PollingUpdate updater;
    updater.setJsonFile((jsonDir + "/polling_data.json").c_str());
    testsupport::StreamCapture quiet(2);
    updater.init();
    updater.getData();
    updater.displayData();  // warm-up: buffers reach their size
    long long before = g_allocations.load();
    for (auto _ : state) {
      updater.getData();
      updater.displayData();
    }
    long long allocations = g_allocations.load() - before;
    quiet.finish();
    state.counters["allocs_per_cycle"] =
        benchmark::Counter(static_cast<double>(allocations) / static_cast<double>(state.iterations()));
  }
  unsetenv("WEB_ROOT");
  testsupport::removeTree(webRoot);
}
BENCHMARK(BM_PollingCycle)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

BENCHMARK_MAIN();
