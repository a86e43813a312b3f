#include "platform/host/InputFile.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dmhost {

namespace {

// "a directory, not a regular file" and the like.
std::string notRegular(mode_t mode) {
  const char* kind = S_ISDIR(mode)                     ? "a directory, "
                     : S_ISFIFO(mode)                  ? "a FIFO, "
                     : S_ISSOCK(mode)                  ? "a socket, "
                     : S_ISCHR(mode) || S_ISBLK(mode) ? "a device, "
                                                       : "";
  return std::string(kind) + "not a regular file";
}

// Reads until end of file; false when more than maxBytes arrive or read fails.
bool readBounded(int fd, size_t maxBytes, std::string* text, int* savedErrno, bool* tooLarge) {
  char buffer[65536];
  for (;;) {
    ssize_t n = ::read(fd, buffer, sizeof(buffer));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      *savedErrno = errno;
      return false;
    }
    if (n == 0) return true;
    if (static_cast<size_t>(n) > maxBytes - text->size()) {
      *tooLarge = true;
      return false;
    }
    text->append(buffer, static_cast<size_t>(n));
  }
}

}  // namespace

bool InputFile::read(const std::string& path, size_t maxBytes, std::string* text,
                     std::string* error) {
  text->clear();
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) {
    *error = path + ": " + strerror(errno);
    return false;
  }
  struct stat st;
  bool ok = fstat(fd, &st) == 0;
  int savedErrno = errno;
  bool tooLarge = false;
  if (ok && !S_ISREG(st.st_mode)) {
    *error = path + ": " + notRegular(st.st_mode);
    ::close(fd);
    return false;
  }
  tooLarge = ok && static_cast<unsigned long long>(st.st_size) > maxBytes;
  ok = ok && !tooLarge && readBounded(fd, maxBytes, text, &savedErrno, &tooLarge);
  ::close(fd);
  if (ok) return true;
  text->clear();
  *error = tooLarge ? path + ": larger than " + std::to_string(maxBytes) + " bytes"
                    : path + ": " + strerror(savedErrno);
  return false;
}

}  // namespace dmhost
