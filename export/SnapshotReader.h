// Reads one Snapshot per period from the meter's datamap through the platform
// layer (platform/datamap.h): every row of kReadingTable, the designation, the
// hookup and the factory record of block 2.
//
// Nothing read is trusted: a map that is missing when the reader starts is
// opened again at the next period, a key missing from the map is looked up
// again every period (so a replacement map that has it is followed), a key
// whose index stops naming it (-3) is looked up again, and every failure leaves
// that reading absent for the period only. read() never blocks longer than the
// platform's read patience per key and never allocates after the first call.
//
// Thread-safety: one thread uses a reader at a time.
#ifndef EXPORT_SNAPSHOTREADER_H_
#define EXPORT_SNAPSHOTREADER_H_

#include <stdint.h>

#include "export/ReadingTable.h"
#include "export/Snapshot.h"
#include "platform/datamap.h"

namespace ldexport {

class SnapshotReader {
 public:
  SnapshotReader();
  ~SnapshotReader();  // closes the datamap handle
  SnapshotReader(const SnapshotReader&) = delete;
  SnapshotReader& operator=(const SnapshotReader&) = delete;

  // Fills *out with this period's readings (every field; absent ones marked),
  // stamped with unixMillis and the next period number.
  void read(int64_t unixMillis, Snapshot* out);

  // True once the datamap could be opened (it stays open afterwards: the
  // platform follows replacements by itself).
  bool mapOpen() const { return open_; }

 private:
  // A datamap key and its index, looked up when first needed.
  struct Key {
    const char* name = nullptr;
    unsigned int index = DM_INDEX_NONE;
    bool resolved = false;
  };

  bool ensureOpen();
  bool resolve(Key* key);
  // After a failed read: an index that no longer names its key is looked up again.
  static void forgetOnIndexError(Key* key, int status);

  bool readNumber(Key* key, double* value);
  bool readFlag(Key* key);
  bool readPowerFactor(Key* key, double* value);
  void readRow(size_t row, Snapshot* out);
  void readDesignation(Snapshot* out);
  void readHookup(Snapshot* out);
  void readFactoryRecord(Snapshot* out);

  DM_SYS_DATA_BLOK_USER dm_{};
  bool open_ = false;
  uint64_t period_ = 0;
  Key values_[kReadingCount];
  Key valid_[kReadingCount];  // name nullptr: the row has no validity flag
  Key designation_;
  Key hookup_;
  const unsigned char* readingsBlock_ = nullptr;  // block 2, or null when it could not be mapped
  unsigned int readingsBlockSize_ = 0;
};

}  // namespace ldexport

#endif  // EXPORT_SNAPSHOTREADER_H_
