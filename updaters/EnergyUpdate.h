// Placeholder updater: runs the updater cycle without a document yet.
#ifndef UPDATERS_ENERGYUPDATE_H_
#define UPDATERS_ENERGYUPDATE_H_

#include "livedata/LiveData.h"

class EnergyUpdate : public LiveData {
 public:
  EnergyUpdate();
  ~EnergyUpdate() override;
};

#endif  // UPDATERS_ENERGYUPDATE_H_
