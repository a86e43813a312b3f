// What a DM_SYS_DATA_BLOK_USER handle of the host platform holds: the map it
// reads and the following of replaced maps.
//
// A writer that replaces the map file marks the old file superseded. When the
// current map is superseded (or was found truncated), the next access opens the
// file at the same path again (at most once per kRetryMs), carries the stale
// marks over (MapView::inheritStaleMarks: an index keeps working only when the
// new map has the same key at that index) and switches with one atomic store.
// The map switched away from is retired, not unmapped, because another thread
// may still be reading it: a retired map is released only when more than
// kMaxRetired are kept and it was retired at least kRetireGraceMs ago (a read
// holds a map for at most the seqlock's 10 ms patience); until then following
// waits. The rest go at close. Data blocks are handed out from a BlockWindow.
//
// Thread-safety: current() and block() may be called by any number of threads
// at once; open() and the destructor must not race with any use.
#ifndef HOSTSTORE_MAPHANDLE_H_
#define HOSTSTORE_MAPHANDLE_H_

#include <stdint.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "hoststore/BlockWindow.h"
#include "hoststore/MappedMap.h"

namespace dmhost {

class MapHandle {
 public:
  static constexpr uint32_t kRetryMs = 100;
  static constexpr size_t kMaxRetired = 16;
  static constexpr uint32_t kRetireGraceMs = 2000;

  MapHandle() = default;
  ~MapHandle();
  MapHandle(const MapHandle&) = delete;
  MapHandle& operator=(const MapHandle&) = delete;

  // Opens the map at path (read-write, else a private mapping).
  base::Status open(const std::string& path);

  // The map to read; follows a replacement first when the current one is stale.
  // Never null after a successful open. Cheap when nothing changed: one atomic
  // load of the pointer and two relaxed loads.
  const MappedMap* current() {
    MappedMap* map = current_.load(std::memory_order_acquire);
    return map->outdated() ? follow(map) : map;
  }
  // Start of data block number in the window (or in the current map when no
  // window could be made); null when no such block.
  unsigned char* block(int number);

 private:
  struct Retired {
    std::unique_ptr<MappedMap> map;
    uint32_t sinceMs;
  };

  const MappedMap* follow(MappedMap* seen);
  std::unique_ptr<MappedMap> openReplacement(const MappedMap& latest);
  bool makeRoom(uint32_t nowMs);

  std::string path_;
  std::atomic<MappedMap*> current_{nullptr};
  // Coarse milliseconds (wrapping) of the last following attempt; a 32-bit
  // word because 32-bit targets have no lock-free 64-bit atomics.
  std::atomic<uint32_t> lastAttemptMs_{0};
  std::mutex mutex_;              // serialises following
  std::vector<Retired> retired_;  // guarded by mutex_
  BlockWindow window_;
};

}  // namespace dmhost

#endif  // HOSTSTORE_MAPHANDLE_H_
