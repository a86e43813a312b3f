// Energy updater: publishes energy registers, demand values, peak demands, the
// text labels of the meter's blocks, the designation and the meter clock as
// "energy_data.json", and in the same cycle the factory settings document
// (FactorySettingsFile).
//
// Deliberate behaviour kept from the meter's firmware:
//  - keys 21 ("reading.demand.current.va.total.total") and 22 are both looked up
//    into the entry of key 22; the entry of key 21 is never resolved, so cmdblock
//    item 9 is read through an index that names no key (and reports its read
//    error every cycle);
//  - some lookup and read error messages name other keys than the one used; the
//    texts are part of the output and live in the key table;
//  - getData reads key 4 before key 3 and key 9 before key 8.
//
// Thread-safety: all state belongs to the updater's own thread.
#ifndef UPDATERS_ENERGYUPDATE_H_
#define UPDATERS_ENERGYUPDATE_H_

#include <stddef.h>

#include "livedata/DocumentUpdater.h"
#include "updaters/FactorySettingsFile.h"
#include "updaters/TransformerRatios.h"

class EnergyUpdate : public DocumentUpdater {
 public:
  EnergyUpdate();
  ~EnergyUpdate() override;

  // Resolves the key table, maps blocks 1 and 2 and sets the factory document's
  // paths. Returns 0.
  int initDmIndex() override;

  // Number of flt64 keys (keys 1 to 22 of the key table).
  static constexpr int kFloatKeys = 22;

 private:
  // One peak demand: value, validity and time of the peak.
  struct Peak {
    DmKey<double> value;
    DmKey<bool> valid;
    DmKey<ZUL_TIMESTAMP_8B_STRUCT> time;
  };

  void addFloatKeys();
  void addCounterKeys();
  void addPeakKeys(Peak& peak, const char* bound);
  void writeBody(DocumentFile& out) override;
  // The factory settings document, rewritten even when the energy one was skipped.
  void afterDocument() override;
  // Appends the text field of shared_meter_data1 at offset (nothing while the
  // block is not mapped), bounded by the field and the block.
  void appendBlockText(size_t offset);
  void writeTextArray(const char* name, const size_t* offsets, int count);
  void writeTextValueArray(const char* name, const size_t* offsets, const DmKey<double>* values,
                           int count);
  void writePeak(const Peak& peak, bool last);

  // Keys 1-22 in key-table order: qhr 0-1, energy 2-6, uncompensated 7-11,
  // demand 12-21 (entry 20 is key 21's, which no lookup fills).
  DmKey<double> floats_[kFloatKeys];
  DmKey<unsigned long long> accumulators_[8];
  DmKey<unsigned long long> aggregators_[4];
  Peak positivePeak_;
  Peak negativePeak_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> energyResetTime_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> accumulatorResetTime_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> peakDemandResetTime_;
  TransformerRatios ratios_;

  const unsigned char* sharedMeterData1_ = nullptr;
  size_t sharedMeterData1Size_ = 0;
  const unsigned char* sharedMeterReadings_ = nullptr;
  FactorySettingsFile factorySettings_;
};

#endif  // UPDATERS_ENERGYUPDATE_H_
