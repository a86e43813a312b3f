#include "updaters/EnergyUpdate.h"

#include <string.h>

#include "livedata/Globals.h"
#include "livedata/SharedKeys.h"
#include "platform/meter_blocks.h"
#include "updaters/FactorySettingsFile.h"

namespace {

// A flt64 key: the key looked up, the key its lookup error names and the key
// its read error names (sharedkeys::kFlt64KeyFormat); null names the key itself. The
// differing names are part of the output.
struct FloatKey {
  const char* key;
  const char* lookupName;
  const char* messageName;
};

const FloatKey kFloatKeyTable[EnergyUpdate::kFloatKeys] = {
    {"reading.1sec.energy.qhr.pos.total.sec", nullptr, nullptr},
    {"reading.1sec.energy.qhr.neg.total.sec", nullptr, nullptr},
    {"reading.1sec.energy.watthr.q14.total.sec", nullptr,
     "reading.1sec.energy.watthr.total.q14_sec"},
    {"reading.1sec.energy.watthr.q23.total.sec", "reading.1sec.energy.watthr.q14.total.sec",
     "reading.1sec.energy.watthr.total.q23_sec"},
    {"reading.1sec.energy.varhr.q12.total.sec", nullptr, "reading.1sec.energy.varhr.total.q12_sec"},
    {"reading.1sec.energy.varhr.q34.total.sec", nullptr, "reading.1sec.energy.varhr.total.q34_sec"},
    {"reading.1sec.energy.vahr.total.total.sec", nullptr, "reading.1sec.energy.vahr.total.q1234"},
    {"reading.1sec.energy.uncomp_watthr.q14.total.sec", nullptr,
     "reading.1sec.energy.watthr.total.q14_sec"},
    {"reading.1sec.energy.uncomp_watthr.q23.total.sec",
     "reading.1sec.energy.uncomp_watthr.q14.total.sec", "reading.1sec.energy.watthr.total.q23_sec"},
    {"reading.1sec.energy.uncomp_varhr.q12.total.sec", nullptr,
     "reading.1sec.energy.uncomp_varhr.total.q12_sec"},
    {"reading.1sec.energy.uncomp_varhr.q34.total.sec", nullptr,
     "reading.1sec.energy.uncomp_varhr.total.q34_sec"},
    {"reading.1sec.energy.uncomp_vahr.total.sec", "reading.1sec.energy.uncomp_vahr.total.total.sec",
     "reading.1sec.energy.uncomp_vahr.total.q1234"},
    {"reading.demand.current.watt.q14.total", nullptr, "core.interval.demand.watt.q14"},
    {"reading.demand.current.watt.q14.total.sec", nullptr, "core.interval.demand.watt.q14.sec"},
    {"reading.demand.current.watt.q23.total", nullptr, "core.interval.demand.watt.q23"},
    {"reading.demand.current.watt.q23.total.sec", nullptr, "core.interval.demand.watt.q23.sec"},
    {"reading.demand.current.var.q12.total", nullptr, "core.interval.demand.var.q12"},
    {"reading.demand.current.var.q12.total.sec", nullptr, "core.interval.demand.var.q34.sec"},
    {"reading.demand.current.var.q34.total", nullptr, "core.interval.demand.var.q34"},
    {"reading.demand.current.var.q34.total.sec", nullptr, "core.interval.demand.var.q34.sec"},
    {"reading.demand.current.va.total.total", nullptr, "core.interval.demand.va.total.total"},
    {"reading.demand.current.va.total.total.sec", nullptr,
     "core.interval.demand.va.total.total.sec"},
};

// Positions in floats_ of the groups of the key table.
constexpr int kQhr = 0;
constexpr int kEnergy = 2;
constexpr int kUncompensated = 7;
constexpr int kDemand = 12;
// Key 21 is looked up into key 22's entry; its own entry stays unresolved.
constexpr int kDemandVa = 20;
constexpr int kDemandVaSec = 21;

// getData's order: key 4 before key 3, key 9 before key 8.
const int kFloatReadOrder[EnergyUpdate::kFloatKeys] = {0,  1,  3,  2,  4,  5,  6,  8,  7,  9,  10,
                                                       11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21};

// The frame keys' read errors name the flt64 read: the firmware's texts.
const char* const kEnergyFrameMessages[3] = {
    "dm_read_flt64 error on \"%s\" with error code= ",
    "dm_read_flt64 error on \"%s\" with error code= ",
    "dm_read_flt64 error on \"%s\" with error code= ",
};

// Byte positions of the text fields of shared_meter_data1, in output order.
constexpr size_t E(int i) { return meter_blocks::textField(meter_blocks::kEnergyTexts, i); }
constexpr size_t U(int i) { return meter_blocks::textField(meter_blocks::kUncompensatedTexts, i); }
constexpr size_t Q(int i) { return meter_blocks::textField(meter_blocks::kQuadrantTexts, i); }
constexpr size_t T(int i) { return meter_blocks::textField(meter_blocks::kV2tI2tTexts, i); }
constexpr size_t H(int i) { return meter_blocks::textField(meter_blocks::kQhrTexts, i); }
constexpr size_t A(int i) { return meter_blocks::textField(meter_blocks::kAccumulatorTexts, i); }
constexpr size_t G(int i) { return meter_blocks::textField(meter_blocks::kAggregatorTexts, i); }
const size_t kQuadrantTexts[17] = {Q(10), E(1), Q(11), Q(6), Q(7), Q(2), Q(3), E(2), E(4),
                                   E(3),  Q(1), Q(0),  Q(5), Q(4), Q(9), E(0), Q(8)};
const size_t kIv2tTexts[6] = {T(5), T(2), T(4), T(1), T(3), T(0)};
const size_t kEnergyTexts[5] = {E(3), E(2), E(1), E(0), E(4)};
const size_t kUncompensatedTexts[5] = {U(3), U(2), U(1), U(0), U(4)};
const size_t kQhrTexts[2] = {H(1), H(0)};
const size_t kAccumulatorTexts[8] = {A(7), A(6), A(5), A(4), A(3), A(2), A(1), A(0)};
const size_t kAggregatorTexts[4] = {G(3), G(2), G(1), G(0)};

}  // namespace

// Lookups and reads share their order except for the flt64 keys.
EnergyUpdate::EnergyUpdate()
    : DocumentUpdater(kDebugEnergy, {"EnergyUpdate init...\n", "EnergyUpdate displayData...\n"}) {
  addFloatKeys();
  addCounterKeys();
  DmKeyTable& k = keys();
  addPeakKeys(positivePeak_, "posmax");
  addPeakKeys(negativePeak_, "negmax");
  addFrameKeys(kEnergyFrameMessages);
  k.addKeyed(energyResetTime_, "sys.timestamp.reset_energy",
             "dm_read_flt64 error on \"%s\" with error code= ");
  k.addKeyed(accumulatorResetTime_, "sys.timestamp.reset_hsi_accumulator",
             "dm_read_flt64 error on \"%s\" with error code= ");
  k.addKeyed(peakDemandResetTime_, "sys.timestamp.reset_demand_peak",
             "dm_read_flt64 error on \"%s\" with error code= ");
  ratios_.addTo(k);
}

// Ends the updater thread before the members it uses go away.
EnergyUpdate::~EnergyUpdate() { stop(); }

// The flt64 keys stay out of the plain rows: key 21's lookup fills key 22's
// entry, and the reads swap keys 3/4 and 8/9 (kFloatReadOrder).
void EnergyUpdate::addFloatKeys() {
  for (int i = 0; i < kFloatKeys; ++i) {
    const int entry = (i == kDemandVa) ? kDemandVaSec : i;
    keys().addLookup(floats_[entry], kFloatKeyTable[i].key, kFloatKeyTable[i].lookupName);
  }
  for (int i : kFloatReadOrder) {
    const FloatKey& row = kFloatKeyTable[i];
    const char* named = row.messageName != nullptr ? row.messageName : row.key;
    keys().addRead(floats_[i], keys().keepf(sharedkeys::kFlt64KeyFormat, named));
  }
}

// Pulse counters: key "reading.1sec.accum.KIND.N" (N from 1), read error naming
// "NAME[N - 1]".
void EnergyUpdate::addCounterKeys() {
  DmKeyTable& k = keys();
  auto addCounters = [&k](DmKey<unsigned long long>* counters, int count, const char* kind,
                          const char* name) {
    for (int i = 0; i < count; ++i) {
      k.add(counters[i], k.keepf("reading.1sec.accum.%s.%d", kind, i + 1),
            k.keepf("dm_read_uint64 error on \"%s[%d]\" with error code= ", name, i));
    }
  };
  addCounters(accumulators_, 8, "hsi", "accumulator");
  addCounters(aggregators_, 4, "agg", "aggregator");
}

// Value, validity and time of the peak whose keys start with bound; the three
// read errors place "key" differently (the firmware's texts).
void EnergyUpdate::addPeakKeys(Peak& peak, const char* bound) {
  DmKeyTable& k = keys();
  k.add(peak.value, k.keepf("%s.demand.current.watt.total", bound),
        k.keepf("dm_read_flt64 error on key \"%s.demand.current.watt.total\" with error code= ",
                bound));
  k.add(peak.valid, k.keepf("%s.valid.demand.current.watt.total", bound),
        k.keepf("dm_read_flt64 error on \"%s.valid.demand.current.watt.total\" key with error "
                "code= ",
                bound));
  k.add(peak.time, k.keepf("%s.timestamp.demand.current.watt.total", bound),
        k.keepf("dm_read_flt64 error on \"%s.timestamp.demand.current.watt.total\" with error "
                "code= ",
                bound));
}

int EnergyUpdate::initDmIndex() {
  keys().resolve();
  map_sys_block(1, "shared_meter_data1", &sharedMeterData1_, &sharedMeterData1Size_);
  map_sys_block(2, "shared_meter_readings", &sharedMeterReadings_);
  FactorySettingsFile::setPaths(webRoot());
  return 0;
}

void EnergyUpdate::afterDocument() { factorySettings_.write(sharedMeterReadings_); }

void EnergyUpdate::writeBody(DocumentFile& out) {
  writeTextArray("quadrantblock", kQuadrantTexts, 17);
  writeTextArray("iv2tblock", kIv2tTexts, 6);
  writeTextValueArray("energyblock", kEnergyTexts, &floats_[kEnergy], 5);
  writeTextValueArray("uncompenergyblock", kUncompensatedTexts, &floats_[kUncompensated], 5);
  // Item 9 comes from key 21's own entry, which no lookup fills.
  out.append("\"cmdblock\":[");
  for (int i = 0; i < 10; ++i) {
    out.printf("\"%.3f\"%s", floats_[kDemand + i].value, i < 9 ? "," : "],\n");
  }
  // The quarter-hour values are printed as read, with " M" behind them.
  out.append("\"qhrblock\":[\"");
  appendBlockText(kQhrTexts[0]);
  out.printf("\",\"%.3f M\",\"", floats_[kQhr].value);
  appendBlockText(kQhrTexts[1]);
  out.printf("\",\"%.3f M\"],\n", floats_[kQhr + 1].value);
  writeTextArray("accumulators", kAccumulatorTexts, 8);
  writeTextArray("aggregators", kAggregatorTexts, 4);
  out.append("\"maxdemand\":[");
  writePeak(positivePeak_, false);
  writePeak(negativePeak_, true);
  out.append("\"last_energy_reset_Time\":\"");
  out.timestamp(energyResetTime_.value);
  out.append("\",\n\"last_aggregator_reset_Time\":\"");
  out.timestamp(accumulatorResetTime_.value);
  out.append("\",\n\"last_peak_demand_reset_Time\":\"");
  out.timestamp(peakDemandResetTime_.value);
  out.append("\",\n");
}

// The field's text ends at its NUL, and at the latest at the field's end or the
// block's: a field that lost its NUL never runs into the next one.
void EnergyUpdate::appendBlockText(size_t offset) {
  if (sharedMeterData1_ == nullptr || offset >= sharedMeterData1Size_) return;
  size_t room = sharedMeterData1Size_ - offset;
  if (room > meter_blocks::kTextFieldSize) room = meter_blocks::kTextFieldSize;
  const char* text = reinterpret_cast<const char*>(sharedMeterData1_ + offset);
  document().append(text, strnlen(text, room));
}

void EnergyUpdate::writeTextArray(const char* name, const size_t* offsets, int count) {
  document().printf("\"%s\":[", name);
  for (int i = 0; i < count; ++i) {
    document().append("\"");
    appendBlockText(offsets[i]);
    document().append(i + 1 < count ? "\"," : "\"],\n");
  }
}

void EnergyUpdate::writeTextValueArray(const char* name, const size_t* offsets,
                                       const DmKey<double>* values, int count) {
  document().printf("\"%s\":[", name);
  for (int i = 0; i < count; ++i) {
    document().append("\"");
    appendBlockText(offsets[i]);
    document().printf("\",\"%.3f\"%s", values[i].value, i + 1 < count ? "," : "],\n");
  }
}

void EnergyUpdate::writePeak(const Peak& peak, bool last) {
  if (!peak.valid.value) {
    document().append(last ? "\"n/a\",\"n/a\"],\n" : "\"n/a\",\"n/a\",");
    return;
  }
  const UnitSelection units = ratios_.units();
  document().printf("\"%.3f%s\",", peak.value.value / units.powers().divisor,
                    units.powers().suffix);
  document().append("\"");
  document().timestamp(peak.time.value);
  document().append(last ? "\"],\n" : "\",");
}
