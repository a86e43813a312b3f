#include "livedata/InputFile.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Reads up to limit bytes from fd into *text; false (errno set) on a read error.
bool readUpTo(int fd, size_t limit, std::string* text) {
  char buffer[8192];
  while (text->size() < limit) {
    size_t want = limit - text->size() < sizeof buffer ? limit - text->size() : sizeof buffer;
    ssize_t got = ::read(fd, buffer, want);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    text->append(buffer, static_cast<size_t>(got));
  }
  return true;
}

}  // namespace

InputFile::Status InputFile::open(const char* path, int flags, size_t maxSize, int* fd) {
  *fd = -1;
  int opened = ::open(path, flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (opened < 0) return kCannotOpen;
  struct stat status;
  if (fstat(opened, &status) != 0) {
    int error = errno;
    ::close(opened);
    errno = error;
    return kCannotOpen;
  }
  Status verdict = kOk;
  if (!S_ISREG(status.st_mode)) {
    verdict = kNotRegular;
  } else if (static_cast<unsigned long long>(status.st_size) > maxSize) {
    verdict = kTooLarge;
  }
  if (verdict != kOk) {
    ::close(opened);
    return verdict;
  }
  fcntl(opened, F_SETFL, fcntl(opened, F_GETFL) & ~O_NONBLOCK);
  *fd = opened;
  return kOk;
}

InputFile::Status InputFile::read(const char* path, size_t maxSize, std::string* text) {
  text->clear();
  int fd = -1;
  Status status = open(path, O_RDONLY, maxSize, &fd);
  if (status != kOk) return status;
  // One byte more than the bound tells a file that grew since fstat.
  size_t limit = maxSize < static_cast<size_t>(-1) ? maxSize + 1 : maxSize;
  bool readOk = readUpTo(fd, limit, text);
  int error = errno;
  ::close(fd);
  if (!readOk) {
    text->clear();
    errno = error;
    return kReadError;
  }
  if (text->size() > maxSize) {
    text->clear();
    return kTooLarge;
  }
  return kOk;
}

std::string InputFile::describe(Status status, size_t maxSize) {
  switch (status) {
    case kOk: return "read";
    case kCannotOpen: return "cannot be opened";
    case kNotRegular: return "not a regular file";
    case kTooLarge: return "larger than " + std::to_string(maxSize) + " bytes";
    case kReadError: return "read error";
  }
  return "unknown status";
}
