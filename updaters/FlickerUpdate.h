// Flicker updater: writes "flicker_data.json" with the flicker measurement:
// instantaneous flicker (Pinst) with the voltages, short-term (Pst) and
// long-term (Plt) flicker per phase with their maximum and minimum and the times
// these occurred, the countdowns to the next Pst and Plt values, nominal and
// measured frequency and the nominal voltage.
//
// Flicker values are read as single-precision floats; the voltages are the
// phase-to-neutral ones for wye hookups (0, 3) and the phase-to-phase ones for
// every other hookup, read into the same three values.
//
// Thread-safety: everything belongs to the updater's own thread; the global
// hookup is loaded once per cycle.
#ifndef UPDATERS_FLICKERUPDATE_H_
#define UPDATERS_FLICKERUPDATE_H_

#include <stddef.h>

#include "livedata/DocumentUpdater.h"
#include "updaters/HookupVoltages.h"

class FlickerUpdate : public DocumentUpdater {
 public:
  FlickerUpdate();
  ~FlickerUpdate() override;

  // Reads every key; failures are reported and the old value stays. Returns 0.
  int getData() override;

 private:
  enum { kPst = 0, kPlt = 1 };
  // A maximum or minimum: its value, whether it is valid and when it occurred.
  struct Extreme {
    DmKey<float> value;
    DmKey<bool> valid;
    DmKey<ZUL_TIMESTAMP_8B_STRUCT> time;
  };
  // Pst or Plt of one phase.
  struct Severity {
    DmKey<float> value;
    Extreme max;
    Extreme min;
  };
  using Voltages = HookupVoltages<float>;

  void addPlainKeys();
  void addSeverityKeys(int kind);
  void addExtremeKeys(int kind, int phase, Extreme& extreme, const char* bound);
  void writeBody(DocumentFile& out) override;
  void writeSeverities(const char* name, const Severity* severities, const char* time);

  DmKey<ZUL_TIMESTAMP_8B_STRUCT> resetPeakTime_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> runtimeTime_;
  DmKey<unsigned int> pstCountdown_;
  DmKey<unsigned int> pltCountdown_;
  DmKey<unsigned int> frequencyType_;
  DmKey<float> frequency_;
  // Starts at 120 V and keeps the last value read, as a failed read leaves it.
  DmKey<float> nominalVoltage_{DM_INDEX_NONE, 120.0f};
  DmKey<float> pinst_[3];
  Voltages voltages_;
  DmKey<bool> valid_[2];  // per kind; read, never published
  Severity severity_[2][3];
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> time_[2];
  // Read rows of the key table before the voltages.
  size_t plainReads_ = 0;
};

#endif  // UPDATERS_FLICKERUPDATE_H_
