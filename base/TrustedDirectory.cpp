#include "base/TrustedDirectory.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

namespace base {

namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// Opens the directory name inside parent and checks it; closes parent.
Status step(int* parent, const std::string& shown, const std::string& name, bool createMissing) {
  int next = openat(*parent, name.c_str(), kDirectoryFlags);
  if (next < 0 && errno == ENOENT && createMissing) {
    if (mkdirat(*parent, name.c_str(), 0755) != 0 && errno != EEXIST) {
      int error = errno;
      ::close(*parent);
      *parent = -1;
      return Status::Error(shown, "create", error);
    }
    next = openat(*parent, name.c_str(), kDirectoryFlags);
  }
  int error = errno;
  ::close(*parent);
  *parent = -1;
  if (next < 0) {
    if (error == ELOOP || error == ENOTDIR) {
      return Status::Error(shown, "is a symbolic link or not a directory", error);
    }
    return Status::Error(shown, "open", error);
  }
  struct stat status;
  if (fstat(next, &status) != 0) {
    error = errno;
    ::close(next);
    return Status::Error(shown, "fstat", error);
  }
  Status verdict = TrustedDirectory::check(shown, status);
  if (!verdict.ok()) {
    ::close(next);
    return verdict;
  }
  *parent = next;
  return Status::Ok();
}

}  // namespace

bool TrustedDirectory::isRefusal(const Status& status) {
  const std::string& step = status.step();
  return !status.ok() && step != "open" && step != "create" && step != "fstat";
}

Status TrustedDirectory::check(const std::string& name, const struct stat& status) {
  if (!S_ISDIR(status.st_mode)) {
    return Status::Error(name, "is a symbolic link or not a directory", ENOTDIR);
  }
  if (status.st_uid != 0 && status.st_uid != geteuid()) {
    return Status::Error(name, "belongs to another user");
  }
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0 && (status.st_mode & S_ISVTX) == 0) {
    return Status::Error(name, "is writable by other users");
  }
  return Status::Ok();
}

Status TrustedDirectory::open(const std::string& directory, bool createMissing, int* fd) {
  *fd = -1;
  const bool absolute = !directory.empty() && directory[0] == '/';
  std::string shown = absolute ? "/" : ".";
  int current = ::open(shown.c_str(), kDirectoryFlags);
  if (current < 0) return Status::Error(shown, "open", errno);
  struct stat status;
  if (fstat(current, &status) != 0) {
    int error = errno;
    ::close(current);
    return Status::Error(shown, "fstat", error);
  }
  Status verdict = check(shown, status);
  if (!verdict.ok()) {
    ::close(current);
    return verdict;
  }
  size_t start = 0;
  while (start < directory.size()) {
    size_t end = directory.find('/', start);
    if (end == std::string::npos) end = directory.size();
    const std::string name = directory.substr(start, end - start);
    start = end + 1;
    if (name.empty() || name == ".") continue;
    shown = directory.substr(0, end);
    if (name == "..") {
      // Leaving a checked directory upwards is not a walk this class makes.
      ::close(current);
      return Status::Error(shown, "is a symbolic link or not a directory", EINVAL);
    }
    verdict = step(&current, shown, name, createMissing);
    if (!verdict.ok()) return verdict;
  }
  *fd = current;
  return Status::Ok();
}

}  // namespace base
