// The period loop of livedata_export: every interval it reads one Snapshot and
// hands it to each output, then waits for the next period or for SIGTERM /
// SIGINT, which end the loop.
//
// Periods are kept on CLOCK_MONOTONIC deadlines; a period that overran starts
// the next one at once and the schedule moves on (no catching up in bursts).
// The signals are taken with sigtimedwait: the caller blocks SIGTERM and
// SIGINT in every thread (blockStopSignals) before any thread starts.
//
// Thread-safety: run() is for one thread; outputs are called from it.
#ifndef EXPORT_READINGLOOP_H_
#define EXPORT_READINGLOOP_H_

#include <functional>

#include "export/Snapshot.h"
#include "export/SnapshotReader.h"

namespace ldexport {

class ReadingLoop {
 public:
  using Output = std::function<void(const Snapshot&)>;

  explicit ReadingLoop(int intervalMs);

  // Outputs run in the order added, each period, after the snapshot is read.
  void addOutput(Output output);

  // Runs until SIGTERM or SIGINT (returns that signal) or until maxPeriods
  // periods ran (0: no limit; returns 0).
  int run(unsigned long long maxPeriods = 0);

  // One period: read and hand out. Exposed for tests and benchmarks.
  void runOnePeriod();

  const Snapshot& snapshot() const { return snapshot_; }
  SnapshotReader& reader() { return reader_; }

 private:
  int intervalMs_;
  SnapshotReader reader_;
  Snapshot snapshot_;
  Output outputs_[8];
  int outputCount_ = 0;
};

// Blocks SIGTERM and SIGINT in the calling thread (threads started later
// inherit it) and ignores SIGPIPE.
void blockStopSignals();

}  // namespace ldexport

#endif  // EXPORT_READINGLOOP_H_
