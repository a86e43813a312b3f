#include "daemon/DaemonShutdown.h"

#include <stdio.h>

#include <atomic>

#include "daemon/SignalHandlers.h"
#include "platform/common_api.h"

std::vector<LiveData*> liveDataThreads;

FlickerUpdate* flicker = nullptr;
ThdUpdate* thd = nullptr;
EnergyUpdate* energy = nullptr;
PhasorUpdate* phasor = nullptr;
PollingUpdate* polling = nullptr;
SymmUpdate* symm = nullptr;

namespace {

std::atomic<bool> g_bDaemonShutdown{false};

// Stops every thread; each stop cancels and joins before anything is deleted.
void stopUpdaterThreads() {
  for (size_t i = 0; i < liveDataThreads.size(); ++i) {
    LiveData* updater = liveDataThreads[i];
    if (updater == nullptr) continue;
    liveDataThreads[i] = nullptr;
    updater->stop();
    if (i == kPollingThreadIndex) {
      PollingUpdate* pollingUpdater = static_cast<PollingUpdate*>(updater);
      pollingUpdater->stop(pollingUpdater->ledThreadId(), pollingUpdater->ledEventFd());
    }
  }
}

template <typename Updater>
void deleteUpdater(Updater*& updater) {
  delete updater;
  updater = nullptr;
}

}  // namespace

void daemonShutdown() {
  if (g_bDaemonShutdown.exchange(true)) return;
  unconfig_signal_handler();
  stopUpdaterThreads();
  deleteUpdater(flicker);
  deleteUpdater(thd);
  deleteUpdater(energy);
  deleteUpdater(phasor);
  deleteUpdater(polling);
  deleteUpdater(symm);
  heartbeat_cleanup(-1);
  printf("Done!\n");
  fflush(stdout);
}
