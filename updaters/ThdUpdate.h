// THD updater: writes "thd_data.json" with frequency, per-phase voltage and
// current with their THD, TDD (and the currents' K-factor), and the harmonic
// magnitude and phase arrays of the three voltages and three currents, read
// straight from datamap block 2 ("shared_meter_readings").
//
// Harmonic arrays are 128 16-bit values each (magnitudes unsigned, phases signed) in the
// block's native byte order, published in hundredths and listed from element
// 127 down to element 0 (the web page expects that order).
//
// Thread-safety: everything belongs to the updater's own thread; the block is
// read without a lock while the meter rewrites it, as on the meter.
#ifndef UPDATERS_THDUPDATE_H_
#define UPDATERS_THDUPDATE_H_

#include <stddef.h>
#include <stdint.h>

#include <string>

#include "livedata/DmAccess.h"
#include "livedata/DocumentFile.h"
#include "livedata/LiveData.h"

class ThdUpdate : public LiveData {
 public:
  ThdUpdate();
  ~ThdUpdate() override;

  int init() override;
  // Resolves every key once and maps block 2; failures are reported. Returns 0.
  int initDmIndex();
  // Reads every key; failures are reported and the old value stays. Returns 0.
  int getData() override;
  // Writes the document; returns an empty text.
  std::string displayData() override;

  // Writes value / 100 as "%.2f" prints it (e.g. -5 -> "-0.05", 65535 ->
  // "655.35") without a terminator; returns the length (at most 12).
  static size_t formatHundredths(int32_t value, char* out);

 private:
  struct Distortion {
    DmKey<double> thd;
    DmKey<double> kfactor;
    DmKey<double> tdd;
  };

  void readDistortion(int channel, Distortion& distortion);
  void writeHarmonicArray(const char* name, size_t offset, bool isSigned);

  DmKey<double> frequency_;
  // The three published voltages; each read uses one of the two index sets.
  DmKey<double> voltage_[3];
  unsigned int phaseToNeutralIndex_[3] = {DM_INDEX_NONE, DM_INDEX_NONE, DM_INDEX_NONE};
  unsigned int phaseToPhaseIndex_[3] = {DM_INDEX_NONE, DM_INDEX_NONE, DM_INDEX_NONE};
  Distortion voltageDistortion_[3];  // the K-factors are read but not published
  DmKey<double> current_[3];
  Distortion currentDistortion_[3];
  DmTextKey designation_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> time_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> onTime_;
  const unsigned char* readings_ = nullptr;  // block 2, null when it could not be mapped

  DocumentFile document_;
};

#endif  // UPDATERS_THDUPDATE_H_
