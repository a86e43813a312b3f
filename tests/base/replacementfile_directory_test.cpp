// base::ReplacementFile keeps its directory open from one replacement to the
// next: each replacement still goes into the directory found at the path at
// that moment (removed, recreated, renamed away, replaced by a link), and the
// descriptor held is one, not one per replacement.
#include "base/ReplacementFile.h"

#include <dirent.h>
#include <errno.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"

using base::ReplacementFile;
using testsupport::TempDir;

namespace {

// One cycle of a document writer: the whole replacement of path by text.
base::Status replaceWith(ReplacementFile& file, const std::string& path, const std::string& text) {
  base::Status status = file.begin(path.c_str());
  if (status.ok()) status = file.write(text.data(), text.size());
  if (status.ok()) status = file.commit();
  if (!status.ok()) file.discard();
  return status;
}

int openDescriptorCount() {
  int count = 0;
  DIR* dir = opendir("/proc/self/fd");
  if (dir == nullptr) return -1;
  while (readdir(dir) != nullptr) ++count;
  closedir(dir);
  return count;
}

size_t entryCount(const std::string& path) {
  size_t count = 0;
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) return 0;
  while (struct dirent* entry = readdir(dir)) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") ++count;
  }
  closedir(dir);
  return count;
}

// A document directory "json" that has had one replacement ("1\n" at json/a)
// through file, which holds it from then on.
class HeldDirectory : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::makeDirs(json);
    ASSERT_TRUE(replaceWith(file, json + "/a", "1\n").ok());
  }

  TempDir dir;
  const std::string json = dir.file("json");
  ReplacementFile file;
};

TEST(ReplacementFileDirectory, OneDescriptorHeldAcrossReplacementsAndClosedWithTheObject) {
  TempDir dir;
  const int before = openDescriptorCount();
  {
    ReplacementFile file;
    ASSERT_TRUE(replaceWith(file, dir.file("a"), "1\n").ok());
    const int held = openDescriptorCount();
    EXPECT_EQ(before + 1, held);
    for (int i = 0; i < 50; ++i) ASSERT_TRUE(replaceWith(file, dir.file("a"), "2\n").ok());
    EXPECT_EQ(held, openDescriptorCount());
  }
  EXPECT_EQ(before, openDescriptorCount());
  EXPECT_EQ("2\n", testsupport::readFile(dir.file("a")));
  EXPECT_EQ(1u, entryCount(dir.path()));
}

TEST_F(HeldDirectory, RemovedDirectoryIsRefusedThenRecreatedOneIsUsedAtOnce) {
  testsupport::removeTree(json);

  base::Status status = replaceWith(file, json + "/a", "2\n");
  EXPECT_EQ("open directory", status.step());
  EXPECT_EQ(ENOENT, status.errnum());
  EXPECT_FALSE(testsupport::fileExists(json));

  testsupport::makeDirs(json);
  ASSERT_TRUE(replaceWith(file, json + "/a", "3\n").ok());
  EXPECT_EQ("3\n", testsupport::readFile(json + "/a"));
  EXPECT_EQ(1u, entryCount(json));
}

TEST_F(HeldDirectory, DirectoryRemovedAndRecreatedBetweenTwoReplacements) {
  testsupport::removeTree(json);
  testsupport::makeDirs(json);
  ASSERT_TRUE(replaceWith(file, json + "/a", "2\n").ok());
  EXPECT_EQ("2\n", testsupport::readFile(json + "/a"));
}

TEST_F(HeldDirectory, RenamedAwayDirectoryGetsNothingMore) {
  const std::string old = dir.file("json.old");
  ASSERT_EQ(0, rename(json.c_str(), old.c_str()));

  // Nothing at the path: refused as a missing directory, the renamed one untouched.
  base::Status status = replaceWith(file, json + "/a", "2\n");
  EXPECT_EQ("open directory", status.step());
  EXPECT_EQ(ENOENT, status.errnum());
  EXPECT_EQ("1\n", testsupport::readFile(old + "/a"));
  EXPECT_EQ(1u, entryCount(old));

  // A new directory at the path gets the next replacement; the old one still nothing.
  testsupport::makeDirs(json);
  ASSERT_TRUE(replaceWith(file, json + "/a", "3\n").ok());
  EXPECT_EQ("3\n", testsupport::readFile(json + "/a"));
  EXPECT_EQ("1\n", testsupport::readFile(old + "/a"));
  EXPECT_EQ(1u, entryCount(old));
}

TEST_F(HeldDirectory, DirectorySwappedForAnotherByRenameIsFollowed) {
  const std::string next = dir.file("json.next");
  testsupport::makeDirs(next);
  // The held directory moves aside and another takes its name in one step each.
  ASSERT_EQ(0, rename(json.c_str(), dir.file("json.old").c_str()));
  ASSERT_EQ(0, rename(next.c_str(), json.c_str()));
  ASSERT_TRUE(replaceWith(file, json + "/a", "2\n").ok());
  EXPECT_EQ("2\n", testsupport::readFile(json + "/a"));
  EXPECT_EQ("1\n", testsupport::readFile(dir.file("json.old/a")));
}

TEST(ReplacementFileDirectory, SymlinkedDirectoryPathFollowsItsNewTarget) {
  TempDir dir;
  testsupport::makeDirs(dir.file("one"));
  testsupport::makeDirs(dir.file("two"));
  const std::string link = dir.file("json");
  ASSERT_EQ(0, symlink(dir.file("one").c_str(), link.c_str()));
  ReplacementFile file;
  ASSERT_TRUE(replaceWith(file, link + "/a", "1\n").ok());
  ASSERT_EQ(0, unlink(link.c_str()));
  ASSERT_EQ(0, symlink(dir.file("two").c_str(), link.c_str()));
  ASSERT_TRUE(replaceWith(file, link + "/a", "2\n").ok());
  EXPECT_EQ("1\n", testsupport::readFile(dir.file("one/a")));
  EXPECT_EQ("2\n", testsupport::readFile(dir.file("two/a")));
}

TEST_F(HeldDirectory, DirectoryRemovedDuringAReplacementFailsWithoutAnyFile) {
  ASSERT_TRUE(file.begin((json + "/a").c_str()).ok());
  ASSERT_TRUE(file.write("2\n", 2).ok());
  testsupport::removeTree(json);
  base::Status status = file.commit();
  EXPECT_FALSE(status.ok());
  EXPECT_EQ(ENOENT, status.errnum());
  EXPECT_FALSE(testsupport::fileExists(json));
  // And the next replacement after the directory is back goes in.
  testsupport::makeDirs(json);
  ASSERT_TRUE(replaceWith(file, json + "/a", "3\n").ok());
  EXPECT_EQ("3\n", testsupport::readFile(json + "/a"));
}

TEST(ReplacementFileDirectory, AnotherPathLetsTheFirstDirectoryGo) {
  TempDir dir;
  testsupport::makeDirs(dir.file("one"));
  testsupport::makeDirs(dir.file("two"));
  const int before = openDescriptorCount();
  ReplacementFile file;
  ASSERT_TRUE(replaceWith(file, dir.file("one/a"), "1\n").ok());
  ASSERT_TRUE(replaceWith(file, dir.file("two/b"), "2\n").ok());
  EXPECT_EQ(before + 1, openDescriptorCount());
  EXPECT_EQ("1\n", testsupport::readFile(dir.file("one/a")));
  EXPECT_EQ("2\n", testsupport::readFile(dir.file("two/b")));
}

TEST(ReplacementFileDirectory, OwnerIsTheDirectorysAtEachReplacement) {
  if (geteuid() != 0) GTEST_SKIP() << "changing a directory's owner needs root";
  TempDir dir;
  const std::string json = dir.file("json");
  testsupport::makeDirs(json);
  ReplacementFile file;
  ASSERT_TRUE(file.begin((json + "/a").c_str()).ok());
  ASSERT_TRUE(file.giveDirectoryOwner().ok());
  ASSERT_TRUE(file.commit().ok());
  ASSERT_EQ(0, chown(json.c_str(), 65534, 65534));
  ASSERT_TRUE(file.begin((json + "/a").c_str()).ok());
  ASSERT_TRUE(file.giveDirectoryOwner().ok());
  ASSERT_TRUE(file.commit().ok());
  struct stat document;
  ASSERT_EQ(0, stat((json + "/a").c_str(), &document));
  EXPECT_EQ(65534u, document.st_uid);
  EXPECT_EQ(65534u, document.st_gid);
}

// The temporary's name carries the id of the process that creates it, also in
// a child forked after the parent has made replacements.
TEST(ReplacementFileDirectory, TemporaryInAForkedChildCarriesTheChildsId) {
  TempDir dir;
  ReplacementFile parentFile;
  ASSERT_TRUE(replaceWith(parentFile, dir.file("a"), "1\n").ok());
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ReplacementFile file;
    if (!file.begin(dir.file("a").c_str()).ok()) _exit(2);
    const std::string prefix = ".a." + std::to_string(getpid()) + ".";
    bool found = false;
    DIR* listing = opendir(dir.path().c_str());
    while (struct dirent* entry = listing != nullptr ? readdir(listing) : nullptr) {
      if (std::string(entry->d_name).compare(0, prefix.size(), prefix) == 0) found = true;
    }
    if (listing != nullptr) closedir(listing);
    file.discard();
    _exit(found ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(0, WEXITSTATUS(status));
  EXPECT_EQ(1u, entryCount(dir.path()));
}

}  // namespace
