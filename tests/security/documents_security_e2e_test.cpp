// The document directory belongs to the web server's user (here `nobody`),
// who plants links, a FIFO and a directory at the documents' names before and
// while root's daemon runs. Root's daemon never writes through them: the
// victims keep their bytes, owner and mode, the documents come back as regular
// files owned by the directory's owner, and nothing hangs.
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "tests/faults/daemon_fault_helpers.h"
#include "tests/security/security_helpers.h"
#include "tests/support/Process.h"
#include "tests/support/TempDir.h"

using faulttest::FaultDaemon;
using securitytest::Attacker;
using securitytest::Victim;
using testsupport::ChildProcess;
using testsupport::waitFor;

namespace {

ino_t inodeOf(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

class DocumentAttack : public ::testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "plants as another user: needs root";
    ASSERT_TRUE(securitytest::findAttacker(&attacker_)) << "no user nobody";
    securitytest::openWay(daemon_.dir().path(), daemon_.jsonDir());
    securitytest::giveTo(attacker_, daemon_.jsonDir(), 0755);
  }

  bool plant(const std::function<bool()>& what) { return securitytest::runAsAttacker(attacker_, what); }
  std::string doc(const std::string& name) const { return daemon_.documentPath(name); }

  FaultDaemon daemon_;
  Attacker attacker_;
  Victim victim_{daemon_.dir().file("victim"), "root's own secret\n", 0600};
  Victim factoryVictim_{daemon_.dir().file("factory-victim"), "root's other file\n", 0600};
};

TEST_F(DocumentAttack, LinksFifoAndDirectoryAtTheNamesAreNeverWrittenThrough) {
  ASSERT_TRUE(plant([&] {
    return symlink(victim_.path().c_str(), doc("polling_data.json").c_str()) == 0 &&
           symlink(victim_.path().c_str(), doc("energy_data.json").c_str()) == 0 &&
           symlink(factoryVictim_.path().c_str(), doc("meter_factory_setting.json").c_str()) == 0 &&
           symlink(victim_.path().c_str(), doc("device_profile_label.json").c_str()) == 0 &&
           mkfifo(doc("flicker_data.json").c_str(), 0666) == 0 &&
           mkdir(doc("phasor_data.json").c_str(), 0755) == 0;
  }));
  ChildProcess child;
  ASSERT_TRUE(daemon_.start(child)) << child.err();

  // The linked names come back as the daemon's own regular documents.
  const char* replaced[] = {"polling_data.json", "energy_data.json", "meter_factory_setting.json",
                            "device_profile_label.json", "thd_data.json",
                            "symmetrical_components.json"};
  for (const char* name : replaced) {
    EXPECT_TRUE(waitFor([&] { return securitytest::isRegular(doc(name)); }, std::chrono::seconds(10)))
        << name;
    std::string text;
    EXPECT_TRUE(testsupport::readFileIfExists(doc(name), &text) && faulttest::parsesAsJson(text))
        << name;
    EXPECT_EQ(attacker_.uid, securitytest::ownerOf(doc(name))) << name;
  }
  EXPECT_EQ(0644u, securitytest::typeAndMode(doc("polling_data.json")) & 07777);
  EXPECT_EQ(0774u, securitytest::typeAndMode(doc("meter_factory_setting.json")) & 07777);

  // While it runs, the web user keeps swapping links in.
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(1);
  ASSERT_TRUE(plant([&] {
    const std::string staged = doc(".staged-link");
    while (std::chrono::steady_clock::now() < until) {
      unlink(staged.c_str());
      if (symlink(victim_.path().c_str(), staged.c_str()) != 0) return false;
      rename(staged.c_str(), doc("polling_data.json").c_str());
      unlink(staged.c_str());
      if (symlink(factoryVictim_.path().c_str(), staged.c_str()) != 0) return false;
      rename(staged.c_str(), doc("meter_factory_setting.json").c_str());
    }
    return true;
  }));
  EXPECT_TRUE(waitFor([&] { return securitytest::isRegular(doc("polling_data.json")) &&
                                   securitytest::isRegular(doc("meter_factory_setting.json")); },
                      std::chrono::seconds(5)));

  // The FIFO and the directory are left as they are, and nothing hung on them.
  EXPECT_TRUE(S_ISFIFO(securitytest::typeAndMode(doc("flicker_data.json"))));
  EXPECT_TRUE(S_ISDIR(securitytest::typeAndMode(doc("phasor_data.json"))));
  ASSERT_TRUE(child.running()) << child.err();
  // Every cycle puts a new file at the name.
  const ino_t before = inodeOf(doc("polling_data.json"));
  EXPECT_TRUE(waitFor([&] { return inodeOf(doc("polling_data.json")) != before; },
                      std::chrono::seconds(5)))
      << "the polling updater stopped";
  testsupport::ProcessResult result = child.stop(SIGTERM, std::chrono::seconds(10));
  EXPECT_FALSE(result.timedOut);

  EXPECT_EQ("", victim_.changes());
  EXPECT_EQ("", factoryVictim_.changes());
}

TEST_F(DocumentAttack, DocumentsAreNotWritableByOthersUnderAnOpenUmask) {
  ChildProcess child;
  mode_t previous = umask(0);
  bool started = daemon_.start(child);
  umask(previous);
  ASSERT_TRUE(started) << child.err();
  ASSERT_TRUE(daemon_.waitForDocuments()) << child.err();
  for (const std::string& name : faulttest::cycleDocuments()) {
    EXPECT_EQ(0u, securitytest::typeAndMode(doc(name)) & 022) << name;
  }
  EXPECT_EQ(0u, securitytest::typeAndMode(daemon_.dir().file("run/livedata.pid")) & 022);
  EXPECT_EQ(0774u, securitytest::typeAndMode(doc("meter_factory_setting.json")) & 07777);
}

}  // namespace
