// Faults of the document tree under a running daemon: the output directory
// removed and recreated, and a full disk (a small tmpfs, when this process may
// mount one). Documents come back whole, and write failures are logged once
// when they start and once when they end, on the runtime log only.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <string.h>
#include <sys/mount.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "tests/faults/daemon_fault_helpers.h"
#include "tests/support/Process.h"
#include "tests/support/TempDir.h"

using faulttest::FaultDaemon;
using testsupport::ChildProcess;
using testsupport::waitFor;

namespace {

size_t countOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(DocFaults, OutputDirectoryRemovedAndRecreated) {
  FaultDaemon daemon;
  ChildProcess child;
  ASSERT_TRUE(daemon.start(child)) << child.err();
  ASSERT_TRUE(daemon.waitForDocuments()) << child.err();

  testsupport::removeTree(daemon.jsonDir());
  std::this_thread::sleep_for(std::chrono::milliseconds(500));  // many cycles without it
  ASSERT_TRUE(child.running());

  testsupport::makeDirs(daemon.jsonDir());
  // THD's period is 3 s; the others come back within a few cycles.
  EXPECT_TRUE(daemon.waitForDocuments(10));
  EXPECT_TRUE(child.running());
  // A skipped cycle is silent (the catalogue's own read errors aside).
  EXPECT_EQ(std::string::npos, child.err().find(daemon.jsonDir())) << child.err();
  EXPECT_EQ(std::string::npos, daemon.logText().find("DocumentFile"));
}

// A tmpfs of its own, in a private mount namespace so that nothing outside
// this test process and its children sees it.
class SmallDisk {
 public:
  explicit SmallDisk(const std::string& path) : path_(path) {
    testsupport::makeDirs(path);
    if (unshare(CLONE_NEWNS) != 0) {
      why_ = std::string("unshare: ") + strerror(errno);
      return;
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
      why_ = std::string("private mounts: ") + strerror(errno);
      return;
    }
    if (mount("tmpfs", path.c_str(), "tmpfs", 0, "size=1m") != 0) {
      why_ = std::string("mount tmpfs: ") + strerror(errno);
      return;
    }
    mounted_ = true;
  }
  ~SmallDisk() {
    if (mounted_) umount2(path_.c_str(), MNT_DETACH);
  }
  bool mounted() const { return mounted_; }
  const std::string& why() const { return why_; }

  // Fills the disk with one file; true once a write failed with ENOSPC.
  bool fill() {
    filler_ = path_ + "/filler";
    int fd = open(filler_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) return false;
    std::string block(4096, 'f');
    ssize_t written = 0;
    do {
      written = write(fd, block.data(), block.size());
    } while (written > 0);
    int error = errno;
    close(fd);
    return error == ENOSPC;
  }
  void freeSpace() { unlink(filler_.c_str()); }

 private:
  std::string path_;
  std::string filler_;
  std::string why_;
  bool mounted_ = false;
};

TEST(DocFaults, FullDiskIsLoggedOnceAndDocumentsComeBackWhole) {
  testsupport::TempDir mountDir;
  SmallDisk disk(mountDir.file("disk"));
  if (!disk.mounted()) GTEST_SKIP() << "cannot mount a small tmpfs here (" << disk.why() << ")";
  FaultDaemon daemon(mountDir.file("disk"));
  ASSERT_TRUE(disk.fill());

  ChildProcess child;
  ASSERT_TRUE(daemon.start(child)) << child.err();
  const std::string failing = "DocumentFile write failed, error=" + std::to_string(ENOSPC) +
                              " ENOSPC, previous document kept: ";
  const std::string polling = daemon.documentPath("polling_data.json");
  ASSERT_TRUE(waitFor([&] {
    return daemon.logText().find(failing + polling) != std::string::npos;
  })) << daemon.logText();
  std::this_thread::sleep_for(std::chrono::milliseconds(500));  // dozens of failing cycles
  ASSERT_TRUE(child.running()) << child.err();
  std::string log = daemon.logText();
  for (const std::string& name : faulttest::cycleDocuments()) {
    if (name == "thd_data.json") continue;  // its 3 s period may not have come yet
    EXPECT_EQ(1u, countOf(log, failing + daemon.documentPath(name) + "\n")) << name << "\n" << log;
  }
  EXPECT_EQ(0u, countOf(log, "DocumentFile written again"));

  disk.freeSpace();
  EXPECT_TRUE(daemon.waitForDocuments(10)) << daemon.logText();
  const std::string again = "DocumentFile written again: ";
  EXPECT_TRUE(waitFor([&] { return countOf(daemon.logText(), again) >= 5; }));
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  log = daemon.logText();
  for (const std::string& name : faulttest::cycleDocuments()) {
    if (name == "thd_data.json") continue;
    EXPECT_EQ(1u, countOf(log, again + daemon.documentPath(name) + "\n")) << name << "\n" << log;
  }
  // Nothing of this reached standard error.
  EXPECT_EQ(std::string::npos, child.err().find("DocumentFile")) << child.err();
  EXPECT_EQ(std::string::npos, child.err().find("ENOSPC")) << child.err();
  EXPECT_TRUE(child.running());
  child.stop(SIGTERM);
}

}  // namespace
