// When the daemon is up for its service manager: every updater has finished its
// first cycle and every updater document is a non-empty regular file in the
// JSON directory (so a document left by an earlier run does not count before
// its updater has run). notifyWhenReady() then hands the notice to the platform
// (service_notify_ready), once.
//
// Thread-safety: for the main thread; reads the updaters' atomic cycle flags.
#ifndef DAEMON_SERVICEREADINESS_H_
#define DAEMON_SERVICEREADINESS_H_

#include <string>
#include <vector>

#include "livedata/LiveData.h"

// The documents the six updaters write (energy writes two).
extern const char* const kUpdaterDocuments[7];

class ServiceReadiness {
 public:
  // directory ends with '/'; updaters are watched, not owned.
  ServiceReadiness(const std::string& directory, const std::vector<LiveData*>& updaters);

  // Checks, and notifies the first time everything is there. True once notified.
  bool notifyWhenReady();

 private:
  bool updatersCycled() const;
  bool documentsPresent() const;

  std::vector<std::string> paths_;
  const std::vector<LiveData*>& updaters_;
  bool notified_ = false;
};

#endif  // DAEMON_SERVICEREADINESS_H_
