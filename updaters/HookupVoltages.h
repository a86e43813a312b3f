// The three voltages a page publishes whichever the wiring: the phase-to-neutral
// ones (an, bn, cn) for wye hookups, the phase-to-phase ones (ab, bc, ca) for
// every other hookup, read into the same three records. Both key sets are
// looked up; each cycle the global hookup picks the set to read.
//
// Thread-safety: belongs to one updater thread; the global hookup is loaded once
// per read().
#ifndef UPDATERS_HOOKUPVOLTAGES_H_
#define UPDATERS_HOOKUPVOLTAGES_H_

#include <stdint.h>

#include "livedata/DmAccess.h"
#include "livedata/DmKeyTable.h"
#include "livedata/Globals.h"
#include "updaters/HookupNames.h"

template <typename T>
class HookupVoltages {
 public:
  enum Set { kPhaseToNeutral = 0, kPhaseToPhase = 1 };
  static constexpr const char* kKeys[2][3] = {
      {"reading.1sec.volt.an", "reading.1sec.volt.bn", "reading.1sec.volt.cn"},
      {"reading.1sec.volt.ab", "reading.1sec.volt.bc", "reading.1sec.volt.ca"},
  };

  // Adds the lookup row of one phase's key of one set.
  void addLookup(DmKeyTable& table, Set set, int phase) {
    table.addLookup(index_[set][phase], kKeys[set][phase]);
  }

  // Sets the read error texts: format (one "%s") with each key in its place.
  void setReadMessages(DmKeyTable& table, const char* format) {
    for (int set = 0; set < 2; ++set) {
      for (int p = 0; p < 3; ++p) messages_[set][p] = table.keepf(format, kKeys[set][p]);
    }
  }

  // Reads the three voltages of the set the hookup picks; a failed read prints
  // its message with the status and keeps the old value.
  void read() {
    const Set set =
        hookup_is_wye(hookup.load(std::memory_order_relaxed)) ? kPhaseToNeutral : kPhaseToPhase;
    for (int p = 0; p < 3; ++p) {
      value_[p].index = index_[set][p];
      read_dm_key(value_[p], messages_[set][p]);
    }
  }

  T operator[](int phase) const { return value_[phase].value; }

 private:
  DmKey<T> value_[3];
  unsigned int index_[2][3] = {{DM_INDEX_NONE, DM_INDEX_NONE, DM_INDEX_NONE},
                               {DM_INDEX_NONE, DM_INDEX_NONE, DM_INDEX_NONE}};
  const char* messages_[2][3] = {};
};

#endif  // UPDATERS_HOOKUPVOLTAGES_H_
