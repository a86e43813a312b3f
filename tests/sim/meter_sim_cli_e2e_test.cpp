// End-to-end tests of the installed meter-sim program: seeded runs repeat
// exactly, option errors exit 2 with the usage, signals end it cleanly, the
// installed catalogue and the sample settings file are found and written.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/host/HostDatamap.h"
#include "tests/sim/sim_helpers.h"
#include "tests/support/Process.h"
#include "tests/support/TempDir.h"

using testsupport::ChildProcess;
using testsupport::ProcessOptions;
using testsupport::ProcessResult;
using testsupport::TempDir;

namespace {

std::string program() { return testsupport::stagedProgram("bin/meter-sim"); }

ProcessOptions envIn(const TempDir& dir) {
  ProcessOptions options;
  options.env = {"DATAMAP_FILE=" + dir.file("default-map"), "LIVEDATA_ROOT=" + dir.file("root"),
                 "WEB_ROOT=" + dir.file("web")};
  options.unsetEnv = {"LOG_ITEM_CATALOG"};
  options.timeout = std::chrono::seconds(60);
  return options;
}

ProcessResult run(const TempDir& dir, std::vector<std::string> args) {
  args.insert(args.begin(), program());
  return testsupport::runProcess(args, envIn(dir));
}

TEST(MeterSimCli, SeededOnceRunsGiveIdenticalMaps) {
  TempDir dir;
  ProcessResult first = run(dir, {"--once", "--seed", "42", "--map", dir.file("one")});
  ASSERT_EQ(first.exitCode, 0) << first.err;
  ProcessResult second = run(dir, {"--once", "--seed", "42", "--map", dir.file("two")});
  ASSERT_EQ(second.exitCode, 0) << second.err;
  const std::string one = simtest::snapshot(dir.file("one"));
  ASSERT_FALSE(one.empty());
  EXPECT_EQ(simtest::snapshot(dir.file("two")), one);
  // Several steps repeat as well, and differ from the first state.
  ASSERT_EQ(run(dir, {"--steps", "7", "--seed", "42", "--map", dir.file("three")}).exitCode, 0);
  ASSERT_EQ(run(dir, {"--steps", "7", "--seed", "42", "--map", dir.file("four")}).exitCode, 0);
  EXPECT_EQ(simtest::snapshot(dir.file("three")), simtest::snapshot(dir.file("four")));
  EXPECT_NE(simtest::snapshot(dir.file("three")), one);
}

TEST(MeterSimCli, StepsAdvanceTheClockByThePeriod) {
  TempDir dir;
  ASSERT_EQ(run(dir, {"--steps", "3", "--period", "20000", "--seed", "1", "--start",
                      "2024-06-30 23:59:30"})
                .exitCode,
            0);
  dmhost::HostDatamap map;
  std::string error;
  ASSERT_TRUE(map.open(dir.file("default-map"), &error)) << error;
  EXPECT_EQ(simtest::text(map, "reading.time.ltc"), "2024-07-01 00:00:30");
  EXPECT_EQ(simtest::text(map, "sys.ontime"), "2024-06-30 23:59:30");
}

TEST(MeterSimCli, UsesTheInstalledCatalogueAndWritesTheSettingsFileOnce) {
  TempDir dir;
  ProcessResult result = run(dir, {"--once", "--pt", "60", "--ct", "40", "--hookup", "2"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "");
  EXPECT_NE(result.out.find("share/livedata-update/meter.catalog"), std::string::npos) << result.out;
  const std::string settings = dir.file("root/home/korvo.data/root/kv7720.kps");
  EXPECT_EQ(testsupport::readFile(settings).size(), 32784u);
  dmhost::HostDatamap map;
  std::string error;
  ASSERT_TRUE(map.open(dir.file("default-map"), &error)) << error;
  EXPECT_EQ(simtest::text(map, "dev.pt.pn.ratio"), "60");
  EXPECT_EQ(simtest::text(map, "dev.ct.abc.ratio"), "40");
  EXPECT_EQ(simtest::text(map, "sys.enumeration.hookup"), "2");
  map.close();
  testsupport::writeFile(settings, "edited by the user");
  ASSERT_EQ(run(dir, {"--once"}).exitCode, 0);
  EXPECT_EQ(testsupport::readFile(settings), "edited by the user");
}

TEST(MeterSimCli, BadOptionsPrintUsageAndExit2) {
  TempDir dir;
  const std::vector<std::vector<std::string>> bad = {
      {"--hookup", "7"}, {"--pf", "2"},     {"--period", "abc"}, {"--frobnicate"},
      {"--voltage"},     {"extra"},         {"--ct", "0"},       {"--start", "yesterday"}};
  for (const auto& args : bad) {
    ProcessResult result = run(dir, args);
    EXPECT_EQ(result.exitCode, 2) << args[0];
    EXPECT_NE(result.err.find("meter-sim: "), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("Usage: "), std::string::npos) << result.err;
    EXPECT_EQ(result.out, "");
  }
  EXPECT_FALSE(testsupport::fileExists(dir.file("default-map")));
  ProcessResult help = run(dir, {"--help"});
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_EQ(help.out.compare(0, 7, "Usage: "), 0) << help.out;
}

TEST(MeterSimCli, MissingCatalogueFailsWithExit1) {
  TempDir dir;
  ProcessResult result = run(dir, {"--once", "--catalog", dir.file("none.catalog")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("none.catalog"), std::string::npos) << result.err;
}

void expectCleanStopOn(int sig) {
  TempDir dir;
  ChildProcess child;
  ASSERT_TRUE(child.start({program(), "--period", "50", "--map", dir.file("map")}, envIn(dir)));
  ASSERT_TRUE(testsupport::waitFor([&] { return child.out().find("datamap ready") != std::string::npos; },
                                   std::chrono::seconds(20)))
      << child.err();
  dmhost::HostDatamap map;
  std::string error;
  ASSERT_TRUE(map.open(dir.file("map"), &error)) << error;
  const std::string first = simtest::text(map, "reading.1sec.energy.vahr.total.total.sec");
  EXPECT_TRUE(testsupport::waitFor(
      [&] { return simtest::text(map, "reading.1sec.energy.vahr.total.total.sec") != first; },
      std::chrono::seconds(10)));
  ProcessResult result = child.stop(sig);
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("meter-sim: stopped"), std::string::npos) << result.out;
}

TEST(MeterSimCli, SigtermEndsItCleanly) { expectCleanStopOn(SIGTERM); }

TEST(MeterSimCli, SigintEndsItCleanly) { expectCleanStopOn(SIGINT); }

}  // namespace
