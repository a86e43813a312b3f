#include "daemon/ServiceReadiness.h"

#include <sys/stat.h>

#include "platform/service_notify.h"

const char* const kUpdaterDocuments[7] = {
    "flicker_data.json",           "thd_data.json",    "energy_data.json",
    "meter_factory_setting.json",  "phasor_data.json", "polling_data.json",
    "symmetrical_components.json",
};

ServiceReadiness::ServiceReadiness(const std::string& directory,
                                   const std::vector<LiveData*>& updaters)
    : updaters_(updaters) {
  for (const char* name : kUpdaterDocuments) paths_.push_back(directory + name);
}

bool ServiceReadiness::notifyWhenReady() {
  if (notified_) return true;
  if (!updatersCycled() || !documentsPresent()) return false;
  notified_ = true;
  (void)service_notify_ready();
  return true;
}

bool ServiceReadiness::updatersCycled() const {
  if (updaters_.empty()) return false;
  for (const LiveData* updater : updaters_) {
    if (updater == nullptr || !updater->hasCompletedCycle()) return false;
  }
  return true;
}

bool ServiceReadiness::documentsPresent() const {
  for (const std::string& path : paths_) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) {
      return false;
    }
  }
  return true;
}
