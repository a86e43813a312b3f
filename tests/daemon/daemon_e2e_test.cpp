// End-to-end tests of the installed daemon: options and exit statuses, instance
// refusal, runtime file, pid file, daemonizing, datamap failures, heartbeat
// datagrams and the start-up trace lines. Every test runs in its own temporary
// root and kills whatever it started, also when an assertion fails.
#include <dirent.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "hoststore/HostDatamap.h"
#include "tests/daemon/NotifySocket.h"
#include "tests/daemon/shape_helpers.h"
#include "tests/daemon/usage_text.h"
#include "tests/support/Process.h"
#include "tests/support/StatusAssertions.h"
#include "tests/support/TempDir.h"

using testsupport::ChildProcess;
using testsupport::ProcessOptions;
using testsupport::ProcessResult;
using testsupport::TempDir;
using testsupport::waitFor;

namespace {

const char kCatalog[] =
    "sys.enumeration.hookup uint16 0\n"
    "sys.enumeration.frequency_type uint16 0\n"
    "sys.enumeration.phase_type uint16 0\n";

using daemontest::dateShape;
using daemontest::matchesShape;
using daemontest::NotifySocket;
using daemontest::versionShape;

std::string program() { return testsupport::stagedProgram("sbin/livedata_update"); }

bool processAlive(pid_t pid) {
  if (pid <= 0 || kill(pid, 0) != 0) return false;
  // A zombie has ended even though it still has a process entry.
  std::string stat;
  if (!testsupport::readFileIfExists("/proc/" + std::to_string(pid) + "/stat", &stat)) return false;
  size_t close = stat.rfind(')');
  return close == std::string::npos || stat.size() < close + 3 || stat[close + 2] != 'Z';
}

// Pids of running processes whose command name is livedata_update.
std::vector<pid_t> runningDaemons() {
  std::vector<pid_t> pids;
  DIR* proc = opendir("/proc");
  if (proc == nullptr) return pids;
  while (struct dirent* entry = readdir(proc)) {
    pid_t pid = static_cast<pid_t>(atoi(entry->d_name));
    if (pid <= 0) continue;
    std::string comm;
    if (testsupport::readFileIfExists("/proc/" + std::to_string(pid) + "/comm", &comm) &&
        comm == "livedata_update\n" && processAlive(pid)) {
      pids.push_back(pid);
    }
  }
  closedir(proc);
  return pids;
}

// Kills a detached daemon (not a child of the test) when the test ends.
class DetachedGuard {
 public:
  // marker: an environment entry only the daemon of this test carries; it
  // finds the daemon when no pid file told its pid.
  explicit DetachedGuard(std::string marker) : marker_(std::move(marker)) {}
  ~DetachedGuard() {
    killNow();
    for (pid_t pid : testsupport::processesWithEnvironmentEntry(marker_)) end(pid);
  }
  void watch(pid_t pid) { pid_ = pid; }
  void killNow() {
    if (pid_ > 0) end(pid_);
    pid_ = -1;
  }

 private:
  static void end(pid_t pid) {
    kill(pid, SIGTERM);
    if (!waitFor([pid] { return !processAlive(pid); }, std::chrono::seconds(5))) {
      kill(pid, SIGKILL);
      waitFor([pid] { return !processAlive(pid); }, std::chrono::seconds(5));
    }
  }

  std::string marker_;
  pid_t pid_ = -1;
};

class DaemonE2E : public ::testing::Test {
 protected:
  void SetUp() override {
    // Another daemon on this machine would make ours refuse to start.
    ASSERT_TRUE(waitFor([] { return runningDaemons().empty(); }, std::chrono::seconds(60)))
        << "another livedata_update is running";
    testsupport::makeDirs(dir_.file("web"));
  }

  std::string runtimePath() const {
    return dir_.file("root/home/korvo.data/test/livedata_update_runtime.xml");
  }
  std::string pidPath() const { return dir_.file("run/pid/livedata.pid"); }
  std::string mapPath() const { return dir_.file("datamap"); }
  std::string logPath() const { return dir_.file("log.txt"); }

  // A runtime file; settings is the XML inside the root element.
  void writeRuntime(const std::string& settings) {
    testsupport::writeFile(runtimePath(), "<?xml version=\"1.0\"?>\n<livedata_update_run_time>\n" +
                                              settings + "</livedata_update_run_time>\n");
  }
  // The usual file: foreground, pid file in the temp dir, no heartbeat, short periods.
  void writeForegroundRuntime() {
    writeRuntime("<daemonize enable=\"no\" pid_file=\"" + pidPath() + "\"/>\n"
                 "<heartbeat enable=\"no\" interval=\"1\"/>\n"
                 "<flicker interval=\"100\"/><energy interval=\"100\"/>\n"
                 "<phasor interval=\"100\"/><polling interval=\"100\"/>\n");
  }
  void createMap(const std::string& catalog) {
    ASSERT_TRUE(testsupport::IsOk(
        dmhost::HostDatamap::createFromCatalogText(mapPath(), catalog, "e2e catalogue")));
  }

  ProcessOptions options() const {
    ProcessOptions result;
    result.env = {"WEB_ROOT=" + dir_.file("web"), "LIVEDATA_ROOT=" + dir_.file("root"),
                  "DATAMAP_FILE=" + mapPath(), "ZUL_LOG_FILE=" + logPath()};
    result.unsetEnv = {"NOTIFY_SOCKET", "METER_ROOT"};
    result.timeout = std::chrono::seconds(30);
    return result;
  }

  ProcessResult run(const std::vector<std::string>& args) {
    std::vector<std::string> argv = {program()};
    argv.insert(argv.end(), args.begin(), args.end());
    return testsupport::runProcess(argv, options());
  }

  bool start(ChildProcess& child, const std::vector<std::string>& args,
             const std::vector<std::string>& extraEnv = {}) {
    std::vector<std::string> argv = {program()};
    argv.insert(argv.end(), args.begin(), args.end());
    ProcessOptions opts = options();
    opts.env.insert(opts.env.end(), extraEnv.begin(), extraEnv.end());
    return child.start(argv, opts);
  }

  // The usual start: the foreground runtime file, the map of kCatalog, and child
  // started with args (and extraEnv); false when one of them failed.
  bool startForeground(ChildProcess& child, const std::vector<std::string>& args = {},
                       const std::vector<std::string>& extraEnv = {}) {
    writeForegroundRuntime();
    createMap(kCatalog);
    return !HasFatalFailure() && start(child, args, extraEnv);
  }

  // Waits until the pid file holds a complete pid line and version line.
  bool waitForPidFile(const std::string& path, std::string* text) {
    return waitFor([&] {
      return testsupport::readFileIfExists(path, text) && std::count(text->begin(), text->end(), '\n') >= 2;
    });
  }

  static pid_t pidIn(const std::string& text) { return static_cast<pid_t>(atoi(text.c_str())); }

  TempDir dir_;
};

TEST_F(DaemonE2E, VersionOptionPrintsOneLineAndExits255) {
  ProcessResult result = run({"-V"});
  EXPECT_EQ(255, result.exitCode);
  EXPECT_TRUE(matchesShape(result.out,
                           "version: " + versionShape() + " built on " + dateShape() + "\n"))
      << result.out;
}

TEST_F(DaemonE2E, QuestionMarkPrintsVersionRecordsAndShortUsage) {
  ProcessResult result = run({"-?"});
  EXPECT_EQ(0, result.exitCode);
  EXPECT_TRUE(matchesShape(result.out, "VER_FileVersion=" + versionShape() + "\nVER_FileDate=" +
                                           dateShape() + "\n\nUsage: " + program() +
                                           " -p pidfile \n"))
      << result.out;
}

TEST_F(DaemonE2E, UnknownOptionActsLikeQuestionMark) {
  ProcessResult known = run({"-?"});
  ProcessResult unknown = run({"-x"});
  EXPECT_EQ(0, unknown.exitCode);
  EXPECT_EQ(known.out, unknown.out);
  ProcessResult missingArgument = run({"-m"});
  EXPECT_EQ(0, missingArgument.exitCode);
  EXPECT_EQ(known.out, missingArgument.out);
}

TEST_F(DaemonE2E, HelpPrintsUsageAndExits1) {
  ProcessResult result = run({"-h"});
  EXPECT_EQ(1, result.exitCode);
  EXPECT_EQ(daemontest::usageText(program()), result.out);
}

TEST_F(DaemonE2E, OptionsExitInCommandLineOrder) {
  EXPECT_EQ(1, run({"-h", "-V"}).exitCode);
  EXPECT_EQ(255, run({"-d", "-V", "-h"}).exitCode);
}

TEST_F(DaemonE2E, MissingDatamapExits255AfterDone) {
  writeForegroundRuntime();
  ProcessResult result = run({});
  EXPECT_EQ(255, result.exitCode);
  EXPECT_EQ(std::string::npos, result.out.find("error in dm_open_map"));
  ASSERT_GE(result.out.size(), 6u);
  EXPECT_EQ("Done!\n", result.out.substr(result.out.size() - 6));
  // The pid file comes before the datamap.
  std::string pidText;
  EXPECT_TRUE(testsupport::readFileIfExists(pidPath(), &pidText));
}

TEST_F(DaemonE2E, MissingDatamapInDebugModeSaysSo) {
  writeForegroundRuntime();
  ProcessResult result = run({"-d"});
  EXPECT_EQ(255, result.exitCode);
  EXPECT_NE(std::string::npos, result.out.find("error in dm_open_map\nDone!\n")) << result.out;
  EXPECT_EQ(1u, static_cast<size_t>(std::count(result.out.begin(), result.out.end(), '!')));
}

TEST_F(DaemonE2E, InvalidDatamapFileExits255) {
  writeForegroundRuntime();
  testsupport::writeFile(mapPath(), "this is not a datamap");
  ProcessResult result = run({});
  EXPECT_EQ(255, result.exitCode);
  EXPECT_NE(std::string::npos, result.out.find("Done!\n"));
}

TEST_F(DaemonE2E, SecondInstanceIsRefusedWithTheFirstsPid) {
  ChildProcess first;
  ASSERT_TRUE(startForeground(first, {}));
  std::string pidText;
  ASSERT_TRUE(waitForPidFile(pidPath(), &pidText));
  ProcessResult second = run({"-V"});  // refused before any option is looked at
  EXPECT_EQ(246, second.exitCode);
  EXPECT_EQ("process \"livedata_update\" is running, pid = " + std::to_string(first.pid()) +
                ", please close it and then restart process\n",
            second.out);
  EXPECT_TRUE(first.running());
}

TEST_F(DaemonE2E, PidFileAtDashPHoldsPidAndVersion) {
  std::string path = dir_.file("elsewhere/deeper/my.pid");
  ChildProcess child;
  ASSERT_TRUE(startForeground(child, {"-p", path}));
  std::string text;
  ASSERT_TRUE(waitForPidFile(path, &text));
  EXPECT_TRUE(matchesShape(text, std::to_string(child.pid()) + "\n" + versionShape() + "\n"))
      << text;
  EXPECT_FALSE(testsupport::fileExists(pidPath()));
}

TEST_F(DaemonE2E, EmptyDashPKeepsTheRuntimePidFile) {
  ChildProcess child;
  ASSERT_TRUE(startForeground(child, {"-p", ""}));
  std::string text;
  ASSERT_TRUE(waitForPidFile(pidPath(), &text));
  EXPECT_EQ(child.pid(), pidIn(text));
}

TEST_F(DaemonE2E, DebugStaysInTheForegroundDespiteRuntimeDaemonize) {
  writeRuntime("<daemonize enable=\"yes\" pid_file=\"" + pidPath() + "\"/>\n"
               "<heartbeat enable=\"no\" interval=\"1\"/>\n");
  createMap(kCatalog);
  ChildProcess child;
  ASSERT_TRUE(start(child, {"-d"}));
  std::string text;
  ASSERT_TRUE(waitForPidFile(pidPath(), &text));
  EXPECT_EQ(child.pid(), pidIn(text));
  ASSERT_TRUE(waitFor([&] { return child.out().find("entering main loop\n") != std::string::npos; }));
  EXPECT_TRUE(child.running());
  std::string out = child.out();
  std::string versionLine = "version: " + versionShape() + " built: " + dateShape() + "\n";
  ASSERT_GE(out.size(), versionLine.size());
  // The first line of the trace.
  EXPECT_TRUE(matchesShape(out.substr(0, versionLine.size()), versionLine)) << out;
  EXPECT_NE(std::string::npos, out.find("creating flicker thread\nflicker1\nflicker2\nflicker3\n"
                                        "flicker4\nflicker4\n"));
  // The updaters' own debug lines may come in between once their threads run.
  size_t last = out.find("flicker4\nflicker4\n");
  for (const char* message : {"creating thd thread\n", "creating energy thread\n",
                              "creating polling thread\n", "creating led thread\n",
                              "creating symm thread\n", "entering main loop\n"}) {
    size_t at = out.find(message, last);
    EXPECT_NE(std::string::npos, at) << message;
    if (at != std::string::npos) last = at;
  }
  EXPECT_EQ(std::string::npos, out.find("creating phasor thread"));
}

TEST_F(DaemonE2E, DaemonizesWithoutDebug) {
  writeRuntime("<daemonize enable=\"yes\" pid_file=\"" + pidPath() + "\"/>\n"
               "<heartbeat enable=\"no\" interval=\"1\"/>\n");
  createMap(kCatalog);
  DetachedGuard guard("DATAMAP_FILE=" + mapPath());
  ChildProcess child;
  ASSERT_TRUE(start(child, {}));
  std::string text;
  bool written = waitForPidFile(pidPath(), &text);
  if (written) guard.watch(pidIn(text));
  ProcessResult started = child.wait(std::chrono::seconds(10));
  EXPECT_FALSE(started.timedOut);
  EXPECT_EQ(0, started.exitCode);
  ASSERT_TRUE(written);
  pid_t daemonPid = pidIn(text);
  EXPECT_NE(child.pid(), daemonPid);
  EXPECT_TRUE(processAlive(daemonPid));
  // Detached: a session of its own.
  EXPECT_NE(getsid(0), getsid(daemonPid));
  // Standard output stays usable: the trace lines arrive in the same file.
  EXPECT_TRUE(waitFor([&] { return child.out().find("flicker4\nflicker4\n") != std::string::npos; }));
  guard.killNow();
  EXPECT_FALSE(processAlive(daemonPid));
}

TEST_F(DaemonE2E, MissingRuntimeFileIsLoggedAndDefaultsHold) {
  createMap(kCatalog);
  ChildProcess child;
  // Defaults would daemonize; "-d" keeps it here. The pid file is the default
  // one below /tmp, so give it a path of our own.
  ASSERT_TRUE(start(child, {"-d", "-p", pidPath()}));
  std::string text;
  ASSERT_TRUE(waitForPidFile(pidPath(), &text));
  std::string log;
  ASSERT_TRUE(waitFor([&] { return testsupport::readFileIfExists(logPath(), &log) && !log.empty(); }));
  EXPECT_NE(std::string::npos,
            log.find("livedata_update_runtime <3>: load_runtime_xml:Failed to open runttime cfg "
                     "file '" + runtimePath() + "'\n"))
      << log;
  EXPECT_TRUE(child.running());
}

TEST_F(DaemonE2E, TraceLinesOfTheFlickerStep) {
  ChildProcess child;
  ASSERT_TRUE(startForeground(child, {}));
  ASSERT_TRUE(waitFor([&] { return child.out().find("flicker4\nflicker4\n") != std::string::npos; }));
  std::string out = child.out();
  EXPECT_NE(std::string::npos, out.find("flicker1\nflicker2\nflicker3\nflicker4\nflicker4\n"));
  EXPECT_EQ(std::string::npos, out.find("creating"));  // not in debug mode
  EXPECT_EQ(std::string::npos, out.find("entering main loop"));
}

TEST_F(DaemonE2E, HeartbeatDatagramsWithBaseZeroInterval) {
  NotifySocket socket(dir_.file("notify.sock"));
  ASSERT_TRUE(socket.bound());
  writeRuntime("<daemonize enable=\"no\" pid_file=\"" + pidPath() + "\"/>\n"
               "<heartbeat enable=\"yes\" interval=\"0x1\"/>\n");
  createMap(kCatalog);
  ChildProcess child;
  ASSERT_TRUE(start(child, {"-d"}, {"NOTIFY_SOCKET=" + dir_.file("notify.sock")}));
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ("WATCHDOG=1", socket.receive(10000));
  EXPECT_EQ("WATCHDOG=1", socket.receive(10000));
  auto seconds = std::chrono::duration_cast<std::chrono::milliseconds>(
                     std::chrono::steady_clock::now() - start).count() / 1000.0;
  // Two beats one second apart (0x1 read in base 0); not the 0 that base 10 would give.
  EXPECT_GE(seconds, 0.9);
  EXPECT_TRUE(waitFor([&] { return child.out().find("heartbeat...\n") != std::string::npos; }));
}

TEST_F(DaemonE2E, DisabledHeartbeatSendsNothing) {
  NotifySocket socket(dir_.file("notify.sock"));
  ASSERT_TRUE(socket.bound());
  ChildProcess child;  // heartbeat off, interval 1 s
  ASSERT_TRUE(startForeground(child, {}, {"NOTIFY_SOCKET=" + dir_.file("notify.sock")}));
  EXPECT_EQ("", socket.receive(2500));
  EXPECT_TRUE(child.running());
}

TEST_F(DaemonE2E, SigtermEndsTheDaemonWithTheDefaultAction) {
  ChildProcess child;
  ASSERT_TRUE(startForeground(child, {}));
  std::string text;
  ASSERT_TRUE(waitForPidFile(pidPath(), &text));
  ProcessResult result = child.stop(SIGTERM);
  EXPECT_EQ(SIGTERM, result.signal);
  EXPECT_EQ(std::string::npos, result.out.find("Done!"));
}

TEST_F(DaemonE2E, MissingEnumerationKeysDoNotStopTheDaemon) {
  writeForegroundRuntime();
  createMap("other.key uint16 1\n");
  ChildProcess child;
  ASSERT_TRUE(start(child, {}));
  std::string text;
  ASSERT_TRUE(waitForPidFile(pidPath(), &text));
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  EXPECT_TRUE(child.running());
  // Every datamap error line ends with its code (the updaters' key tables keep
  // some irregular wording in front of it, such as a missing blank).
  std::string err = child.err();
  size_t begin = 0;
  for (size_t end; (end = err.find('\n', begin)) != std::string::npos; begin = end + 1) {
    std::string one = err.substr(begin, end - begin);
    if (one.compare(0, 3, "dm_") != 0) continue;
    size_t code = one.rfind("with error code=");
    ASSERT_NE(std::string::npos, code) << one;
    std::string number = one.substr(code + 16);
    if (!number.empty() && number[0] == ' ') number.erase(0, 1);
    EXPECT_TRUE(number.size() >= 2 && number[0] == '-' &&
                number.find_first_not_of("0123456789", 1) == std::string::npos)
        << one;
    EXPECT_NE(std::string::npos, one.find("error on ")) << one;
  }
}

TEST_F(DaemonE2E, MissingUpdaterKeysAreReportedAndTheDaemonKeepsRunning) {
  ChildProcess child;
  ASSERT_TRUE(startForeground(child, {}));
  ASSERT_TRUE(waitFor([&] {
    return child.err().find("dm_get_info error on key \"") != std::string::npos;
  }, std::chrono::seconds(5))) << "no updater reported a missing key";
  // The standard line: dm_get_info error on key "KEY" with error code= -2
  std::string err = child.err();
  size_t at = err.find("dm_get_info error on key \"");
  size_t end = err.find('\n', at);
  ASSERT_NE(std::string::npos, end);
  std::string line = err.substr(at, end - at);
  const std::string tail = "\" with error code= -2";
  ASSERT_GT(line.size(), 26 + tail.size()) << line;
  EXPECT_EQ(tail, line.substr(line.size() - tail.size())) << line;
  EXPECT_TRUE(at == 0 || err[at - 1] == '\n');
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_TRUE(child.running());
}

}  // namespace
