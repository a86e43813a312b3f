// End to end: the staged daemon against a map made with the staged dmtool in a
// temporary root. The energy, factory settings and polling documents appear in
// the web tree, parse as JSON and follow values changed with `dmtool set`.
#include <dirent.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "livedata/JsonDirectory.h"
#include "tests/support/Process.h"
#include "tests/support/TempDir.h"
#include "tests/updaters/energy_test_data.h"
#include "tests/updaters/polling_test_data.h"

namespace {

using testsupport::ChildProcess;
using testsupport::ProcessOptions;
using testsupport::ProcessResult;
using testsupport::TempDir;
using testsupport::waitFor;

constexpr int kPeriodMs = 200;

// Both updaters' catalogues, each key once.
std::string mergedCatalog() {
  std::map<std::string, bool> seen;
  std::string out;
  for (const char* catalog : {energy_test::catalog(), polling_test::catalog()}) {
    std::istringstream in(catalog);
    std::string line;
    while (std::getline(in, line)) {
      if (line.empty() || line[0] == '#') continue;
      std::string key = line.substr(0, line.find(' '));
      if (seen[key]) continue;
      seen[key] = true;
      out += line + "\n";
    }
  }
  return out;
}

// Parses the file as JSON; false while it is missing, partial or invalid.
bool parseJson(const std::string& path, nlohmann::json* out) {
  std::string text;
  if (!testsupport::readFileIfExists(path, &text) || text.empty()) return false;
  *out = nlohmann::json::parse(text, nullptr, false);
  return !out->is_discarded();
}

class EnergyPollingE2E : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::makeDirs(jsonDir());
    testsupport::writeFile(dir_.file("catalog.txt"), mergedCatalog());
    testsupport::writeFile(
        dir_.file("root/home/korvo.data/test/livedata_update_runtime.xml"),
        "<?xml version=\"1.0\"?>\n<livedata_update_run_time>\n"
        "<daemonize enable=\"no\" pid_file=\"" + dir_.file("run/livedata.pid") + "\"/>\n"
        "<heartbeat enable=\"no\" interval=\"1\"/>\n"
        "<flicker interval=\"" + std::to_string(kPeriodMs) + "\"/>"
        "<energy interval=\"" + std::to_string(kPeriodMs) + "\"/>\n"
        "<phasor interval=\"" + std::to_string(kPeriodMs) + "\"/>"
        "<polling interval=\"" + std::to_string(kPeriodMs) + "\"/>\n"
        "</livedata_update_run_time>\n");
  }

  // The JSON directory without its trailing '/'.
  std::string jsonDir() const {
    return dir_.file("web") + std::string(kJsonDirectory, sizeof kJsonDirectory - 2);
  }

  ProcessOptions options(const std::string& input = "") const {
    ProcessOptions result;
    result.env = {"WEB_ROOT=" + dir_.file("web"), "LIVEDATA_ROOT=" + dir_.file("root"),
                  "DATAMAP_FILE=" + dir_.file("datamap"), "ZUL_LOG_FILE=" + dir_.file("log.txt")};
    result.unsetEnv = {"NOTIFY_SOCKET", "METER_ROOT"};
    result.stdinText = input;
    result.timeout = std::chrono::seconds(30);
    return result;
  }

  ProcessResult dmtool(const std::vector<std::string>& args, const std::string& input = "") {
    std::vector<std::string> argv = {testsupport::stagedProgram("bin/dmtool")};
    argv.insert(argv.end(), args.begin(), args.end());
    return testsupport::runProcess(argv, options(input));
  }

  std::string documentPath(const std::string& name) const { return jsonDir() + "/" + name; }

  // Waits (20 s at most) until the document parses as JSON.
  bool waitForJson(const std::string& name, nlohmann::json* out) {
    return waitFor([&] { return parseJson(documentPath(name), out); }, std::chrono::seconds(20));
  }

  // The map from both catalogues, with a factory record in block 2.
  void createMap() {
    ASSERT_EQ(0, dmtool({"create", dir_.file("catalog.txt")}).exitCode);
    std::vector<unsigned char> record = energy_test::factoryRecord("0000001234567890", "ACME");
    ASSERT_EQ(
        0,
        dmtool({"write-block", "2", "59904"}, std::string(record.begin(), record.end())).exitCode);
  }

  // Starts the daemon once no other daemon runs; retries when one slipped in
  // between (the daemon then ends within 500 ms).
  void startDaemon() {
    bool started = false;
    for (int attempt = 0; attempt < 5 && !started; ++attempt) {
      ASSERT_TRUE(
          waitFor([] { return !testsupport::otherDaemonRunning(); }, std::chrono::seconds(120)))
          << "another livedata_update keeps running";
      ASSERT_TRUE(daemon_.start(
          {testsupport::stagedProgram("sbin/livedata_update"), "-p", dir_.file("run/pid.txt")},
          options()));
      started = !waitFor([&] { return !daemon_.running(); }, std::chrono::milliseconds(500));
    }
    ASSERT_TRUE(started) << daemon_.err();
  }

  // The first documents carry the catalogues' values and the factory record.
  void expectFirstDocuments() {
    nlohmann::json energy, factory, polling;
    ASSERT_TRUE(waitForJson("energy_data.json", &energy))
        << daemon_.err() << testsupport::readFile(documentPath("energy_data.json"));
    ASSERT_TRUE(waitForJson("meter_factory_setting.json", &factory));
    ASSERT_TRUE(waitForJson("polling_data.json", &polling));
    EXPECT_EQ("1250000.000", energy["maxdemand"][0]);
    EXPECT_EQ("1000.125", energy["energyblock"][1]);
    EXPECT_EQ("good", factory["_status"]);
    EXPECT_EQ("1234567890", factory["serial_number"]);
    EXPECT_EQ("ACME", factory["oem_string"]);
    EXPECT_EQ("60.125 Hz", polling["frequency"]);
    EXPECT_EQ(28u, polling["volts"].size());
    EXPECT_EQ("Wye", polling["hookup"]);
  }

  // Values set with dmtool reach both documents within two periods; the time
  // they took is recorded as follow_ms.
  void expectDocumentsFollowDmtoolSet() {
    ASSERT_EQ(0, dmtool({"set", "reading.1sec.freq", "59.5", "posmax.demand.current.watt.total",
                         "3000", "reading.digin.flag", "0x0300"})
                     .exitCode);
    auto changed = std::chrono::steady_clock::now();
    // Two periods plus one cycle and the file write; generous for a loaded machine.
    auto deadline = std::chrono::milliseconds(2 * kPeriodMs + 800);
    nlohmann::json energy, polling;
    EXPECT_TRUE(waitFor(
        [&] {
          return parseJson(documentPath("polling_data.json"), &polling) &&
                 polling["frequency"] == "59.500 Hz";
        },
        deadline));
    EXPECT_TRUE(waitFor(
        [&] {
          return parseJson(documentPath("energy_data.json"), &energy) &&
                 energy["maxdemand"][0] == "3000.000";
        },
        deadline));
    RecordProperty("follow_ms",
                   std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(
                                      std::chrono::steady_clock::now() - changed)
                                      .count()));
  }

  // The sampler takes five samples per polling period: the digital inputs set
  // with dmtool show in all five.
  void expectSamplesOfTheDigitalInputs() {
    nlohmann::json polling;
    EXPECT_TRUE(waitFor(
        [&] {
          return parseJson(documentPath("polling_data.json"), &polling) &&
                 polling["digins"] == nlohmann::json::array({"3", "3", "3", "3", "3"});
        },
        std::chrono::seconds(5)));
  }

  TempDir dir_;
  ChildProcess daemon_;
};

TEST_F(EnergyPollingE2E, DocumentsAppearParseAndFollowChanges) {
  ASSERT_NO_FATAL_FAILURE(createMap());
  ASSERT_NO_FATAL_FAILURE(startDaemon());
  ASSERT_NO_FATAL_FAILURE(expectFirstDocuments());

  // The resident size of a running daemon with all of its threads.
  long rss = testsupport::residentKiB(daemon_.pid());
  RecordProperty("VmRSS_KiB", std::to_string(rss));
  std::printf("daemon VmRSS: %ld KiB\n", rss);

  ASSERT_NO_FATAL_FAILURE(expectDocumentsFollowDmtoolSet());
  expectSamplesOfTheDigitalInputs();

  ProcessResult result = daemon_.stop(SIGTERM);
  EXPECT_FALSE(daemon_.running());
  (void)result;
}

}  // namespace
