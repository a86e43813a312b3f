// base::InputFile: inputs are opened without blocking or following a link,
// only regular files within a bound are read, and failures say why.
#include "base/InputFile.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"

using base::InputFile;
using testsupport::TempDir;

namespace {

constexpr auto kPrompt = std::chrono::seconds(2);

TEST(InputFile, ReadsARegularFileWhole) {
  TempDir dir;
  testsupport::writeFile(dir.file("a"), std::string("x\0y\n", 4));
  std::string text = "stale";
  EXPECT_TRUE(InputFile::read(dir.file("a").c_str(), 4, &text).ok());
  EXPECT_EQ(std::string("x\0y\n", 4), text);
}

TEST(InputFile, FifoIsRefusedAtOnce) {
  TempDir dir;
  ASSERT_EQ(0, mkfifo(dir.file("fifo").c_str(), 0600));
  std::string text;
  auto start = std::chrono::steady_clock::now();
  base::Status status = InputFile::read(dir.file("fifo").c_str(), 100, &text);
  EXPECT_LT(std::chrono::steady_clock::now() - start, kPrompt);
  EXPECT_EQ(InputFile::Refusal::kNotRegular, InputFile::refusal(status));
  EXPECT_EQ(dir.file("fifo") + ": a FIFO, not a regular file", status.message());
  EXPECT_EQ("", text);
}

TEST(InputFile, DevicesAndDirectoriesAreRefusedByKind) {
  TempDir dir;
  std::string text;
  EXPECT_EQ("/dev/zero: a device, not a regular file",
            InputFile::read("/dev/zero", 100, &text).message());
  EXPECT_EQ(dir.path() + ": a directory, not a regular file",
            InputFile::read(dir.path().c_str(), 100, &text).message());
  EXPECT_EQ(InputFile::Refusal::kNotRegular,
            InputFile::refusal(InputFile::read("/dev/urandom", 100, &text)));
}

TEST(InputFile, SymlinkInTheLastComponentIsRefused) {
  TempDir dir;
  testsupport::writeFile(dir.file("target"), "secret");
  ASSERT_EQ(0, symlink(dir.file("target").c_str(), dir.file("link").c_str()));
  std::string text;
  base::Status status = InputFile::read(dir.file("link").c_str(), 100, &text);
  EXPECT_EQ(InputFile::Refusal::kCannotOpen, InputFile::refusal(status));
  EXPECT_EQ(ELOOP, status.errnum());
  EXPECT_EQ("", text);
  int fd = 5;
  EXPECT_FALSE(InputFile::open(dir.file("link").c_str(), O_RDWR, 100, &fd).ok());
  EXPECT_EQ(-1, fd);
  EXPECT_EQ("secret", testsupport::readFile(dir.file("target")));
}

TEST(InputFile, FileAboveTheBoundIsRefusedAndOneAtItIsRead) {
  TempDir dir;
  testsupport::writeFile(dir.file("a"), "12345");
  std::string text;
  base::Status status = InputFile::read(dir.file("a").c_str(), 4, &text);
  EXPECT_EQ(InputFile::Refusal::kTooLarge, InputFile::refusal(status));
  EXPECT_EQ("larger than 4 bytes", status.step());
  EXPECT_EQ(dir.file("a") + ": larger than 4 bytes", InputFile::describe(status));
  EXPECT_EQ("", text);
  EXPECT_TRUE(InputFile::read(dir.file("a").c_str(), 5, &text).ok());
  EXPECT_EQ("12345", text);
}

TEST(InputFile, MissingFileKeepsOpensErrno) {
  TempDir dir;
  int fd = 7;
  base::Status status = InputFile::open(dir.file("none").c_str(), O_RDONLY, 10, &fd);
  EXPECT_EQ(InputFile::Refusal::kCannotOpen, InputFile::refusal(status));
  EXPECT_EQ(ENOENT, status.errnum());
  EXPECT_EQ(-1, fd);
  EXPECT_EQ(dir.file("none") + ": " + strerror(ENOENT), InputFile::describe(status));
}

TEST(InputFile, OpenedFileIsBlockingAndCloseOnExec) {
  TempDir dir;
  testsupport::writeFile(dir.file("a"), "x");
  int fd = -1;
  ASSERT_TRUE(InputFile::open(dir.file("a").c_str(), O_RDONLY, 10, &fd).ok());
  EXPECT_EQ(0, fcntl(fd, F_GETFL) & O_NONBLOCK);
  EXPECT_NE(0, fcntl(fd, F_GETFD) & FD_CLOEXEC);
  close(fd);
}

TEST(InputFile, ReadUpToStopsOneBytePastTheBound) {
  int pipeFds[2];
  ASSERT_EQ(0, pipe(pipeFds));
  ASSERT_EQ(10, write(pipeFds[1], "0123456789", 10));
  close(pipeFds[1]);
  std::string text;
  EXPECT_TRUE(InputFile::readUpTo(pipeFds[0], 4, "pipe", &text).ok());
  EXPECT_EQ("01234", text);
  close(pipeFds[0]);
}

TEST(InputFile, ReadUpToReportsAReadError) {
  std::string text;
  base::Status status = InputFile::readUpTo(-1, 4, "nothing", &text);
  EXPECT_EQ(std::string("nothing: read: ") + strerror(EBADF), status.message());
}

}  // namespace
