#include "hoststore/BlockWindow.h"

#include <sys/mman.h>
#include <unistd.h>

#include "hoststore/HostDatamap.h"
#include "hoststore/MappingFaultGuard.h"

namespace dmhost {

namespace {

constexpr size_t kWindowSize = 4 * kBlockSize;

}  // namespace

BlockWindow::~BlockWindow() {
  if (base_ == nullptr) return;
  MappingFaultGuard::remove(guardSlot_);
  munmap(base_, kWindowSize);
}

bool BlockWindow::show(const MappedMap& map) {
  long page = sysconf(_SC_PAGESIZE);
  uint32_t offset = map.view().blocksOffset();
  if (!map.isOpen() || page <= 0 || offset % static_cast<unsigned long>(page) != 0) return false;
  int flags = map.shared() ? MAP_SHARED : MAP_PRIVATE;
  if (base_ != nullptr) flags |= MAP_FIXED;
  void* start = mmap(base_, kWindowSize, PROT_READ | PROT_WRITE, flags, map.fd(), offset);
  if (start == MAP_FAILED) return false;
  broken_.store(false, std::memory_order_relaxed);
  if (base_ == nullptr) {
    base_ = static_cast<unsigned char*>(start);
    guardSlot_ = MappingFaultGuard::add(base_, kWindowSize, &broken_);
  }
  return true;
}

unsigned char* BlockWindow::block(int number) const {
  long offset = blockOffset(number);
  return base_ == nullptr || offset < 0 ? nullptr : base_ + offset;
}

}  // namespace dmhost
