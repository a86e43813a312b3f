// The work one updater cycle cannot avoid, to measure the cycle against: the
// same number of 8-byte reads from a shared mapping, and the same document bytes
// written with the same system calls (fopen "w+", chown to the directory's
// owner, write, fflush, fsync, fclose). measure() runs the real cycle and the
// floor alternately in one benchmark, so that both see the same machine and the
// "ratio" counter comes from one run.
//
// Thread-safety: one object per thread.
#ifndef BENCH_FLOORCYCLE_H_
#define BENCH_FLOORCYCLE_H_

#include <stddef.h>
#include <stdint.h>
#include <time.h>

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

class FloorCycle {
 public:
  // reads 8-byte words from a private shared mapping of that many words.
  explicit FloorCycle(long long reads);
  ~FloorCycle();
  FloorCycle(const FloorCycle&) = delete;
  FloorCycle& operator=(const FloorCycle&) = delete;

  // A document the floor rewrites each cycle: its file's current bytes go to
  // floorPath (beside it, so on the same file system).
  void addDocumentLike(const std::string& path, const std::string& floorPath);

  // One floor cycle.
  void run();

  // The benchmark's iterations: cycle() timed as the benchmark's manual time,
  // then run(); adds the counters floor_us and ratio (cycle over floor).
  template <typename Cycle>
  void measure(benchmark::State& state, Cycle cycle) {
    int64_t cycleNs = 0;
    int64_t floorNs = 0;
    for (auto _ : state) {
      const int64_t start = nowNs();
      cycle();
      const int64_t middle = nowNs();
      run();
      const int64_t end = nowNs();
      cycleNs += middle - start;
      floorNs += end - middle;
      state.SetIterationTime(static_cast<double>(middle - start) * 1e-9);
    }
    report(state, cycleNs, floorNs);
  }

  long long reads() const { return reads_; }

 private:
  struct Document {
    std::string path;
    std::string bytes;
  };

  static int64_t nowNs();
  void report(benchmark::State& state, int64_t cycleNs, int64_t floorNs) const;
  void writeDocument(const Document& document);

  long long reads_;
  volatile const uint64_t* words_ = nullptr;
  size_t mappedBytes_ = 0;
  uint64_t sink_ = 0;
  std::vector<Document> documents_;
};

#endif  // BENCH_FLOORCYCLE_H_
