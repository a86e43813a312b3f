// The per-entry sequence lock of the host datamap.
//
// A writer makes the entry's counter odd with a compare-and-swap (which also
// excludes other writers of the entry), stores the value and makes the counter
// even again. A reader copies the value between two loads of the counter and
// retries when the counter was odd or changed. Value words are loaded with
// acquire and stored with release order, so no separate fences are needed and
// every access of shared words is atomic (clean under ThreadSanitizer).
//
// Dead writers: a reader gives up after a bounded time (kReadPatience) and
// reports DM_ERR_BUSY; a writer that finds the same odd counter for longer
// than kTakeoverAfter takes the entry over (counter + 2, still odd) and
// finishes normally, so a writer that died inside never blocks later writers.
//
// Thread-safety: all functions may be called from any thread or process.
#ifndef HOSTSTORE_ENTRYSEQLOCK_H_
#define HOSTSTORE_ENTRYSEQLOCK_H_

#include <stddef.h>
#include <stdint.h>

#include "hoststore/MapFormat.h"

namespace dmhost {

class EntrySeqLock {
 public:
  static constexpr long kReadPatienceNs = 10 * 1000 * 1000;    // 10 ms
  static constexpr long kTakeoverAfterNs = 100 * 1000 * 1000;  // 100 ms

  // Copies the value words of a record of the given type into out
  // (kValueCapacity bytes; words beyond the type's storage size are zero).
  // Returns 0, or DM_ERR_BUSY when no consistent copy could be made in time.
  static int read(const MapRecord& record, uint32_t type, uint32_t* out);
  // Stores size bytes of data as the record's value; the rest of the value
  // storage is zeroed.
  static void write(MapRecord& record, const void* data, size_t size);

  static int failCode(const MapRecord& record);
  static void setFailCode(MapRecord& record, int code);

  // Test hook: leaves the record as a writer that died inside would (counter odd).
  static void abandonMidWrite(MapRecord& record);

 private:
  static uint32_t acquireForWrite(MapRecord& record);
};

}  // namespace dmhost

#endif  // HOSTSTORE_ENTRYSEQLOCK_H_
