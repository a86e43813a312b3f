#include "tests/support/MeterRootTest.h"

#include <signal.h>

#include <chrono>
#include <thread>

#include "livedata/JsonDirectory.h"

namespace testsupport {

void MeterRootTest::SetUp() {
  makeDirs(dir.file("web") + kJsonDirectory);
  writeFile(dir.file("root/home/korvo.data/test/livedata_update_runtime.xml"),
            foregroundRuntimeXml(250));
}

void MeterRootTest::TearDown() {
  if (daemon) daemon->stop(SIGTERM);
  if (sim) sim->stop(SIGTERM);
}

ProcessOptions MeterRootTest::environment() const {
  ProcessOptions options;
  options.env = {"WEB_ROOT=" + dir.file("web"), "LIVEDATA_ROOT=" + dir.file("root"),
                 "DATAMAP_FILE=" + mapPath(), "ZUL_LOG_FILE=" + dir.file("log")};
  options.unsetEnv = {"LOG_ITEM_CATALOG", "NOTIFY_SOCKET"};
  return options;
}

std::string MeterRootTest::documentPath(const std::string& name) const {
  return dir.file("web") + kJsonDirectory + name;
}

void MeterRootTest::startMeterSim(const std::vector<std::string>& args) {
  std::vector<std::string> argv = {stagedProgram("bin/meter-sim")};
  argv.insert(argv.end(), args.begin(), args.end());
  sim.reset(new ChildProcess);
  ASSERT_TRUE(sim->start(argv, environment()));
  ASSERT_TRUE(waitFor([&] { return sim->out().find("datamap ready") != std::string::npos; },
                      std::chrono::seconds(20)))
      << sim->err();
}

void MeterRootTest::startDaemon() {
  for (int attempt = 0; attempt < 30; ++attempt) {
    daemon.reset(new ChildProcess);
    ASSERT_TRUE(daemon->start(
        {stagedProgram("sbin/livedata_update"), "-p", dir.file("livedata.pid")}, environment()));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    if (daemon->running()) return;
    ProcessResult result = daemon->wait();
    ASSERT_EQ(result.exitCode, 246) << "daemon ended: " << result.out << result.err;
    std::this_thread::sleep_for(std::chrono::seconds(2));
  }
  FAIL() << "another livedata_update kept running";
}

}  // namespace testsupport
