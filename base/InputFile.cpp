#include "base/InputFile.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace base {

namespace {

constexpr char kNotRegular[] = "not a regular file";
constexpr char kTooLargePrefix[] = "larger than ";

// "a directory, not a regular file" and the like.
std::string notRegularStep(mode_t mode) {
  const char* kind = S_ISDIR(mode)                    ? "a directory, "
                     : S_ISFIFO(mode)                 ? "a FIFO, "
                     : S_ISSOCK(mode)                 ? "a socket, "
                     : S_ISCHR(mode) || S_ISBLK(mode) ? "a device, "
                                                      : "";
  return std::string(kind) + kNotRegular;
}

bool endsWith(const std::string& text, const char* tail) {
  size_t length = strlen(tail);
  return text.size() >= length && text.compare(text.size() - length, length, tail) == 0;
}

}  // namespace

Status InputFile::open(const char* path, int flags, size_t maxSize, int* fd) {
  *fd = -1;
  int opened = ::open(path, flags | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
  if (opened < 0) return Status::Error(path, "open", errno);
  struct stat status;
  if (fstat(opened, &status) != 0) {
    int error = errno;
    ::close(opened);
    return Status::Error(path, "open", error);
  }
  Status verdict;
  if (!S_ISREG(status.st_mode)) {
    verdict = Status::Error(path, notRegularStep(status.st_mode));
  } else if (static_cast<unsigned long long>(status.st_size) > maxSize) {
    verdict = Status::Error(path, tooLargeStep(maxSize));
  }
  if (!verdict.ok()) {
    ::close(opened);
    return verdict;
  }
  fcntl(opened, F_SETFL, fcntl(opened, F_GETFL) & ~O_NONBLOCK);
  *fd = opened;
  return Status::Ok();
}

Status InputFile::read(const char* path, size_t maxSize, std::string* text) {
  text->clear();
  int fd = -1;
  Status status = open(path, O_RDONLY, maxSize, &fd);
  if (!status.ok()) return status;
  status = readUpTo(fd, maxSize, path, text);
  ::close(fd);
  if (status.ok() && text->size() > maxSize) status = Status::Error(path, tooLargeStep(maxSize));
  if (!status.ok()) text->clear();
  return status;
}

Status InputFile::readUpTo(int fd, size_t maxSize, const char* subject, std::string* text) {
  text->clear();
  // One byte more than the bound tells an input that is too large.
  const size_t limit = maxSize < static_cast<size_t>(-1) ? maxSize + 1 : maxSize;
  char buffer[16384];
  while (text->size() < limit) {
    size_t want = limit - text->size() < sizeof buffer ? limit - text->size() : sizeof buffer;
    ssize_t got = ::read(fd, buffer, want);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return Status::Error(subject, "read", errno);
    if (got == 0) break;
    text->append(buffer, static_cast<size_t>(got));
  }
  return Status::Ok();
}

InputFile::Refusal InputFile::refusal(const Status& status) {
  if (status.ok()) return Refusal::kNone;
  const std::string& step = status.step();
  if (step == "open") return Refusal::kCannotOpen;
  if (step == "read") return Refusal::kReadError;
  if (endsWith(step, kNotRegular)) return Refusal::kNotRegular;
  if (step.compare(0, sizeof kTooLargePrefix - 1, kTooLargePrefix) == 0) return Refusal::kTooLarge;
  return Refusal::kReadError;
}

std::string InputFile::describe(const Status& status) {
  Refusal kind = refusal(status);
  if ((kind == Refusal::kCannotOpen || kind == Refusal::kReadError) && status.errnum() != 0) {
    std::string text = status.subject().empty() ? "" : status.subject() + ": ";
    return text + strerror(status.errnum());
  }
  return status.message();
}

std::string InputFile::tooLargeStep(size_t maxSize) {
  return kTooLargePrefix + std::to_string(maxSize) + " bytes";
}

}  // namespace base
