// The service manager's notify socket: the unix datagram socket named by
// $NOTIFY_SOCKET (a leading '@' names the abstract namespace), to which a
// supervised process sends "READY=1", "WATCHDOG=1", "STOPPING=1".
//
// resolve() reads the environment once and keeps the address; send() then only
// makes system calls (socket, sendto, close) and is async-signal-safe.
//
// managedWithWatchdog() tells whether the manager declared a watchdog for this
// very process (WATCHDOG_USEC set to a positive number and WATCHDOG_PID unset
// or equal to our pid). Only then does the host platform speak the readiness and
// stopping half of the protocol; WATCHDOG=1 needs only the socket.
//
// Thread-safety: resolve() and send() on distinct objects from any thread; one
// object is resolved before it is shared (send() only reads it).
#ifndef PLATFORM_HOST_NOTIFYSOCKET_H_
#define PLATFORM_HOST_NOTIFYSOCKET_H_

#include <sys/socket.h>
#include <sys/un.h>

namespace dmhost {

class NotifySocket {
 public:
  // Reads $NOTIFY_SOCKET. Returns 1 when it is unset or empty (nothing to send
  // to), -1 when the name does not fit a socket address, 0 when resolved.
  int resolve();
  bool resolved() const { return length_ > 0; }

  // Sends one datagram. Returns 0 when sent whole, -1 otherwise (also when not
  // resolved).
  int send(const char* message) const;

  static bool managedWithWatchdog();

 private:
  struct sockaddr_un address_ = {};
  socklen_t length_ = 0;
};

}  // namespace dmhost

#endif  // PLATFORM_HOST_NOTIFYSOCKET_H_
