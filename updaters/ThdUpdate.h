// Placeholder updater: runs the updater cycle without a document yet.
#ifndef UPDATERS_THDUPDATE_H_
#define UPDATERS_THDUPDATE_H_

#include "livedata/LiveData.h"

class ThdUpdate : public LiveData {
 public:
  ThdUpdate();
  ~ThdUpdate() override;
};

#endif  // UPDATERS_THDUPDATE_H_
