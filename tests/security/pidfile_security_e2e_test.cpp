// The pid file's directory is a sticky, world-writable one like /tmp, where
// `nobody` plants a link, a FIFO or a directory of its own before root's daemon
// starts. The daemon never writes through them, never hangs on them, says on
// one line why the pid file was not written, and starts up all the same.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "tests/faults/daemon_fault_helpers.h"
#include "tests/security/security_helpers.h"
#include "tests/support/Process.h"
#include "tests/support/TempDir.h"

using faulttest::FaultDaemon;
using securitytest::Attacker;
using securitytest::Victim;
using testsupport::ChildProcess;

namespace {

class PidFileAttack : public ::testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "plants as another user: needs root";
    ASSERT_TRUE(securitytest::findAttacker(&attacker_)) << "no user nobody";
    testsupport::makeDirs(sticky());
    securitytest::openWay(daemon_.dir().path(), sticky());
    ASSERT_EQ(0, chmod(sticky().c_str(), 01777));
  }

  std::string sticky() const { return daemon_.dir().file("tmp"); }
  bool plant(const std::function<bool()>& what) { return securitytest::runAsAttacker(attacker_, what); }

  // Starts the daemon with -p pidPath; checks it came up (documents written,
  // within a deadline) and returns its standard error.
  std::string runWithPidFile(const std::string& pidPath) {
    ChildProcess child;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(daemon_.start(child, {"-p", pidPath})) << child.err();
    EXPECT_TRUE(daemon_.waitForDocuments(20)) << "start-up did not go on: " << child.err();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    testsupport::ProcessResult result = child.stop(SIGTERM, std::chrono::seconds(10));
    EXPECT_FALSE(result.timedOut);
    return result.err;
  }

  FaultDaemon daemon_;
  Attacker attacker_;
  Victim victim_{daemon_.dir().file("victim"), "root-owned bytes\n", 0600};
};

TEST_F(PidFileAttack, LinkAtTheNameIsRefusedAndItsTargetKept) {
  const std::string pid = sticky() + "/livedata.pid";
  ASSERT_TRUE(plant([&] { return symlink(victim_.path().c_str(), pid.c_str()) == 0; }));
  std::string err = runWithPidFile(pid);
  EXPECT_NE(std::string::npos, err.find("pid file " + pid + " not written: it is a symbolic link\n"))
      << err;
  EXPECT_EQ("", victim_.changes());
  EXPECT_TRUE(S_ISLNK(securitytest::typeAndMode(pid)));
}

TEST_F(PidFileAttack, FifoAtTheNameNeitherBlocksNorIsWritten) {
  const std::string pid = sticky() + "/livedata.pid";
  ASSERT_TRUE(plant([&] { return mkfifo(pid.c_str(), 0666) == 0; }));
  std::string err = runWithPidFile(pid);
  EXPECT_NE(std::string::npos, err.find("pid file " + pid + " not written: it is not a regular file\n"))
      << err;
  EXPECT_TRUE(S_ISFIFO(securitytest::typeAndMode(pid)));
}

TEST_F(PidFileAttack, DirectoryOfAnotherUserOnThePathIsRefused) {
  const std::string dir = sticky() + "/pid";
  ASSERT_TRUE(plant([&] { return mkdir(dir.c_str(), 0777) == 0 && chmod(dir.c_str(), 0777) == 0; }));
  std::string err = runWithPidFile(dir + "/livedata.pid");
  EXPECT_NE(std::string::npos,
            err.find("pid file " + dir + "/livedata.pid not written: " + dir + ": belongs to another user\n"))
      << err;
  EXPECT_FALSE(testsupport::fileExists(dir + "/livedata.pid"));
}

TEST_F(PidFileAttack, LinkedDirectoryOnThePathIsRefused) {
  const std::string link = sticky() + "/pid";
  testsupport::makeDirs(daemon_.dir().file("elsewhere"));
  ASSERT_TRUE(plant([&] { return symlink(daemon_.dir().file("elsewhere").c_str(), link.c_str()) == 0; }));
  std::string err = runWithPidFile(link + "/livedata.pid");
  EXPECT_NE(std::string::npos, err.find("pid file " + link + "/livedata.pid not written: " + link +
                                        ": is a symbolic link or not a directory: "))
      << err;
  EXPECT_FALSE(testsupport::fileExists(daemon_.dir().file("elsewhere/livedata.pid")));
}

TEST_F(PidFileAttack, WorldWritableDirectoryWithoutStickyBitIsRefused) {
  const std::string open = daemon_.dir().file("open");
  testsupport::makeDirs(open);
  ASSERT_EQ(0, chmod(open.c_str(), 0777));
  std::string err = runWithPidFile(open + "/livedata.pid");
  EXPECT_NE(std::string::npos,
            err.find("pid file " + open + "/livedata.pid not written: " + open +
                     ": is writable by other users\n"))
      << err;
  EXPECT_FALSE(testsupport::fileExists(open + "/livedata.pid"));
}

TEST_F(PidFileAttack, MissingDirectoriesAreCreatedUnderTrustedOnes) {
  const std::string pid = sticky() + "/made/here/livedata.pid";
  std::string err = runWithPidFile(pid);
  EXPECT_EQ(std::string::npos, err.find("pid file")) << err;
  std::string text;
  EXPECT_TRUE(testsupport::readFileIfExists(pid, &text));
  EXPECT_EQ(0u, securitytest::ownerOf(sticky() + "/made"));
  EXPECT_EQ(0644u, securitytest::typeAndMode(pid) & 07777);
}

}  // namespace
