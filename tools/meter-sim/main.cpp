// meter-sim: creates the host datamap with every key the daemon reads, fills it
// with a simulated three-phase meter and keeps it moving until SIGINT or SIGTERM.
#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "LimitSelection.h"
#include "MeterSimulator.h"
#include "SampleSettingsFile.h"
#include "SimOptions.h"
#include "hoststore/HostDatamap.h"

namespace {

volatile sig_atomic_t g_stop = 0;

void onStopSignal(int) { g_stop = 1; }

// SIGINT and SIGTERM only set the flag; the main loop sees it within one sleep slice.
void installSignalHandlers() {
  struct sigaction action;
  memset(&action, 0, sizeof action);
  action.sa_handler = onStopSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool fileReadable(const std::string& path) { return access(path.c_str(), R_OK) == 0; }

// The installed catalogue beside the executable, else the source tree's.
std::string defaultCatalogPath() {
  char exe[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  if (n > 0) {
    exe[n] = '\0';
    std::string dir(exe);
    dir.erase(dir.find_last_of('/'));
    std::string installed = dir + "/../share/livedata-update/meter.catalog";
    if (fileReadable(installed)) return installed;
  }
#ifdef METER_SIM_SOURCE_CATALOG
  if (fileReadable(METER_SIM_SOURCE_CATALOG)) return METER_SIM_SOURCE_CATALOG;
#endif
  return n > 0 ? std::string(exe).substr(0, std::string(exe).find_last_of('/')) +
                     "/../share/livedata-update/meter.catalog"
               : "meter.catalog";
}

using SteadyClock = std::chrono::steady_clock;

// Sleeps until deadline in short slices so that a stop signal ends the wait
// promptly; true when it is time for the next step.
bool sleepUntil(SteadyClock::time_point deadline) {
  const auto slice = std::chrono::milliseconds(20);
  while (!g_stop) {
    const auto now = SteadyClock::now();
    if (now >= deadline) return true;
    std::this_thread::sleep_for(std::min<SteadyClock::duration>(deadline - now, slice));
  }
  return false;
}

// Says once that the map file was truncated under the simulator.
void reportTruncation(MeterSimulator& sim) {
  static bool reported = false;
  if (reported || !sim.map().broken()) return;
  reported = true;
  fprintf(stderr, "meter-sim: the datamap file was truncated; readings are no longer published\n");
}

int runPeriodically(MeterSimulator& sim, unsigned periodMs) {
  SteadyClock::time_point next = SteadyClock::now();
  for (;;) {
    next += std::chrono::milliseconds(periodMs);
    if (!sleepUntil(next)) break;
    base::Status advanced = sim.advance();
    if (!advanced.ok()) {
      fprintf(stderr, "meter-sim: %s\n", advanced.message().c_str());
      return 1;
    }
    reportTruncation(sim);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // The datamap file is never writable by anyone but this user.
  umask(022);
  SimOptions options;
  base::Status parsed = parseSimOptions(argc, argv, &options);
  if (!parsed.ok()) {
    fprintf(stderr, "meter-sim: %s\n%s", parsed.message().c_str(), simUsage(argv[0]).c_str());
    return 2;
  }
  if (options.help) {
    fputs(simUsage(argv[0]).c_str(), stdout);
    return 0;
  }
  installSignalHandlers();
  const std::string mapPath = options.mapPath.empty() ? dmhost::mapPath() : options.mapPath;
  const std::string catalog =
      options.catalogPath.empty() ? defaultCatalogPath() : options.catalogPath;
  std::string note;
  std::vector<MeterBlocks::Limit> limits = LimitSelection::choose(options.logItemsPath, &note);
  if (!note.empty()) fprintf(stderr, "meter-sim: %s\n", note.c_str());

  const std::string settings = SampleSettingsFile::defaultPath();
  bool created = false;
  base::Status written = SampleSettingsFile::writeIfMissing(settings, &created);
  if (!written.ok()) {
    fprintf(stderr, "meter-sim: %s (the daemon shows no profile labels)\n",
            written.message().c_str());
  }

  MeterSimulator sim(options);
  base::Status started = sim.start(mapPath, catalog, limits);
  if (!started.ok()) {
    fprintf(stderr, "meter-sim: %s\n", started.message().c_str());
    return 1;
  }
  printf("meter-sim: datamap ready at %s (catalogue %s)\n", mapPath.c_str(), catalog.c_str());
  if (created) printf("meter-sim: wrote sample settings file %s\n", settings.c_str());
  fflush(stdout);

  if (options.once) return 0;
  if (options.stepsGiven) {
    for (unsigned long s = 0; s < options.steps && !g_stop; ++s) {
      base::Status advanced = sim.advance();
      if (!advanced.ok()) {
        fprintf(stderr, "meter-sim: %s\n", advanced.message().c_str());
        return 1;
      }
    }
    return 0;
  }
  int status = runPeriodically(sim, options.periodMs);
  if (status == 0) printf("meter-sim: stopped\n");
  return status;
}
