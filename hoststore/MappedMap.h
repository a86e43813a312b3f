// A map file mapped into the process and validated (see MapFormat.h).
//
// The mapping is registered with MappingFaultGuard: if the file is truncated
// while mapped, the range turns into zero pages and broken() becomes true
// instead of the process dying of SIGBUS. The file stays open while mapped, so
// that further mappings of it (a block window) can be made.
//
// Thread-safety: open/close are for one thread; once open, view(), broken()
// and superseded() may be used by any number of threads.
#ifndef HOSTSTORE_MAPPEDMAP_H_
#define HOSTSTORE_MAPPEDMAP_H_

#include <stddef.h>
#include <sys/types.h>

#include <atomic>
#include <string>

#include "base/Status.h"
#include "hoststore/MapFormat.h"

namespace dmhost {

class MappedMap {
 public:
  enum Access {
    kReadWrite,          // shared read-write mapping; fails when the file is not writable
    kReadWriteOrPrivate  // as kReadWrite, else a private copy-on-write mapping
  };

  MappedMap() = default;
  ~MappedMap();
  MappedMap(const MappedMap&) = delete;
  MappedMap& operator=(const MappedMap&) = delete;

  // Fails when the file is missing, not a regular file, unreadable or invalid.
  // Never blocks (the file is opened non-blocking).
  base::Status open(const std::string& path, Access access);
  void close();
  bool isOpen() const { return base_ != nullptr; }
  const MapView& view() const { return view_; }

  // True once the file was found truncated under the mapping (see above).
  bool broken() const { return broken_.load(std::memory_order_relaxed); }
  // True when a reader should look for a newer map: superseded or broken.
  bool outdated() const { return broken() || view_.superseded(); }

  // The open file (valid while open) and whether the mapping is shared.
  int fd() const { return fd_; }
  bool shared() const { return shared_; }
  // True when path's file is the one mapped here.
  bool sameFile(dev_t device, ino_t inode) const { return device == device_ && inode == inode_; }

 private:
  unsigned char* base_ = nullptr;
  size_t size_ = 0;
  int fd_ = -1;
  bool shared_ = false;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  int guardSlot_ = -1;
  std::atomic<bool> broken_{false};
  MapView view_;
};

}  // namespace dmhost

#endif  // HOSTSTORE_MAPPEDMAP_H_
