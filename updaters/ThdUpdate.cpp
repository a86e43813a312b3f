#include "updaters/ThdUpdate.h"

#include <stdio.h>
#include <string.h>

#include "livedata/DecimalDigits.h"
#include "livedata/Globals.h"
#include "livedata/SharedKeys.h"
#include "platform/meter_blocks.h"

namespace {

using meter_blocks::kHarmonicArrayLength;

// Voltage channels A, B, C then current channels A, B, C as the document names them.
const char* const kFieldNames[6] = {"voltA", "voltB", "voltC", "currentA", "currentB", "currentC"};
// THD, K-factor and TDD of each channel: keys, and read errors that name the
// document's fields (the THD text has a doubled blank before "with": the
// firmware's text).
const char* const kDistortionKeys[6][3] = {
    {"reading.1sec.thd.van", "reading.3sec.kfactor.van.total", "reading.1sec.tdd.van"},
    {"reading.1sec.thd.vbn", "reading.3sec.kfactor.vbn.total", "reading.1sec.tdd.vbn"},
    {"reading.1sec.thd.vcn", "reading.3sec.kfactor.vcn.total", "reading.1sec.tdd.vcn"},
    {"reading.3sec.thd.ia.total", "reading.3sec.kfactor.ia.total", "reading.3sec.tdd.ia.total"},
    {"reading.3sec.thd.ib.total", "reading.3sec.kfactor.ib.total", "reading.3sec.tdd.ib.total"},
    {"reading.3sec.thd.ic.total", "reading.3sec.kfactor.ic.total", "reading.3sec.tdd.ic.total"},
};
#define DISTORTION_MESSAGES(field)                                             \
  {                                                                            \
    "dm_read_flt64 error on \"data." field ".thd\"  with error code= ",        \
        "dm_read_flt64 error on \"data." field ".kfactor\" with error code= ", \
        "dm_read_flt64 error on \"data." field ".tdd\" with error code= "      \
  }
const char* const kDistortionMessages[6][3] = {
    DISTORTION_MESSAGES("voltA"),    DISTORTION_MESSAGES("voltB"),
    DISTORTION_MESSAGES("voltC"),    DISTORTION_MESSAGES("currentA"),
    DISTORTION_MESSAGES("currentB"), DISTORTION_MESSAGES("currentC"),
};
#undef DISTORTION_MESSAGES
// Voltage and current reads name their keys in quotes.
const char kQuotedKeyMessage[] = "dm_read_flt64 error on \"%s\" with error code= ";
const char* const kCurrentKeys[3] = {"reading.1sec.current.a", "reading.1sec.current.b",
                                     "reading.1sec.current.c"};

// The harmonic arrays in document order: magnitude then phase of each channel.
struct HarmonicArray {
  const char* name;
  int channel;
  bool isPhase;  // phases are signed, magnitudes unsigned
};
const HarmonicArray kHarmonicArrays[12] = {
    {"va_mag", 0, false}, {"va_phs", 0, true}, {"vb_mag", 1, false}, {"vb_phs", 1, true},
    {"vc_mag", 2, false}, {"vc_phs", 2, true}, {"ia_mag", 3, false}, {"ia_phs", 3, true},
    {"ib_mag", 4, false}, {"ib_phs", 4, true}, {"ic_mag", 5, false}, {"ic_phs", 5, true},
};

}  // namespace

ThdUpdate::ThdUpdate()
    : DocumentUpdater(kDebugThd, {"ThdUpdate init...\n", "ThdUpdate displayData...\n"}, 16384) {
  DmKeyTable& k = keys();
  k.addKeyed(frequency_, sharedkeys::kFrequency, sharedkeys::kFlt64KeyFormat);
  // Lookups: per phase the phase-to-neutral key, the distortion keys and the
  // phase-to-phase key; then per phase the current and its distortion keys.
  for (int p = 0; p < 3; ++p) {
    voltages_.addLookup(k, Voltages::kPhaseToNeutral, p);
    addDistortionLookups(p, voltageDistortion_[p]);
    voltages_.addLookup(k, Voltages::kPhaseToPhase, p);
  }
  for (int p = 0; p < 3; ++p) {
    k.addLookup(current_[p], kCurrentKeys[p]);
    addDistortionLookups(3 + p, currentDistortion_[p]);
  }
  voltages_.setReadMessages(k, kQuotedKeyMessage);
  // Reads: phase A's distortion comes before the voltages (see getData), B's
  // and C's after them; then each current with its distortion.
  addDistortionReads(0, voltageDistortion_[0]);
  voltageReadsAt_ = k.readCount();
  addDistortionReads(1, voltageDistortion_[1]);
  addDistortionReads(2, voltageDistortion_[2]);
  for (int p = 0; p < 3; ++p) {
    k.addReadOfKey(current_[p], kQuotedKeyMessage);
    addDistortionReads(3 + p, currentDistortion_[p]);
  }
  addFrameKeys(kCommonFrameMessages);
}

// Ends the updater thread before the members it uses go away.
ThdUpdate::~ThdUpdate() { stop(); }

int ThdUpdate::initDmIndex() {
  keys().resolve();
  map_sys_block(2, "shared_meter_readings", &readings_);
  return 0;
}

void ThdUpdate::addDistortionLookups(int channel, Distortion& distortion) {
  keys().addLookup(distortion.thd, kDistortionKeys[channel][0]);
  keys().addLookup(distortion.kfactor, kDistortionKeys[channel][1]);
  keys().addLookup(distortion.tdd, kDistortionKeys[channel][2]);
}

void ThdUpdate::addDistortionReads(int channel, Distortion& distortion) {
  keys().addRead(distortion.thd, kDistortionMessages[channel][0]);
  keys().addRead(distortion.kfactor, kDistortionMessages[channel][1]);
  keys().addRead(distortion.tdd, kDistortionMessages[channel][2]);
}

int ThdUpdate::getData() {
  keys().read(0, voltageReadsAt_);
  voltages_.read();
  keys().read(voltageReadsAt_, keys().readCount());
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
  const uint32_t whole = magnitude / 100u;
  // The whole part without leading zeros; the hundredths always as a digit pair.
  if (whole < 10u) {
    *next++ = static_cast<char>('0' + whole);
  } else {
    next = DecimalDigits::writeTwoAtLeast(next, whole);
  }
  *next++ = '.';
  next = DecimalDigits::writeTwoAtLeast(next, magnitude % 100u);
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
  document().append(text, static_cast<size_t>(next - text));
}

void ThdUpdate::writeBody(DocumentFile& out) {
  out.printf("\"frequency\":\"%.3f Hz\",\n", frequency_.value);
  for (int p = 0; p < 3; ++p) {
    out.printf("\"%s\":[\"%.3f V\",\"%.3f\",\"%.3f\"],\n", kFieldNames[p], voltages_[p],
               voltageDistortion_[p].thd.value, voltageDistortion_[p].tdd.value);
  }
  for (int p = 0; p < 3; ++p) {
    out.printf("\"%s\":[\"%.3f A\",\"%.3f\",\"%.3f\",\"%.3f\"],\n", kFieldNames[3 + p],
               current_[p].value, currentDistortion_[p].thd.value, currentDistortion_[p].tdd.value,
               currentDistortion_[p].kfactor.value);
  }
  for (const HarmonicArray& array : kHarmonicArrays) {
    const size_t offset = array.isPhase ? meter_blocks::harmonicPhaseOffset(array.channel)
                                        : meter_blocks::harmonicMagnitudeOffset(array.channel);
    writeHarmonicArray(array.name, offset, array.isPhase);
  }
}
