// End-to-end tests of the service manager's notify protocol: the installed
// daemon started as livedata_update.service starts it (its ExecStart and
// Environment lines, its runtime file, the ExecStartPre steps), with
// NOTIFY_SOCKET at a datagram socket of the test and WATCHDOG_USEC set as the
// unit's WatchdogSec makes systemd set it. The unit's absolute paths are mapped
// into the test's temporary directory.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "hoststore/HostDatamap.h"
#include "tests/daemon/NotifySocket.h"
#include "tests/support/Process.h"
#include "tests/support/TempDir.h"

using daemontest::NotifySocket;
using testsupport::ChildProcess;
using testsupport::ProcessOptions;
using testsupport::ProcessResult;
using testsupport::waitFor;

namespace {

using Clock = std::chrono::steady_clock;

const char* const kDocuments[] = {
    "energy_data.json",  "meter_factory_setting.json", "flicker_data.json",
    "phasor_data.json",  "symmetrical_components.json", "polling_data.json",
    "thd_data.json",
};
const char kJsonDirectory[] = "/home/korvo.web/lighttpd/www/htdocs/common_ui/json/";

// The unit's settings this test follows.
struct Unit {
  std::vector<std::string> execStart;
  std::vector<std::vector<std::string>> execStartPre;
  std::vector<std::string> environment;  // NAME=VALUE
  std::string watchdogSec;
};

std::vector<std::string> words(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> result;
  std::string word;
  while (in >> word) result.push_back(word);
  return result;
}

Unit readUnit(const std::string& path) {
  Unit unit;
  std::istringstream in(testsupport::readFile(path));
  std::string line;
  auto value = [&line](const std::string& key) -> const char* {
    return line.compare(0, key.size() + 1, key + "=") == 0 ? line.c_str() + key.size() + 1
                                                            : nullptr;
  };
  while (std::getline(in, line)) {
    if (const char* v = value("ExecStart")) unit.execStart = words(v);
    if (const char* v = value("ExecStartPre")) unit.execStartPre.push_back(words(v));
    if (const char* v = value("Environment")) {
      for (const std::string& w : words(v)) unit.environment.push_back(w);
    }
    if (const char* v = value("WatchdogSec")) unit.watchdogSec = v;
  }
  return unit;
}

// "6s", "6", "500ms" in microseconds; 0 when not understood.
long long microseconds(const std::string& text) {
  size_t digits = 0;
  while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') ++digits;
  if (digits == 0) return 0;
  long long number = std::stoll(text.substr(0, digits));
  std::string unit = text.substr(digits);
  if (unit.empty() || unit == "s") return number * 1000000;
  if (unit == "ms") return number * 1000;
  return 0;
}

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

class NotifyE2E : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(waitFor([] { return !testsupport::otherDaemonRunning(); }, std::chrono::seconds(60)))
        << "another livedata_update is running";
    unit_ = readUnit(testsupport::sourcePath("systemd/livedata_update.service"));
    ASSERT_EQ(1u, unit_.execStart.size()) << "ExecStart takes no options";
    ASSERT_EQ("/usr/sbin/livedata_update", unit_.execStart[0]);
    ASSERT_GT(microseconds(unit_.watchdogSec), 0) << unit_.watchdogSec;
    createMap();
    prepareAsTheUnitDoes();
  }

  // The unit's absolute paths, mapped into the temporary directory.
  std::string mapped(const std::string& text) const {
    std::string result = replaceAll(text, "/var/lib/livedata-update", dir_.file("state"));
    result = replaceAll(result, "/run/livedata-update", dir_.file("run"));
    return replaceAll(result, "/etc/livedata-update/livedata_update_runtime.xml",
                      testsupport::sourcePath("systemd/livedata_update_runtime.xml"));
  }

  void createMap() {
    std::string catalog =
        testsupport::readFile(testsupport::stagedProgram("share/livedata-update/meter.catalog"));
    base::Status created =
        dmhost::HostDatamap::createFromCatalogText(dir_.file("datamap"), catalog, "meter.catalog");
    ASSERT_TRUE(created.ok()) << created.message();
  }

  // systemd makes the state and runtime directories, then runs ExecStartPre;
  // the copied runtime file's own paths are mapped too.
  void prepareAsTheUnitDoes() {
    testsupport::makeDirs(dir_.file("state"));
    testsupport::makeDirs(dir_.file("run"));
    for (const std::vector<std::string>& command : unit_.execStartPre) {
      std::vector<std::string> argv;
      for (const std::string& word : command) argv.push_back(mapped(word));
      ProcessResult result = testsupport::runProcess(argv);
      ASSERT_EQ(0, result.exitCode) << argv[0] << ": " << result.err;
    }
    std::string runtime = dir_.file("state/home/korvo.data/test/livedata_update_runtime.xml");
    ASSERT_TRUE(testsupport::fileExists(runtime));
    testsupport::writeFile(runtime, mapped(testsupport::readFile(runtime)));
  }

  std::string documentPath(const char* name) const {
    return dir_.file("state") + kJsonDirectory + name;
  }
  bool documentWritten(const char* name) const {
    struct stat status;
    return stat(documentPath(name).c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_size > 0;
  }

  ProcessOptions options(const std::vector<std::string>& extra) const {
    ProcessOptions result;
    for (const std::string& setting : unit_.environment) result.env.push_back(mapped(setting));
    result.env.push_back("DATAMAP_FILE=" + dir_.file("datamap"));
    result.env.push_back("ZUL_LOG_FILE=" + dir_.file("log.txt"));
    result.env.push_back("NOTIFY_SOCKET=" + dir_.file("notify.sock"));
    result.env.insert(result.env.end(), extra.begin(), extra.end());
    result.unsetEnv = {"METER_ROOT", "WATCHDOG_USEC", "WATCHDOG_PID"};
    return result;
  }
  bool start(ChildProcess& child, const std::vector<std::string>& extraEnv) {
    ProcessOptions opts = options(extraEnv);
    for (const std::string& name : {std::string("WATCHDOG_USEC"), std::string("WATCHDOG_PID")}) {
      for (const std::string& setting : extraEnv) {
        if (setting.compare(0, name.size() + 1, name + "=") == 0) {
          opts.unsetEnv.erase(std::remove(opts.unsetEnv.begin(), opts.unsetEnv.end(), name),
                              opts.unsetEnv.end());
        }
      }
    }
    return child.start({testsupport::stagedProgram("sbin/livedata_update")}, opts);
  }
  std::string watchdogUsec() const {
    return "WATCHDOG_USEC=" + std::to_string(microseconds(unit_.watchdogSec));
  }

  testsupport::TempDir dir_;
  Unit unit_;
};

TEST_F(NotifyE2E, ReadyOnlyOnceEveryDocumentIsWrittenThenWatchdogAtTheHeartbeatThenStopping) {
  NotifySocket listener(dir_.file("notify.sock"));
  ASSERT_TRUE(listener.bound());
  ChildProcess child;
  ASSERT_TRUE(start(child, {watchdogUsec()}));

  std::vector<std::string> beforeReady;
  ASSERT_TRUE(listener.receiveUntil("READY=1", 20000, &beforeReady))
      << "no READY=1; output: " << child.out() << child.err();
  for (const char* name : kDocuments) {
    EXPECT_TRUE(documentWritten(name)) << name << " missing when READY=1 came";
  }
  for (const std::string& message : beforeReady) EXPECT_EQ("WATCHDOG=1", message);

  // The shipped runtime file beats every 2 s: two beats within the watchdog's
  // time, at least a second and a half apart.
  std::vector<std::string> others;
  ASSERT_TRUE(listener.receiveUntil("WATCHDOG=1", 5000, &others));
  auto first = Clock::now();
  ASSERT_TRUE(listener.receiveUntil("WATCHDOG=1", 5000, &others));
  auto gap = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - first).count();
  EXPECT_GE(gap, 1500);
  EXPECT_LE(gap, microseconds(unit_.watchdogSec) / 1000);
  EXPECT_TRUE(others.empty()) << others.front();

  ASSERT_TRUE(child.running());
  ProcessResult result = child.stop(SIGTERM);
  EXPECT_EQ(SIGTERM, result.signal) << "still ends by the signal's default action";
  std::vector<std::string> beforeStopping;
  EXPECT_TRUE(listener.receiveUntil("STOPPING=1", 2000, &beforeStopping));
  EXPECT_EQ("", listener.receive(200)) << "STOPPING=1 is sent once";
  EXPECT_EQ(std::string::npos, result.out.find("Done!"));
}

TEST_F(NotifyE2E, ReadyAlsoAfterDocumentsLeftByAnEarlierRunWereRewritten) {
  for (const char* name : kDocuments) testsupport::writeFile(documentPath(name), "{}\n");
  NotifySocket listener(dir_.file("notify.sock"));
  ASSERT_TRUE(listener.bound());
  ChildProcess child;
  ASSERT_TRUE(start(child, {watchdogUsec()}));
  std::vector<std::string> beforeReady;
  ASSERT_TRUE(listener.receiveUntil("READY=1", 20000, &beforeReady));
  for (const char* name : kDocuments) {
    EXPECT_NE("{}\n", testsupport::readFile(documentPath(name))) << name << " not rewritten yet";
  }
}

TEST_F(NotifyE2E, WithoutAWatchdogForThisProcessOnlyTheHeartbeatIsSent) {
  NotifySocket listener(dir_.file("notify.sock"));
  ASSERT_TRUE(listener.bound());
  for (const std::vector<std::string>& environment :
       {std::vector<std::string>{}, std::vector<std::string>{watchdogUsec(), "WATCHDOG_PID=1"}}) {
    ChildProcess child;
    ASSERT_TRUE(start(child, environment));
    EXPECT_EQ("WATCHDOG=1", listener.receive(5000));
    EXPECT_EQ("WATCHDOG=1", listener.receive(5000));
    ASSERT_TRUE(waitFor([&] {
      for (const char* name : kDocuments) {
        if (!documentWritten(name)) return false;
      }
      return true;
    }));
    EXPECT_EQ("WATCHDOG=1", listener.receive(5000)) << "no READY=1";
    ProcessResult result = child.stop(SIGTERM);
    EXPECT_EQ(SIGTERM, result.signal);
    EXPECT_EQ("", listener.receive(500)) << "no STOPPING=1";
    ASSERT_TRUE(waitFor([] { return !testsupport::otherDaemonRunning(); }));
  }
}

}  // namespace
