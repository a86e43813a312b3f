// Keeps a process alive when a map file is truncated while it is mapped.
//
// Touching a page of a file mapping that lies beyond the file's end raises
// SIGBUS. The guard's handler (installed with the first add()) looks the fault
// address up among the registered ranges; for one of them it maps anonymous
// zero pages over the whole range (MAP_FIXED), sets the range's broken flag and
// returns, so the faulting access completes and reads zeros. Any other SIGBUS
// goes to the handler that was installed before the guard's, or ends the
// process with the default action.
//
// Thread-safety: add() and remove() may be called from any thread; the handler
// only reads the table. A range must be removed before it is unmapped.
#ifndef HOSTSTORE_MAPPINGFAULTGUARD_H_
#define HOSTSTORE_MAPPINGFAULTGUARD_H_

#include <stddef.h>

#include <atomic>

namespace dmhost {

class MappingFaultGuard {
 public:
  static constexpr int kSlots = 128;

  // Registers [start, start + length); *broken is set when the range is lost.
  // Returns the slot, or -1 when every slot is taken (the range is unguarded).
  static int add(void* start, size_t length, std::atomic<bool>* broken);
  static void remove(int slot);
};

}  // namespace dmhost

#endif  // HOSTSTORE_MAPPINGFAULTGUARD_H_
