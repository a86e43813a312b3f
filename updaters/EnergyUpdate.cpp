#include "updaters/EnergyUpdate.h"

#include <stdio.h>

#include "livedata/Globals.h"
#include "platform/common_api.h"
#include "updaters/FactorySettingsFile.h"

namespace {

// A flt64 key: the key looked up, the key its lookup error names, and its read
// error message. The differing texts are part of the output.
struct FloatKey {
  const char* key;
  const char* lookupName;
  const char* readMessage;
};

const FloatKey kFloatKeyTable[EnergyUpdate::kFloatKeys] = {
    {"reading.1sec.energy.qhr.pos.total.sec", "reading.1sec.energy.qhr.pos.total.sec",
     "dm_read_flt64 error on key \"reading.1sec.energy.qhr.pos.total.sec\" with error code= "},
    {"reading.1sec.energy.qhr.neg.total.sec", "reading.1sec.energy.qhr.neg.total.sec",
     "dm_read_flt64 error on key \"reading.1sec.energy.qhr.neg.total.sec\" with error code= "},
    {"reading.1sec.energy.watthr.q14.total.sec", "reading.1sec.energy.watthr.q14.total.sec",
     "dm_read_flt64 error on key \"reading.1sec.energy.watthr.total.q14_sec\" with error code= "},
    {"reading.1sec.energy.watthr.q23.total.sec", "reading.1sec.energy.watthr.q14.total.sec",
     "dm_read_flt64 error on key \"reading.1sec.energy.watthr.total.q23_sec\" with error code= "},
    {"reading.1sec.energy.varhr.q12.total.sec", "reading.1sec.energy.varhr.q12.total.sec",
     "dm_read_flt64 error on key \"reading.1sec.energy.varhr.total.q12_sec\" with error code= "},
    {"reading.1sec.energy.varhr.q34.total.sec", "reading.1sec.energy.varhr.q34.total.sec",
     "dm_read_flt64 error on key \"reading.1sec.energy.varhr.total.q34_sec\" with error code= "},
    {"reading.1sec.energy.vahr.total.total.sec", "reading.1sec.energy.vahr.total.total.sec",
     "dm_read_flt64 error on key \"reading.1sec.energy.vahr.total.q1234\" with error code= "},
    {"reading.1sec.energy.uncomp_watthr.q14.total.sec",
     "reading.1sec.energy.uncomp_watthr.q14.total.sec",
     "dm_read_flt64 error on key \"reading.1sec.energy.watthr.total.q14_sec\" with error code= "},
    {"reading.1sec.energy.uncomp_watthr.q23.total.sec",
     "reading.1sec.energy.uncomp_watthr.q14.total.sec",
     "dm_read_flt64 error on key \"reading.1sec.energy.watthr.total.q23_sec\" with error code= "},
    {"reading.1sec.energy.uncomp_varhr.q12.total.sec",
     "reading.1sec.energy.uncomp_varhr.q12.total.sec",
     "dm_read_flt64 error on key \"reading.1sec.energy.uncomp_varhr.total.q12_sec\" with error "
     "code= "},
    {"reading.1sec.energy.uncomp_varhr.q34.total.sec",
     "reading.1sec.energy.uncomp_varhr.q34.total.sec",
     "dm_read_flt64 error on key \"reading.1sec.energy.uncomp_varhr.total.q34_sec\" with error "
     "code= "},
    {"reading.1sec.energy.uncomp_vahr.total.sec", "reading.1sec.energy.uncomp_vahr.total.total.sec",
     "dm_read_flt64 error on key \"reading.1sec.energy.uncomp_vahr.total.q1234\" with error "
     "code= "},
    {"reading.demand.current.watt.q14.total", "reading.demand.current.watt.q14.total",
     "dm_read_flt64 error on key \"core.interval.demand.watt.q14\" with error code= "},
    {"reading.demand.current.watt.q14.total.sec", "reading.demand.current.watt.q14.total.sec",
     "dm_read_flt64 error on key \"core.interval.demand.watt.q14.sec\" with error code= "},
    {"reading.demand.current.watt.q23.total", "reading.demand.current.watt.q23.total",
     "dm_read_flt64 error on key \"core.interval.demand.watt.q23\" with error code= "},
    {"reading.demand.current.watt.q23.total.sec", "reading.demand.current.watt.q23.total.sec",
     "dm_read_flt64 error on key \"core.interval.demand.watt.q23.sec\" with error code= "},
    {"reading.demand.current.var.q12.total", "reading.demand.current.var.q12.total",
     "dm_read_flt64 error on key \"core.interval.demand.var.q12\" with error code= "},
    {"reading.demand.current.var.q12.total.sec", "reading.demand.current.var.q12.total.sec",
     "dm_read_flt64 error on key \"core.interval.demand.var.q34.sec\" with error code= "},
    {"reading.demand.current.var.q34.total", "reading.demand.current.var.q34.total",
     "dm_read_flt64 error on key \"core.interval.demand.var.q34\" with error code= "},
    {"reading.demand.current.var.q34.total.sec", "reading.demand.current.var.q34.total.sec",
     "dm_read_flt64 error on key \"core.interval.demand.var.q34.sec\" with error code= "},
    {"reading.demand.current.va.total.total", "reading.demand.current.va.total.total",
     "dm_read_flt64 error on key \"core.interval.demand.va.total.total\" with error code= "},
    {"reading.demand.current.va.total.total.sec", "reading.demand.current.va.total.total.sec",
     "dm_read_flt64 error on key \"core.interval.demand.va.total.total.sec\" with error code= "},
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

// Byte positions of the text fields of shared_meter_data1, in output order.
const unsigned kQuadrantTexts[17] = {30256, 29616, 30276, 30176, 30196, 30096, 30116, 29636, 29676,
                                     29656, 30076, 30056, 30156, 30136, 30236, 29596, 30216};
const unsigned kIv2tTexts[6] = {30036, 29976, 30016, 29956, 29996, 29936};
const unsigned kEnergyTexts[5] = {29656, 29636, 29616, 29596, 29676};
const unsigned kUncompensatedTexts[5] = {29896, 29876, 29856, 29836, 29916};
const unsigned kQhrTexts[2] = {30316, 30296};
const unsigned kAccumulatorTexts[8] = {32940, 32920, 32900, 32880, 32860, 32840, 32820, 32800};
const unsigned kAggregatorTexts[4] = {33196, 33176, 33156, 33136};

// Unit prefixes of the peak demands; the divisors are single-precision constants
// widened to double, as the meter's firmware computes them.
const double kKilo = static_cast<double>(1000.0f);
const double kMega = static_cast<double>(1000000.0f);

// dm_get_info of key into *index; a failure names `shown` in its message.
void resolveAs(const char* key, const char* shown, unsigned int* index) {
  unsigned int size = 0;
  unsigned int type = 0;
  int status = dm_get_info(&dm, key, index, &size, &type);
  if (status < 0) {
    fprintf(stderr, "dm_get_info error on key \"%s\" with error code= %d\n", shown, status);
  }
}

}  // namespace

EnergyUpdate::EnergyUpdate() : document_(4096) {
  addDebugMaskBits(kDebugEnergy);
}

// Ends the updater thread before the members it uses go away.
EnergyUpdate::~EnergyUpdate() { stop(); }

int EnergyUpdate::init() {
  if (debugEnabled()) printf("EnergyUpdate init...\n");
  return initDmIndex();
}

int EnergyUpdate::initDmIndex() {
  for (int i = 0; i < kFloatKeys; ++i) {
    int entry = (i == kDemandVa) ? kDemandVaSec : i;
    resolveAs(kFloatKeyTable[i].key, kFloatKeyTable[i].lookupName, &floats_[entry].index);
  }
  char key[64];
  for (int n = 1; n <= 8; ++n) {
    snprintf(key, sizeof key, "reading.1sec.accum.hsi.%d", n);
    resolve_dm_key(key, &accumulators_[n - 1].index);
  }
  for (int n = 1; n <= 4; ++n) {
    snprintf(key, sizeof key, "reading.1sec.accum.agg.%d", n);
    resolve_dm_key(key, &aggregators_[n - 1].index);
  }
  resolve_dm_key("posmax.demand.current.watt.total", &positivePeak_.value.index);
  resolve_dm_key("posmax.valid.demand.current.watt.total", &positivePeak_.valid.index);
  resolve_dm_key("posmax.timestamp.demand.current.watt.total", &positivePeak_.time.index);
  resolve_dm_key("negmax.demand.current.watt.total", &negativePeak_.value.index);
  resolve_dm_key("negmax.valid.demand.current.watt.total", &negativePeak_.valid.index);
  resolve_dm_key("negmax.timestamp.demand.current.watt.total", &negativePeak_.time.index);
  resolve_dm_key("dev.designation", &designation_.index);
  resolve_dm_key("reading.time.ltc", &localTime_.index);
  resolve_dm_key("sys.ontime", &powerOnTime_.index);
  resolve_dm_key("sys.timestamp.reset_energy", &energyResetTime_.index);
  resolve_dm_key("sys.timestamp.reset_hsi_accumulator", &accumulatorResetTime_.index);
  resolve_dm_key("sys.timestamp.reset_demand_peak", &peakDemandResetTime_.index);
  resolve_dm_key("dev.pt.pn.ratio", &ptRatio_.index);
  resolve_dm_key("dev.ct.abc.ratio", &ctRatio_.index);

  map_sys_block(1, "shared_meter_data1", &sharedMeterData1_);
  map_sys_block(2, "shared_meter_readings", &sharedMeterReadings_);
  FactorySettingsFile::setPaths(webRoot());
  return 0;
}

int EnergyUpdate::getData() {
  for (int i : kFloatReadOrder) read_dm_key(floats_[i], kFloatKeyTable[i].readMessage);
  for (int i = 0; i < 8; ++i) {
    int status = dm_read(accumulators_[i]);
    if (status < 0) {
      fprintf(stderr, "dm_read_uint64 error on \"accumulator[%d]\" with error code= %d\n", i,
              status);
    }
  }
  for (int i = 0; i < 4; ++i) {
    int status = dm_read(aggregators_[i]);
    if (status < 0) {
      fprintf(stderr, "dm_read_uint64 error on \"aggregator[%d]\" with error code= %d\n", i,
              status);
    }
  }
  read_dm_key(positivePeak_.value,
              "dm_read_flt64 error on key \"posmax.demand.current.watt.total\" with error code= ");
  read_dm_key(positivePeak_.valid,
              "dm_read_flt64 error on \"posmax.valid.demand.current.watt.total\" key with error "
              "code= ");
  read_dm_key(positivePeak_.time,
              "dm_read_flt64 error on \"posmax.timestamp.demand.current.watt.total\" with error "
              "code= ");
  read_dm_key(negativePeak_.value,
              "dm_read_flt64 error on key \"negmax.demand.current.watt.total\" with error code= ");
  read_dm_key(negativePeak_.valid,
              "dm_read_flt64 error on \"negmax.valid.demand.current.watt.total\" key with error "
              "code= ");
  read_dm_key(negativePeak_.time,
              "dm_read_flt64 error on \"negmax.timestamp.demand.current.watt.total\" with error "
              "code= ");
  read_dm_key(designation_, "dm_read_flt64 error on \"dev.designation\" with error code= ");
  read_dm_key(localTime_, "dm_read_flt64 error on \"reading.time.ltc\" with error code= ");
  read_dm_key(powerOnTime_, "dm_read_flt64 error on \"sys.ontime\" with error code= ");
  read_dm_key(energyResetTime_,
              "dm_read_flt64 error on \"sys.timestamp.reset_energy\" with error code= ");
  read_dm_key(accumulatorResetTime_,
              "dm_read_flt64 error on \"sys.timestamp.reset_hsi_accumulator\" with error code= ");
  read_dm_key(peakDemandResetTime_,
              "dm_read_flt64 error on \"sys.timestamp.reset_demand_peak\" with error code= ");
  read_dm_key(ptRatio_, "dm_read_uint32 error on dev.pt.pn.ratio with error code= ");
  read_dm_key(ctRatio_, "dm_read_uint32 error on dev.ct.abc.ratio with error code= ");
  return 0;
}

std::string EnergyUpdate::displayData() {
  if (debugEnabled()) printf("EnergyUpdate displayData...\n");
  writeEnergyDocument();
  // The factory document is rewritten even when the energy document was skipped.
  FactorySettingsFile::write(sharedMeterReadings_);
  return std::string();
}

void EnergyUpdate::writeEnergyDocument() {
  if (!document_.open(getJsonFile())) return;
  DocumentFile& out = document_;
  out.appendFrameStart();
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
  out.printf("\"qhrblock\":[\"%s\",\"%.3f M\",\"%s\",\"%.3f M\"],\n", blockText(kQhrTexts[0]),
             floats_[kQhr].value, blockText(kQhrTexts[1]), floats_[kQhr + 1].value);
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
  out.appendFrameEnd(designation_.value, localTime_.value, powerOnTime_.value);
  out.close();
}

const char* EnergyUpdate::blockText(unsigned offset) const {
  if (sharedMeterData1_ == nullptr) return "";
  return reinterpret_cast<const char*>(sharedMeterData1_ + offset);
}

void EnergyUpdate::writeTextArray(const char* name, const unsigned* offsets, int count) {
  document_.printf("\"%s\":[", name);
  for (int i = 0; i < count; ++i) {
    document_.printf("\"%s\"%s", blockText(offsets[i]), i + 1 < count ? "," : "],\n");
  }
}

void EnergyUpdate::writeTextValueArray(const char* name, const unsigned* offsets,
                                       const DmKey<double>* values, int count) {
  document_.printf("\"%s\":[", name);
  for (int i = 0; i < count; ++i) {
    document_.printf("\"%s\",\"%.3f\"%s", blockText(offsets[i]), values[i].value,
                     i + 1 < count ? "," : "],\n");
  }
}

void EnergyUpdate::writePeak(const Peak& peak, bool last) {
  if (!peak.valid.value) {
    document_.append(last ? "\"n/a\",\"n/a\"],\n" : "\"n/a\",\"n/a\",");
    return;
  }
  bool kiloVolts = ptRatio_.value > 5;
  bool kiloAmps = ctRatio_.value > 10;
  if (kiloVolts && kiloAmps) {
    document_.printf("\"%.3f M\",", peak.value.value / kMega);
  } else if (kiloVolts || kiloAmps) {
    document_.printf("\"%.3f k\",", peak.value.value / kKilo);
  } else {
    document_.printf("\"%.3f\",", peak.value.value);
  }
  document_.append("\"");
  document_.timestamp(peak.time.value);
  document_.append(last ? "\"],\n" : "\",");
}
