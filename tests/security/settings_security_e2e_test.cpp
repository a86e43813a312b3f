// The programmable settings file's directory is writable by `nobody`, who puts
// a link to a root-owned file larger than a settings file at its name. Root's
// daemon does not open it (so never cuts or maps the victim), reports it as a
// settings file it cannot open, and starts up all the same.
#include <sys/stat.h>
#include <unistd.h>

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

TEST(SettingsFileAttack, LinkAtTheSettingsFileIsNeverOpenedOrCut) {
  if (geteuid() != 0) GTEST_SKIP() << "plants as another user: needs root";
  Attacker attacker;
  ASSERT_TRUE(securitytest::findAttacker(&attacker)) << "no user nobody";
  FaultDaemon daemon;
  Victim victim(daemon.dir().file("victim"), std::string(40000, 'v'), 0600);
  const std::string settings = daemon.settingsPath();
  const std::string settingsDir = settings.substr(0, settings.rfind('/'));
  unlink(settings.c_str());
  securitytest::openWay(daemon.dir().path(), settingsDir);
  securitytest::giveTo(attacker, settingsDir, 0755);
  ASSERT_TRUE(securitytest::runAsAttacker(
      attacker, [&] { return symlink(victim.path().c_str(), settings.c_str()) == 0; }));

  ChildProcess child;
  ASSERT_TRUE(daemon.start(child)) << child.err();
  EXPECT_TRUE(daemon.waitForDocuments()) << child.err();
  testsupport::ProcessResult result = child.stop(SIGTERM, std::chrono::seconds(10));
  EXPECT_FALSE(result.timedOut);
  EXPECT_NE(std::string::npos, result.err.find("Cannot open file " + settings + "\n")) << result.err;
  EXPECT_EQ("", victim.changes());
  EXPECT_TRUE(S_ISLNK(securitytest::typeAndMode(settings)));
}

}  // namespace
