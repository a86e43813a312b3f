// base::TrustedDirectory: a directory is used only when no other user can
// change what is in it, and no link on its path is followed.
#include "base/TrustedDirectory.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"

using base::TrustedDirectory;
using testsupport::TempDir;

namespace {

// The directory name below dir, made with exactly mode (past the umask).
std::string directoryWithMode(const TempDir& dir, const std::string& name, mode_t mode) {
  testsupport::makeDirs(dir.file(name));
  EXPECT_EQ(0, chmod(dir.file(name).c_str(), mode));
  return dir.file(name);
}

TEST(TrustedDirectory, OwnDirectoryIsOpenedAndMissingOnesCreated) {
  TempDir dir;
  int fd = -1;
  base::Status status = TrustedDirectory::open(dir.file("x/y"), true, &fd);
  ASSERT_TRUE(status.ok()) << status.message();
  EXPECT_GE(fd, 0);
  close(fd);
  struct stat created;
  ASSERT_EQ(0, stat(dir.file("x/y").c_str(), &created));
  EXPECT_TRUE(S_ISDIR(created.st_mode));
}

TEST(TrustedDirectory, MissingOnesAreNotCreatedUnlessAsked) {
  TempDir dir;
  int fd = -1;
  base::Status status = TrustedDirectory::open(dir.file("x"), false, &fd);
  EXPECT_EQ("open", status.step());
  EXPECT_EQ(ENOENT, status.errnum());
  EXPECT_FALSE(TrustedDirectory::isRefusal(status));
  EXPECT_EQ(-1, fd);
}

TEST(TrustedDirectory, WorldWritableWithoutStickyBitIsRefused) {
  TempDir dir;
  const std::string open = directoryWithMode(dir, "open", 0777);
  int fd = -1;
  base::Status status = TrustedDirectory::open(open + "/below", true, &fd);
  EXPECT_EQ(open + ": is writable by other users", status.message());
  EXPECT_TRUE(TrustedDirectory::isRefusal(status));
  EXPECT_EQ(-1, fd);
  struct stat below;
  EXPECT_NE(0, stat(dir.file("open/below").c_str(), &below));  // not created
}

TEST(TrustedDirectory, StickyWorldWritableIsAccepted) {
  TempDir dir;
  int fd = -1;
  base::Status status = TrustedDirectory::open(directoryWithMode(dir, "tmp", 01777), false, &fd);
  EXPECT_TRUE(status.ok()) << status.message();
  close(fd);
}

TEST(TrustedDirectory, SymlinkOnThePathIsRefused) {
  TempDir dir;
  testsupport::makeDirs(dir.file("real"));
  ASSERT_EQ(0, symlink(dir.file("real").c_str(), dir.file("link").c_str()));
  int fd = -1;
  base::Status status = TrustedDirectory::open(dir.file("link/sub"), true, &fd);
  EXPECT_EQ("is a symbolic link or not a directory", status.step());
  EXPECT_EQ(dir.file("link"), status.subject());
  struct stat sub;
  EXPECT_NE(0, stat(dir.file("real/sub").c_str(), &sub));
}

TEST(TrustedDirectory, AnotherUsersDirectoryIsRefused) {
  struct stat status = {};
  status.st_mode = S_IFDIR | 0755;
  status.st_uid = geteuid() + 1 == 0 ? 2 : geteuid() + 1;
  EXPECT_EQ("belongs to another user", TrustedDirectory::check("d", status).step());
  status.st_uid = 0;
  EXPECT_TRUE(TrustedDirectory::check("d", status).ok());
  status.st_mode = S_IFDIR | 0775;
  EXPECT_EQ("is writable by other users", TrustedDirectory::check("d", status).step());
}

}  // namespace
