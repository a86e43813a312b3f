// Installing and removing the daemon's signal handlers. Start-up does not install
// them: the default dispositions stay in force and daemonShutdown runs only through
// exit. The routines exist for builds that want SIGINT/SIGTERM to end the daemon
// through daemonShutdown.
//
// Thread-safety: for the start-up or exiting thread only.
#ifndef DAEMON_SIGNALHANDLERS_H_
#define DAEMON_SIGNALHANDLERS_H_

// Blocks SIGCHLD, SIGTSTP, SIGTTOU and SIGTTIN (saving the previous mask), saves
// the SIGCONT action and installs signal_handler for SIGHUP, SIGTERM and SIGINT.
void config_signal_handler();

// Restores every saved action (SIGUSR1, SIGCONT, SIGHUP, SIGTERM, SIGINT) and adds
// the saved mask to the blocked set.
void unconfig_signal_handler();

// SIGINT and SIGTERM: daemonShutdown() and exit(0). Other signals are ignored.
void signal_handler(int sig);

#endif  // DAEMON_SIGNALHANDLERS_H_
