// The voltage (PT) and current (CT) transformer ratios of the phase inputs,
// "dev.pt.pn.ratio" and "dev.ct.abc.ratio", which choose the units of every
// page that shows volts, amps or powers.
//
// Thread-safety: belongs to one updater thread.
#ifndef UPDATERS_TRANSFORMERRATIOS_H_
#define UPDATERS_TRANSFORMERRATIOS_H_

#include "livedata/DmAccess.h"
#include "livedata/DmKeyTable.h"
#include "updaters/UnitSelection.h"

class TransformerRatios {
 public:
  // Adds the PT and then the CT ratio row (looked up and read in that order).
  void addTo(DmKeyTable& table);
  // The units the last ratios read select.
  UnitSelection units() const { return UnitSelection(pt_.value, ct_.value); }

 private:
  DmKey<unsigned int> pt_;
  DmKey<unsigned int> ct_;
};

#endif  // UPDATERS_TRANSFORMERRATIOS_H_
