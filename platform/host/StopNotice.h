// "STOPPING=1" to the service manager, once per process: from the shutdown
// path (heartbeat_cleanup) and, once installed, from SIGTERM and SIGINT.
//
// install() puts a handler on SIGTERM and SIGINT that sends the notice and then
// lets the signal's default action end the process as before (it restores the
// default disposition and raises the signal again), so the process still ends
// "killed by the signal", with no other code run. Only the host platform calls
// install(), and only for a process that the service manager supervises with a
// watchdog (NotifySocket::managedWithWatchdog).
//
// Thread-safety: install() from one thread; sendOnce() from any thread or
// signal handler (async-signal-safe once installed).
#ifndef PLATFORM_HOST_STOPNOTICE_H_
#define PLATFORM_HOST_STOPNOTICE_H_

namespace dmhost {

class StopNotice {
 public:
  // Resolves the notify socket and installs the handlers. Returns 0, 1 when
  // there is no socket to notify (nothing installed), or -1.
  static int install();

  // Sends "STOPPING=1" unless it was sent before. Returns 0 when sent now, 1
  // when sent before or nothing to send to, -1 on failure.
  static int sendOnce();

 private:
  static void onSignal(int signal);
};

}  // namespace dmhost

#endif  // PLATFORM_HOST_STOPNOTICE_H_
