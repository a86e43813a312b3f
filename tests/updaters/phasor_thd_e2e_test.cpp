// End-to-end test of the phasor, symmetrical components, flicker and THD
// documents: the installed daemon runs against a datamap made by the installed
// dmtool, and each document must appear, parse as JSON and follow a change made
// with dmtool within two of its periods. Everything runs in a temporary root;
// the daemon is killed when the test ends, also on failure.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdint.h>

#include <chrono>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "livedata/JsonDirectory.h"
#include "tests/support/Process.h"
#include "tests/support/TempDir.h"

namespace {

using testsupport::ChildProcess;
using testsupport::ProcessOptions;
using testsupport::TempDir;

constexpr int kPhasorPeriodMs = 200;
constexpr int kFlickerPeriodMs = 200;
constexpr int kThdPeriodMs = 3000;  // fixed by the daemon
// Slack for start-up and a busy machine on top of two periods.
constexpr int kSlackMs = 3000;

class PhasorThdEndToEnd : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::writeFile(root_.file("meter.catalog"),
                           testsupport::readFile(testsupport::sourcePath("data/meter.catalog")));
    auto created = dmtool({"create", root_.file("meter.catalog")});
    ASSERT_EQ(created.exitCode, 0) << created.err;
    testsupport::writeFile(
        root_.file("root/home/korvo.data/test/livedata_update_runtime.xml"),
        "<livedata_update_run_time>\n"
        "  <flicker interval=\"" + std::to_string(kFlickerPeriodMs) + "\"/>\n"
        "  <phasor interval=\"" + std::to_string(kPhasorPeriodMs) + "\"/>\n"
        "  <daemonize enable=\"no\" pid_file=\"" + root_.file("run/livedata.pid") + "\"/>\n"
        "  <heartbeat enable=\"no\" interval=\"1\"/>\n"
        "</livedata_update_run_time>\n");
    // The web server's document directory exists on the meter; the daemon never
    // creates it.
    testsupport::makeDirs(root_.file("web") + kJsonDirectory);
  }

  std::vector<std::string> environment() const {
    return {"DATAMAP_FILE=" + root_.file("datamap"), "WEB_ROOT=" + root_.file("web"),
            "LIVEDATA_ROOT=" + root_.file("root"), "ZUL_LOG_FILE=" + root_.file("log.txt")};
  }

  testsupport::ProcessResult dmtool(const std::vector<std::string>& args,
                                    const std::string& input = "") {
    std::vector<std::string> argv = {testsupport::stagedProgram("bin/dmtool")};
    argv.insert(argv.end(), args.begin(), args.end());
    ProcessOptions options;
    options.env = environment();
    options.stdinText = input;
    return testsupport::runProcess(argv, options);
  }

  std::string documentPath(const char* name) const {
    return root_.file("web") + kJsonDirectory + name;
  }

  // Waits until the document parses and check() holds on it.
  bool waitForDocument(const char* name, int deadlineMs,
                       const std::function<bool(const nlohmann::json&)>& check) {
    return testsupport::waitFor(
        [&] {
          std::string text;
          if (!testsupport::readFileIfExists(documentPath(name), &text)) return false;
          nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
          return !json.is_discarded() && check(json);
        },
        std::chrono::milliseconds(deadlineMs));
  }

  TempDir root_;
  ChildProcess daemon_;  // killed by its destructor if still running
};

TEST_F(PhasorThdEndToEnd, DocumentsAppearAndFollowTheDatamap) {
  ProcessOptions options;
  options.env = environment();
  ASSERT_TRUE(daemon_.start({testsupport::stagedProgram("sbin/livedata_update"), "-p",
                             root_.file("run/livedata.pid")},
                            options));

  const int startMs = 10000;
  auto any = [](const nlohmann::json&) { return true; };
  EXPECT_TRUE(waitForDocument("phasor_data.json", startMs, any));
  EXPECT_TRUE(waitForDocument("symmetrical_components.json", startMs, any));
  EXPECT_TRUE(waitForDocument("flicker_data.json", startMs, any));
  ASSERT_TRUE(waitForDocument("thd_data.json", startMs, any)) << daemon_.err();

  // Shape checks on the first documents.
  nlohmann::json phasor = nlohmann::json::parse(testsupport::readFile(documentPath("phasor_data.json")));
  EXPECT_EQ(phasor["hookup"], "Wye");
  EXPECT_EQ(phasor["phasetoneutral"].size(), 21u);
  EXPECT_EQ(phasor["earthblock"][0], "N/A");
  nlohmann::json thd = nlohmann::json::parse(testsupport::readFile(documentPath("thd_data.json")));
  EXPECT_EQ(thd["va_mag"].size(), 128u);
  EXPECT_EQ(thd["ic_phs"].size(), 128u);

  // A new frequency and a harmonicArray element written with dmtool.
  auto set = dmtool({"set", "reading.1sec.freq", "51.5", "reading.3secs.symcomp.volt.posseq.phase",
                     "300", "reading.flicker.countdown_sec.pst", "125"});
  ASSERT_EQ(set.exitCode, 0) << set.err;
  const uint16_t magnitude = 65535;
  const std::string bytes(reinterpret_cast<const char*>(&magnitude), sizeof magnitude);
  auto written = dmtool({"write-block", "2", std::to_string(77056 + 2 * 127)}, bytes);
  ASSERT_EQ(written.exitCode, 0) << written.err;

  EXPECT_TRUE(waitForDocument("phasor_data.json", 2 * kPhasorPeriodMs + kSlackMs,
                              [](const nlohmann::json& j) { return j["frequency"] == "51.500 Hz"; }));
  EXPECT_TRUE(waitForDocument(
      "symmetrical_components.json", 2 * kPhasorPeriodMs + kSlackMs, [](const nlohmann::json& j) {
        const nlohmann::json& positive = j["voltage_positive_sequence"];
        return j["frequency"] == "51.500 Hz" && positive[3] == "300.00 Deg" &&
               positive[4] == "60.00 Deg" && positive[5] == "180.00 Deg";
      }));
  EXPECT_TRUE(waitForDocument("flicker_data.json", 2 * kFlickerPeriodMs + kSlackMs,
                              [](const nlohmann::json& j) {
                                return j["runtime"][2] == "2 min 5 sec" &&
                                       j["runtime"][5] == "51.500 Hz";
                              }));
  EXPECT_TRUE(waitForDocument("thd_data.json", 2 * kThdPeriodMs + kSlackMs,
                              [](const nlohmann::json& j) {
                                return j["frequency"] == "51.500 Hz" && j["va_mag"][0] == "655.35";
                              }));

  auto result = daemon_.stop(SIGKILL);
  EXPECT_FALSE(daemon_.running());
  (void)result;
}

}  // namespace
