#include "updaters/FlickerUpdate.h"

#include "livedata/Globals.h"
#include "livedata/SharedKeys.h"
#include "livedata/Timestamp.h"

namespace {

const char* const kPinstKeys[3] = {"reading.flicker.pinst.a", "reading.flicker.pinst.b",
                                   "reading.flicker.pinst.c"};
const char kPhaseLetters[] = "abc";

// Per kind (Pst, Plt): name in keys and fields, severity keys of phases a, b, c,
// validity flag and its read error (which names the flt64 read although the
// flag is a boolean), and the time of the values.
const char* const kKindNames[2] = {"pst", "plt"};
const char* const kSeverityKeys[2][3] = {
    {"reading.flicker.pst.a", "reading.flicker.pst.b", "reading.flicker.pst.c"},
    {"reading.flicker.plt.a", "reading.flicker.plt.b", "reading.flicker.plt.c"},
};
const char* const kValidKeys[2] = {"reading.valid.pst", "reading.valid.plt"};
const char* const kValidMessages[2] = {
    "dm_read_flt64 error on pst_valid_dm_index key with error code= ",
    "dm_read_flt64 error on plt_valid_dm_index key with error code= "};
const char* const kTimeKeys[2] = {"reading.flicker.timestamp.pst", "reading.flicker.timestamp.plt"};
// Both time reads report the same (misspelt) key; the firmware's text.
const char kSeverityTimeMessage[] =
    "dm_read_zul_timestamp_b8 error on key \"rreading.1sec.time\" with error code= ";

// Read messages that name the record's key in quotes.
const char kFlt32Message[] = "dm_read_flt32 error on key \"%s\" with error code= ";
const char kTimestampMessage[] = "dm_read_zul_timestamp_b8 error on key \"%s\" with error code= ";
const char kUint32Message[] = "dm_read_uint32 error on key \"%s\" with error code= ";

}  // namespace

FlickerUpdate::FlickerUpdate()
    : DocumentUpdater(kDebugFlicker, {"FlickerUpdate init...\n", "Flicker displayData...\n"}) {
  addPlainKeys();
  for (int kind = kPst; kind <= kPlt; ++kind) addSeverityKeys(kind);
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
  k.addLookup(runtimeTime_, sharedkeys::kClock);
  k.addLookup(pstCountdown_, "reading.flicker.countdown_sec.pst");
  k.addLookup(pltCountdown_, "reading.flicker.countdown_sec.plt");
  k.addLookup(frequencyType_, "sys.enumeration.frequency_type");
  k.addLookup(frequency_, sharedkeys::kFrequency);
  k.addLookup(nominalVoltage_, "setting.en50160.nominal_voltage");
  for (int p = 0; p < 3; ++p) k.addLookup(pinst_[p], kPinstKeys[p]);
  for (int p = 0; p < 3; ++p) voltages_.addLookup(k, Voltages::kPhaseToNeutral, p);
  for (int p = 0; p < 3; ++p) voltages_.addLookup(k, Voltages::kPhaseToPhase, p);
  voltages_.setReadMessages(k, kFlt32Message);
  k.addReadOfKey(resetPeakTime_, kTimestampMessage);
  k.addReadOfKey(runtimeTime_, kTimestampMessage);
  k.addReadOfKey(pltCountdown_, kTimestampMessage);
  k.addReadOfKey(pstCountdown_, kTimestampMessage);
  k.addReadOfKey(frequencyType_, kUint32Message);
  k.addReadOfKey(frequency_, kFlt32Message);
  k.addReadOfKey(nominalVoltage_, kFlt32Message);
  for (int p = 0; p < 3; ++p) k.addReadOfKey(pinst_[p], kFlt32Message);
  plainReads_ = k.readCount();
}

// Lookups: phase A's Pst value comes before both validity flags, then per phase
// the value and its extremes, then the time. Reads: the kind's flag, per phase
// the value and its extremes, the time.
void FlickerUpdate::addSeverityKeys(int kind) {
  DmKeyTable& k = keys();
  if (kind == kPst) {
    k.addLookup(severity_[kPst][0].value, kSeverityKeys[kPst][0]);
    k.addLookup(valid_[kPst], kValidKeys[kPst]);
    k.addLookup(valid_[kPlt], kValidKeys[kPlt]);
  }
  k.addRead(valid_[kind], kValidMessages[kind]);
  for (int p = 0; p < 3; ++p) {
    Severity& severity = severity_[kind][p];
    if (kind != kPst || p != 0) k.addLookup(severity.value, kSeverityKeys[kind][p]);
    k.addReadOfKey(severity.value, kFlt32Message);
    addExtremeKeys(kind, p, severity.max, "max");
    addExtremeKeys(kind, p, severity.min, "min");
  }
  k.addLookup(time_[kind], kTimeKeys[kind]);
  k.addRead(time_[kind], kSeverityTimeMessage);
}

// Looked up value, flag, time; read flag, value, time. The read errors name
// the firmware's fields (pstmaxa_dm_index ...), not keys.
void FlickerUpdate::addExtremeKeys(int kind, int phase, Extreme& extreme, const char* bound) {
  DmKeyTable& k = keys();
  const char* name = kKindNames[kind];
  const char letter = kPhaseLetters[phase];
  k.addLookup(extreme.value, k.keepf("pos%s.flicker.%s.%c", bound, name, letter));
  k.addLookup(extreme.valid, k.keepf("pos%s.valid.flicker.%s.%c", bound, name, letter));
  k.addLookup(extreme.time, k.keepf("pos%s.timestamp.flicker.%s.%c", bound, name, letter));
  k.addRead(extreme.valid,
            k.keepf("dm_read_flt64 error on %s%s%c_valid_dm_index key with error code= ", name,
                    bound, letter));
  k.addRead(
      extreme.value,
      k.keepf("dm_read_flt32 error on %s%s%c_dm_index key with error code= ", name, bound, letter));
  k.addRead(extreme.time,
            k.keepf("dm_read_zul_timestamp_b8 error on %s%s%c_time_dm_index key with error code= ",
                    name, bound, letter));
}

// The voltages come between the plain keys and the severities.
int FlickerUpdate::getData() {
  keys().read(0, plainReads_);
  voltages_.read();
  keys().read(plainReads_, keys().readCount());
  return 0;
}

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
  sprint_out_ZUL_8byte_timestamp(pstTime, &time_[kPst].value, timestamp_print_out_format);
  sprint_out_ZUL_8byte_timestamp(pltTime, &time_[kPlt].value, timestamp_print_out_format);
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
             pinst_[0].value, voltages_[0], pinst_[1].value, voltages_[1], pinst_[2].value,
             voltages_[2]);
  writeSeverities("shortterm", severity_[kPst], pstTime);
  writeSeverities("longterm", severity_[kPlt], pltTime);
}
