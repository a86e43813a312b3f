#include "base/WriteAll.h"

#include <errno.h>
#include <unistd.h>

namespace base {

Status writeAll(int fd, const char* data, size_t size, const char* subject) {
  size_t done = 0;
  while (done < size) {
    ssize_t written = ::write(fd, data + done, size - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return Status::Error(subject, "write", errno);
    if (written == 0) return Status::Error(subject, "write", EIO);
    done += static_cast<size_t>(written);
  }
  return Status::Ok();
}

}  // namespace base
