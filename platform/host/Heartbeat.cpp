// Host implementation of the watchdog heartbeat: the service manager's notify
// protocol spoken directly, one datagram "WATCHDOG=1" to the unix datagram
// socket named by $NOTIFY_SOCKET (read at each call; a leading '@' names the
// abstract namespace).
//
// Thread-safety: any thread; each call uses its own socket.
#include <errno.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/common_api.h"

int heartbeat_notify(void) {
  const char* name = getenv("NOTIFY_SOCKET");
  if (name == nullptr || name[0] == '\0') return 1;
  struct sockaddr_un address;
  memset(&address, 0, sizeof(address));
  address.sun_family = AF_UNIX;
  size_t length = strlen(name);
  if (length >= sizeof(address.sun_path)) return -1;
  memcpy(address.sun_path, name, length);
  if (name[0] == '@') address.sun_path[0] = '\0';
  socklen_t addressLength = static_cast<socklen_t>(offsetof(struct sockaddr_un, sun_path) + length +
                                                   (name[0] == '@' ? 0 : 1));
  int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  static const char kMessage[] = "WATCHDOG=1";
  ssize_t sent = sendto(fd, kMessage, sizeof(kMessage) - 1, MSG_NOSIGNAL,
                        reinterpret_cast<struct sockaddr*>(&address), addressLength);
  close(fd);
  return sent == static_cast<ssize_t>(sizeof(kMessage) - 1) ? 0 : -1;
}

// Nothing is held between notifications.
int heartbeat_cleanup(int) { return 0; }
