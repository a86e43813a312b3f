// One period's readings of the meter, as every output of livedata_export
// consumes them.
//
// A plain fixed-size value: value[i] is the reading of kReadingTable[i]
// (export/ReadingTable.h) in the datamap's unit, valid only while present[i] is
// true. A reading the datamap could not give in this period (missing key, a
// failed read, a text that is not a power factor, a validity flag that is clear
// or unreadable, a value that is not finite) is absent: it is never carried over
// from an earlier period and never made up.
//
// Info texts: the designation, the factory record's serial number (when the
// record's checksum matches), the hookup code, each with its own presence.
//
// Thread-safety: a plain struct with no synchronisation of its own. A reader
// fills one while nobody else reads it; to hand a snapshot to another thread,
// copy it (it holds no pointers) under the consumer's own lock or sequence.
#ifndef EXPORT_SNAPSHOT_H_
#define EXPORT_SNAPSHOT_H_

#include <stdint.h>

#include "export/ReadingTable.h"

namespace ldexport {

struct Snapshot {
  static constexpr int kDesignationSize = 64;  // dev.designation is a string64
  static constexpr int kSerialSize = 17;       // 16 bytes of the record and a NUL

  // Unix time of the period in milliseconds (CLOCK_REALTIME when it was read).
  int64_t unixMillis = 0;
  // Period number since the reader started, from 1.
  uint64_t period = 0;
  // True when the datamap was open for this period.
  bool mapOpen = false;

  double value[kReadingCount] = {};
  bool present[kReadingCount] = {};

  // NUL-terminated; meaningful while designationPresent.
  char designation[kDesignationSize] = {};
  bool designationPresent = false;
  // The factory record's serial number, NUL-terminated, six leading zeros left
  // out as the meter's own page does; meaningful while factoryRecordValid.
  char serial[kSerialSize] = {};
  bool factoryRecordValid = false;
  // sys.enumeration.hookup: 0 Wye, 1 Delta 3 CTs, 2 Delta 2 CTs,
  // 3 2.5 Element Wye, 4 4 Wire Delta.
  uint32_t hookup = 0;
  bool hookupPresent = false;

  // Number of rows present in this period.
  int presentCount() const;
  // Marks every reading and text absent (unixMillis and period are kept).
  void clearReadings();
};

// The name of a hookup code ("Wye", "Delta 3 CTs", "Delta 2 CTs",
// "2.5 Element Wye", "4 Wire Delta"); "" for other codes.
const char* hookupName(uint32_t code);

}  // namespace ldexport

#endif  // EXPORT_SNAPSHOT_H_
