// What replacing a document by rename costs against rewriting it in place, per
// document, on tmpfs, in the meter's document directory (its full path, as the
// daemon walks it):
//
//   BM_HeldReplacement   one base::ReplacementFile kept from write to write,
//                        as the daemon's DocumentFile keeps it (the directory
//                        held and checked by a stat of its path, the name
//                        checked, the directory's owner given): begin, write,
//                        giveDirectoryOwner, commit
//   BM_OneShotReplace    base::ReplacementFile::replace (the directory opened
//                        for each write, the mode set), as the exporter writes
//                        its Prometheus file
//   BM_BareRename        the mechanism alone: openat(O_EXCL), write, fsync,
//                        close, renameat; no checks
//
// each against the floor's in-place write of the same bytes (fopen "w+",
// chown_to_parent_dir, write, fflush, fsync, fclose), alternating in one run;
// "ratio" is the replacement's time over the floor's. The argument is the
// document's size in bytes (the meter's documents are 0.6 to 12 KB).
#include <fcntl.h>
#include <unistd.h>

#include <string>

#include <benchmark/benchmark.h>

#include "base/ReplacementFile.h"
#include "bench/FloorCycle.h"
#include "bench/ShmWebRoot.h"

namespace {

// The bytes of a document of that size: short JSON lines.
std::string documentBytes(size_t size) {
  std::string bytes = "{\n";
  while (bytes.size() + 2 < size) bytes += "\"v\":[\"123.456 V\",\"7.890 A\"],\n";
  bytes.resize(size - 2);
  return bytes + "}\n";
}

// Runs replace(path, bytes) against the floor's in-place write of the bytes.
template <typename Replace>
void measureAgainstFloor(benchmark::State& state, Replace replace) {
  ShmWebRoot root("ldu-replacement-bench", state);
  if (!root.ok()) return;
  const std::string bytes = documentBytes(static_cast<size_t>(state.range(0)));
  const std::string path = root.jsonDir() + "polling_data.json";
  if (!base::ReplacementFile::replace(path.c_str(), bytes.data(), bytes.size(), 0644, true).ok()) {
    state.SkipWithError("cannot write the first document");
    return;
  }
  FloorCycle floor(0);
  floor.addDocumentLike(path, root.jsonDir() + "floor_polling_data.json");
  floor.measure(state, [&] { replace(path, bytes); });
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(bytes.size()));
}

void BM_HeldReplacement(benchmark::State& state) {
  base::ReplacementFile file;
  measureAgainstFloor(state, [&](const std::string& path, const std::string& bytes) {
    if (!file.begin(path.c_str(), 0644).ok()) return;
    if (file.write(bytes.data(), bytes.size()).ok()) file.giveDirectoryOwner().ignore();
    file.commit().ignore();
  });
}
BENCHMARK(BM_HeldReplacement)->Arg(600)->Arg(5000)->Arg(12000)->UseManualTime();

void BM_OneShotReplace(benchmark::State& state) {
  measureAgainstFloor(state, [](const std::string& path, const std::string& bytes) {
    base::ReplacementFile::replace(path.c_str(), bytes.data(), bytes.size(), 0644, true).ignore();
  });
}
BENCHMARK(BM_OneShotReplace)->Arg(600)->Arg(5000)->Arg(12000)->UseManualTime();

void BM_BareRename(benchmark::State& state) {
  int directory = -1;
  measureAgainstFloor(state, [&](const std::string& path, const std::string& bytes) {
    if (directory < 0) {
      directory = open(path.substr(0, path.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY);
    }
    int fd = openat(directory, ".polling_data.json.tmp",
                    O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) return;
    benchmark::DoNotOptimize(write(fd, bytes.data(), bytes.size()));
    fsync(fd);
    close(fd);
    renameat(directory, ".polling_data.json.tmp", directory, "polling_data.json");
  });
  if (directory >= 0) close(directory);
}
BENCHMARK(BM_BareRename)->Arg(600)->Arg(5000)->Arg(12000)->UseManualTime();

}  // namespace

BENCHMARK_MAIN();
