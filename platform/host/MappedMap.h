// A map file mapped into the process and validated (see MapFormat.h).
//
// Thread-safety: open/close are for one thread; once open, view() may be used
// by any number of threads.
#ifndef PLATFORM_HOST_MAPPEDMAP_H_
#define PLATFORM_HOST_MAPPEDMAP_H_

#include <stddef.h>

#include <string>

#include "platform/host/MapFormat.h"

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

  // False with *error set when the file is missing, unreadable or invalid.
  bool open(const std::string& path, Access access, std::string* error);
  void close();
  bool isOpen() const { return base_ != nullptr; }
  const MapView& view() const { return view_; }

 private:
  unsigned char* base_ = nullptr;
  size_t size_ = 0;
  MapView view_;
};

}  // namespace dmhost

#endif  // PLATFORM_HOST_MAPPEDMAP_H_
