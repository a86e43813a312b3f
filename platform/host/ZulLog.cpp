// Host implementation of the platform log channel. Without $ZUL_LOG_FILE the
// records go to syslog (ident = channel name, the channel's option and facility,
// the severity as priority). With $ZUL_LOG_FILE (read at each write) each
// record is appended to that file instead, as "NAME <SEVERITY>: TEXT", with a
// "\n" added unless TEXT already ends with one.
//
// Thread-safety: any thread. A file record is one write(2) to a file opened
// with O_APPEND, so records of threads and processes never interleave; the
// syslog identity is process-wide, so syslog writes are serialised.
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <syslog.h>
#include <unistd.h>

#include "platform/common_api.h"

namespace {

pthread_mutex_t syslogMutex = PTHREAD_MUTEX_INITIALIZER;

int appendRecord(const char* file, const ZUL_LOG_CHANNEL* channel, int severity, const char* text) {
  char severityText[24];
  int severityLength = snprintf(severityText, sizeof(severityText), " <%d>: ", severity);
  size_t textLength = strlen(text);
  bool addNewline = textLength == 0 || text[textLength - 1] != '\n';
  struct iovec parts[4] = {
      {const_cast<char*>(channel->name), strnlen(channel->name, sizeof(channel->name))},
      {severityText, static_cast<size_t>(severityLength)},
      {const_cast<char*>(text), textLength},
      {const_cast<char*>("\n"), addNewline ? size_t{1} : size_t{0}},
  };
  // Never through a symbolic link, never blocked by a FIFO, only into a
  // regular file.
  int fd = open(
      file, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644);
  if (fd < 0) return -1;
  struct stat status;
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(fd);
    return -1;
  }
  ssize_t expected = 0;
  for (const struct iovec& part : parts) expected += static_cast<ssize_t>(part.iov_len);
  ssize_t written = writev(fd, parts, 4);
  close(fd);
  return written == expected ? 0 : -1;
}

}  // namespace

int open_zul_log(ZUL_LOG_CHANNEL* channel, const char* name, int option, int facility) {
  if (channel == nullptr) return -1;
  memset(channel->name, 0, sizeof(channel->name));
  if (name != nullptr) strncpy(channel->name, name, sizeof(channel->name) - 1);
  channel->option = option;
  channel->facility = facility;
  channel->open = 1;
  return 0;
}

int write_zul_log(ZUL_LOG_CHANNEL* channel, int severity, const char* text, int) {
  if (channel == nullptr) return -1;
  if (text == nullptr) text = "";
  const char* file = getenv("ZUL_LOG_FILE");
  if (file != nullptr && file[0] != '\0') return appendRecord(file, channel, severity, text);
  pthread_mutex_lock(&syslogMutex);
  openlog(channel->name, channel->option, channel->facility);
  syslog(channel->facility | (severity & 7), "%s", text);
  pthread_mutex_unlock(&syslogMutex);
  return 0;
}

int close_zul_log(ZUL_LOG_CHANNEL* channel) {
  if (channel == nullptr) return -1;
  channel->open = 0;
  return 0;
}
