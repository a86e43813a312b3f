#include "platform/host/NotifySocket.h"

#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace dmhost {

int NotifySocket::resolve() {
  length_ = 0;
  const char* name = getenv("NOTIFY_SOCKET");
  if (name == nullptr || name[0] == '\0') return 1;
  size_t length = strlen(name);
  if (length >= sizeof(address_.sun_path)) return -1;
  memset(&address_, 0, sizeof(address_));
  address_.sun_family = AF_UNIX;
  memcpy(address_.sun_path, name, length);
  bool abstract = name[0] == '@';
  if (abstract) address_.sun_path[0] = '\0';
  length_ =
      static_cast<socklen_t>(offsetof(struct sockaddr_un, sun_path) + length + (abstract ? 0 : 1));
  return 0;
}

int NotifySocket::send(const char* message) const {
  if (length_ == 0) return -1;
  int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  size_t length = strlen(message);
  ssize_t sent = sendto(fd, message, length, MSG_NOSIGNAL,
                        reinterpret_cast<const struct sockaddr*>(&address_), length_);
  close(fd);
  return sent == static_cast<ssize_t>(length) ? 0 : -1;
}

namespace {

// A decimal number of at most 19 digits greater than 0; anything else is 0.
unsigned long long positiveNumber(const char* text) {
  if (text == nullptr || text[0] == '\0' || strlen(text) > 19) return 0;
  unsigned long long value = 0;
  for (const char* c = text; *c != '\0'; ++c) {
    if (*c < '0' || *c > '9') return 0;
    value = value * 10 + static_cast<unsigned long long>(*c - '0');
  }
  return value;
}

}  // namespace

bool NotifySocket::managedWithWatchdog() {
  if (positiveNumber(getenv("WATCHDOG_USEC")) == 0) return false;
  const char* pid = getenv("WATCHDOG_PID");
  if (pid == nullptr || pid[0] == '\0') return true;
  return positiveNumber(pid) == static_cast<unsigned long long>(getpid());
}

}  // namespace dmhost
