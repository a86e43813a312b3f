// Writes a whole buffer to a descriptor: a short write continues where it
// stopped and EINTR is retried; any other failure, or a write that writes
// nothing, ends it. On failure the Status has the given subject, the step
// "write" and write's errno (EIO for a write of nothing). An ok result
// allocates nothing.
//
// Thread-safety: as write(2) on the descriptor.
#ifndef BASE_WRITEALL_H_
#define BASE_WRITEALL_H_

#include <stddef.h>

#include <string>

#include "base/Status.h"

namespace base {

Status writeAll(int fd, const char* data, size_t size, const char* subject = "");
inline Status writeAll(int fd, const std::string& data, const char* subject = "") {
  return writeAll(fd, data.data(), data.size(), subject);
}

}  // namespace base

#endif  // BASE_WRITEALL_H_
