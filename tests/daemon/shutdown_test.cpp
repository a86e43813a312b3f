// daemonShutdown: stops every updater thread (the polling LED thread included),
// deletes the updaters in order and prints "Done!" - once, however often called.
#include <gtest/gtest.h>

#include "daemon/DaemonShutdown.h"
#include "tests/support/StreamCapture.h"

namespace {

TEST(DaemonShutdown, StopsDeletesAndRunsOnlyOnce) {
  flicker = new FlickerUpdate();
  thd = new ThdUpdate();
  energy = new EnergyUpdate();
  phasor = new PhasorUpdate();
  polling = new PollingUpdate();
  symm = new SymmUpdate();
  LiveData* all[] = {flicker, thd, energy, phasor, polling, symm};
  for (LiveData* updater : all) {
    liveDataThreads.resize(liveDataThreads.size() + 1, updater);
    updater->setInterval(20);
    ASSERT_EQ(0, updater->run());
  }
  ASSERT_EQ(0, polling->run(polling->ledThreadId(), PollingUpdate::led_process_thread));
  ASSERT_EQ(6u, liveDataThreads.size());
  EXPECT_EQ(polling, liveDataThreads[kPollingThreadIndex]);

  testsupport::StreamCapture out(1);
  daemonShutdown();
  daemonShutdown();
  EXPECT_EQ("Done!\n", out.finish());

  for (LiveData* entry : liveDataThreads) EXPECT_EQ(nullptr, entry);
  EXPECT_EQ(nullptr, flicker);
  EXPECT_EQ(nullptr, thd);
  EXPECT_EQ(nullptr, energy);
  EXPECT_EQ(nullptr, phasor);
  EXPECT_EQ(nullptr, polling);
  EXPECT_EQ(nullptr, symm);
}

}  // namespace
