// A sample programmable settings file (kv7720.kps) for the simulated meter:
// 32784 bytes, zero except for the blank-padded 16-byte labels the daemon shows
// (digital input names and state labels, accumulator and aggregator labels) and
// the energy direction flag, at the offsets of platform/settings_file.h.
#ifndef TOOLS_METER_SIM_SAMPLESETTINGSFILE_H_
#define TOOLS_METER_SIM_SAMPLESETTINGSFILE_H_

#include <stddef.h>

#include <string>
#include <vector>

#include "base/Status.h"

class SampleSettingsFile {
 public:
  // The file's bytes.
  static std::vector<unsigned char> contents();

  // Path under $LIVEDATA_ROOT: "<root>/home/korvo.data/root/kv7720.kps".
  static std::string defaultPath();

  // Writes the sample at path (creating parent directories) unless a file is
  // already there. *created tells which.
  static base::Status writeIfMissing(const std::string& path, bool* created);
};

#endif  // TOOLS_METER_SIM_SAMPLESETTINGSFILE_H_
