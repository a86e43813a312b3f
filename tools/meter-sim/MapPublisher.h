// Writes the simulator's values into the datamap by key. Each key is looked up
// once and its index kept; a key missing from the map (a catalogue without it)
// or a value the key's type refuses is reported once on standard error and
// skipped from then on.
//
// Thread-safety: one object per thread.
#ifndef TOOLS_METER_SIM_MAPPUBLISHER_H_
#define TOOLS_METER_SIM_MAPPUBLISHER_H_

#include <stdint.h>

#include <string>
#include <unordered_map>

#include "hoststore/HostDatamap.h"

class MapPublisher {
 public:
  explicit MapPublisher(dmhost::HostDatamap& map) : map_(map) {}

  void setDouble(const std::string& key, double value);
  void setUnsigned(const std::string& key, unsigned long long value);
  void setBool(const std::string& key, bool value) { setUnsigned(key, value ? 1 : 0); }
  void setString(const std::string& key, const std::string& value);
  void setTimestamp(const std::string& key, int64_t civilSeconds);

  // Number of distinct keys that could not be written.
  int problems() const { return problems_; }

 private:
  uint32_t indexOf(const std::string& key);
  void report(const std::string& key, const char* what);

  dmhost::HostDatamap& map_;
  std::unordered_map<std::string, uint32_t> indexes_;
  int problems_ = 0;
};

#endif  // TOOLS_METER_SIM_MAPPUBLISHER_H_
