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

#include "livedata/DocumentUpdater.h"
#include "updaters/HookupVoltages.h"

class ThdUpdate : public DocumentUpdater {
 public:
  ThdUpdate();
  ~ThdUpdate() override;

  // Resolves the key table and maps block 2; failures are reported. Returns 0.
  int initDmIndex() override;
  // Reads every key; failures are reported and the old value stays. Returns 0.
  int getData() override;

  // Writes value / 100 as "%.2f" prints it (e.g. -5 -> "-0.05", 65535 ->
  // "655.35") without a terminator; returns the length (at most 12).
  static size_t formatHundredths(int32_t value, char* out);

 private:
  struct Distortion {
    DmKey<double> thd;
    DmKey<double> kfactor;
    DmKey<double> tdd;
  };

  using Voltages = HookupVoltages<double>;

  void addDistortionLookups(int channel, Distortion& distortion);
  void addDistortionReads(int channel, Distortion& distortion);
  void writeBody(DocumentFile& out) override;
  void writeHarmonicArray(const char* name, size_t offset, bool isSigned);

  DmKey<double> frequency_;
  Voltages voltages_;
  Distortion voltageDistortion_[3];  // the K-factors are read but not published
  DmKey<double> current_[3];
  Distortion currentDistortion_[3];
  size_t voltageReadsAt_ = 0;                // read rows before the hookup-dependent voltages
  const unsigned char* readings_ = nullptr;  // block 2, null when it could not be mapped
};

#endif  // UPDATERS_THDUPDATE_H_
