// Placeholder updater: runs the updater cycle without a document yet.
#ifndef UPDATERS_FLICKERUPDATE_H_
#define UPDATERS_FLICKERUPDATE_H_

#include "livedata/LiveData.h"

class FlickerUpdate : public LiveData {
 public:
  FlickerUpdate();
  ~FlickerUpdate() override;
};

#endif  // UPDATERS_FLICKERUPDATE_H_
