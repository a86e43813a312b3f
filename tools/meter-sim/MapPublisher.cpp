#include "MapPublisher.h"

#include <stdio.h>

#include "SimClock.h"

uint32_t MapPublisher::indexOf(const std::string& key) {
  auto found = indexes_.find(key);
  if (found != indexes_.end()) return found->second;
  dmhost::KeyInfo info;
  uint32_t index = DM_INDEX_NONE;
  if (map_.lookup(key, &info))
    index = info.index;
  else
    report(key, "is not in the datamap");
  indexes_.emplace(key, index);
  return index;
}

void MapPublisher::report(const std::string& key, const char* what) {
  ++problems_;
  fprintf(stderr, "meter-sim: key \"%s\" %s; not updated\n", key.c_str(), what);
}

// A key whose write fails is marked so that it is reported only once.
#define PUBLISH(call)                          \
  do {                                         \
    uint32_t index = indexOf(key);             \
    if (index == DM_INDEX_NONE) return;        \
    if (!(call)) {                             \
      report(key, "does not take this value"); \
      indexes_[key] = DM_INDEX_NONE;           \
    }                                          \
  } while (0)

void MapPublisher::setDouble(const std::string& key, double value) {
  PUBLISH(map_.setDouble(index, value));
}

void MapPublisher::setUnsigned(const std::string& key, unsigned long long value) {
  PUBLISH(map_.setUnsigned(index, value));
}

void MapPublisher::setString(const std::string& key, const std::string& value) {
  PUBLISH(map_.setString(index, value));
}

void MapPublisher::setTimestamp(const std::string& key, int64_t civilSeconds) {
  PUBLISH(map_.setTimestamp(index, SimClock::timestamp(civilSeconds)));
}

#undef PUBLISH
