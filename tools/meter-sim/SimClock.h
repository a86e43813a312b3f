// The simulator's meter clock: civil (local wall) time in milliseconds since
// 1970-01-01 00:00:00, without time zones. It moves only when advanced, so a run
// with a fixed start repeats exactly.
//
// Thread-safety: one object per thread.
#ifndef TOOLS_METER_SIM_SIMCLOCK_H_
#define TOOLS_METER_SIM_SIMCLOCK_H_

#include <stdint.h>

#include <string>

#include "platform/datamap.h"

class SimClock {
 public:
  explicit SimClock(int64_t seconds = 0) : ms_(seconds * 1000) {}

  // The local wall-clock time now, to the second.
  static SimClock fromWallClock();
  // Parses "CCYY-MM-DD hh:mm:ss"; false when the text is not such a time.
  static bool fromText(const std::string& text, SimClock* clock);

  void advanceMs(int64_t ms) { ms_ += ms; }
  int64_t seconds() const;  // whole seconds (floor)

  // Meter timestamps of a civil time in seconds.
  static ZUL_TIMESTAMP_12B_STRUCT timestamp(int64_t seconds);
  static std::string text(int64_t seconds);  // "CCYY-MM-DD hh:mm:ss"

 private:
  int64_t ms_;
};

#endif  // TOOLS_METER_SIM_SIMCLOCK_H_
