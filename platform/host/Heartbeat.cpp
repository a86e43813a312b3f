// Host implementation of the watchdog heartbeat and of the service manager's
// other notices, the notify protocol spoken directly (no libsystemd):
//   heartbeat_notify      "WATCHDOG=1" whenever NOTIFY_SOCKET names a socket
//                         (read at each call);
//   service_notify_ready  "READY=1", then "STOPPING=1" on SIGTERM/SIGINT;
//   heartbeat_cleanup     "STOPPING=1" on the shutdown path;
// the last two only for a process supervised with a watchdog (WATCHDOG_USEC),
// see NotifySocket.
//
// Thread-safety: any thread; each call uses its own socket.
#include "platform/common_api.h"
#include "platform/host/NotifySocket.h"
#include "platform/host/StopNotice.h"
#include "platform/service_notify.h"

int heartbeat_notify(void) {
  dmhost::NotifySocket socket;
  int resolved = socket.resolve();
  if (resolved != 0) return resolved;
  return socket.send("WATCHDOG=1");
}

int heartbeat_cleanup(int) {
  if (dmhost::NotifySocket::managedWithWatchdog()) (void)dmhost::StopNotice::sendOnce();
  return 0;
}

int service_notify_ready(void) {
  if (!dmhost::NotifySocket::managedWithWatchdog()) return 1;
  dmhost::NotifySocket socket;
  int resolved = socket.resolve();
  if (resolved != 0) return resolved;
  int sent = socket.send("READY=1");
  if (dmhost::StopNotice::install() < 0) return -1;
  return sent;
}
