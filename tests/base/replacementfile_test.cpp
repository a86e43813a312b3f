// base::ReplacementFile: an output replaced by rename, never written through
// what stands at its name, with owner and mode set on the descriptor.
#include "base/ReplacementFile.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"

using base::ReplacementFile;
using testsupport::TempDir;

namespace {

std::vector<std::string> entries(const std::string& path) {
  std::vector<std::string> names;
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) return names;
  while (struct dirent* entry = readdir(dir)) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(dir);
  return names;
}

mode_t modeOf(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

TEST(ReplacementFile, ReplacesWholeWithTheModeAsked) {
  TempDir dir;
  testsupport::writeFile(dir.file("a"), "old text, longer than the new\n");
  EXPECT_TRUE(ReplacementFile::replace(dir.file("a").c_str(), "new\n", 4, 0640, false).ok());
  EXPECT_EQ("new\n", testsupport::readFile(dir.file("a")));
  EXPECT_EQ(0640u, modeOf(dir.file("a")) & 07777);
  EXPECT_EQ(std::vector<std::string>{"a"}, entries(dir.path()));
}

TEST(ReplacementFile, OldFileStaysUntilCommitAndReadersKeepWhatTheyOpened) {
  TempDir dir;
  testsupport::writeFile(dir.file("a"), "old\n");
  int reader = open(dir.file("a").c_str(), O_RDONLY);
  ASSERT_GE(reader, 0);
  ReplacementFile file;
  ASSERT_TRUE(file.begin(dir.file("a").c_str()).ok());
  ASSERT_TRUE(file.write("new\n", 4).ok());
  EXPECT_EQ("old\n", testsupport::readFile(dir.file("a")));
  ASSERT_TRUE(file.commit().ok());
  EXPECT_EQ("new\n", testsupport::readFile(dir.file("a")));
  char buffer[16] = {};
  EXPECT_EQ(4, pread(reader, buffer, sizeof buffer, 0));
  EXPECT_EQ("old\n", std::string(buffer));
  close(reader);
}

TEST(ReplacementFile, DiscardAndDestructorRemoveTheTemporary) {
  TempDir dir;
  testsupport::writeFile(dir.file("a"), "old\n");
  {
    ReplacementFile file;
    ASSERT_TRUE(file.begin(dir.file("a").c_str()).ok());
    ASSERT_TRUE(file.write("x", 1).ok());
    EXPECT_EQ(2u, entries(dir.path()).size());
  }
  EXPECT_EQ(std::vector<std::string>{"a"}, entries(dir.path()));
  ReplacementFile file;
  ASSERT_TRUE(file.begin(dir.file("a").c_str()).ok());
  file.discard();
  EXPECT_FALSE(file.isOpen());
  EXPECT_EQ(std::vector<std::string>{"a"}, entries(dir.path()));
  EXPECT_EQ("old\n", testsupport::readFile(dir.file("a")));
}

TEST(ReplacementFile, SymlinkAtTheNameIsReplacedAndItsTargetUntouched) {
  TempDir dir;
  testsupport::writeFile(dir.file("victim"), "victim\n");
  ASSERT_EQ(0, chmod(dir.file("victim").c_str(), 0600));
  ASSERT_EQ(0, symlink(dir.file("victim").c_str(), dir.file("a").c_str()));
  EXPECT_TRUE(ReplacementFile::replace(dir.file("a").c_str(), "doc\n", 4, 0774, true).ok());
  EXPECT_TRUE(S_ISREG(modeOf(dir.file("a"))));
  EXPECT_EQ("doc\n", testsupport::readFile(dir.file("a")));
  EXPECT_EQ("victim\n", testsupport::readFile(dir.file("victim")));
  EXPECT_EQ(0600u, modeOf(dir.file("victim")) & 07777);
}

TEST(ReplacementFile, FifoDirectoryAndDeviceAtTheNameAreLeftAlone) {
  TempDir dir;
  ASSERT_EQ(0, mkfifo(dir.file("fifo").c_str(), 0600));
  testsupport::makeDirs(dir.file("dir"));
  ReplacementFile file;
  base::Status status = file.begin(dir.file("fifo").c_str());
  EXPECT_EQ("not a regular file", status.step());
  EXPECT_FALSE(file.begin(dir.file("dir").c_str()).ok());
  EXPECT_FALSE(file.begin("/dev/null").ok());
  EXPECT_TRUE(S_ISFIFO(modeOf(dir.file("fifo"))));
  EXPECT_TRUE(S_ISDIR(modeOf(dir.file("dir"))));
  EXPECT_TRUE(S_ISCHR(modeOf("/dev/null")));
  EXPECT_EQ(2u, entries(dir.path()).size());
}

TEST(ReplacementFile, MissingDirectoryIsRefusedAndNothingCreated) {
  TempDir dir;
  ReplacementFile file;
  base::Status status = file.begin(dir.file("none/a").c_str());
  EXPECT_EQ("open directory", status.step());
  EXPECT_EQ(ENOENT, status.errnum());
  EXPECT_FALSE(file.isOpen());
  EXPECT_TRUE(entries(dir.path()).empty());
}

TEST(ReplacementFile, PlantedTemporaryNameIsSkippedNotWrittenThrough) {
  TempDir dir;
  testsupport::writeFile(dir.file("victim"), "victim\n");
  // Links at the names the next temporaries could take.
  for (int i = 0; i < 4; ++i) {
    std::string guess = dir.file(".a." + std::to_string(getpid()) + "." + std::to_string(i));
    ASSERT_EQ(0, symlink(dir.file("victim").c_str(), guess.c_str()));
  }
  EXPECT_TRUE(ReplacementFile::replace(dir.file("a").c_str(), "doc\n", 4, 0644, false).ok());
  EXPECT_EQ("doc\n", testsupport::readFile(dir.file("a")));
  EXPECT_EQ("victim\n", testsupport::readFile(dir.file("victim")));
}

TEST(ReplacementFile, OwnerComesFromTheDirectoryHeldOpen) {
  TempDir dir;
  ReplacementFile file;
  ASSERT_TRUE(file.begin(dir.file("a").c_str()).ok());
  EXPECT_TRUE(file.giveDirectoryOwner().ok());
  ASSERT_TRUE(file.commit().ok());
  struct stat document, parent;
  ASSERT_EQ(0, stat(dir.file("a").c_str(), &document));
  ASSERT_EQ(0, stat(dir.path().c_str(), &parent));
  EXPECT_EQ(parent.st_uid, document.st_uid);
  EXPECT_EQ(parent.st_gid, document.st_gid);
}

TEST(ReplacementFile, RelativeNameUsesTheWorkingDirectory) {
  TempDir dir;
  char previous[4096];
  ASSERT_NE(nullptr, getcwd(previous, sizeof previous));
  ASSERT_EQ(0, chdir(dir.path().c_str()));
  base::Status status = ReplacementFile::replace("rel", "r", 1, 0644, false);
  ASSERT_EQ(0, chdir(previous));
  EXPECT_TRUE(status.ok()) << status.message();
  EXPECT_EQ("r", testsupport::readFile(dir.file("rel")));
}

}  // namespace
