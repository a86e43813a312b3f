// The polling updater's digital-input sampler thread: samples reach "digins",
// an interval below 5 samples without waiting, and read failures are reported
// on stderr and in the runtime log while the ring keeps advancing.
#include <stdlib.h>

#include <chrono>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "livedata/Globals.h"
#include "livedata/RuntimeLog.h"
#include "platform/common_api.h"
#include "tests/support/MapFixture.h"
#include "tests/support/RuntimeLogScope.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"
#include "tests/updaters/polling_test_data.h"
#include "updaters/PollingUpdate.h"

namespace {

using testsupport::MapFixture;
using testsupport::StreamCapture;
using testsupport::TempDir;
using testsupport::readFile;
using testsupport::waitFor;

size_t countLines(const std::string& text, const std::string& line) {
  size_t count = 0;
  for (size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) {
    ++count;
  }
  return count;
}

class PollingLedTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("WEB_ROOT", dir_.path().c_str(), 1);
    timestamp_print_out_format = 0;
    debug = false;
    map_ = std::make_unique<MapFixture>(polling_test::catalog());
    updater_ = std::make_unique<PollingUpdate>();
    updater_->setJsonFile(path_.c_str());
    updater_->init();
  }
  void TearDown() override {
    updater_.reset();  // stops the sampler
    map_.reset();
    unsetenv("WEB_ROOT");
  }

  void startSampler(int interval) {
    updater_->setInterval(interval);
    ASSERT_EQ(0, updater_->run(updater_->ledThreadId(), PollingUpdate::led_process_thread));
  }

  std::string document() {
    updater_->getData();
    updater_->displayData();
    return readFile(path_);
  }

  std::string log() { return log_.text(); }

  // Waits (10 s at most) until the document shows samples as its digins.
  bool waitForDigins(const std::string& samples) {
    const std::string expected = polling_test::document(
        polling_test::kVoltsV, polling_test::kCurrentsA, polling_test::kPowersPlain,
        polling_test::kEnumerations, polling_test::header(samples));
    return waitFor([&] { return document() == expected; }, std::chrono::seconds(10));
  }

  TempDir dir_;
  std::string path_ = dir_.file("polling_data.json");
  testsupport::RuntimeLogScope log_{dir_.file("zul.log"), "livedata_update_runtime"};
  std::unique_ptr<MapFixture> map_;
  std::unique_ptr<PollingUpdate> updater_;
};

TEST_F(PollingLedTest, SamplesAppearAsHighBytesInDigins) {
  map_->set("reading.digin.flag", "0x12ff");
  EXPECT_EQ(polling_test::document(polling_test::kVoltsV, polling_test::kCurrentsA,
                                   polling_test::kPowersPlain),
            document());
  startSampler(50);
  EXPECT_TRUE(waitForDigins("\"18\",\"18\",\"18\",\"18\",\"18\"")) << document();
  map_->set("reading.digin.flag", "0xab00");
  EXPECT_TRUE(waitForDigins("\"171\",\"171\",\"171\",\"171\",\"171\"")) << document();
  EXPECT_EQ("", log());
}

TEST_F(PollingLedTest, FirstSampleComesAfterOneSecond) {
  map_->set("reading.digin.flag", "0x0100");
  auto started = std::chrono::steady_clock::now();
  startSampler(50);
  ASSERT_TRUE(waitFor([&] { return updater_->sample(0) != 0; }, std::chrono::seconds(10)));
  EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(950));
}

TEST_F(PollingLedTest, IntervalBelowFiveSamplesWithoutWaiting) {
  map_->fail("reading.digin.flag", -9);
  StreamCapture err(2);
  startSampler(4);
  // A wait of interval / 5 = 0 ms: many samples within a short time. (With the
  // interval 1000 there would be one every 200 ms.)
  EXPECT_TRUE(waitFor(
      [&] {
        return countLines(log(), "with error code=-9\n") >= 50;
      },
      std::chrono::seconds(10)));
  updater_.reset();
  err.finish();
}

TEST_F(PollingLedTest, LongIntervalWaitsAFifthOfItBetweenSamples) {
  map_->fail("reading.digin.flag", -9);
  StreamCapture err(2);
  startSampler(2000);  // 400 ms between samples
  ASSERT_TRUE(waitFor([&] { return countLines(log(), "code=-9\n") >= 1; }));
  usleep(600000);
  size_t lines = countLines(log(), "code=-9\n");
  EXPECT_GE(lines, 1u);
  EXPECT_LE(lines, 3u);
  updater_.reset();
  err.finish();
}

TEST_F(PollingLedTest, ReadFailureIsReportedAndTheRingAdvances) {
  map_->fail("reading.digin.flag", -9);
  map_->set("reading.digin.flag", "0x0500");
  StreamCapture err(2);
  startSampler(500);  // 100 ms per slot
  ASSERT_TRUE(waitFor([&] { return countLines(log(), "code=-9\n") >= 1; }));
  map_->fail("reading.digin.flag", 0);
  // The first good sample lands in a later slot: slot 0 had the failure.
  ASSERT_TRUE(waitFor([&] {
    for (int slot = 1; slot < PollingUpdate::kSamples; ++slot) {
      if (updater_->sample(slot) != 0) return true;
    }
    return false;
  }));
  EXPECT_EQ(0, updater_->sample(0));
  updater_.reset();
  std::string errors = err.finish();
  EXPECT_EQ(0u, errors.find("dm_read_uint16 error on key \"reading.digin.flag\" with error "
                            "code=-9\n"));
  EXPECT_EQ(0u, log().find("livedata_update_runtime <3>: dm_read_uint16 error on key "
                           "\"reading.digin.flag\" with error code=-9\n"));
}

TEST_F(PollingLedTest, StoppingTheObjectEndsBothThreads) {
  updater_->setInterval(100000);
  ASSERT_EQ(0, updater_->run());
  ASSERT_EQ(0, updater_->run(updater_->ledThreadId(), PollingUpdate::led_process_thread));
  ASSERT_TRUE(waitFor([&] { return testsupport::fileExists(path_); }));
  auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(0, updater_->stop(updater_->ledThreadId(), updater_->ledEventFd()));
  EXPECT_EQ(0u, static_cast<unsigned long>(*updater_->ledThreadId()));
  EXPECT_FALSE(updater_->isRunning());
  updater_.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
}

}  // namespace
