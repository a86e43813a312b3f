// livedata_floor: the daemon's unavoidable work and nothing else, to run side by
// side with livedata_update and compare CPU time (bench/compare-daemon-floor).
//
//   livedata_floor DOC_DIR OUT_DIR INTERVAL_MS
//
// One thread per updater, with the daemon's periods (INTERVAL_MS for all but THD,
// which keeps 3000 ms), each cycle: the updater's number of 8-byte reads from a
// shared mapping, its documents' bytes (taken once from DOC_DIR, where the daemon
// writes them) written to OUT_DIR with fopen "w+", chown, write, fflush, fsync
// and fclose, then the 1 ms pause and the period wait on an epoll descriptor.
// The polling thread has a sampler beside it that reads one word five times per
// period. Runs until SIGINT or SIGTERM.
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/FloorCycle.h"

namespace {

std::atomic<bool> running{true};

void stopOnSignal(int) { running.store(false, std::memory_order_relaxed); }

// One updater: its documents, its reads per cycle (as the bench programs count
// them: typed datamap reads, plus the block bytes it reads, in 8-byte words) and
// whether it keeps the fixed 3000 ms period.
struct UpdaterFloor {
  const char* documents[2];
  long long reads;
  bool fixedPeriod;
};

const UpdaterFloor kUpdaters[] = {
    {{"flicker_data.json", nullptr}, 62, false},
    {{"thd_data.json", nullptr}, 28 + 12 * 128 * 2 / 8, true},
    {{"energy_data.json", "meter_factory_setting.json"}, 112 + 512 / 8, false},
    {{"phasor_data.json", nullptr}, 36, false},
    {{"polling_data.json", nullptr}, 198, false},
    {{"symmetrical_components.json", nullptr}, 36, false},
};

// A document as the daemon last wrote it whole (it ends with "}\n"); waits up
// to 10 s for one, since the daemon may be between truncating and writing.
bool documentIsComplete(const std::string& path) {
  for (int attempt = 0; attempt < 1000; ++attempt) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    const std::string text = bytes.str();
    if (text.size() >= 2 && text.compare(text.size() - 2, 2, "}\n") == 0) return true;
    usleep(10000);
  }
  return false;
}

void waitPeriod(int epfd, int periodMs) {
  epoll_event event;
  while (epoll_wait(epfd, &event, 1, periodMs) < 0 && running.load(std::memory_order_relaxed)) {
  }
}

void updaterLoop(FloorCycle* floor, int periodMs) {
  const int epfd = epoll_create(1);
  while (running.load(std::memory_order_relaxed)) {
    floor->run();
    usleep(1000);
    waitPeriod(epfd, periodMs);
  }
  close(epfd);
}

// The polling updater's sampler: one read five times per period, after a first
// one-second sleep.
void samplerLoop(int periodMs) {
  FloorCycle oneRead(1);
  const int epfd = epoll_create(1);
  sleep(1);
  while (running.load(std::memory_order_relaxed)) {
    oneRead.run();
    waitPeriod(epfd, periodMs / 5);
  }
  close(epfd);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: %s DOC_DIR OUT_DIR INTERVAL_MS\n", argv[0]);
    return 2;
  }
  const std::string docDir = argv[1];
  const std::string outDir = argv[2];
  const int interval = atoi(argv[3]);
  signal(SIGINT, stopOnSignal);
  signal(SIGTERM, stopOnSignal);
  std::vector<std::unique_ptr<FloorCycle>> floors;
  std::vector<std::thread> threads;
  for (const UpdaterFloor& updater : kUpdaters) {
    floors.push_back(std::make_unique<FloorCycle>(updater.reads));
    for (const char* name : updater.documents) {
      if (name == nullptr) continue;
      if (!documentIsComplete(docDir + "/" + name)) {
        fprintf(stderr, "livedata_floor: no complete %s in %s\n", name, docDir.c_str());
        return 1;
      }
      floors.back()->addDocumentLike(docDir + "/" + name, outDir + "/" + name);
    }
    const int period = updater.fixedPeriod ? 3000 : interval;
    threads.emplace_back(updaterLoop, floors.back().get(), period);
    if (updater.documents[0] == std::string("polling_data.json")) {
      threads.emplace_back(samplerLoop, interval);
    }
  }
  printf("livedata_floor: running\n");
  fflush(stdout);
  for (std::thread& thread : threads) thread.join();
  return 0;
}
