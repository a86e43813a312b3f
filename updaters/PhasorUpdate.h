// Placeholder updater: runs the updater cycle without a document yet.
#ifndef UPDATERS_PHASORUPDATE_H_
#define UPDATERS_PHASORUPDATE_H_

#include "livedata/LiveData.h"

class PhasorUpdate : public LiveData {
 public:
  PhasorUpdate();
  ~PhasorUpdate() override;
};

#endif  // UPDATERS_PHASORUPDATE_H_
