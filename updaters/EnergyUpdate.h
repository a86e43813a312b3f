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

#include <string>

#include "livedata/DmAccess.h"
#include "livedata/DocumentFile.h"
#include "livedata/LiveData.h"

class EnergyUpdate : public LiveData {
 public:
  EnergyUpdate();
  ~EnergyUpdate() override;

  int init() override;
  int initDmIndex();
  int getData() override;
  // Writes both documents itself; returns an empty text.
  std::string displayData() override;

  // Number of flt64 keys (keys 1 to 22 of the key table).
  static constexpr int kFloatKeys = 22;

 private:
  // One peak demand: value, validity and time of the peak.
  struct Peak {
    DmKey<double> value;
    DmKey<bool> valid;
    DmKey<ZUL_TIMESTAMP_8B_STRUCT> time;
  };

  void writeEnergyDocument();
  // The text field of shared_meter_data1 at offset ("" while the block is not mapped).
  const char* blockText(unsigned offset) const;
  void writeTextArray(const char* name, const unsigned* offsets, int count);
  void writeTextValueArray(const char* name, const unsigned* offsets, const DmKey<double>* values,
                           int count);
  void writePeak(const Peak& peak, bool last);

  // Keys 1-22 in key-table order: qhr 0-1, energy 2-6, uncompensated 7-11,
  // demand 12-21 (entry 20 is key 21's, which no lookup fills).
  DmKey<double> floats_[kFloatKeys];
  DmKey<unsigned long long> accumulators_[8];
  DmKey<unsigned long long> aggregators_[4];
  Peak positivePeak_;
  Peak negativePeak_;
  DmTextKey designation_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> localTime_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> powerOnTime_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> energyResetTime_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> accumulatorResetTime_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> peakDemandResetTime_;
  DmKey<unsigned int> ptRatio_;
  DmKey<unsigned int> ctRatio_;

  const unsigned char* sharedMeterData1_ = nullptr;
  const unsigned char* sharedMeterReadings_ = nullptr;

  DocumentFile document_;
  // The designation escaped for JSON; keeps its capacity from cycle to cycle.
};

#endif  // UPDATERS_ENERGYUPDATE_H_
