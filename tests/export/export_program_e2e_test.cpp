// The staged livedata_export as a user runs it: bad command lines, the
// Prometheus file following the map, faults of the map, and a clean stop.
// No servers: promtool only checks the file.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include "tests/export/export_e2e_helpers.h"

namespace {

using exporttest::dmtool;
using exporttest::makeMap;
using exporttest::startExporter;
using testsupport::readFileOrEmpty;
using testsupport::runProcess;
using testsupport::stagedProgram;
using testsupport::TempDir;
using testsupport::waitFor;

int lineCount(const std::string& text) {
  int lines = 0;
  for (char c : text) lines += c == '\n' ? 1 : 0;
  return lines;
}

// promtool's verdict on the file: "" when it has nothing to say.
std::string promtoolCheck(const std::string& file) {
  testsupport::ProcessOptions options;
  options.stdinText = testsupport::readFile(file);
  testsupport::ProcessResult result = runProcess({"/usr/bin/promtool", "check", "metrics"}, options);
  return std::to_string(result.exitCode) + result.out + result.err;
}

TEST(ExportProgram, BadCommandLinesAreOneLineAndStatus2) {
  TempDir dir;
  for (std::vector<std::string> args :
       std::vector<std::vector<std::string>>{{},
                                             {"--interval", "fast", "--prometheus", "f"},
                                             {"--mqtt", "localhost:99999"},
                                             {"--prometheus", "f", "--unknown"}}) {
    args.insert(args.begin(), stagedProgram("sbin/livedata_export"));
    testsupport::ProcessResult result = runProcess(args);
    EXPECT_EQ(2, result.exitCode) << testing::PrintToString(args);
    ASSERT_FALSE(result.err.empty());
    EXPECT_EQ(0u, result.err.find("livedata_export: ")) << result.err;
    EXPECT_EQ(std::string::npos, result.err.substr(0, result.err.find('\n')).find("usage"));
  }
}

TEST(ExportProgram, UnreadablePasswordFileIsOneLineAndStatus2) {
  if (!LDX_WITH_MQTT) GTEST_SKIP() << "livedata_export built without libmosquitto";
  TempDir dir;
  testsupport::makeDirs(dir.file("adir"));
  testsupport::writeFile(dir.file("large"), std::string(4096, 'p') + "\n");
  for (const std::string& file : {dir.file("missing"), dir.file("adir"), dir.file("large")}) {
    testsupport::ProcessResult result =
        runProcess({stagedProgram("sbin/livedata_export"), "--mqtt", "127.0.0.1:1",
                    "--mqtt-user", "u", "--mqtt-password-file", file});
    EXPECT_EQ(2, result.exitCode);
    EXPECT_EQ(1, lineCount(result.err)) << result.err;
    EXPECT_NE(std::string::npos, result.err.find(file)) << result.err;
  }
  EXPECT_NE(std::string::npos,
            runProcess({stagedProgram("sbin/livedata_export"), "--mqtt", "127.0.0.1:1",
                        "--mqtt-user", "u", "--mqtt-password-file", dir.file("large")})
                .err.find("larger than 4096 bytes"));
}

TEST(ExportProgram, UnresolvableBrokerIsRetriedWithOneLineAndNeverStopsTheFile) {
  if (!LDX_WITH_MQTT) GTEST_SKIP() << "livedata_export built without libmosquitto";
  TempDir dir;
  std::string map = makeMap(dir);
  std::string file = dir.file("metrics.prom");
  auto exporter = startExporter(
      map, {"--prometheus", file, "--interval", "50", "--mqtt", "no-such-broker.invalid:1883"});
  ASSERT_TRUE(waitFor([&] { return testsupport::fileExists(file); }));
  ASSERT_TRUE(waitFor([&] { return exporter->err().find("cannot connect") != std::string::npos; },
                      std::chrono::seconds(30)));
  // Two more retries (1 and 2 s later) and many periods go by.
  usleep(3500 * 1000);
  dmtool(map, {"set", "reading.1sec.volt.an", "233"});
  EXPECT_TRUE(waitFor([&] {
    return readFileOrEmpty(file).find("meter_voltage_volts{phase=\"an\"} 233\n") !=
           std::string::npos;
  }, std::chrono::milliseconds(1000)));
  auto stopping = std::chrono::steady_clock::now();
  testsupport::ProcessResult result = exporter->stop(SIGTERM);
  EXPECT_LT(std::chrono::steady_clock::now() - stopping, std::chrono::seconds(3));
  EXPECT_EQ(0, result.exitCode) << result.err;
  std::string log = result.err;
  size_t first = log.find("mqtt: cannot connect to no-such-broker.invalid:1883");
  ASSERT_NE(std::string::npos, first) << log;
  EXPECT_EQ(first, log.rfind("mqtt: cannot connect")) << log;
}

TEST(ExportProgram, FileFollowsTheMapThroughFaultsAndStopsWhole) {
  TempDir dir;
  std::string map = makeMap(dir);
  std::string file = dir.file("metrics.prom");
  dmtool(map, {"set", "reading.1sec.volt.an", "231.5"});
  auto exporter = startExporter(map, {"--prometheus", file, "--interval", "50"});
  ASSERT_TRUE(waitFor([&] {
    return readFileOrEmpty(file).find("meter_voltage_volts{phase=\"an\"} 231.5\n") !=
           std::string::npos;
  })) << exporter->err();
  EXPECT_EQ("0", promtoolCheck(file));
  EXPECT_NE(std::string::npos, readFileOrEmpty(file).find("meter_frequency_hertz 60\n"));

  // A failing key: its family leaves the file, the rest stays.
  dmtool(map, {"fail", "reading.1sec.freq", "-7"});
  ASSERT_TRUE(waitFor([&] {
    std::string text = readFileOrEmpty(file);
    return text.find("meter_frequency_hertz") == std::string::npos &&
           text.find("meter_voltage_volts{phase=\"an\"} 231.5") != std::string::npos;
  }));
  dmtool(map, {"fail", "reading.1sec.freq", "0"});
  ASSERT_TRUE(waitFor(
      [&] { return readFileOrEmpty(file).find("meter_frequency_hertz 60\n") != std::string::npos; }));

  // A damaged map: bytes of the key records overwritten while in use.
  int fd = open(map.c_str(), O_WRONLY);
  ASSERT_GE(fd, 0);
  std::string garbage(4096, '\xA5');
  ASSERT_EQ(static_cast<ssize_t>(garbage.size()), pwrite(fd, garbage.data(), garbage.size(), 64));
  close(fd);
  usleep(500 * 1000);
  EXPECT_TRUE(exporter->running()) << exporter->err();
  EXPECT_EQ("0", promtoolCheck(file));
  // A new map in its place: the readings come back.
  dmtool(map, {"create", testsupport::sourcePath("data/meter.catalog")});
  dmtool(map, {"set", "reading.1sec.volt.an", "229"});
  EXPECT_TRUE(waitFor([&] {
    return readFileOrEmpty(file).find("meter_voltage_volts{phase=\"an\"} 229\n") !=
           std::string::npos;
  })) << readFileOrEmpty(file);

  testsupport::ProcessResult result = exporter->stop(SIGTERM);
  EXPECT_EQ(0, result.exitCode) << result.err;
  EXPECT_EQ("0", promtoolCheck(file));
  // Nothing but the file is left in the directory.
  EXPECT_FALSE(testsupport::fileExists(dir.file(".metrics.prom." +
                                                std::to_string(exporter->pid()) + ".tmp")));
}

TEST(ExportProgram, NoMapAtStartThenAMap) {
  TempDir dir;
  std::string map = dir.file("datamap");
  std::string file = dir.file("metrics.prom");
  auto exporter = startExporter(map, {"--prometheus", file, "--interval", "50"});
  ASSERT_TRUE(waitFor([&] { return testsupport::fileExists(file); }));
  EXPECT_EQ("", readFileOrEmpty(file));
  dmtool(map, {"create", testsupport::sourcePath("data/meter.catalog")});
  EXPECT_TRUE(waitFor([&] {
    return readFileOrEmpty(file).find("meter_info{designation=") != std::string::npos;
  }));
  EXPECT_EQ(0, exporter->stop(SIGINT).exitCode);
  // One line when the map was missing and one when it came, not one per period.
  std::string log = exporter->err();
  EXPECT_EQ(log.find("datamap not available"), log.rfind("datamap not available")) << log;
  EXPECT_NE(std::string::npos, log.find("datamap open")) << log;
}

// The libraries a running process has mapped: its /proc/PID/maps.
std::string mappedFiles(pid_t pid) {
  return readFileOrEmpty("/proc/" + std::to_string(pid) + "/maps");
}

TEST(ExportProgram, LibmosquittoAndOpenSslAreLoadedOnlyForMqtt) {
  TempDir dir;
  std::string map = makeMap(dir);
  std::string file = dir.file("metrics.prom");
  auto fileOnly = startExporter(map, {"--prometheus", file, "--interval", "50"});
  ASSERT_TRUE(waitFor([&] { return testsupport::fileExists(file); }));
  std::string maps = mappedFiles(fileOnly->pid());
  ASSERT_NE(std::string::npos, maps.find("libc.so")) << maps;
  EXPECT_EQ(std::string::npos, maps.find("libmosquitto")) << maps;
  EXPECT_EQ(std::string::npos, maps.find("libssl")) << maps;
  EXPECT_EQ(std::string::npos, maps.find("libcrypto")) << maps;
  EXPECT_EQ(0, fileOnly->stop(SIGTERM).exitCode);
  if (!LDX_WITH_MQTT) return;

  // Nothing listens on the broker's port: the output keeps retrying, loaded.
  auto withMqtt = startExporter(map, {"--prometheus", file, "--interval", "50", "--mqtt",
                                      "127.0.0.1:" + std::to_string(exporttest::freePort())});
  ASSERT_TRUE(waitFor(
      [&] { return withMqtt->err().find("cannot connect") != std::string::npos; },
      std::chrono::seconds(30)));
  EXPECT_NE(std::string::npos, mappedFiles(withMqtt->pid()).find("libmosquitto"));
  EXPECT_EQ(0, withMqtt->stop(SIGTERM).exitCode) << withMqtt->err();
}

}  // namespace
