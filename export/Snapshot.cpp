#include "export/Snapshot.h"

namespace ldexport {

namespace {

constexpr const char* kHookupNames[] = {"Wye", "Delta 3 CTs", "Delta 2 CTs", "2.5 Element Wye",
                                        "4 Wire Delta"};

}  // namespace

int Snapshot::presentCount() const {
  int count = 0;
  for (bool is : present) count += is ? 1 : 0;
  return count;
}

void Snapshot::clearReadings() {
  for (size_t i = 0; i < kReadingCount; ++i) {
    present[i] = false;
    value[i] = 0;
  }
  designation[0] = '\0';
  designationPresent = false;
  serial[0] = '\0';
  factoryRecordValid = false;
  hookup = 0;
  hookupPresent = false;
  mapOpen = false;
}

const char* hookupName(uint32_t code) {
  constexpr uint32_t kCount = sizeof kHookupNames / sizeof kHookupNames[0];
  return code < kCount ? kHookupNames[code] : "";
}

}  // namespace ldexport
