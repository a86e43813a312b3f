// A daemon in a private temporary root for the fault tests: a map built from
// the meter's full catalogue (every key resolves), a runtime file with short
// periods, the programmable settings file, and helpers to read back documents,
// the runtime log and the process's resident size and descriptors.
#ifndef TESTS_FAULTS_DAEMON_FAULT_HELPERS_H_
#define TESTS_FAULTS_DAEMON_FAULT_HELPERS_H_

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TempDir.h"

namespace faulttest {

// The documents rewritten every cycle through DocumentFile, and the label
// document written once at start-up.
const std::vector<std::string>& cycleDocuments();
const char* labelDocument();

// True when text is one complete JSON value.
bool parsesAsJson(const std::string& text);

// Integer from the environment, or fallback when unset or not a number.
long envOr(const char* name, long fallback);

class FaultDaemon {
 public:
  // webRoot: where the documents go (default: below the temporary root).
  explicit FaultDaemon(const std::string& webRoot = "");

  const testsupport::TempDir& dir() const { return dir_; }
  std::string jsonDir() const;
  std::string documentPath(const std::string& name) const { return jsonDir() + "/" + name; }
  std::string runtimePath() const;
  std::string settingsPath() const;
  std::string logPath() const { return dir_.file("log.txt"); }

  // Foreground, no heartbeat, every updater at intervalMs.
  void writeRuntime(int intervalMs);
  // Starts the daemon (waiting for other daemons to end first); false when it
  // did not stay up.
  bool start(testsupport::ChildProcess& child, const std::vector<std::string>& args = {});
  // Waits until every cycle document parses.
  bool waitForDocuments(int seconds = 20) const;
  // Names of the documents present in the document directory that are empty or
  // do not parse.
  std::vector<std::string> brokenDocuments() const;
  std::string logText() const;

 private:
  testsupport::ProcessOptions options() const;

  testsupport::TempDir dir_;
  std::string webRoot_;
};

}  // namespace faulttest

#endif  // TESTS_FAULTS_DAEMON_FAULT_HELPERS_H_
