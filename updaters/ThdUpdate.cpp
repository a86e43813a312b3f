#include "updaters/ThdUpdate.h"

#include <stdio.h>
#include <string.h>

#include "livedata/Globals.h"
#include "platform/common_api.h"

namespace {


constexpr int kHarmonicArrayLength = 128;

// Voltage channels A, B, C then current channels A, B, C: their field names (the
// distortion read errors print these in place of keys) and keys.
const char* const kFieldNames[6] = {"voltA",    "voltB",    "voltC",
                                    "currentA", "currentB", "currentC"};
const char* const kPhaseToNeutralKeys[3] = {"reading.1sec.volt.an", "reading.1sec.volt.bn",
                                            "reading.1sec.volt.cn"};
const char* const kPhaseToPhaseKeys[3] = {"reading.1sec.volt.ab", "reading.1sec.volt.bc",
                                          "reading.1sec.volt.ca"};
const char* const kVoltageDistortionKeys[3][3] = {
    {"reading.1sec.thd.van", "reading.3sec.kfactor.van.total", "reading.1sec.tdd.van"},
    {"reading.1sec.thd.vbn", "reading.3sec.kfactor.vbn.total", "reading.1sec.tdd.vbn"},
    {"reading.1sec.thd.vcn", "reading.3sec.kfactor.vcn.total", "reading.1sec.tdd.vcn"},
};
const char* const kCurrentKeys[3] = {"reading.1sec.current.a", "reading.1sec.current.b",
                                     "reading.1sec.current.c"};
const char* const kCurrentDistortionKeys[3][3] = {
    {"reading.3sec.thd.ia.total", "reading.3sec.kfactor.ia.total", "reading.3sec.tdd.ia.total"},
    {"reading.3sec.thd.ib.total", "reading.3sec.kfactor.ib.total", "reading.3sec.tdd.ib.total"},
    {"reading.3sec.thd.ic.total", "reading.3sec.kfactor.ic.total", "reading.3sec.tdd.ic.total"},
};

// The harmonic arrays in document order, with their byte offsets in block 2. Each phase
// array lies directly below its magnitude array.
struct HarmonicArray {
  const char* name;
  size_t offset;
  bool isSigned;  // phases are signed, magnitudes unsigned
};
const HarmonicArray kHarmonicArrays[12] = {
    {"va_mag", 77056, false}, {"va_phs", 76800, true}, {"vb_mag", 77568, false},
    {"vb_phs", 77312, true},  {"vc_mag", 78080, false}, {"vc_phs", 77824, true},
    {"ia_mag", 79104, false}, {"ia_phs", 78848, true}, {"ib_mag", 79616, false},
    {"ib_phs", 79360, true},  {"ic_mag", 80128, false}, {"ic_phs", 79872, true},
};

// Reads a value whose error text names it in quotes ("KEY" or "data.FIELD.KIND").
void readQuoted(DmKey<double>& record, const char* name, const char* kind) {
  int status = dm_read(record);
  if (status < 0) {
    if (kind == nullptr) {
      fprintf(stderr, "dm_read_flt64 error on \"%s\" with error code= %d\n", name, status);
    } else {
      fprintf(stderr, "dm_read_flt64 error on \"data.%s.%s\" with error code= %d\n", name, kind,
              status);
    }
  }
}

}  // namespace

ThdUpdate::ThdUpdate() : document_(16384) { addDebugMaskBits(kDebugThd); }

// Ends the updater thread before the members it uses go away.
ThdUpdate::~ThdUpdate() { stop(); }

int ThdUpdate::init() {
  if (debugEnabled()) fputs("ThdUpdate init...\n", stdout);
  return initDmIndex();
}

int ThdUpdate::initDmIndex() {
  resolve_dm_key("reading.1sec.freq", &frequency_.index);
  for (int p = 0; p < 3; ++p) {
    Distortion& distortion = voltageDistortion_[p];
    resolve_dm_key(kPhaseToNeutralKeys[p], &phaseToNeutralIndex_[p]);
    resolve_dm_key(kVoltageDistortionKeys[p][0], &distortion.thd.index);
    resolve_dm_key(kVoltageDistortionKeys[p][1], &distortion.kfactor.index);
    resolve_dm_key(kVoltageDistortionKeys[p][2], &distortion.tdd.index);
    resolve_dm_key(kPhaseToPhaseKeys[p], &phaseToPhaseIndex_[p]);
  }
  for (int p = 0; p < 3; ++p) {
    Distortion& distortion = currentDistortion_[p];
    resolve_dm_key(kCurrentKeys[p], &current_[p].index);
    resolve_dm_key(kCurrentDistortionKeys[p][0], &distortion.thd.index);
    resolve_dm_key(kCurrentDistortionKeys[p][1], &distortion.kfactor.index);
    resolve_dm_key(kCurrentDistortionKeys[p][2], &distortion.tdd.index);
  }
  resolve_dm_key("dev.designation", &designation_.index);
  resolve_dm_key("reading.time.ltc", &time_.index);
  resolve_dm_key("sys.ontime", &onTime_.index);
  map_sys_block(2, "shared_meter_readings", &readings_);
  return 0;
}

// THD, K-factor, TDD of one channel (0-5 as in kFieldNames). The THD text has a
// doubled blank before "with": the firmware's text.
void ThdUpdate::readDistortion(int channel, Distortion& distortion) {
  const char* field = kFieldNames[channel];
  int status = dm_read(distortion.thd);
  if (status < 0) {
    fprintf(stderr, "dm_read_flt64 error on \"data.%s.thd\"  with error code= %d\n", field,
            status);
  }
  readQuoted(distortion.kfactor, field, "kfactor");
  readQuoted(distortion.tdd, field, "tdd");
}

int ThdUpdate::getData() {
  read_dm_key(frequency_, "dm_read_flt64 error on key \"reading.1sec.freq\" with error code= ");
  readDistortion(0, voltageDistortion_[0]);
  // Phase-to-neutral voltages for wye hookups (0, 3), phase-to-phase otherwise,
  // into the same three values.
  const uint32_t wiring = hookup.load(std::memory_order_relaxed);
  const bool wye = wiring == 0 || wiring == 3;
  for (int p = 0; p < 3; ++p) {
    voltage_[p].index = wye ? phaseToNeutralIndex_[p] : phaseToPhaseIndex_[p];
    readQuoted(voltage_[p], wye ? kPhaseToNeutralKeys[p] : kPhaseToPhaseKeys[p], nullptr);
  }
  readDistortion(1, voltageDistortion_[1]);
  readDistortion(2, voltageDistortion_[2]);
  for (int p = 0; p < 3; ++p) {
    readQuoted(current_[p], kCurrentKeys[p], nullptr);
    readDistortion(3 + p, currentDistortion_[p]);
  }
  read_dm_key(designation_, "dm_read_STRING error on \"dev.designation\" with error code= ");
  read_dm_key(time_, "dm_read_timestamp_b8 error on \"reading.time.ltc\" with error code= ");
  read_dm_key(onTime_, "dm_read_timestamp_b8 error on \"sys.ontime\" with error code= ");
  return 0;
}

// value / 100.0 printed with "%.2f" is exactly the integer with a point before
// its last two digits: the double nearest to v/100 is within 2^-53 relative of
// it, far inside the 0.005 rounding margin, and v/100 has two decimals.
size_t ThdUpdate::formatHundredths(int32_t value, char* out) {
  char* next = out;
  uint32_t magnitude = static_cast<uint32_t>(value);
  if (value < 0) {
    *next++ = '-';
    magnitude = 0u - magnitude;
  }
  const uint32_t hundredths = magnitude % 100u;
  uint32_t whole = magnitude / 100u;
  char digits[10];
  int count = 0;
  do {
    digits[count++] = static_cast<char>('0' + whole % 10u);
    whole /= 10u;
  } while (whole != 0);
  while (count > 0) *next++ = digits[--count];
  *next++ = '.';
  *next++ = static_cast<char>('0' + hundredths / 10u);
  *next++ = static_cast<char>('0' + hundredths % 10u);
  return static_cast<size_t>(next - out);
}

// "\"NAME\":[" and the 128 values from element 127 down to 0, each quoted; a
// block that could not be mapped publishes zeros so the document keeps its shape.
void ThdUpdate::writeHarmonicArray(const char* name, size_t offset, bool isSigned) {
  char text[32 + kHarmonicArrayLength * 16];
  char* next = text;
  next += snprintf(next, 32, "\"%s\":[", name);
  for (int i = kHarmonicArrayLength - 1; i >= 0; --i) {
    int32_t value = 0;
    if (readings_ != nullptr) {
      const unsigned char* element = readings_ + offset + 2 * static_cast<size_t>(i);
      if (isSigned) {
        int16_t raw;
        memcpy(&raw, element, sizeof raw);  // native order, any alignment
        value = raw;
      } else {
        uint16_t raw;
        memcpy(&raw, element, sizeof raw);
        value = raw;
      }
    }
    *next++ = '"';
    next += formatHundredths(value, next);
    *next++ = '"';
    *next++ = i == 0 ? ']' : ',';
  }
  *next++ = ',';
  *next++ = '\n';
  document_.append(text, static_cast<size_t>(next - text));
}


std::string ThdUpdate::displayData() {
  if (debugEnabled()) fputs("ThdUpdate displayData...\n", stdout);
  if (!document_.open(getJsonFile())) return std::string();
  document_.appendFrameStart();
  document_.printf("\"frequency\":\"%.3f Hz\",\n", frequency_.value);
  for (int p = 0; p < 3; ++p) {
    document_.printf("\"%s\":[\"%.3f V\",\"%.3f\",\"%.3f\"],\n", kFieldNames[p],
                     voltage_[p].value, voltageDistortion_[p].thd.value,
                     voltageDistortion_[p].tdd.value);
  }
  for (int p = 0; p < 3; ++p) {
    document_.printf("\"%s\":[\"%.3f A\",\"%.3f\",\"%.3f\",\"%.3f\"],\n", kFieldNames[3 + p],
                     current_[p].value, currentDistortion_[p].thd.value,
                     currentDistortion_[p].tdd.value, currentDistortion_[p].kfactor.value);
  }
  for (const HarmonicArray& harmonicArray : kHarmonicArrays) {
    writeHarmonicArray(harmonicArray.name, harmonicArray.offset, harmonicArray.isSigned);
  }
  document_.appendFrameEnd(designation_.value, time_.value, onTime_.value);
  document_.close();
  return std::string();
}
