// The four data blocks of a handle's current map, kept at one address for the
// life of the handle.
//
// Callers keep the block pointers they were given (an updater maps its blocks
// once), so when the handle follows a replaced map the new map's blocks are
// mapped over the same addresses (MAP_FIXED) and old pointers see the new
// blocks. The window is guarded by MappingFaultGuard like a whole map.
//
// Thread-safety: show() must not race with itself (the handle's mutex);
// block() may be used by any thread at any time while the window lives.
#ifndef HOSTSTORE_BLOCKWINDOW_H_
#define HOSTSTORE_BLOCKWINDOW_H_

#include <atomic>

#include "hoststore/MappedMap.h"

namespace dmhost {

class BlockWindow {
 public:
  BlockWindow() = default;
  ~BlockWindow();
  BlockWindow(const BlockWindow&) = delete;
  BlockWindow& operator=(const BlockWindow&) = delete;

  // Maps the blocks of map into the window (the first call places it). False
  // when the page size does not divide the blocks' file offset or mapping
  // fails; the window then keeps what it showed before.
  bool show(const MappedMap& map);
  bool isOpen() const { return base_ != nullptr; }
  // Start of block number (1, 2, 18, 19) in the window, or null.
  unsigned char* block(int number) const;

 private:
  unsigned char* base_ = nullptr;
  int guardSlot_ = -1;
  std::atomic<bool> broken_{false};
};

}  // namespace dmhost

#endif  // HOSTSTORE_BLOCKWINDOW_H_
