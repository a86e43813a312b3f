// base::writeAll: the whole buffer or a Status naming the failure.
#include "base/WriteAll.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace {

TEST(WriteAll, WritesMoreThanOnePipeBufferWhole) {
  int fds[2];
  ASSERT_EQ(0, pipe(fds));
  const std::string data(1 << 20, 'w');  // far more than one write to a pipe takes
  std::string received;
  std::thread reader([&] {
    char buffer[4096];
    ssize_t got;
    while ((got = read(fds[0], buffer, sizeof buffer)) > 0) received.append(buffer, got);
  });
  EXPECT_TRUE(base::writeAll(fds[1], data).ok());
  close(fds[1]);
  reader.join();
  close(fds[0]);
  EXPECT_EQ(data, received);
}

TEST(WriteAll, FailureNamesSubjectAndErrno) {
  int fds[2];
  ASSERT_EQ(0, pipe(fds));
  close(fds[0]);
  void (*previous)(int) = signal(SIGPIPE, SIG_IGN);
  base::Status status = base::writeAll(fds[1], "x", 1, "out");
  signal(SIGPIPE, previous);
  close(fds[1]);
  EXPECT_EQ("out", status.subject());
  EXPECT_EQ("write", status.step());
  EXPECT_EQ(EPIPE, status.errnum());
}

TEST(WriteAll, NothingToWriteIsOk) { EXPECT_TRUE(base::writeAll(-1, "", 0).ok()); }

}  // namespace
