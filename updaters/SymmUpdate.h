// Placeholder updater: runs the updater cycle without a document yet.
#ifndef UPDATERS_SYMMUPDATE_H_
#define UPDATERS_SYMMUPDATE_H_

#include "livedata/LiveData.h"

class SymmUpdate : public LiveData {
 public:
  SymmUpdate();
  ~SymmUpdate() override;
};

#endif  // UPDATERS_SYMMUPDATE_H_
