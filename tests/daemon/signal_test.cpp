// Installing and removing the signal handlers (start-up itself installs none).
#include <gtest/gtest.h>
#include <signal.h>

#include "daemon/SignalHandlers.h"

namespace {

void (*currentHandler(int sig))(int) {
  struct sigaction action = {};
  sigaction(sig, nullptr, &action);
  return action.sa_handler;
}

bool isBlocked(int sig) {
  sigset_t mask;
  sigprocmask(SIG_BLOCK, nullptr, &mask);
  return sigismember(&mask, sig) == 1;
}

TEST(SignalHandlers, ConfigInstallsHandlerAndUnconfigRestores) {
  ASSERT_EQ(SIG_DFL, currentHandler(SIGTERM));
  ASSERT_FALSE(isBlocked(SIGCHLD));
  config_signal_handler();
  EXPECT_EQ(&signal_handler, currentHandler(SIGTERM));
  EXPECT_EQ(&signal_handler, currentHandler(SIGINT));
  EXPECT_EQ(&signal_handler, currentHandler(SIGHUP));
  EXPECT_EQ(SIG_DFL, currentHandler(SIGCONT));
  EXPECT_EQ(SIG_DFL, currentHandler(SIGUSR1));
  EXPECT_TRUE(isBlocked(SIGCHLD));
  EXPECT_TRUE(isBlocked(SIGTSTP));
  EXPECT_TRUE(isBlocked(SIGTTOU));
  EXPECT_TRUE(isBlocked(SIGTTIN));

  // SIGHUP reaches the handler and is ignored there.
  raise(SIGHUP);

  unconfig_signal_handler();
  EXPECT_EQ(SIG_DFL, currentHandler(SIGTERM));
  EXPECT_EQ(SIG_DFL, currentHandler(SIGINT));
  EXPECT_EQ(SIG_DFL, currentHandler(SIGHUP));
  // The saved mask is added to the blocked set, so the four stay blocked.
  EXPECT_TRUE(isBlocked(SIGCHLD));
}

TEST(SignalHandlers, UnconfigWithoutConfigChangesNothing) {
  sigset_t before;
  sigprocmask(SIG_BLOCK, nullptr, &before);
  void (*handler)(int) = currentHandler(SIGTERM);
  unconfig_signal_handler();
  EXPECT_EQ(handler, currentHandler(SIGTERM));
  EXPECT_EQ(isBlocked(SIGCHLD), sigismember(&before, SIGCHLD) == 1);
}

}  // namespace
