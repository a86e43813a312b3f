// What the security tests share: planting files as an unprivileged user (the
// tests run as root and fork a child that becomes `nobody` to plant), a victim
// file whose bytes, owner and mode must survive, and small file inspections.
#ifndef TESTS_SECURITY_SECURITY_HELPERS_H_
#define TESTS_SECURITY_SECURITY_HELPERS_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <functional>
#include <string>

namespace securitytest {

// The unprivileged user the attacks run as.
struct Attacker {
  uid_t uid = 0;
  gid_t gid = 0;
};

// `nobody` and its group; false when there is no such user.
bool findAttacker(Attacker* attacker);

// Runs plant in a child process that has dropped to the attacker (groups,
// gid, uid). True when the child got there and plant returned true.
bool runAsAttacker(const Attacker& attacker, const std::function<bool()>& plant);

// Gives path to the attacker (chown), mode as asked.
void giveTo(const Attacker& attacker, const std::string& path, mode_t mode);
// chmod 0755 of every directory from the temporary root down to path, so the
// attacker can reach it.
void openWay(const std::string& root, const std::string& path);

// A root-owned file the attacks aim at: its bytes, owner and mode are recorded
// at creation and compared by unchanged().
class Victim {
 public:
  Victim(const std::string& path, const std::string& bytes, mode_t mode);
  const std::string& path() const { return path_; }
  // Empty when bytes, owner and mode are as created, otherwise what changed.
  std::string changes() const;

 private:
  std::string path_;
  std::string bytes_;
  uid_t owner_ = 0;
  gid_t group_ = 0;
  mode_t mode_ = 0;
};

// lstat's st_mode of path, or 0 when it does not exist.
mode_t typeAndMode(const std::string& path);
bool isRegular(const std::string& path);
uid_t ownerOf(const std::string& path);

}  // namespace securitytest

#endif  // TESTS_SECURITY_SECURITY_HELPERS_H_
