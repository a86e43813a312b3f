// Writes a whole text to a descriptor: short writes continue where they
// stopped and EINTR is retried; any other failure (or a write of nothing) ends
// with false.
//
// Thread-safety: as write(2) on the descriptor.
#ifndef PLATFORM_HOST_WRITEALL_H_
#define PLATFORM_HOST_WRITEALL_H_

#include <string>

namespace dmhost {

bool writeAll(int fd, const std::string& data);

}  // namespace dmhost

#endif  // PLATFORM_HOST_WRITEALL_H_
