#include "export/ReplaceFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

namespace ldexport {

namespace {

int createTemporary(const char* temporaryPath) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
  int fd = open(temporaryPath, kFlags, 0644);
  if (fd < 0 && errno == EEXIST) {
    // Left by an earlier run that was killed mid-write.
    unlink(temporaryPath);
    fd = open(temporaryPath, kFlags, 0644);
  }
  return fd;
}

bool writeAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    ssize_t written = write(fd, data, size);
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

base::Status failAndRemove(const char* temporaryPath, int fd, const char* step) {
  int error = errno;
  if (fd >= 0) close(fd);
  unlink(temporaryPath);
  return base::Status::Error(temporaryPath, step, error);
}

}  // namespace

base::Status replaceFile(const char* path, const char* temporaryPath, const char* data,
                         size_t size) {
  int fd = createTemporary(temporaryPath);
  if (fd < 0) return base::Status::Error(temporaryPath, "create", errno);
  if (!writeAll(fd, data, size)) return failAndRemove(temporaryPath, fd, "write");
  if (fsync(fd) != 0) return failAndRemove(temporaryPath, fd, "fsync");
  if (close(fd) != 0) return failAndRemove(temporaryPath, -1, "close");
  if (rename(temporaryPath, path) != 0) {
    int error = errno;
    unlink(temporaryPath);
    return base::Status::Error(path, "rename", error);
  }
  return base::Status::Ok();
}

}  // namespace ldexport
