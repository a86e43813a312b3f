#include "platform/host/MappedMap.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dmhost {

namespace {

int openForAccess(const std::string& path, MappedMap::Access access, bool* writable) {
  int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  *writable = fd >= 0;
  if (fd < 0 && access == MappedMap::kReadWriteOrPrivate && (errno == EACCES || errno == EROFS)) {
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  }
  return fd;
}

}  // namespace

MappedMap::~MappedMap() { close(); }

bool MappedMap::open(const std::string& path, Access access, std::string* error) {
  close();
  bool writable = false;
  int fd = openForAccess(path, access, &writable);
  if (fd < 0) {
    *error = path + ": " + strerror(errno);
    return false;
  }
  struct stat st;
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) ||
      static_cast<size_t>(st.st_size) < sizeof(MapHeader)) {
    ::close(fd);
    *error = path + ": not a valid datamap file";
    return false;
  }
  size_t size = static_cast<size_t>(st.st_size);
  void* base = mmap(nullptr, size, PROT_READ | PROT_WRITE, writable ? MAP_SHARED : MAP_PRIVATE,
                    fd, 0);
  ::close(fd);
  if (base == MAP_FAILED) {
    *error = path + ": cannot map: " + strerror(errno);
    return false;
  }
  if (!view_.attach(static_cast<unsigned char*>(base), size)) {
    munmap(base, size);
    *error = path + ": not a valid datamap file";
    return false;
  }
  base_ = static_cast<unsigned char*>(base);
  size_ = size;
  return true;
}

void MappedMap::close() {
  if (base_ != nullptr) munmap(base_, size_);
  base_ = nullptr;
  size_ = 0;
  view_ = MapView();
}

}  // namespace dmhost
