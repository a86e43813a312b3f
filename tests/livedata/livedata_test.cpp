// The updater base: its thread cycle, period, wake-up descriptor, stop, the
// last-update clock and the write-through document path.
#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/eventfd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "livedata/Globals.h"
#include "livedata/LiveData.h"
#include "livedata/RuntimeLog.h"
#include "tests/support/RuntimeLogScope.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"

using testsupport::TempDir;
using testsupport::waitFor;
using Clock = std::chrono::steady_clock;

namespace {

// Counts the calls of each virtual step of the cycle.
class CountingUpdate : public LiveData {
 public:
  CountingUpdate() = default;
  // An updater that writes no document, cycling every intervalMs once it runs.
  explicit CountingUpdate(int intervalMs) {
    setWriteThrough(false);
    setInterval(intervalMs);
  }
  // Like every updater: its thread must end before its own members go away.
  ~CountingUpdate() override { stop(); }

  int init() override {
    inits.fetch_add(1);
    return 0;
  }
  int getData() override {
    cycles.fetch_add(1);
    return 0;
  }
  std::string displayData() override { return document; }

  using LiveData::debugEnabled;
  using LiveData::addDebugMaskBits;
  using LiveData::epollFd;
  using LiveData::eventFd;
  using LiveData::webRoot;
  using LiveData::meterRoot;

  std::atomic<int> inits{0};
  std::atomic<int> cycles{0};
  std::string document = "{\"n\":1}\n";
};

// The test moves the last-update time by hand (the object itself is not const).
template <typename T>
T* mutableOf(const T* value) {
  return const_cast<T*>(value);
}

long long millisecondsSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

TEST(LiveData, InitialState) {
  CountingUpdate updater;
  EXPECT_EQ(1000, updater.getInterval());
  EXPECT_STREQ("", updater.getJsonFile());
  EXPECT_TRUE(updater.isRunning());
  EXPECT_TRUE(updater.getWriteThrough());
  EXPECT_EQ(0u, updater.getThreadId());
  EXPECT_EQ(1u, updater.getDebugMaskBits());
  EXPECT_EQ(0, updater.getLastUpdateTime()->tv_sec);
  EXPECT_EQ(0, updater.getLastUpdateTime()->tv_nsec);
  EXPECT_GE(updater.epollFd(), 0);
  EXPECT_GE(updater.eventFd(), 0);
}

TEST(LiveData, CapturesRootsFromEnvironment) {
  setenv("WEB_ROOT", "/srv/web", 1);
  setenv("METER_ROOT", "/srv/meter", 1);
  CountingUpdate updater;
  unsetenv("WEB_ROOT");
  unsetenv("METER_ROOT");
  EXPECT_STREQ("/srv/web", updater.webRoot());
  EXPECT_STREQ("/srv/web", updater.getWebRoot());
  EXPECT_STREQ("/srv/meter", updater.meterRoot());
  CountingUpdate bare;
  EXPECT_STREQ("", bare.getWebRoot());
  EXPECT_STREQ("", bare.meterRoot());
}

TEST(LiveData, StopWithoutStartReturnsZero) {
  CountingUpdate updater;
  EXPECT_EQ(0, updater.stop());
  EXPECT_FALSE(updater.isRunning());
  EXPECT_EQ(0, updater.inits.load());
}

TEST(LiveData, CyclesEveryIntervalUntilStopped) {
  CountingUpdate updater(10);
  ASSERT_EQ(0, updater.run());
  EXPECT_NE(0u, updater.getThreadId());
  ASSERT_TRUE(waitFor([&] { return updater.cycles.load() >= 5; }));
  EXPECT_EQ(0, updater.stop());
  EXPECT_FALSE(updater.isRunning());
  EXPECT_EQ(0u, updater.getThreadId());
  EXPECT_EQ(1, updater.inits.load());
  int after = updater.cycles.load();
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(after, updater.cycles.load());  // joined: no more cycles
  EXPECT_EQ(0, updater.stop());             // stopping twice is harmless
}

TEST(LiveData, PeriodIsAtLeastTheInterval) {
  CountingUpdate updater(100);
  auto start = Clock::now();
  ASSERT_EQ(0, updater.run());
  ASSERT_TRUE(waitFor([&] { return updater.cycles.load() >= 3; }));
  // Three cycles are two full waits apart.
  EXPECT_GE(millisecondsSince(start), 200);
  updater.stop();
}

TEST(LiveData, NegativeIntervalRunsOnceUntilCancelled) {
  CountingUpdate updater(-1);
  ASSERT_EQ(0, updater.run());
  ASSERT_TRUE(waitFor([&] { return updater.cycles.load() >= 1; }));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(1, updater.cycles.load());
  auto start = Clock::now();
  EXPECT_EQ(0, updater.stop());
  EXPECT_LT(millisecondsSince(start), 2000);
  EXPECT_EQ(1, updater.cycles.load());
}

TEST(LiveData, LongIntervalIsCutShortByStop) {
  CountingUpdate updater(60000);
  ASSERT_EQ(0, updater.run());
  ASSERT_TRUE(waitFor([&] { return updater.cycles.load() >= 1; }));
  auto start = Clock::now();
  EXPECT_EQ(0, updater.stop());
  EXPECT_LT(millisecondsSince(start), 2000);
}

TEST(LiveData, DestructorStopsTheThread) {
  auto* updater = new CountingUpdate(5);
  ASSERT_EQ(0, updater->run());
  ASSERT_TRUE(waitFor([&] { return updater->cycles.load() >= 2; }));
  delete updater;  // must not hang or crash
  SUCCEED();
}

TEST(LiveData, UpdateThreadReturnsAfterInitWhenAlreadyStopped) {
  CountingUpdate updater;
  updater.stop();
  EXPECT_EQ(0, updater.update_thread(true));
  EXPECT_EQ(1, updater.inits.load());
  EXPECT_EQ(0, updater.cycles.load());
}

TEST(LiveData, WriteThroughWritesTheDocument) {
  TempDir dir;
  CountingUpdate updater;
  updater.setJsonFile(dir.file("doc.json").c_str());
  updater.setInterval(10);
  ASSERT_EQ(0, updater.run());
  std::string text;
  ASSERT_TRUE(waitFor([&] {
    return testsupport::readFileIfExists(dir.file("doc.json"), &text) && text == "{\"n\":1}\n";
  }));
  updater.stop();
}

TEST(LiveData, WithoutWriteThroughNoDocumentIsWritten) {
  TempDir dir;
  CountingUpdate updater(5);
  updater.setJsonFile(dir.file("doc.json").c_str());
  ASSERT_EQ(0, updater.run());
  ASSERT_TRUE(waitFor([&] { return updater.cycles.load() >= 3; }));
  updater.stop();
  EXPECT_FALSE(testsupport::fileExists(dir.file("doc.json")));
}

TEST(LiveData, UpdateDataFileTruncates) {
  TempDir dir;
  CountingUpdate updater;
  updater.setJsonFile(dir.file("doc.json").c_str());
  EXPECT_STREQ(dir.file("doc.json").c_str(), updater.getJsonFile());
  EXPECT_EQ(0, updater.updateDataFile("a much longer first text\n"));
  EXPECT_EQ(0, updater.updateDataFile("short\n"));
  EXPECT_EQ("short\n", testsupport::readFile(dir.file("doc.json")));
}

TEST(LiveData, UpdateDataFileIgnoresUnopenablePath) {
  TempDir dir;
  CountingUpdate updater;
  updater.setJsonFile(dir.file("no/such/dir/doc.json").c_str());
  EXPECT_EQ(0, updater.updateDataFile("x"));
  EXPECT_FALSE(testsupport::fileExists(dir.file("no/such/dir/doc.json")));
}

TEST(LiveData, JsonFilePathIsCutToItsBuffer) {
  CountingUpdate updater;
  std::string longPath(400, 'p');
  updater.setJsonFile(longPath.c_str());
  EXPECT_EQ(std::string(255, 'p'), updater.getJsonFile());
}

TEST(LiveData, CheckLastUpdateTime) {
  CountingUpdate updater;
  // Never updated: the period is long over.
  EXPECT_EQ(1, updater.checkLastUpdateTime(1000));
  updater.setLastUpdateTime();
  EXPECT_NE(0, updater.getLastUpdateTime()->tv_sec);
  EXPECT_EQ(0, updater.checkLastUpdateTime(60000));
  EXPECT_EQ(0, updater.checkLastUpdateTime());  // the 1000 ms interval
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  EXPECT_EQ(1, updater.checkLastUpdateTime(10));
  EXPECT_EQ(0, updater.checkLastUpdateTime(60000));
  updater.setInterval(5);
  EXPECT_EQ(1, updater.checkLastUpdateTime());
}

TEST(LiveData, CheckLastUpdateTimeCarriesNanosecondsIntoSeconds) {
  CountingUpdate updater;
  updater.setLastUpdateTime();
  auto* last = mutableOf(updater.getLastUpdateTime());
  // 999.9 ms into a second plus 1.5 s: due 2.4 s after the start of that second.
  last->tv_nsec = 999900000;
  last->tv_sec -= 1;
  EXPECT_EQ(0, updater.checkLastUpdateTime(5000));
  last->tv_sec -= 10;
  EXPECT_EQ(1, updater.checkLastUpdateTime(5000));
}

TEST(LiveData, ClockSetBackReportsThePeriodOver) {
  CountingUpdate updater;
  updater.setLastUpdateTime();
  // The last update seems to lie in the future when the clock went back.
  auto* last = mutableOf(updater.getLastUpdateTime());
  last->tv_sec += 3600;
  EXPECT_EQ(1, updater.checkLastUpdateTime(10000000));
}

TEST(LiveData, WaitOnEventFdTimesOut) {
  CountingUpdate updater;
  auto start = Clock::now();
  updater.waitOnEventFd(updater.epollFd(), 80);
  EXPECT_GE(millisecondsSince(start), 75);
  updater.setInterval(40);
  start = Clock::now();
  updater.waitOnEventFd();
  EXPECT_GE(millisecondsSince(start), 35);
}

TEST(LiveData, SignalEventFdDoesNotWakeTheWait) {
  CountingUpdate updater;
  updater.signalEventFd();
  auto start = Clock::now();
  updater.waitOnEventFd(updater.epollFd(), 100);
  EXPECT_GE(millisecondsSince(start), 95);
}

TEST(LiveData, EventFdWithValueWakesAndIsDrained) {
  CountingUpdate updater;
  ASSERT_EQ(0, eventfd_write(updater.eventFd(), 1));
  auto start = Clock::now();
  updater.waitOnEventFd(updater.epollFd(), 5000);
  EXPECT_LT(millisecondsSince(start), 1000);
  // Drained: the next wait runs into its time-out.
  start = Clock::now();
  updater.waitOnEventFd(updater.epollFd(), 60);
  EXPECT_GE(millisecondsSince(start), 55);
}

TEST(LiveData, EpollWaitErrorIsReportedAndLogged) {
  TempDir dir;
  testsupport::RuntimeLogScope log(dir.file("log"), "livedata_update_runtime");
  CountingUpdate updater;
  testsupport::StreamCapture err(2);
  updater.waitOnEventFd(-1, 10);
  EXPECT_EQ("LiveData epoll_wait error=9 EBADF\n", err.finish());
  EXPECT_EQ("livedata_update_runtime <3>: LiveData epoll_wait error=9 EBADF\n", log.text());
}

TEST(LiveData, EpollWaitOnNonEpollDescriptorIsEinval) {
  CountingUpdate updater;
  testsupport::StreamCapture err(2);
  updater.waitOnEventFd(updater.eventFd(), 10);
  EXPECT_EQ("LiveData epoll_wait error=22 EINVAL\n", err.finish());
}

TEST(LiveData, TimeStampStringIsMonthFirst) {
  CountingUpdate updater;
  ZUL_TIMESTAMP_8B_STRUCT ts = {20, 22, 10, 5, 19, 3, 30, 0};
  timestamp_print_out_format = 0;
  EXPECT_EQ("10/05/2022 19:03:30", updater.getTimeStampString(ts));
}

TEST(LiveData, DebugEnabledNeedsDebugAndASharedMaskBit) {
  CountingUpdate updater;
  bool savedDebug = debug;
  uint32_t savedMask = debugMask;
  debug = true;
  debugMask = kDebugMaskDefault;  // livedata bit 0x1 is off by default
  EXPECT_FALSE(updater.debugEnabled());
  updater.addDebugMaskBits(kDebugThd);
  EXPECT_EQ(0x21u, updater.getDebugMaskBits());
  EXPECT_TRUE(updater.debugEnabled());
  debug = false;
  EXPECT_FALSE(updater.debugEnabled());
  debug = true;
  debugMask = kDebugLivedata;
  EXPECT_TRUE(updater.debugEnabled());
  debug = savedDebug;
  debugMask = savedMask;
}

TEST(LiveData, SecondThreadOnTheSameObjectIsStoppedByItsOwnId) {
  CountingUpdate updater(20);
  pthread_t extra = 0;
  ASSERT_EQ(0, updater.run(&extra, LiveData::cmd_process_thread));
  ASSERT_TRUE(waitFor([&] { return updater.cycles.load() >= 2; }));
  EXPECT_EQ(0u, updater.getThreadId());
  EXPECT_EQ(0, updater.stop(&extra, -1));
  EXPECT_EQ(0u, extra);
}

}  // namespace
