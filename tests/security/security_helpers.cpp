#include "tests/security/security_helpers.h"

#include <grp.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"

namespace securitytest {

bool findAttacker(Attacker* attacker) {
  struct passwd* user = getpwnam("nobody");
  if (user == nullptr) return false;
  attacker->uid = user->pw_uid;
  attacker->gid = user->pw_gid;
  return attacker->uid != 0;
}

bool runAsAttacker(const Attacker& attacker, const std::function<bool()>& plant) {
  pid_t child = fork();
  if (child < 0) return false;
  if (child == 0) {
    if (setgroups(0, nullptr) != 0 || setgid(attacker.gid) != 0 || setuid(attacker.uid) != 0) {
      _exit(3);
    }
    if (getuid() != attacker.uid || geteuid() != attacker.uid) _exit(4);
    _exit(plant() ? 0 : 1);
  }
  int status = 0;
  if (waitpid(child, &status, 0) != child) return false;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void giveTo(const Attacker& attacker, const std::string& path, mode_t mode) {
  EXPECT_EQ(0, chown(path.c_str(), attacker.uid, attacker.gid)) << path;
  EXPECT_EQ(0, chmod(path.c_str(), mode)) << path;
}

void openWay(const std::string& root, const std::string& path) {
  EXPECT_EQ(0, chmod(root.c_str(), 0755));
  for (size_t slash = path.find('/', root.size() + 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    chmod(path.substr(0, slash).c_str(), 0755);
  }
  chmod(path.c_str(), 0755);
}

Victim::Victim(const std::string& path, const std::string& bytes, mode_t mode)
    : path_(path), bytes_(bytes), mode_(mode) {
  testsupport::writeFile(path, bytes);
  EXPECT_EQ(0, chmod(path.c_str(), mode));
  struct stat status;
  EXPECT_EQ(0, lstat(path.c_str(), &status));
  owner_ = status.st_uid;
  group_ = status.st_gid;
}

std::string Victim::changes() const {
  struct stat status;
  if (lstat(path_.c_str(), &status) != 0) return "gone";
  std::string what;
  if (!S_ISREG(status.st_mode)) what += "no longer a regular file; ";
  if ((status.st_mode & 07777) != mode_) what += "mode " + std::to_string(status.st_mode & 07777) + "; ";
  if (status.st_uid != owner_ || status.st_gid != group_) {
    what += "owner " + std::to_string(status.st_uid) + ":" + std::to_string(status.st_gid) + "; ";
  }
  std::string bytes;
  if (!testsupport::readFileIfExists(path_, &bytes) || bytes != bytes_) {
    what += "bytes (" + std::to_string(bytes.size()) + " now); ";
  }
  return what;
}

mode_t typeAndMode(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

bool isRegular(const std::string& path) { return S_ISREG(typeAndMode(path)); }

uid_t ownerOf(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 ? status.st_uid : static_cast<uid_t>(-1);
}

}  // namespace securitytest
