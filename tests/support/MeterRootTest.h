// The fixture of end-to-end tests that run the staged meter-sim and daemon
// together: a temporary root with the web tree's JSON directory and a runtime
// file (foreground, no heartbeat, updaters every 250 ms), the environment that
// points both programs into it, and both programs stopped (SIGTERM) when the test
// ends, whatever its outcome.
//
// Thread-safety: the test's thread only.
#ifndef TESTS_SUPPORT_METERROOTTEST_H_
#define TESTS_SUPPORT_METERROOTTEST_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TempDir.h"

namespace testsupport {

class MeterRootTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // WEB_ROOT, LIVEDATA_ROOT, DATAMAP_FILE and ZUL_LOG_FILE in the root; no
  // LOG_ITEM_CATALOG, no NOTIFY_SOCKET.
  ProcessOptions environment() const;
  std::string mapPath() const { return dir.file("datamap"); }
  // A document's path in the web tree's JSON directory.
  std::string documentPath(const std::string& name) const;

  // Starts the staged meter-sim with args and waits (20 s at most) until it
  // reports its datamap ready.
  void startMeterSim(const std::vector<std::string>& args);
  // Starts the staged daemon with its pid file in the root. While another
  // livedata_update runs on this machine the daemon refuses with status 246;
  // that case is retried a while.
  void startDaemon();

  TempDir dir;
  std::unique_ptr<ChildProcess> sim;
  std::unique_ptr<ChildProcess> daemon;
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_METERROOTTEST_H_
