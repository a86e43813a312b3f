#include "hoststore/MappedMap.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "hoststore/MappingFaultGuard.h"

namespace dmhost {

namespace {

// O_NONBLOCK: a FIFO or device put where the map belongs must not hang the open.
int openForAccess(const std::string& path, MappedMap::Access access, bool* writable) {
  int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
  *writable = fd >= 0;
  if (fd < 0 && access == MappedMap::kReadWriteOrPrivate && (errno == EACCES || errno == EROFS)) {
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  }
  return fd;
}

}  // namespace

MappedMap::~MappedMap() { close(); }

base::Status MappedMap::open(const std::string& path, Access access) {
  close();
  bool writable = false;
  int fd = openForAccess(path, access, &writable);
  if (fd < 0) return base::Status::Error("", path, errno);  // "PATH: strerror"

  struct stat st;
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) ||
      static_cast<size_t>(st.st_size) < sizeof(MapHeader)) {
    ::close(fd);
    return base::Status::Error(path, "not a valid datamap file");
  }
  size_t size = static_cast<size_t>(st.st_size);
  void* mapped =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, writable ? MAP_SHARED : MAP_PRIVATE, fd, 0);
  if (mapped == MAP_FAILED) {
    const int mapErrno = errno;
    ::close(fd);
    return base::Status::Error(path, "cannot map", mapErrno);
  }
  // Guarded before the first access, so a truncation during validation is survived too.
  broken_.store(false, std::memory_order_relaxed);
  guardSlot_ = MappingFaultGuard::add(mapped, size, &broken_);
  if (!view_.attach(static_cast<unsigned char*>(mapped), size) || broken()) {
    MappingFaultGuard::remove(guardSlot_);
    guardSlot_ = -1;
    munmap(mapped, size);
    ::close(fd);
    view_ = MapView();
    return base::Status::Error(path, "not a valid datamap file");
  }
  base_ = static_cast<unsigned char*>(mapped);
  size_ = size;
  fd_ = fd;
  shared_ = writable;
  device_ = st.st_dev;
  inode_ = st.st_ino;
  return base::Status::Ok();
}

void MappedMap::close() {
  if (base_ != nullptr) {
    MappingFaultGuard::remove(guardSlot_);
    munmap(base_, size_);
    ::close(fd_);
  }
  guardSlot_ = -1;
  base_ = nullptr;
  size_ = 0;
  fd_ = -1;
  view_ = MapView();
}

}  // namespace dmhost
