// The daemon's updaters and their orderly end.
//
// daemonShutdown is registered with atexit by start-up: it stops and joins every
// updater thread (and the polling updater's LED thread), deletes the updaters,
// ends the heartbeat and prints "Done!". It runs at most once, whatever calls it.
//
// Thread-safety: the globals are written by the start-up thread before the main
// loop and by daemonShutdown on the exiting thread; the once-only flag is atomic.
#ifndef DAEMON_DAEMONSHUTDOWN_H_
#define DAEMON_DAEMONSHUTDOWN_H_

#include <vector>

#include "livedata/LiveData.h"
#include "updaters/EnergyUpdate.h"
#include "updaters/FlickerUpdate.h"
#include "updaters/PhasorUpdate.h"
#include "updaters/PollingUpdate.h"
#include "updaters/SymmUpdate.h"
#include "updaters/ThdUpdate.h"

// Position of the polling updater in liveDataThreads.
constexpr size_t kPollingThreadIndex = 4;

// All updaters in creation order: flicker, thd, energy, phasor, polling, symm.
extern std::vector<LiveData*> liveDataThreads;

extern FlickerUpdate* flicker;
extern ThdUpdate* thd;
extern EnergyUpdate* energy;
extern PhasorUpdate* phasor;
extern PollingUpdate* polling;
extern SymmUpdate* symm;

void daemonShutdown();

#endif  // DAEMON_DAEMONSHUTDOWN_H_
