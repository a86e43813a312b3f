// Datamap costs on the host: key lookup, a read by index, and a whole
// `dmtool set` of one key (process start included).
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include <benchmark/benchmark.h>

#include "platform/datamap.h"
#include "hoststore/HostDatamap.h"
#include "tests/support/TempDir.h"

namespace {

// A map of 2000 keys in a temporary directory, opened through the platform calls.
class BenchMap {
 public:
  BenchMap() : path_(dir_.file("datamap")) {
    std::string catalog;
    for (int i = 0; i < 2000; ++i) {
      catalog += "reading.1sec.key" + std::to_string(i) + " flt64 " + std::to_string(i) + ".5\n";
    }
    ok_ = dmhost::HostDatamap::createFromCatalogText(path_, catalog, "bench").ok();
    setenv("DATAMAP_FILE", path_.c_str(), 1);
    ok_ = ok_ && dm_open_map(&dm_) == 0;
  }
  ~BenchMap() {
    dm_close_map(&dm_);
    unsetenv("DATAMAP_FILE");
  }
  bool ok() const { return ok_; }
  DM_SYS_DATA_BLOK_USER* dm() { return &dm_; }
  const std::string& path() const { return path_; }

 private:
  testsupport::TempDir dir_;
  std::string path_;
  DM_SYS_DATA_BLOK_USER dm_ = {nullptr};
  bool ok_ = false;
};

void BM_GetInfoByKey(benchmark::State& state) {
  BenchMap map;
  if (!map.ok()) state.SkipWithError("cannot make the map");
  unsigned int index = 0, size = 0, type = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        dm_get_info(map.dm(), "reading.1sec.key1234", &index, &size, &type));
  }
}
BENCHMARK(BM_GetInfoByKey);

void BM_ReadFlt64ByIndex(benchmark::State& state) {
  BenchMap map;
  unsigned int index = 0, size = 0, type = 0;
  if (!map.ok() || dm_get_info(map.dm(), "reading.1sec.key777", &index, &size, &type) != 0) {
    state.SkipWithError("cannot make the map");
  }
  double value = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(dm_read_flt64(map.dm(), index, &value, 0, nullptr));
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_ReadFlt64ByIndex);

void BM_DmtoolSetOneKey(benchmark::State& state) {
  BenchMap map;
  // The freshly built dmtool: the stage directory sits in the build directory.
  std::string tool = std::string(LDU_STAGE_DIR) + "/../tools/dmtool/dmtool";
  if (!map.ok() || access(tool.c_str(), X_OK) != 0) state.SkipWithError("no map or no dmtool");
  for (auto _ : state) {
    pid_t child = fork();
    if (child == 0) {
      execl(tool.c_str(), "dmtool", "--map", map.path().c_str(), "set", "reading.1sec.key5",
            "230.125", static_cast<char*>(nullptr));
      _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) state.SkipWithError("dmtool failed");
  }
}
BENCHMARK(BM_DmtoolSetOneKey)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
