// updater_threads: the daemon's six updaters (and the polling sampler) on their
// own threads with the daemon's periods, in a process that is not
// livedata_update: no pid file, no runtime file, no instance check, no heartbeat.
// For comparing the updaters' CPU time with livedata_floor's when no daemon may
// be started (bench/compare-threads-floor).
//
//   updater_threads INTERVAL_MS
//
// The datamap comes from $DATAMAP_FILE, the documents go below $WEB_ROOT (as
// the daemon's). THD keeps its fixed 3000 ms. Prints "running" once every thread
// has started, then runs until SIGINT or SIGTERM.
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <string>

#include "livedata/DmAccess.h"
#include "livedata/Globals.h"
#include "livedata/JsonDirectory.h"
#include "updaters/EnergyUpdate.h"
#include "updaters/FlickerUpdate.h"
#include "updaters/PhasorUpdate.h"
#include "updaters/PollingUpdate.h"
#include "updaters/SymmUpdate.h"
#include "updaters/ThdUpdate.h"

namespace {

std::atomic<bool> running{true};

void stopOnSignal(int) { running.store(false, std::memory_order_relaxed); }

void readEnumeration(const char* key, std::atomic<uint32_t>* target) {
  unsigned short value = 0;
  unsigned int index = 0;
  target->store(dm_key_read_uint16(&dm, key, &value, &index) == 0 ? value : 0,
                std::memory_order_relaxed);
}

template <typename Updater>
Updater* start(int interval, const char* fileName) {
  Updater* updater = new Updater();
  updater->setWriteThrough(false);
  updater->setInterval(interval);
  updater->setJsonFile((std::string(updater->getWebRoot()) + kJsonDirectory + fileName).c_str());
  updater->run();
  return updater;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: %s INTERVAL_MS\n", argv[0]);
    return 2;
  }
  const int interval = atoi(argv[1]);
  umask(022);
  signal(SIGINT, stopOnSignal);
  signal(SIGTERM, stopOnSignal);
  if (dm_open_map(&dm) != 0) {
    fprintf(stderr, "no datamap (DATAMAP_FILE)\n");
    return 1;
  }
  readEnumeration("sys.enumeration.hookup", &hookup);
  readEnumeration("sys.enumeration.frequency_type", &frequency_type);
  readEnumeration("sys.enumeration.phase_type", &phase_type);
  timestamp_print_out_format = 0;
  // The daemon's order and periods.
  start<FlickerUpdate>(interval, "flicker_data.json");
  start<ThdUpdate>(3000, "thd_data.json");
  start<EnergyUpdate>(interval, "energy_data.json");
  start<PhasorUpdate>(interval, "phasor_data.json");
  PollingUpdate* polling = start<PollingUpdate>(interval, "polling_data.json");
  polling->run(polling->ledThreadId(), PollingUpdate::led_process_thread);
  start<SymmUpdate>(interval, "symmetrical_components.json");
  printf("running\n");
  fflush(stdout);
  while (running.load(std::memory_order_relaxed)) pause();
  // The updater threads are left to the process's end.
  _exit(0);
}
