// The host platform's service manager notices: READY=1 from service_notify_ready
// and STOPPING=1 from heartbeat_cleanup (once), only for a process that the
// manager supervises with a watchdog; WATCHDOG=1 as before. A SIGTERM after
// READY=1 sends STOPPING=1 and still ends the process by the signal (checked
// in a forked child).
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "platform/common_api.h"
#include "platform/service_notify.h"
#include "tests/support/TempDir.h"

using testsupport::TempDir;

namespace {

class ServiceNotify : public ::testing::Test {
 protected:
  void SetUp() override {
    fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(fd_, 0);
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", dir_.file("notify.sock").c_str());
    ASSERT_EQ(0, bind(fd_, reinterpret_cast<struct sockaddr*>(&address), sizeof address));
    struct timeval timeout = {0, 300000};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    setenv("NOTIFY_SOCKET", dir_.file("notify.sock").c_str(), 1);
    unsetenv("WATCHDOG_USEC");
    unsetenv("WATCHDOG_PID");
  }
  void TearDown() override {
    if (fd_ >= 0) close(fd_);
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
    unsetenv("WATCHDOG_PID");
  }
  // The next datagram, or "" when none comes within 0.3 s.
  std::string receive() {
    char buffer[64];
    ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
    return n <= 0 ? std::string() : std::string(buffer, static_cast<size_t>(n));
  }

  TempDir dir_;
  int fd_ = -1;
};

TEST_F(ServiceNotify, NothingButTheHeartbeatWithoutAWatchdog) {
  EXPECT_EQ(1, service_notify_ready());
  EXPECT_EQ(0, heartbeat_cleanup(-1));
  EXPECT_EQ("", receive());
  EXPECT_EQ(0, heartbeat_notify());
  EXPECT_EQ("WATCHDOG=1", receive());
}

TEST_F(ServiceNotify, NothingWhenTheWatchdogIsAnotherProcessOrNotANumber) {
  setenv("WATCHDOG_USEC", "6000000", 1);
  setenv("WATCHDOG_PID", std::to_string(getpid() + 1).c_str(), 1);
  EXPECT_EQ(1, service_notify_ready());
  unsetenv("WATCHDOG_PID");
  for (const char* bad : {"", "0", "6s", "-1", "99999999999999999999"}) {
    setenv("WATCHDOG_USEC", bad, 1);
    EXPECT_EQ(1, service_notify_ready()) << bad;
  }
  EXPECT_EQ("", receive());
}

// In a child: the once-only STOPPING=1 and the signal handler are per process.
TEST_F(ServiceNotify, ReadyThenStoppingOnceAtCleanup) {
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    setenv("WATCHDOG_USEC", "6000000", 1);
    setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
    int ready = service_notify_ready();
    heartbeat_cleanup(-1);
    heartbeat_cleanup(-1);
    _exit(ready == 0 ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ("READY=1", receive());
  EXPECT_EQ("STOPPING=1", receive());
  EXPECT_EQ("", receive());
}

TEST_F(ServiceNotify, SigtermAfterReadySendsStoppingAndStillKills) {
  int ready[2];
  ASSERT_EQ(0, pipe(ready));
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(ready[0]);
    setenv("WATCHDOG_USEC", "6000000", 1);
    service_notify_ready();
    if (write(ready[1], "r", 1) != 1) _exit(3);
    for (;;) pause();
  }
  close(ready[1]);
  char byte = 0;
  ASSERT_EQ(1, read(ready[0], &byte, 1));
  close(ready[0]);
  EXPECT_EQ("READY=1", receive());
  ASSERT_EQ(0, kill(child, SIGTERM));
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(SIGTERM, WTERMSIG(status));
  EXPECT_EQ("STOPPING=1", receive());
  EXPECT_EQ("", receive());
}

}  // namespace
