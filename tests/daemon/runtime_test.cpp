// The runtime configuration: defaults, every setting of the XML file, and the
// failure paths (missing, unreadable, malformed files) with their log lines.
#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "daemon/livedata_update_Runtime.h"
#include "tests/support/TempDir.h"

using testsupport::TempDir;

namespace {

const char kLabel[] = "/home/korvo.web/lighttpd/www/htdocs/common_ui/json/device_profile_label.json";

class RuntimeTest : public ::testing::Test {
 protected:
  // Runs before runtime_ is built, so that its constructor sees WEB_ROOT.
  bool prepareEnvironment() {
    setenv("ZUL_LOG_FILE", logPath_.c_str(), 1);
    setenv("WEB_ROOT", dir_.file("web").c_str(), 1);
    return true;
  }
  void TearDown() override {
    unsetenv("ZUL_LOG_FILE");
    unsetenv("WEB_ROOT");
  }

  // Writes text as the runtime file and loads it into runtime_.
  int load(const std::string& text) {
    testsupport::writeFile(xmlPath_, text);
    return runtime_.loadRuntimeFile(xmlPath_.c_str());
  }

  std::string logText() { return testsupport::readFileOrEmpty(logPath_); }

  TempDir dir_;
  std::string logPath_ = dir_.file("log.txt");
  std::string xmlPath_ = dir_.file("livedata_update_runtime.xml");
  bool environmentReady_ = prepareEnvironment();
  livedata_update_Runtime runtime_;
};

void expectDefaults(const livedata_update_Runtime& runtime) {
  EXPECT_EQ(4, runtime.verboseLevel());
  EXPECT_TRUE(runtime.daemonize());
  EXPECT_TRUE(runtime.heartbeatEnable());
  EXPECT_EQ(2, runtime.heartbeatInterval());
  EXPECT_STREQ("/tmp/pid/home/korvo/test/livedata.pid", runtime.pidFile());
  EXPECT_EQ(1000, runtime.flickerInterval());
  EXPECT_EQ(1000, runtime.thdInterval());
  EXPECT_EQ(1000, runtime.energyInterval());
  EXPECT_EQ(1000, runtime.phasorInterval());
  EXPECT_EQ(1000, runtime.pollingInterval());
  EXPECT_EQ(1000, runtime.symmInterval());
}

TEST_F(RuntimeTest, ConstructorSetsDefaultsAndLabelPathBelowWebRoot) {
  expectDefaults(runtime_);
  EXPECT_EQ(dir_.file("web") + kLabel, runtime_.profileLabelPath());
  EXPECT_EQ(dir_.file("web"), runtime_.webRoot());
}

TEST_F(RuntimeTest, WithoutWebRootTheLabelPathIsTheMetersPath) {
  unsetenv("WEB_ROOT");
  livedata_update_Runtime runtime;
  EXPECT_STREQ(kLabel, runtime.profileLabelPath());
  EXPECT_STREQ("", runtime.webRoot());
}

TEST_F(RuntimeTest, EverySettingIsRead) {
  ASSERT_EQ(0, load("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                    "<livedata_update_run_time>\n"
                    "  <flicker interval=\"1100\"/>\n"
                    "  <thd interval=\"1200\"/>\n"
                    "  <energy interval=\"1300\"/>\n"
                    "  <phasor interval=\"1400\"/>\n"
                    "  <polling interval=\"1500\"/>\n"
                    "  <symm interval=\"1600\"/>\n"
                    "  <daemonize enable=\"yes\" pid_file=\"/run/x/l.pid\"/>\n"
                    "  <heartbeat enable=\"no\" interval=\"7\"/>\n"
                    "  <verbose level=\"9\"/>\n"
                    "</livedata_update_run_time>\n"));
  EXPECT_EQ(1100, runtime_.flickerInterval());
  EXPECT_EQ(1200, runtime_.thdInterval());
  EXPECT_EQ(1300, runtime_.energyInterval());
  EXPECT_EQ(1400, runtime_.phasorInterval());
  EXPECT_EQ(1500, runtime_.pollingInterval());
  EXPECT_EQ(1600, runtime_.symmInterval());
  EXPECT_TRUE(runtime_.daemonize());
  EXPECT_STREQ("/run/x/l.pid", runtime_.pidFile());
  EXPECT_FALSE(runtime_.heartbeatEnable());
  EXPECT_EQ(7, runtime_.heartbeatInterval());
  EXPECT_EQ(9, runtime_.verboseLevel());
  EXPECT_EQ("", logText());
}

TEST_F(RuntimeTest, SettingsAreFoundAnywhereBelowTheRoot) {
  ASSERT_EQ(0, load("<livedata_update_run_time><group><inner>"
                    "<energy interval=\"250\"/></inner></group>"
                    "<heartbeat enable=\"YeS\" interval=\"3\"/></livedata_update_run_time>"));
  EXPECT_EQ(250, runtime_.energyInterval());
  EXPECT_TRUE(runtime_.heartbeatEnable());
  EXPECT_EQ(3, runtime_.heartbeatInterval());
}

TEST_F(RuntimeTest, RootNameIsComparedIgnoringCase) {
  ASSERT_EQ(0, load("<LiveData_Update_RUN_TIME><polling interval=\"42\"/></LiveData_Update_RUN_TIME>"));
  EXPECT_EQ(42, runtime_.pollingInterval());
}

TEST_F(RuntimeTest, OtherRootFailsWithLogLineAndKeepsDefaults) {
  EXPECT_EQ(1, load("<?xml version=\"1.0\"?>\n<other_root><flicker interval=\"5\"/></other_root>\n"));
  expectDefaults(runtime_);
  EXPECT_EQ("livedata_update_runtime <3>: load_runtime_xml: Unable to load xml, exit\n", logText());
}

TEST_F(RuntimeTest, MalformedXmlFailsWithLogLine) {
  EXPECT_EQ(1, load("<livedata_update_run_time><flicker interval=\"5\">"));
  expectDefaults(runtime_);
  EXPECT_EQ("livedata_update_runtime <3>: load_runtime_xml: Unable to load xml, exit\n", logText());
}

TEST_F(RuntimeTest, EmptyFileFailsWithLogLine) {
  EXPECT_EQ(1, load(""));
  expectDefaults(runtime_);
  EXPECT_EQ("livedata_update_runtime <3>: load_runtime_xml: Unable to load xml, exit\n", logText());
}

TEST_F(RuntimeTest, MissingFileIsLoggedAndOpenedOnce) {
  std::string path = dir_.file("missing.xml");
  EXPECT_EQ(1, runtime_.loadRuntimeFile(path.c_str()));
  expectDefaults(runtime_);
  EXPECT_EQ("livedata_update_runtime <3>: load_runtime_xml:Failed to open runttime cfg file '" +
                path + "'\n",
            logText());
  int attempts = 0;
  EXPECT_EQ(nullptr, livedata_update_Runtime::openWithRetries(path.c_str(), &attempts));
  EXPECT_EQ(1, attempts);
}

TEST_F(RuntimeTest, OtherOpenErrorsAreRetriedTenTimes) {
  // A regular file used as a directory: ENOTDIR, which may pass.
  testsupport::writeFile(dir_.file("plain"), "x");
  std::string path = dir_.file("plain/runtime.xml");
  int attempts = 0;
  EXPECT_EQ(nullptr, livedata_update_Runtime::openWithRetries(path.c_str(), &attempts));
  EXPECT_EQ(ENOTDIR, errno);
  EXPECT_EQ(10, attempts);
  EXPECT_EQ(1, runtime_.loadRuntimeFile(path.c_str()));
  EXPECT_EQ("livedata_update_runtime <3>: load_runtime_xml:Failed to open runttime cfg file '" +
                path + "'\n",
            logText());
}

TEST_F(RuntimeTest, FileWithoutReadPermissionIsNotRetried) {
  if (geteuid() == 0) GTEST_SKIP() << "root reads files whatever their mode";
  testsupport::writeFile(xmlPath_, "<livedata_update_run_time/>");
  ASSERT_EQ(0, chmod(xmlPath_.c_str(), 0));
  int attempts = 0;
  EXPECT_EQ(nullptr, livedata_update_Runtime::openWithRetries(xmlPath_.c_str(), &attempts));
  EXPECT_EQ(1, attempts);
  EXPECT_EQ(1, runtime_.loadRuntimeFile(xmlPath_.c_str()));
  EXPECT_EQ("livedata_update_runtime <3>: load_runtime_xml:Failed to open runttime cfg file '" +
                xmlPath_ + "'\n",
            logText());
}

TEST_F(RuntimeTest, DirectoryInPlaceOfTheFileIsNotRetriedAndKeepsDefaults) {
  testsupport::makeDirs(xmlPath_);
  int attempts = 0;
  FILE* file = livedata_update_Runtime::openWithRetries(xmlPath_.c_str(), &attempts);
  EXPECT_EQ(1, attempts);
  if (file != nullptr) fclose(file);
  EXPECT_EQ(1, runtime_.loadRuntimeFile(xmlPath_.c_str()));
  expectDefaults(runtime_);
  EXPECT_NE(std::string::npos, logText().find("livedata_update_runtime <3>: load_runtime_xml"));
}

TEST_F(RuntimeTest, DaemonizeWithOnlyPidFileSwitchesDaemonizingOff) {
  ASSERT_EQ(0, load("<livedata_update_run_time><daemonize pid_file=\"/tmp/a b.pid\"/>"
                    "</livedata_update_run_time>"));
  EXPECT_FALSE(runtime_.daemonize());
  EXPECT_STREQ("/tmp/a b.pid", runtime_.pidFile());
}

TEST_F(RuntimeTest, DaemonizeEnableIsYesIgnoringCaseOnly) {
  ASSERT_EQ(0, load("<livedata_update_run_time><daemonize enable=\"YES\"/></livedata_update_run_time>"));
  EXPECT_TRUE(runtime_.daemonize());
  EXPECT_STREQ("/tmp/pid/home/korvo/test/livedata.pid", runtime_.pidFile());
  ASSERT_EQ(0, load("<livedata_update_run_time><daemonize enable=\"true\"/></livedata_update_run_time>"));
  EXPECT_FALSE(runtime_.daemonize());
}

TEST_F(RuntimeTest, VerboseWithoutLevelSetsZero) {
  ASSERT_EQ(0, load("<livedata_update_run_time><verbose/></livedata_update_run_time>"));
  EXPECT_EQ(0, runtime_.verboseLevel());
}

TEST_F(RuntimeTest, VerboseLevelTakesAnyBase) {
  ASSERT_EQ(0, load("<livedata_update_run_time><verbose level=\"0x1f\"/></livedata_update_run_time>"));
  EXPECT_EQ(31, runtime_.verboseLevel());
  ASSERT_EQ(0, load("<livedata_update_run_time><verbose level=\"010\"/></livedata_update_run_time>"));
  EXPECT_EQ(8, runtime_.verboseLevel());
}

TEST_F(RuntimeTest, HeartbeatIntervalTakesAnyBaseButUpdaterIntervalsAreDecimal) {
  ASSERT_EQ(0, load("<livedata_update_run_time><flicker interval=\"0x10\"/>"
                    "<thd interval=\"010\"/>"
                    "<heartbeat enable=\"yes\" interval=\"0x10\"/></livedata_update_run_time>"));
  EXPECT_EQ(16, runtime_.heartbeatInterval());
  EXPECT_EQ(0, runtime_.flickerInterval());
  EXPECT_EQ(10, runtime_.thdInterval());
  ASSERT_EQ(0, load("<livedata_update_run_time><heartbeat enable=\"yes\" interval=\"010\"/>"
                    "</livedata_update_run_time>"));
  EXPECT_EQ(8, runtime_.heartbeatInterval());
}

TEST_F(RuntimeTest, HeartbeatWithoutEnableCountsAsOff) {
  ASSERT_EQ(0, load("<livedata_update_run_time><heartbeat interval=\"5\"/></livedata_update_run_time>"));
  EXPECT_FALSE(runtime_.heartbeatEnable());
  EXPECT_EQ(5, runtime_.heartbeatInterval());
}

TEST_F(RuntimeTest, NonNumericValuesBecomeZeroAndAreNotRangeChecked) {
  ASSERT_EQ(0, load("<livedata_update_run_time><energy interval=\"abc\"/>"
                    "<phasor interval=\"-25\"/><polling interval=\"12ms\"/>"
                    "<heartbeat enable=\"yes\" interval=\"x\"/></livedata_update_run_time>"));
  EXPECT_EQ(0, runtime_.energyInterval());
  EXPECT_EQ(-25, runtime_.phasorInterval());
  EXPECT_EQ(12, runtime_.pollingInterval());
  EXPECT_EQ(0, runtime_.heartbeatInterval());
}

TEST_F(RuntimeTest, AbsentAttributesLeaveTheirSettings) {
  ASSERT_EQ(0, load("<livedata_update_run_time><flicker/><thd other=\"5\"/>"
                    "<daemonize enable=\"yes\"/><heartbeat enable=\"yes\"/>"
                    "</livedata_update_run_time>"));
  expectDefaults(runtime_);
}

TEST_F(RuntimeTest, RootOnlyFileKeepsDefaults) {
  ASSERT_EQ(0, load("<?xml version=\"1.0\"?>\n<livedata_update_run_time/>\n"));
  expectDefaults(runtime_);
  EXPECT_EQ("", logText());
}

TEST_F(RuntimeTest, PidFileCanBeReplaced) {
  runtime_.setPidFile("/tmp/other.pid");
  EXPECT_STREQ("/tmp/other.pid", runtime_.pidFile());
}

TEST(RuntimeGlobal, ConstructedBeforeMainWithItsDefaults) { expectDefaults(ldu_Runtime); }

}  // namespace
