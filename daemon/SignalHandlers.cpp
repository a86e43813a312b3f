#include "daemon/SignalHandlers.h"

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

#include "daemon/DaemonShutdown.h"

namespace {

// A previous signal action and whether it was saved.
struct SavedAction {
  struct sigaction action;
  bool saved;
};

SavedAction savedSigAction_SIGCONT = {};
SavedAction savedSigAction_SIGHUP = {};
SavedAction savedSigAction_SIGTERM = {};
SavedAction savedSigAction_SIGINT = {};
SavedAction saved_sa = {};  // SIGUSR1; this program never replaces it
sigset_t savedSigSet;
bool savedSigSetReady = false;

void installAction(int sig, const struct sigaction& action, SavedAction* slot) {
  if (sigaction(sig, &action, &slot->action) == 0) slot->saved = true;
}

void restoreAction(int sig, SavedAction* slot) {
  if (!slot->saved) return;
  sigaction(sig, &slot->action, nullptr);
  slot->saved = false;
}

}  // namespace

void config_signal_handler() {
  sigset_t blocked;
  sigemptyset(&savedSigSet);
  sigemptyset(&blocked);
  savedSigSetReady = true;
  sigaddset(&blocked, SIGCHLD);
  sigaddset(&blocked, SIGTSTP);
  sigaddset(&blocked, SIGTTOU);
  sigaddset(&blocked, SIGTTIN);
  sigprocmask(SIG_BLOCK, &blocked, &savedSigSet);

  struct sigaction action = {};
  action.sa_handler = signal_handler;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0;

  // SIGCONT keeps its action; only the current one is remembered.
  if (sigaction(SIGCONT, nullptr, &savedSigAction_SIGCONT.action) < 0) {
    perror("sigaction SIGCONT error");
    exit(1);
  }
  savedSigAction_SIGCONT.saved = true;
  installAction(SIGHUP, action, &savedSigAction_SIGHUP);
  installAction(SIGTERM, action, &savedSigAction_SIGTERM);
  installAction(SIGINT, action, &savedSigAction_SIGINT);
}

void unconfig_signal_handler() {
  restoreAction(SIGUSR1, &saved_sa);
  restoreAction(SIGCONT, &savedSigAction_SIGCONT);
  restoreAction(SIGHUP, &savedSigAction_SIGHUP);
  restoreAction(SIGTERM, &savedSigAction_SIGTERM);
  restoreAction(SIGINT, &savedSigAction_SIGINT);
  // The saved mask is added to the blocked set, not restored as it was.
  if (!savedSigSetReady) {
    sigemptyset(&savedSigSet);
    savedSigSetReady = true;
  }
  sigprocmask(SIG_BLOCK, &savedSigSet, nullptr);
}

void signal_handler(int sig) {
  if (sig == SIGINT || sig == SIGTERM) {
    daemonShutdown();
    exit(0);
  }
}
