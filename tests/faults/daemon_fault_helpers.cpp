#include "tests/faults/daemon_fault_helpers.h"

#include <dirent.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <fstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "hoststore/HostDatamap.h"
#include "livedata/JsonDirectory.h"
#include "tests/support/Process.h"
#include "tests/support/StatusAssertions.h"

namespace faulttest {

namespace {

constexpr size_t kSettingsFileSize = 32784;

}  // namespace

const std::vector<std::string>& cycleDocuments() {
  static const std::vector<std::string> names = {
      "flicker_data.json", "thd_data.json",     "energy_data.json",
      "phasor_data.json",  "polling_data.json", "symmetrical_components.json"};
  return names;
}

const char* labelDocument() { return "device_profile_label.json"; }

bool parsesAsJson(const std::string& text) {
  return !text.empty() && !nlohmann::json::parse(text, nullptr, false).is_discarded();
}




long envOr(const char* name, long fallback) {
  const char* text = getenv(name);
  if (text == nullptr || text[0] == '\0') return fallback;
  char* end = nullptr;
  long value = strtol(text, &end, 10);
  return *end == '\0' && value > 0 ? value : fallback;
}

FaultDaemon::FaultDaemon(const std::string& webRoot)
    : webRoot_(webRoot.empty() ? dir_.file("web") : webRoot) {
  testsupport::makeDirs(jsonDir());
  EXPECT_TRUE(testsupport::IsOk(dmhost::HostDatamap::createFromCatalogFile(
      dir_.file("datamap"), testsupport::sourcePath("data/meter.catalog"))));
  testsupport::writeFile(settingsPath(), std::string(kSettingsFileSize, '\0'));
  writeRuntime(10);
}

// The JSON directory without its trailing '/'.
std::string FaultDaemon::jsonDir() const {
  return webRoot_ + std::string(kJsonDirectory, sizeof kJsonDirectory - 2);
}

std::string FaultDaemon::runtimePath() const {
  return dir_.file("root/home/korvo.data/test/livedata_update_runtime.xml");
}

std::string FaultDaemon::settingsPath() const {
  return dir_.file("root/home/korvo.data/root/kv7720.kps");
}

void FaultDaemon::writeRuntime(int intervalMs) {
  const std::string ms = std::to_string(intervalMs);
  testsupport::writeFile(
      runtimePath(),
      "<?xml version=\"1.0\"?>\n<livedata_update_run_time>\n"
      "<daemonize enable=\"no\" pid_file=\"" + dir_.file("run/livedata.pid") + "\"/>\n"
      "<heartbeat enable=\"no\" interval=\"1\"/>\n"
      "<flicker interval=\"" + ms + "\"/><energy interval=\"" + ms + "\"/>\n"
      "<phasor interval=\"" + ms + "\"/><polling interval=\"" + ms + "\"/>\n"
      "</livedata_update_run_time>\n");
}

testsupport::ProcessOptions FaultDaemon::options() const {
  testsupport::ProcessOptions result;
  result.env = {"WEB_ROOT=" + webRoot_, "LIVEDATA_ROOT=" + dir_.file("root"),
                "DATAMAP_FILE=" + dir_.file("datamap"), "ZUL_LOG_FILE=" + logPath()};
  result.unsetEnv = {"NOTIFY_SOCKET", "METER_ROOT", "LOG_ITEM_CATALOG"};
  return result;
}

bool FaultDaemon::start(testsupport::ChildProcess& child, const std::vector<std::string>& args) {
  std::vector<std::string> argv = {testsupport::stagedProgram("sbin/livedata_update")};
  argv.insert(argv.end(), args.begin(), args.end());
  // A daemon of another tree may slip in between the check and the start.
  for (int attempt = 0; attempt < 5; ++attempt) {
    if (!testsupport::waitFor([] { return !testsupport::otherDaemonRunning(); }, std::chrono::seconds(120))) {
      return false;
    }
    if (!child.start(argv, options())) return false;
    if (!testsupport::waitFor([&] { return !child.running(); }, std::chrono::milliseconds(300))) {
      return true;
    }
  }
  return false;
}

bool FaultDaemon::waitForDocuments(int seconds) const {
  return testsupport::waitFor(
      [this] {
        for (const std::string& name : cycleDocuments()) {
          std::string text;
          if (!testsupport::readFileIfExists(documentPath(name), &text) || !parsesAsJson(text)) {
            return false;
          }
        }
        return true;
      },
      std::chrono::seconds(seconds));
}

std::vector<std::string> FaultDaemon::brokenDocuments() const {
  std::vector<std::string> broken;
  std::vector<std::string> names = cycleDocuments();
  names.push_back(labelDocument());
  for (const std::string& name : names) {
    std::string text;
    if (testsupport::readFileIfExists(documentPath(name), &text) && !parsesAsJson(text)) {
      broken.push_back(name + " (" + std::to_string(text.size()) + " bytes)");
    }
  }
  return broken;
}

std::string FaultDaemon::logText() const { return testsupport::readFileOrEmpty(logPath()); }

}  // namespace faulttest
