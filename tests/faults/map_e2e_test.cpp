// End to end with the installed programs: a running daemon reports an injected
// read failure and reads values again once it is cleared, follows a map
// replaced by `dmtool create` or by a restarted meter-sim, survives a map file
// truncated under it (and so does meter-sim), stays alive while meter-sim is
// killed mid-write again and again and while random bytes of the live map are
// flipped (with a reader loop of the test's own); `dmtool create` refuses
// catalogues that are no regular files.
//
// Scaling: LDU_FAULT_KILLS (simulator kills, default 100), LDU_FAULT_FLIPS
// (byte flips, default 100000), LDU_FAULT_SECONDS (minimum length of the flip
// run in seconds, default 0: a person can run it for an hour).
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "hoststore/HostDatamap.h"
#include "platform/datamap.h"
#include "tests/faults/map_fault_helpers.h"
#include "tests/support/MeterRootTest.h"
#include "tests/support/Process.h"
#include "tests/support/StatusAssertions.h"
#include "tests/support/TempDir.h"

using testsupport::ChildProcess;
using testsupport::ProcessOptions;
using testsupport::ProcessResult;
using testsupport::waitFor;

namespace {

class MapFaultE2e : public testsupport::MeterRootTest {
 protected:
  ProcessResult dmtool(const std::vector<std::string>& args) {
    std::vector<std::string> argv = {testsupport::stagedProgram("bin/dmtool")};
    argv.insert(argv.end(), args.begin(), args.end());
    return testsupport::runProcess(argv, environment());
  }
  void createMap() {
    ProcessResult result = dmtool({"create", testsupport::sourcePath("data/meter.catalog")});
    ASSERT_EQ(0, result.exitCode) << result.err;
  }
  void setDesignation(const std::string& text) {
    ProcessResult result = dmtool({"set", "dev.designation", text});
    ASSERT_EQ(0, result.exitCode) << result.err;
  }

  void startSimulator(const std::string& period) {
    startMeterSim({"--seed", "5", "--period", period});
  }

  // True once the polling document names the designation (JSON text form).
  bool pollingShows(const std::string& jsonText, std::chrono::milliseconds deadline) {
    const std::string wanted = "\"meterDesignation\":\"" + jsonText + "\"";
    return waitFor(
        [&] {
          std::string text;
          return testsupport::readFileIfExists(documentPath("polling_data.json"), &text) &&
                 text.find(wanted) != std::string::npos;
        },
        deadline);
  }

  // Both programs that run are still alive after a second.
  void expectAliveForASecond() {
    long long until = mapfault::nowMs() + 1000;
    while (mapfault::nowMs() < until) {
      ASSERT_TRUE(daemon->running()) << daemon->err();
      if (sim) {
        ASSERT_TRUE(sim->running()) << sim->err();
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }
};

TEST_F(MapFaultE2e, DaemonReadsTheMapMadeByDmtoolCreateWithinAPeriod) {
  ASSERT_NO_FATAL_FAILURE(createMap());
  ASSERT_NO_FATAL_FAILURE(setDesignation("First"));
  ASSERT_NO_FATAL_FAILURE(startDaemon());
  ASSERT_TRUE(pollingShows("First", std::chrono::seconds(30))) << daemon->err();
  for (const char* name : {"Second", "Third"}) {
    ASSERT_NO_FATAL_FAILURE(createMap());
    ASSERT_NO_FATAL_FAILURE(setDesignation(name));
    // One polling period is 250 ms; the deadline leaves room for a loaded machine.
    EXPECT_TRUE(pollingShows(name, std::chrono::seconds(3))) << daemon->err();
  }
  EXPECT_TRUE(daemon->running());
}

TEST_F(MapFaultE2e, InjectedReadFailureGivesErrorLinesThenValuesAgain) {
  ASSERT_NO_FATAL_FAILURE(createMap());
  ASSERT_NO_FATAL_FAILURE(setDesignation("Before"));
  ASSERT_NO_FATAL_FAILURE(startDaemon());
  ASSERT_TRUE(pollingShows("Before", std::chrono::seconds(30))) << daemon->err();
  ASSERT_EQ(0, dmtool({"fail", "dev.designation", "-5"}).exitCode);
  ASSERT_NO_FATAL_FAILURE(setDesignation("After"));
  const std::string line = "dm_read_STRING error on \"dev.designation\" with error code= -5\n";
  EXPECT_TRUE(waitFor([&] { return daemon->err().find(line) != std::string::npos; },
                      std::chrono::seconds(5)))
      << daemon->err();
  // While the key fails the document keeps the last value read.
  EXPECT_FALSE(pollingShows("After", std::chrono::milliseconds(600)));
  ASSERT_EQ(0, dmtool({"fail", "dev.designation", "0"}).exitCode);
  EXPECT_TRUE(pollingShows("After", std::chrono::seconds(3))) << daemon->err();
}

TEST_F(MapFaultE2e, DaemonFollowsARestartedSimulator) {
  ASSERT_NO_FATAL_FAILURE(startSimulator("250"));
  ASSERT_NO_FATAL_FAILURE(startDaemon());
  ASSERT_TRUE(pollingShows("KV7720 Simulator \\\"Main Feeder\\\"", std::chrono::seconds(30)))
      << daemon->err();
  sim->stop(SIGTERM);
  ASSERT_NO_FATAL_FAILURE(startSimulator("250"));
  ASSERT_NO_FATAL_FAILURE(setDesignation("After restart"));
  EXPECT_TRUE(pollingShows("After restart", std::chrono::seconds(3))) << daemon->err();
}

TEST_F(MapFaultE2e, TruncatedMapKillsNeitherDaemonNorSimulator) {
  ASSERT_NO_FATAL_FAILURE(startSimulator("100"));
  ASSERT_NO_FATAL_FAILURE(startDaemon());
  ASSERT_TRUE(pollingShows("KV7720 Simulator \\\"Main Feeder\\\"", std::chrono::seconds(30)));
  ASSERT_EQ(0, truncate(mapPath().c_str(), 100));
  ASSERT_NO_FATAL_FAILURE(expectAliveForASecond());
  EXPECT_TRUE(waitFor([&] { return sim->err().find("truncated") != std::string::npos; },
                      std::chrono::seconds(5)))
      << sim->err();
  sim->stop(SIGTERM);
  sim.reset();
  ASSERT_NO_FATAL_FAILURE(createMap());
  ASSERT_NO_FATAL_FAILURE(setDesignation("Replaced after truncation"));
  EXPECT_TRUE(pollingShows("Replaced after truncation", std::chrono::seconds(3)))
      << daemon->err();
}

TEST_F(MapFaultE2e, SimulatorKilledMidWriteAgainAndAgain) {
  const long kills = mapfault::envCount("LDU_FAULT_KILLS", 100);
  ASSERT_NO_FATAL_FAILURE(startSimulator("10"));
  ASSERT_NO_FATAL_FAILURE(startDaemon());
  std::mt19937 random(7);
  for (long i = 0; i < kills; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % 30));
    ASSERT_EQ(0, kill(sim->pid(), SIGKILL));
    sim->wait();
    ASSERT_TRUE(daemon->running()) << daemon->err();
    ASSERT_NO_FATAL_FAILURE(startSimulator("10"));
  }
  // Every value the daemon shows is whole: the frequency is "%.3f Hz" near 60.
  std::string text;
  ASSERT_TRUE(waitFor(
      [&] {
        return testsupport::readFileIfExists(documentPath("polling_data.json"), &text) &&
               text.find("\"frequency\":\"") != std::string::npos;
      },
      std::chrono::seconds(10)));
  size_t at = text.find("\"frequency\":\"") + 13;
  double frequency = atof(text.c_str() + at);
  EXPECT_NEAR(60.0, frequency, 0.5) << text;
  ASSERT_NO_FATAL_FAILURE(setDesignation("Still following"));
  EXPECT_TRUE(pollingShows("Still following", std::chrono::seconds(3))) << daemon->err();
}

TEST_F(MapFaultE2e, RandomFlipsOfTheLiveMapKillNeitherDaemonNorSimulator) {
  const long flips = mapfault::envCount("LDU_FAULT_FLIPS", 100000);
  const long long minimumMs = mapfault::envCount("LDU_FAULT_SECONDS", 0) * 1000;
  ASSERT_NO_FATAL_FAILURE(startSimulator("50"));
  ASSERT_NO_FATAL_FAILURE(startDaemon());
  dmhost::HostDatamap map;
  ASSERT_TRUE(testsupport::IsOk(map.open(mapPath())));
  struct stat st;
  ASSERT_EQ(0, stat(mapPath().c_str(), &st));
  unsigned char* base = map.block(1) - (static_cast<size_t>(st.st_size) - 4 * dmhost::kBlockSize);
  std::mt19937 random(99);
  std::uniform_int_distribution<size_t> anywhere(0, static_cast<size_t>(st.st_size) - 1);
  std::uniform_int_distribution<size_t> layout(0, static_cast<size_t>(st.st_size) -
                                                      4 * dmhost::kBlockSize - 1);
  // A reader loop of our own beside the daemon: every index, two kinds of read.
  setenv("DATAMAP_FILE", mapPath().c_str(), 1);
  DM_SYS_DATA_BLOK_USER dm = {nullptr};
  ASSERT_EQ(0, dm_open_map(&dm));
  std::atomic<bool> stop{false};
  std::atomic<long> reads{0};
  std::thread reader([&] {
    while (!stop.load()) {
      for (unsigned index = 0; index < 2000 && !stop.load(); ++index) {
        double value;
        char text[64];
        dm_read_flt64(&dm, index, &value, 0, nullptr);
        dm_read_STRING(&dm, index, text, 0, nullptr);
        reads.fetch_add(1);
      }
    }
  });
  long long start = mapfault::nowMs();
  for (long i = 0; i < flips || mapfault::nowMs() - start < minimumMs; ++i) {
    size_t offset = (i % 4 == 0) ? anywhere(random) : layout(random);
    __atomic_fetch_xor(base + offset, static_cast<unsigned char>(1u << (random() % 8)),
                       __ATOMIC_RELAXED);
    if (i % 2000 == 1999) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      if (!daemon->running() || !sim->running()) {
        ADD_FAILURE() << "a program ended after " << i << " flips: " << daemon->err() << sim->err();
        break;
      }
    }
  }
  expectAliveForASecond();
  stop.store(true);
  reader.join();
  dm_close_map(&dm);
  unsetenv("DATAMAP_FILE");
  EXPECT_GT(reads.load(), 0);
}

TEST_F(MapFaultE2e, DmtoolCreateRefusesWhatIsNoRegularFile) {
  ASSERT_NO_FATAL_FAILURE(createMap());
  const std::string before = testsupport::readFile(mapPath());
  const std::string fifo = dir.file("fifo");
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  const std::vector<std::pair<std::string, std::string>> cases = {
      {dir.path(), "a directory, not a regular file"},
      {"/dev/zero", "a device, not a regular file"},
      {fifo, "a FIFO, not a regular file"}};
  for (const auto& entry : cases) {
    ProcessResult result = dmtool({"create", entry.first});
    EXPECT_EQ(1, result.exitCode) << entry.first;
    EXPECT_FALSE(result.timedOut) << entry.first;
    EXPECT_EQ("dmtool: " + entry.first + ": " + entry.second + "\n", result.err);
    EXPECT_EQ("", result.out);
    EXPECT_TRUE(testsupport::readFile(mapPath()) == before) << entry.first;
  }
  testsupport::writeFile(dir.file("big"), std::string(16 * 1024 * 1024 + 1, '#'));
  ProcessResult result = dmtool({"create", dir.file("big")});
  EXPECT_EQ(1, result.exitCode);
  EXPECT_EQ("dmtool: " + dir.file("big") + ": larger than 16777216 bytes\n", result.err);
  EXPECT_TRUE(testsupport::readFile(mapPath()) == before);
}

}  // namespace
