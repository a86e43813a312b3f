#include "updaters/FlickerUpdate.h"

#include <stdio.h>

#include "livedata/Globals.h"
#include "livedata/Timestamp.h"
#include "platform/common_api.h"

namespace {

enum { kPst = 0, kPlt = 1 };
enum { kMax = 0, kMin = 1 };

const char* const kPinstKeys[3] = {"reading.flicker.pinst.a", "reading.flicker.pinst.b",
                                   "reading.flicker.pinst.c"};
const char* const kPhaseToNeutralKeys[3] = {"reading.1sec.volt.an", "reading.1sec.volt.bn",
                                            "reading.1sec.volt.cn"};
const char* const kPhaseToPhaseKeys[3] = {"reading.1sec.volt.ab", "reading.1sec.volt.bc",
                                          "reading.1sec.volt.ca"};
const char* const kSeverityKeys[2][3] = {
    {"reading.flicker.pst.a", "reading.flicker.pst.b", "reading.flicker.pst.c"},
    {"reading.flicker.plt.a", "reading.flicker.plt.b", "reading.flicker.plt.c"},
};
const char kPhaseLetters[] = "abc";
// Field names the extreme read errors print in place of keys.
const char* const kExtremeNames[2][2][3] = {
    {{"pstmaxa", "pstmaxb", "pstmaxc"}, {"pstmina", "pstminb", "pstminc"}},
    {{"pltmaxa", "pltmaxb", "pltmaxc"}, {"pltmina", "pltminb", "pltminc"}},
};
// Both time reads report the same (misspelt) key; the firmware's text.
const char kSeverityTimeMessage[] =
    "dm_read_zul_timestamp_b8 error on key \"rreading.1sec.time\" with error code= ";

// The plain keys' read messages; single-precision reads name the key in quotes.
#define FLT32_MESSAGE(key) "dm_read_flt32 error on key \"" key "\" with error code= "
#define TIMESTAMP_MESSAGE(key) "dm_read_zul_timestamp_b8 error on key \"" key "\" with error code= "
const char* const kPinstMessages[3] = {FLT32_MESSAGE("reading.flicker.pinst.a"),
                                       FLT32_MESSAGE("reading.flicker.pinst.b"),
                                       FLT32_MESSAGE("reading.flicker.pinst.c")};

// Reads a single-precision value; its error text names the key in quotes.
int readFlt32(DmKey<float>& record, const char* key) {
  int status = dm_read(record);
  if (status < 0) {
    fprintf(stderr, "dm_read_flt32 error on key \"%s\" with error code= %d\n", key, status);
  }
  return status;
}

}  // namespace

FlickerUpdate::FlickerUpdate()
    : DocumentUpdater(kDebugFlicker, {"FlickerUpdate init...\n", "Flicker displayData...\n"}) {
  addPlainKeys();
  addFrameKeys(kCommonFrameMessages);
}

// Ends the updater thread before the members it uses go away.
FlickerUpdate::~FlickerUpdate() { stop(); }

// The keys before the severities. Their reads differ from the lookups: the Plt
// countdown is read first, and both countdown texts name the timestamp read
// although the countdowns are unsigned 32-bit values.
void FlickerUpdate::addPlainKeys() {
  DmKeyTable& k = keys();
  k.addLookup(resetPeakTime_, "sys.timestamp.reset_flicker_peak");
  k.addLookup(runtimeTime_, "reading.time.ltc");
  k.addLookup(pstCountdown_, "reading.flicker.countdown_sec.pst");
  k.addLookup(pltCountdown_, "reading.flicker.countdown_sec.plt");
  k.addLookup(frequencyType_, "sys.enumeration.frequency_type");
  k.addLookup(frequency_, "reading.1sec.freq");
  k.addLookup(nominalVoltage_, "setting.en50160.nominal_voltage");
  for (int p = 0; p < 3; ++p) k.addLookup(pinst_[p], kPinstKeys[p]);
  for (int p = 0; p < 3; ++p) k.addLookup(phaseToNeutralIndex_[p], kPhaseToNeutralKeys[p]);
  for (int p = 0; p < 3; ++p) k.addLookup(phaseToPhaseIndex_[p], kPhaseToPhaseKeys[p]);
  k.addRead(resetPeakTime_, TIMESTAMP_MESSAGE("sys.timestamp.reset_flicker_peak"));
  k.addRead(runtimeTime_, TIMESTAMP_MESSAGE("reading.time.ltc"));
  k.addRead(pltCountdown_, TIMESTAMP_MESSAGE("reading.flicker.countdown_sec.plt"));
  k.addRead(pstCountdown_, TIMESTAMP_MESSAGE("reading.flicker.countdown_sec.pst"));
  k.addRead(frequencyType_,
            "dm_read_uint32 error on key \"sys.enumeration.frequency_type\" with error code= ");
  k.addRead(frequency_, FLT32_MESSAGE("reading.1sec.freq"));
  k.addRead(nominalVoltage_, FLT32_MESSAGE("setting.en50160.nominal_voltage"));
  for (int p = 0; p < 3; ++p) k.addRead(pinst_[p], kPinstMessages[p]);
  plainLookups_ = k.lookupCount();
  plainReads_ = k.readCount();
}

// The maximum (value, valid, time) and then the minimum of one phase.
void FlickerUpdate::resolveExtremes(const char* kind, int phase, Severity& severity) {
  char key[64];
  const char letter = kPhaseLetters[phase];
  Extreme* const extremes[2] = {&severity.max, &severity.min};
  const char* const bounds[2] = {"posmax", "posmin"};
  for (int e = 0; e < 2; ++e) {
    snprintf(key, sizeof key, "%s.flicker.%s.%c", bounds[e], kind, letter);
    resolve_dm_key(key, &extremes[e]->value.index);
    snprintf(key, sizeof key, "%s.valid.flicker.%s.%c", bounds[e], kind, letter);
    resolve_dm_key(key, &extremes[e]->valid.index);
    snprintf(key, sizeof key, "%s.timestamp.flicker.%s.%c", bounds[e], kind, letter);
    resolve_dm_key(key, &extremes[e]->time.index);
  }
}

int FlickerUpdate::initDmIndex() {
  keys().resolve(0, plainLookups_);
  resolveSeverities();
  keys().resolve(plainLookups_, keys().lookupCount());
  return 0;
}

// Kept out of the table: the keys are built from kind, bound and phase.
void FlickerUpdate::resolveSeverities() {
  // Phase A's Pst value comes before the two validity flags, its extremes after.
  resolve_dm_key(kSeverityKeys[kPst][0], &pst_[0].value.index);
  resolve_dm_key("reading.valid.pst", &pstValid_.index);
  resolve_dm_key("reading.valid.plt", &pltValid_.index);
  resolveExtremes("pst", 0, pst_[0]);
  for (int p = 1; p < 3; ++p) {
    resolve_dm_key(kSeverityKeys[kPst][p], &pst_[p].value.index);
    resolveExtremes("pst", p, pst_[p]);
  }
  resolve_dm_key("reading.flicker.timestamp.pst", &pstTime_.index);
  for (int p = 0; p < 3; ++p) {
    resolve_dm_key(kSeverityKeys[kPlt][p], &plt_[p].value.index);
    resolveExtremes("plt", p, plt_[p]);
  }
  resolve_dm_key("reading.flicker.timestamp.plt", &pltTime_.index);
}

// Valid flag, value, time; the error texts name firmware fields, not keys (the
// flag's text names the flt64 read although the flag is read as a boolean).
void FlickerUpdate::readExtreme(Extreme& extreme, int kind, int which, int phase) {
  const char* name = kExtremeNames[kind][which][phase];
  int status = dm_read(extreme.valid);
  if (status < 0) {
    fprintf(stderr, "dm_read_flt64 error on %s_valid_dm_index key with error code= %d\n", name,
            status);
  }
  status = dm_read(extreme.value);
  if (status < 0) {
    fprintf(stderr, "dm_read_flt32 error on %s_dm_index key with error code= %d\n", name, status);
  }
  status = dm_read(extreme.time);
  if (status < 0) {
    fprintf(stderr, "dm_read_zul_timestamp_b8 error on %s_time_dm_index key with error code= %d\n",
            name, status);
  }
}

// Per phase: the value, its maximum, its minimum.
void FlickerUpdate::readSeverities(int kind, Severity* severities) {
  for (int p = 0; p < 3; ++p) {
    readFlt32(severities[p].value, kSeverityKeys[kind][p]);
    readExtreme(severities[p].max, kind, kMax, p);
    readExtreme(severities[p].min, kind, kMin, p);
  }
}

int FlickerUpdate::getData() {
  keys().read(0, plainReads_);
  readVoltages();
  read_dm_key(pstValid_, "dm_read_flt64 error on pst_valid_dm_index key with error code= ");
  readSeverities(kPst, pst_);
  read_dm_key(pstTime_, kSeverityTimeMessage);
  read_dm_key(pltValid_, "dm_read_flt64 error on plt_valid_dm_index key with error code= ");
  readSeverities(kPlt, plt_);
  read_dm_key(pltTime_, kSeverityTimeMessage);
  keys().read(plainReads_, keys().readCount());
  return 0;
}

// Phase-to-neutral voltages for wye hookups (0, 3), phase-to-phase otherwise,
// into the same three values. Kept out of the table: the hookup picks the key.
void FlickerUpdate::readVoltages() {
  const uint32_t wiring = hookup.load(std::memory_order_relaxed);
  const bool wye = wiring == 0 || wiring == 3;
  for (int p = 0; p < 3; ++p) {
    voltage_[p].index = wye ? phaseToNeutralIndex_[p] : phaseToPhaseIndex_[p];
    readFlt32(voltage_[p], wye ? kPhaseToNeutralKeys[p] : kPhaseToPhaseKeys[p]);
  }
}

// "\"NAME\":[" with value and time of each phase, then the maxima of A, B, C and
// the minima of A, B, C as value/time pairs ("n/a" pairs when not valid).
void FlickerUpdate::writeSeverities(const char* name, const Severity* severities,
                                    const char* time) {
  document().printf("\"%s\":[\"%.3f\",\"%s\",\"%.3f\",\"%s\",\"%.3f\",\"%s\",", name,
                   severities[0].value.value, time, severities[1].value.value, time,
                   severities[2].value.value, time);
  const Extreme* const extremes[6] = {&severities[0].max, &severities[1].max, &severities[2].max,
                                      &severities[0].min, &severities[1].min, &severities[2].min};
  for (int e = 0; e < 6; ++e) {
    const bool last = e == 5;
    if (extremes[e]->valid.value) {
      document().printf("\"%.3f\",\"", extremes[e]->value.value);
      document().timestamp(extremes[e]->time.value);
      document().append(last ? "\"],\n" : "\",");
    } else {
      document().append(last ? "\"n/a\",\"n/a\"],\n" : "\"n/a\",\"n/a\",");
    }
  }
}

void FlickerUpdate::writeBody(DocumentFile& out) {
  char pstTime[kTimestampTextSize];
  char pltTime[kTimestampTextSize];
  sprint_out_ZUL_8byte_timestamp(pstTime, &pstTime_.value, timestamp_print_out_format);
  sprint_out_ZUL_8byte_timestamp(pltTime, &pltTime_.value, timestamp_print_out_format);
  out.append("\"runtime\":[\"");
  out.timestamp(resetPeakTime_.value);
  out.append("\",\"");
  out.timestamp(runtimeTime_.value);
  out.append("\",");
  // The countdowns divide as signed 32-bit numbers.
  const int pstSeconds = static_cast<int>(pstCountdown_.value);
  const int pltSeconds = static_cast<int>(pltCountdown_.value);
  out.printf("\"%d min %d sec\",", pstSeconds / 60, pstSeconds % 60);
  out.printf("\"%d min %d sec\",", pltSeconds / 60, pltSeconds % 60);
  const float nominalFrequency = frequencyType_.value != 0 ? 60.0f : 50.0f;
  out.printf("\"%.3f Hz\",\"%.3f Hz\", \"%.3f V\"],\n", nominalFrequency, frequency_.value,
             nominalVoltage_.value);
  out.printf("\"inst\":[\"%.3f\",\"%.3f V\",\"%.3f\",\"%.3f V\",\"%.3f\",\"%.3f V\"],\n",
             pinst_[0].value, voltage_[0].value, pinst_[1].value, voltage_[1].value,
             pinst_[2].value, voltage_[2].value);
  writeSeverities("shortterm", pst_, pstTime);
  writeSeverities("longterm", plt_, pltTime);
}
