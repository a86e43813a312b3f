#include "base/ReplacementFile.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

#include "base/WriteAll.h"

namespace base {

namespace {

// Numbers the temporaries of this process; a name already taken (left by a
// process that died, or planted) moves on to the next.
std::atomic<unsigned> temporaryCounter{0};
constexpr int kCreateAttempts = 16;

// Appends the decimal digits of value at out (at most 20 bytes).
char* appendDecimal(char* out, unsigned long long value) {
  char digits[20];
  int count = 0;
  do {
    digits[count++] = static_cast<char>('0' + value % 10u);
    value /= 10u;
  } while (value != 0);
  while (count > 0) *out++ = digits[--count];
  return out;
}

// Writes ".NAME.PID.N" and its NUL into text (size bytes), as snprintf would
// with ".%s.%d.%u" but without parsing a format; false when it does not fit.
bool nameTemporary(char* text, size_t size, const char* name, int pid, unsigned counter) {
  char numbers[48];  // ".PID.N"
  char* out = numbers;
  *out++ = '.';
  if (pid < 0) {
    *out++ = '-';
    out = appendDecimal(out, 0ull - static_cast<unsigned long long>(static_cast<long long>(pid)));
  } else {
    out = appendDecimal(out, static_cast<unsigned long long>(pid));
  }
  *out++ = '.';
  out = appendDecimal(out, counter);
  const size_t numbersLength = static_cast<size_t>(out - numbers);
  const size_t nameLength = strlen(name);
  if (1 + nameLength + numbersLength >= size) return false;
  text[0] = '.';
  memcpy(text + 1, name, nameLength);
  memcpy(text + 1 + nameLength, numbers, numbersLength);
  text[1 + nameLength + numbersLength] = '\0';
  return true;
}

// This process's id for the temporaries' names, asked once and again in a
// child after fork (a system call per replacement otherwise).
std::atomic<int> cachedProcessId{0};

void forgetProcessId() { cachedProcessId.store(0, std::memory_order_relaxed); }

int processId() {
  static const bool forgetInChild = pthread_atfork(nullptr, nullptr, forgetProcessId) == 0;
  int pid = cachedProcessId.load(std::memory_order_relaxed);
  if (pid == 0 || !forgetInChild) {
    pid = static_cast<int>(getpid());
    cachedProcessId.store(pid, std::memory_order_relaxed);
  }
  return pid;
}

}  // namespace

ReplacementFile::~ReplacementFile() {
  discard();
  closeDirectory();
}

Status ReplacementFile::failure(const char* step, int errnum) const {
  return Status::Error(path_, step, errnum);
}

void ReplacementFile::closeDirectory() {
  if (directoryFd_ >= 0) ::close(directoryFd_);
  directoryFd_ = -1;
}

Status ReplacementFile::setPath(const char* path) {
  // The same path as last time: the same directory, already split.
  if (directoryFd_ >= 0 && strcmp(path, path_) == 0) return Status::Ok();
  closeDirectory();
  size_t length = strlen(path);
  if (length == 0 || length >= sizeof path_) {
    path_[0] = '\0';
    return Status::Error(path, "path too long");
  }
  memcpy(path_, path, length + 1);
  const char* slash = strrchr(path_, '/');
  name_ = slash != nullptr ? slash + 1 : path_;
  if (*name_ == '\0') return failure("not a regular file", EISDIR);
  return Status::Ok();
}

void ReplacementFile::noteDirectory(const struct stat& status) {
  directoryOwner_ = status.st_uid;
  directoryGroup_ = status.st_gid;
  directorySetsGroup_ = (status.st_mode & S_ISGID) != 0;
}

Status ReplacementFile::openDirectory(const char* directory) {
  directoryFd_ = ::open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directoryFd_ < 0) return failure("open directory", errno);
  struct stat status;
  if (fstat(directoryFd_, &status) != 0) {
    int error = errno;
    closeDirectory();
    return failure("open directory", error);
  }
  directoryDevice_ = status.st_dev;
  directoryInode_ = status.st_ino;
  noteDirectory(status);
  effectiveUser_ = geteuid();
  effectiveGroup_ = getegid();
  return Status::Ok();
}

Status ReplacementFile::holdDirectory() {
  // The directory: everything before the last slash ("/" for "/x", "." for
  // "x"), cut out of path_ for the calls and put back after them.
  char* slash = name_ == path_ ? nullptr : path_ + (name_ - path_) - 1;
  const char* directory = ".";
  if (slash != nullptr) {
    *slash = '\0';
    directory = slash == path_ ? "/" : path_;
  }
  Status status = Status::Ok();
  bool held = false;
  if (directoryFd_ >= 0) {
    // Still the directory at the path? Its current owner comes with the answer.
    struct stat now;
    if (stat(directory, &now) == 0 && now.st_dev == directoryDevice_ &&
        now.st_ino == directoryInode_) {
      noteDirectory(now);
      held = true;
    } else {
      closeDirectory();
    }
  }
  if (!held) status = openDirectory(directory);
  if (slash != nullptr) *slash = '/';
  return status;
}

Status ReplacementFile::begin(const char* path, mode_t createMode) {
  discard();
  Status status = setPath(path);
  if (status.ok()) status = holdDirectory();
  if (!status.ok()) return status;
  struct stat existing;
  if (fstatat(directoryFd_, name_, &existing, AT_SYMLINK_NOFOLLOW) == 0) {
    if (!S_ISREG(existing.st_mode) && !S_ISLNK(existing.st_mode)) {
      closeDirectory();
      return failure("not a regular file", 0);
    }
  } else if (errno != ENOENT) {
    int error = errno;
    closeDirectory();
    return failure("open directory", error);
  }
  const int pid = processId();
  for (int attempt = 0; attempt < kCreateAttempts; ++attempt) {
    if (!nameTemporary(temporary_, sizeof temporary_, name_, pid,
                       temporaryCounter.fetch_add(1, std::memory_order_relaxed))) {
      closeDirectory();
      return failure("path too long", ENAMETOOLONG);
    }
    fd_ = openat(directoryFd_, temporary_,
                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
                 createMode);
    if (fd_ >= 0) return Status::Ok();
    if (errno != EEXIST) break;
  }
  int error = errno;
  closeDirectory();
  return failure("create", error);
}

Status ReplacementFile::write(const char* data, size_t size) {
  if (fd_ < 0) return failure("write", EBADF);
  Status status = writeAll(fd_, data, size, "");
  if (!status.ok()) return failure("write", status.errnum());
  return Status::Ok();
}

Status ReplacementFile::setMode(mode_t mode) {
  if (fd_ < 0 || fchmod(fd_, mode) != 0) return failure("fchmod", fd_ < 0 ? EBADF : errno);
  return Status::Ok();
}

Status ReplacementFile::giveDirectoryOwner() {
  // A new file already belongs to this process's user, and to its group or,
  // in a set-group-ID directory, to the directory's.
  if (fd_ >= 0 && directoryOwner_ == effectiveUser_ &&
      (directorySetsGroup_ || directoryGroup_ == effectiveGroup_)) {
    return Status::Ok();
  }
  return setOwner(directoryOwner_, directoryGroup_);
}

Status ReplacementFile::setOwner(uid_t owner, gid_t group) {
  if (fd_ < 0 || fchown(fd_, owner, group) != 0) return failure("fchown", fd_ < 0 ? EBADF : errno);
  return Status::Ok();
}

Status ReplacementFile::commit() {
  if (fd_ < 0) return Status::Ok();
  const char* step = nullptr;
  if (fsync(fd_) != 0) step = "fsync";
  int error = errno;
  if (::close(fd_) != 0 && step == nullptr) {
    step = "close";
    error = errno;
  }
  fd_ = -1;
  if (step == nullptr && renameat(directoryFd_, temporary_, directoryFd_, name_) != 0) {
    step = "rename";
    error = errno;
  }
  if (step != nullptr) {
    unlinkat(directoryFd_, temporary_, 0);
    closeDirectory();
    return failure(step, error);
  }
  return Status::Ok();
}

void ReplacementFile::discard() {
  if (fd_ >= 0) {
    ::close(fd_);
    fd_ = -1;
    unlinkat(directoryFd_, temporary_, 0);
  }
}

Status ReplacementFile::replace(const char* path, const char* data, size_t size, mode_t mode,
                                bool ownerFromDirectory) {
  ReplacementFile file;
  Status status = file.begin(path);
  if (status.ok()) status = file.write(data, size);
  if (status.ok()) status = file.setMode(mode);
  if (status.ok() && ownerFromDirectory) file.giveDirectoryOwner().ignore();
  if (status.ok()) status = file.commit();
  if (!status.ok()) file.discard();
  return status;
}

}  // namespace base
