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

#include <stdint.h>

#include <stddef.h>

#include "livedata/DocumentUpdater.h"

class FlickerUpdate : public DocumentUpdater {
 public:
  FlickerUpdate();
  ~FlickerUpdate() override;

  // Resolves every key once; failures are reported and skipped. Returns 0.
  int initDmIndex() override;
  // Reads every key; failures are reported and the old value stays. Returns 0.
  int getData() override;

 private:
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

  void addPlainKeys();
  void resolveSeverities();
  void readVoltages();
  void writeBody(DocumentFile& out) override;
  void resolveExtremes(const char* kind, int phase, Severity& severity);
  void readSeverities(int kind, Severity* severities);
  void readExtreme(Extreme& extreme, int kind, int which, int phase);
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
  // The three published voltages; each read uses one of the two index sets.
  DmKey<float> voltage_[3];
  unsigned int phaseToNeutralIndex_[3] = {DM_INDEX_NONE, DM_INDEX_NONE, DM_INDEX_NONE};
  unsigned int phaseToPhaseIndex_[3] = {DM_INDEX_NONE, DM_INDEX_NONE, DM_INDEX_NONE};
  DmKey<bool> pstValid_;  // read, never published
  DmKey<bool> pltValid_;  // read, never published
  Severity pst_[3];
  Severity plt_[3];
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> pstTime_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> pltTime_;
  // Rows of the key table before the severities (lookups, reads).
  size_t plainLookups_ = 0;
  size_t plainReads_ = 0;
};

#endif  // UPDATERS_FLICKERUPDATE_H_
