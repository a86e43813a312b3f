// The installed daemon and jsontemplate against inputs that are not regular
// files or are too large: start-up goes on with the usual failure, nothing
// blocks.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/faults/daemon_fault_helpers.h"
#include "tests/support/Process.h"
#include "tests/support/TempDir.h"

using faulttest::FaultDaemon;
using testsupport::ChildProcess;
using testsupport::ProcessResult;
using testsupport::waitFor;

namespace {

void replaceByFifo(const std::string& path) {
  unlink(path.c_str());
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600)) << strerror(errno);
}

TEST(DaemonInputs, FifoRuntimeFileIsUnopenableAndStartUpGoesOn) {
  FaultDaemon daemon;
  replaceByFifo(daemon.runtimePath());
  ChildProcess child;
  // Without the file the defaults would daemonize: -d keeps it in the foreground.
  ASSERT_TRUE(daemon.start(child, {"-d", "-p", daemon.dir().file("run/pid")})) << child.err();
  // Default periods of 1 s.
  EXPECT_TRUE(daemon.waitForDocuments(10)) << child.err();
  EXPECT_NE(std::string::npos,
            daemon.logText().find("livedata_update_runtime <3>: load_runtime_xml:Failed to open "
                                  "runttime cfg file '" + daemon.runtimePath() + "'\n"))
      << daemon.logText();
  EXPECT_TRUE(child.running());
}

TEST(DaemonInputs, HugeSettingsFileIsRefusedUntouchedAndStartUpGoesOn) {
  FaultDaemon daemon;
  const off_t size = 64 * 1024 * 1024;
  ASSERT_EQ(0, truncate(daemon.settingsPath().c_str(), size));
  ChildProcess child;
  ASSERT_TRUE(daemon.start(child)) << child.err();
  EXPECT_TRUE(daemon.waitForDocuments()) << child.err();
  EXPECT_NE(std::string::npos, child.err().find("Settings file " + daemon.settingsPath() +
                                                " is larger than 1048576 bytes, not read\n"))
      << child.err();
  struct stat status;
  ASSERT_EQ(0, stat(daemon.settingsPath().c_str(), &status));
  EXPECT_EQ(size, status.st_size);
  EXPECT_FALSE(testsupport::fileExists(daemon.documentPath(faulttest::labelDocument())));
}

TEST(DaemonInputs, FifoInPlaceOfADocumentIsSkippedAndTheOthersAreWritten) {
  FaultDaemon daemon;
  const std::string polling = daemon.documentPath("polling_data.json");
  ASSERT_EQ(0, mkfifo(polling.c_str(), 0600));
  ChildProcess child;
  ASSERT_TRUE(daemon.start(child)) << child.err();
  EXPECT_TRUE(waitFor([&] {
    std::string text;
    return testsupport::readFileIfExists(daemon.documentPath("energy_data.json"), &text) &&
           faulttest::parsesAsJson(text);
  }));
  EXPECT_TRUE(child.running());
  struct stat status;
  ASSERT_EQ(0, lstat(polling.c_str(), &status));
  EXPECT_TRUE(S_ISFIFO(status.st_mode));
  // Once the FIFO goes, the document comes.
  unlink(polling.c_str());
  EXPECT_TRUE(daemon.waitForDocuments());
}

class TemplateTool : public ::testing::Test {
 protected:
  ProcessResult tool(const std::string& templatePath) {
    testsupport::ProcessOptions options;
    options.env = {"DATAMAP_FILE=" + daemon_.dir().file("datamap"),
                   "ZUL_LOG_FILE=" + daemon_.logPath()};
    options.timeout = std::chrono::seconds(20);
    return testsupport::runProcess({testsupport::stagedProgram("bin/jsontemplate"), "--map",
                                    daemon_.dir().file("datamap"), "--cycles", "2",
                                    "--interval", "1", templatePath},
                                   options);
  }
  FaultDaemon daemon_;
};

TEST_F(TemplateTool, FifoTemplateIsUnreadableAtOnce) {
  const std::string path = daemon_.dir().file("t.json");
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  ProcessResult r = tool(path);
  EXPECT_FALSE(r.timedOut);
  EXPECT_EQ(0, r.exitCode);
  EXPECT_EQ("\x1e\x1e", r.out);
  const std::string line = "Unable to read json template : " + path + "\n\n";
  EXPECT_EQ(line + line + line, r.err);
}

TEST_F(TemplateTool, EndlessDeviceTemplateIsUnreadable) {
  ProcessResult r = tool("/dev/urandom");
  EXPECT_FALSE(r.timedOut);
  EXPECT_EQ(0, r.exitCode);
  EXPECT_EQ("\x1e\x1e", r.out);
  const std::string line = "Unable to read json template : /dev/urandom\n\n";
  EXPECT_EQ(line + line + line, r.err);
}

TEST_F(TemplateTool, HugeTemplateIsRefusedWithItsSize) {
  const std::string path = daemon_.dir().file("t.json");
  testsupport::writeFile(path, "");
  ASSERT_EQ(0, truncate(path.c_str(), 512 * 1024 * 1024));
  ProcessResult r = tool(path);
  EXPECT_FALSE(r.timedOut);
  EXPECT_EQ(0, r.exitCode);
  const std::string line =
      "Unable to read json template : " + path + " (larger than 1048576 bytes)\n\n";
  EXPECT_EQ(line + line + line, r.err);
}

}  // namespace
