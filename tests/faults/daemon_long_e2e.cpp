// The long fault runs, labelled "long": SIGTERM and SIGINT at random moments of
// many daemon runs, and a soak at 10 ms periods with a reader polling every
// document. LDU_SIGNAL_RUNS (default 120) and LDU_SOAK_SECONDS (default 20)
// set their length; a person may run the soak for an hour.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/faults/daemon_fault_helpers.h"
#include "tests/support/Process.h"
#include "tests/support/TempDir.h"

using faulttest::FaultDaemon;
using testsupport::ChildProcess;
using testsupport::waitFor;

namespace {

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += name + " ";
  return text;
}

// Every run starts the daemon on the documents of the run before and signals it
// at a random moment (start-up included), sometimes twice in quick succession.
TEST(DaemonLong, SignalsAtRandomMomentsNeverLeaveADocumentEmpty) {
  const long runs = faulttest::envOr("LDU_SIGNAL_RUNS", 120);
  FaultDaemon daemon;
  {
    ChildProcess first;
    ASSERT_TRUE(daemon.start(first)) << first.err();
    ASSERT_TRUE(daemon.waitForDocuments()) << first.err();
    std::string label;
    ASSERT_TRUE(waitFor([&] {
      return testsupport::readFileIfExists(daemon.documentPath(faulttest::labelDocument()), &label);
    }));
    first.stop(SIGTERM);
  }
  std::mt19937 random(12345);
  std::uniform_int_distribution<int> delayMs(0, 150);
  std::uniform_int_distribution<int> coin(0, 1);
  for (long run = 0; run < runs; ++run) {
    ChildProcess child;
    ASSERT_TRUE(daemon.start(child)) << "run " << run << ": " << child.err();
    std::this_thread::sleep_for(std::chrono::milliseconds(delayMs(random)));
    const int sig = coin(random) ? SIGTERM : SIGINT;
    kill(child.pid(), sig);
    if (coin(random)) {
      std::this_thread::sleep_for(std::chrono::microseconds(200 * delayMs(random)));
      kill(child.pid(), sig == SIGTERM ? SIGINT : SIGTERM);
    }
    testsupport::ProcessResult result = child.wait(std::chrono::seconds(10));
    ASSERT_FALSE(result.timedOut) << "run " << run << " did not end";
    std::vector<std::string> broken = daemon.brokenDocuments();
    ASSERT_TRUE(broken.empty()) << "run " << run << ": " << joined(broken);
  }
}

// Reads every cycle document every 10 ms while the daemon rewrites them at
// 10 ms periods; counts the reads that do not parse. The simulated meter changes
// every value at the same pace, so document lengths change from cycle to cycle.
class DocumentPoller {
 public:
  explicit DocumentPoller(const FaultDaemon& daemon) : daemon_(daemon) {}
  void start() { thread_ = std::thread([this] { loop(); }); }
  void stop() {
    running_ = false;
    thread_.join();
  }
  long reads() const { return reads_; }
  long failures() const { return failures_; }

 private:
  void loop() {
    while (running_) {
      for (const std::string& name : faulttest::cycleDocuments()) {
        std::string text;
        if (!testsupport::readFileIfExists(daemon_.documentPath(name), &text)) continue;
        ++reads_;
        if (!faulttest::parsesAsJson(text)) ++failures_;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }

  const FaultDaemon& daemon_;
  std::thread thread_;
  std::atomic<bool> running_{true};
  long reads_ = 0;
  long failures_ = 0;
};

// Largest resident size and descriptor count over a second of samples.
struct Usage {
  long residentKiB = 0;
  int descriptors = 0;
};

Usage sampleUsage(pid_t pid) {
  Usage usage;
  for (int i = 0; i < 50; ++i) {
    usage.residentKiB = std::max(usage.residentKiB, testsupport::residentKiB(pid));
    usage.descriptors = std::max(usage.descriptors, testsupport::openDescriptors(pid));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return usage;
}

// Starts meter-sim on the daemon's map at 10 ms periods; true once it replaced
// the map the fixture made.
bool startSimulator(const FaultDaemon& daemon, ChildProcess& sim) {
  const std::string map = daemon.dir().file("datamap");
  struct stat before;
  if (stat(map.c_str(), &before) != 0) return false;
  testsupport::ProcessOptions options;
  options.env = {"DATAMAP_FILE=" + map};
  if (!sim.start({testsupport::stagedProgram("bin/meter-sim"), "--period", "10", "--seed", "7"},
                 options)) {
    return false;
  }
  return waitFor([&] {
    struct stat now;
    return stat(map.c_str(), &now) == 0 &&
           (now.st_ino != before.st_ino || now.st_mtim.tv_nsec != before.st_mtim.tv_nsec ||
            now.st_mtim.tv_sec != before.st_mtim.tv_sec);
  });
}

TEST(DaemonLong, SoakAtTenMillisecondsKeepsMemoryDescriptorsAndDocumentsSound) {
  const long seconds = faulttest::envOr("LDU_SOAK_SECONDS", 20);
  FaultDaemon daemon;
  ChildProcess sim;
  ASSERT_TRUE(startSimulator(daemon, sim));
  ChildProcess child;
  ASSERT_TRUE(daemon.start(child)) << child.err();
  ASSERT_TRUE(daemon.waitForDocuments()) << child.err();
  std::this_thread::sleep_for(std::chrono::seconds(2));  // threads and buffers settle
  DocumentPoller poller(daemon);
  poller.start();
  Usage first = sampleUsage(child.pid());
  std::this_thread::sleep_for(std::chrono::seconds(std::max(1L, seconds - 2)));
  Usage last = sampleUsage(child.pid());
  poller.stop();
  ASSERT_TRUE(child.running()) << child.err();

  const double percent = poller.reads() > 0 ? 100.0 * poller.failures() / poller.reads() : 100.0;
  std::printf("soak %lds: %ld reads, %ld did not parse (%.3f %%); VmRSS %ld -> %ld KiB; "
              "descriptors %d -> %d\n",
              seconds, poller.reads(), poller.failures(), percent, first.residentKiB,
              last.residentKiB, first.descriptors, last.descriptors);
  RecordProperty("reads", std::to_string(poller.reads()));
  RecordProperty("unparsable_reads", std::to_string(poller.failures()));
  EXPECT_GT(poller.reads(), 100 * seconds);
  EXPECT_LE(percent, 0.3);
  // Every cycle of six updaters would leak thousands of times over the run.
  EXPECT_LE(last.residentKiB, first.residentKiB + 512);
  // Six documents may be open at once in either window.
  EXPECT_LE(last.descriptors, first.descriptors + 6);
  EXPECT_EQ(std::string::npos, daemon.logText().find("DocumentFile")) << daemon.logText();
  child.stop(SIGTERM);
  EXPECT_TRUE(sim.running()) << sim.err();
  sim.stop(SIGTERM);
}

}  // namespace
