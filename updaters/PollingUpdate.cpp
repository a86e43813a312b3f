#include "updaters/PollingUpdate.h"

#include <stdio.h>

#include "livedata/Globals.h"
#include "livedata/RuntimeLog.h"
#include "livedata/SharedKeys.h"
#include "platform/common_api.h"

namespace {

enum Family { kVolts, kCurrents, kWatts, kVars, kVas, kFamilies };

// A measurement family: key and message names, its channels in channels_ and its
// peaks (2: max, min; 4: positive max, positive min, negative max, negative min).
struct FamilyInfo {
  const char* keyName;      // as in "reading.1sec.<keyName>.<channel>"
  const char* messageName;  // as in "data.<messageName>.<channel>.avg"
  const char* arrayName;    // the document's array
  int first;
  int count;
  int peaks;
  bool flagsFirst;  // all validity flags are resolved before the values
};

const FamilyInfo kFamily[kFamilies] = {
    {"volt", "volt", "volts", 0, 7, 2, false},
    {"current", "current", "currents", 7, 5, 2, false},
    {"power.watt", "watt", "watts", 12, 4, 4, true},
    {"power.var", "var", "vars", 16, 4, 4, true},
    {"power.va", "va", "vas", 20, 4, 2, true},
};

// Channel names in keys and in messages (the auxiliary current is "x" in keys,
// "aux" in messages).
const char* const kChannelKey[24] = {"an", "bn", "cn", "ab",    "bc", "ca", "aux", "a",
                                     "b",  "c",  "n",  "x",     "a",  "b",  "c",   "total",
                                     "a",  "b",  "c",  "total", "a",  "b",  "c",   "total"};
const char* const kChannelMessage[24] = {"an", "bn", "cn", "ab",    "bc", "ca", "aux", "a",
                                         "b",  "c",  "n",  "aux",   "a",  "b",  "c",   "total",
                                         "a",  "b",  "c",  "total", "a",  "b",  "c",   "total"};

// Peak kinds: key prefixes, and message names for 2-peak and 4-peak families.
const char* const kPeakKey[4] = {"posmax", "posmin", "negmax", "negmin"};
const char* const kPeakMessage2[2] = {"max", "min"};
const char* const kPeakMessage4[4] = {"pmax", "pmin", "nmax", "nmin"};

// Output order of the peaks: the negative minimum comes before the negative maximum.
const int kPeakOutputOrder[4] = {0, 1, 3, 2};

// Voltage read orders: the an reading is read a second time, as are the bn peaks.
const int kVoltReadingOrder[8] = {0, 1, 2, 3, 4, 5, 6, 0};
const int kVoltPeakOrder[8] = {0, 1, 1, 2, 3, 4, 5, 6};
const int kCurrentOrder[5] = {0, 1, 2, 3, 4};
const int kPowerOrder[4] = {0, 1, 2, 3};

// The sampler's key: looked up with the others, read by the sampler thread.
constexpr char kDiginKey[] = "reading.digin.flag";

const char* const kHookupLine[5] = {
    "\"hookup\":\"Wye\",\n",          "\"hookup\":\"Delta 3CTs\",\n",
    "\"hookup\":\"Delta 2CTs\",\n",   "\"hookup\":\"2.5 Element WYE\",\n",
    "\"hookup\":\"4 Wire Delta\",\n",
};

}  // namespace

PollingUpdate::PollingUpdate()
    : DocumentUpdater(kDebugPolling, {"PollingUpdate init...\n", "PollingUpdate displayData...\n"},
                      8192),
      ledWaiter_("PollingUpdate") {
  DmKeyTable& k = keys();
  // The sampler's key first; its index is handed to the sampler after resolve().
  k.addLookup(diginLookup_, kDiginKey);
  // Before the channels: the thermal flag is looked up first and read second.
  k.addLookup(thermalValid_, "posmin.valid.thermal.freq");
  k.addLookup(frequency_, sharedkeys::kFrequency);
  k.addReadOfKey(frequency_, sharedkeys::kFlt64KeyFormat);
  k.addRead(thermalValid_,
            "dm_read_flt64 error on key \"posmin.valid.thermal.freq\" with error code= ");
  addChannelLookups();
  addChannelReads();
  // After the channels.
  k.add(powerFactors_[0], "reading.1sec.pf.a.string",
        "dm_read_flt64 error on key data.pf.a with error code= ");
  k.add(powerFactors_[1], "reading.1sec.pf.b.string",
        "dm_read_flt64 error on key data.pf.b with error code= ");
  k.add(powerFactors_[2], "reading.1sec.pf.c.string",
        "dm_read_flt64 error on key data.pf.c with error code= ");
  k.add(powerFactors_[3], "reading.1sec.pf.total.string",
        "dm_read_flt64 error on key data.pf.total with error code= ");
  k.add(powerFactorDisplay_, "dev.pf_displayment.setting.string",
        "dm_read_STRING error on \"data.pf.method\" with error code= ");
  addFrameKeys(kCommonFrameMessages);
  k.addKeyed(thermalPeakResetTime_, "sys.timestamp.reset_thermal_peak.max",
             "dm_read_timestamp_b8 error on \"%s\" with error code= ");
  ratios_.addTo(k);
  addEnumerationKeys();
}

PollingUpdate::~PollingUpdate() {
  stop(&ledThreadId_, ledWaiter_.eventFd());
  // Also end the updater thread here, before the members it uses go away.
  stop();
}

// A failed lookup of an enumeration marks it unavailable; the three are read
// (16-bit reads whose messages say uint32) only while all three are available.
void PollingUpdate::addEnumerationKeys() {
  DmKeyTable& k = keys();
  k.addLookupMarking(hookup_, "sys.enumeration.hookup", enumerationUnavailable_,
                     kHookupUnavailable);
  k.addLookupMarking(frequencyType_, "sys.enumeration.frequency_type", enumerationUnavailable_,
                     kFrequencyTypeUnavailable);
  k.addLookupMarking(phaseSequence_, "reading.02sec.volt.phase_sequence", enumerationUnavailable_,
                     kPhaseSequenceUnavailable);
  k.addReadWhile(enumerationsAvailable_, hookup_,
                 "dm_read_uint32 error on sys.enumeration.hookup with error code= ");
  k.addReadWhile(enumerationsAvailable_, frequencyType_,
                 "dm_read_uint32 error on sys.enumeration.frequency_type with error code= ");
  k.addReadWhile(enumerationsAvailable_, phaseSequence_,
                 "dm_read_uint32 error on reading.02sec.volt.phase_sequence with error code= ");
}

int PollingUpdate::initDmIndex() {
  enumerationUnavailable_ = 0;
  keys().resolve();
  diginIndex_.store(diginLookup_, std::memory_order_relaxed);
  enumerationsAvailable_ = enumerationUnavailable_ == 0;
  return 0;
}

// Per channel: one-second reading, thermal reading, then the peaks - flag and
// value in turn, or (powers and VAs) all flags before all values.
void PollingUpdate::addChannelLookups() {
  DmKeyTable& k = keys();
  for (const FamilyInfo& family : kFamily) {
    for (int c = family.first; c < family.first + family.count; ++c) {
      Channel& channel = channels_[c];
      const char* name = kChannelKey[c];
      k.addLookup(channel.reading, k.keepf("reading.1sec.%s.%s", family.keyName, name));
      k.addLookup(channel.thermal, k.keepf("reading.thermal.%s.%s", family.keyName, name));
      for (int pass = 0; pass < (family.flagsFirst ? 2 : 1); ++pass) {
        for (int p = 0; p < family.peaks; ++p) {
          if (!family.flagsFirst || pass == 0) {
            k.addLookup(channel.peaks[p].valid,
                        k.keepf("%s.valid.thermal.%s.%s", kPeakKey[p], family.keyName, name));
          }
          if (!family.flagsFirst || pass == 1) {
            k.addLookup(channel.peaks[p].value,
                        k.keepf("%s.thermal.%s.%s", kPeakKey[p], family.keyName, name));
          }
        }
      }
    }
  }
}

// The thermal readings are read only while their flag is set, then the
// one-second readings, then the peaks, each value only while its own flag is.
void PollingUpdate::addChannelReads() {
  addReadingReads(&Channel::thermal, &thermalValid_.value,
                  "dm_read_flt64 error on key \"avg.1sec.volt.%s\" with error code= ",
                  "dm_read_flt64 error on key data.%s.%s.avg with error code= ");
  addReadingReads(&Channel::reading, nullptr,
                  "dm_read_flt64 error on key \"reading.1sec.volt.%s\" with error code= ",
                  "dm_read_flt64 error on key data.%s.%s.reading with error code= ");
  addFamilyPeakReads(kVolts, kVoltPeakOrder, 8, 0, 1);
  addFamilyPeakReads(kCurrents, kCurrentOrder, 5, 0, 1);
  addFamilyPeakReads(kVolts, kVoltPeakOrder, 8, 1, 1);
  addFamilyPeakReads(kCurrents, kCurrentOrder, 5, 1, 1);
  addFamilyPeakReads(kWatts, kPowerOrder, 4, 0, 4);
  addFamilyPeakReads(kVars, kPowerOrder, 4, 0, 4);
  addFamilyPeakReads(kVas, kPowerOrder, 4, 0, 2);
}

// One reading of every channel: the volts in their read order (voltFormat names
// the channel), then the other families (otherFormat names family and channel).
// onlyWhile: null, or the flag the reads depend on.
void PollingUpdate::addReadingReads(DmKey<double> Channel::*record, const bool* onlyWhile,
                                    const char* voltFormat, const char* otherFormat) {
  DmKeyTable& k = keys();
  auto addRow = [&](int c, const char* message) {
    if (onlyWhile != nullptr) {
      k.addReadWhile(*onlyWhile, channels_[c].*record, message);
    } else {
      k.addRead(channels_[c].*record, message);
    }
  };
  for (int c : kVoltReadingOrder) addRow(c, k.keepf(voltFormat, kChannelMessage[c]));
  for (int f = kCurrents; f < kFamilies; ++f) {
    for (int c = kFamily[f].first; c < kFamily[f].first + kFamily[f].count; ++c) {
      addRow(c, k.keepf(otherFormat, kFamily[f].messageName, kChannelMessage[c]));
    }
  }
}

// Peaks firstPeak .. firstPeak + peakCount - 1 of the channels listed in order
// (positions within the family), channel by channel: the validity flag, then -
// only while the flag is set - the value.
void PollingUpdate::addFamilyPeakReads(int family, const int* order, int count, int firstPeak,
                                       int peakCount) {
  DmKeyTable& k = keys();
  const char* familyName = kFamily[family].messageName;
  for (int i = 0; i < count; ++i) {
    const int channel = kFamily[family].first + order[i];
    for (int p = firstPeak; p < firstPeak + peakCount; ++p) {
      // Powers name their peaks pmax, pmin, nmax, nmin; volts and currents max, min.
      const char* kind = family >= kWatts ? kPeakMessage4[p] : kPeakMessage2[p];
      const char* channelName = kChannelMessage[channel];
      Peak& peak = channels_[channel].peaks[p];
      k.addRead(peak.valid, k.keepf("dm_read_flt64 error on data.%s.%s.%s_valid with error code= ",
                                    familyName, channelName, kind));
      k.addReadWhile(peak.valid.value, peak.value,
                     k.keepf("dm_read_flt64 error on data.%s.%s.%s with error code= ", familyName,
                             channelName, kind));
    }
  }
}

int PollingUpdate::getData() {
  keys().read();
  return 0;
}

void PollingUpdate::writeBody(DocumentFile& out) {
  out.printf("\"frequency\":\"%.3f Hz\",\n", frequency_.value);
  out.append("\"digins\":[");
  for (int slot = 0; slot < kSamples; ++slot) {
    unsigned high = static_cast<unsigned>(samples_[slot].load(std::memory_order_relaxed)) >> 8;
    out.printf(slot < kSamples - 1 ? "\"%u\"," : "\"%u\"],\n", high);
  }
  const UnitSelection units = ratios_.units();
  writeFamily(kVolts, units.volts());
  writeFamily(kCurrents, units.amps());
  writeFamily(kWatts, units.powers());
  writeFamily(kVars, units.powers());
  writeFamily(kVas, units.powers());

  out.printf("\"pfs\":[\"%s\",\"%s\",\"%s\",\"%s\"],", powerFactors_[0].value,
             powerFactors_[1].value, powerFactors_[2].value, powerFactors_[3].value);
  out.printf("\"pf_display\":\"%s\",", powerFactorDisplay_.value);
  out.append("\n");
  writeEnumerations();
  out.append("\"last_thermal_peak_reset_time\":\"");
  out.timestamp(thermalPeakResetTime_.value);
  out.append("\",\n");
}

// One array: per channel the one-second reading (always a number), the thermal
// reading ("n/a" while thermal readings are invalid) and the peaks ("n/a" while
// their own flag is clear). Voltage and current arrays end with a newline, the
// power arrays without.
void PollingUpdate::writeFamily(int family, const Unit& unit) {
  const FamilyInfo& info = kFamily[family];
  const char* close = family <= kCurrents ? "],\n" : "],";
  document().printf("\"%s\":[", info.arrayName);
  int last = info.first + info.count - 1;
  for (int c = info.first; c <= last; ++c) {
    const Channel& channel = channels_[c];
    writeEntry(true, channel.reading.value, unit, ",");
    writeEntry(thermalValid_.value, channel.thermal.value, unit, ",");
    for (int i = 0; i < info.peaks; ++i) {
      int p = info.peaks == 4 ? kPeakOutputOrder[i] : i;
      bool lastEntry = c == last && i == info.peaks - 1;
      writeEntry(channel.peaks[p].valid.value, channel.peaks[p].value.value, unit,
                 lastEntry ? close : ",");
    }
  }
}

void PollingUpdate::writeEntry(bool available, double value, const Unit& unit, const char* end) {
  // The bytes of "\"%.3f%s\"%s" and "\"n/a\"%s", without parsing a format: this
  // is most of the document.
  DocumentFile& out = document();
  if (available) {
    out.append("\"", 1);
    out.appendFixed(value / unit.divisor, 3);
    out.append(unit.suffix);
    out.append("\"", 1);
  } else {
    out.append("\"n/a\"", 5);
  }
  out.append(end);
}

void PollingUpdate::writeEnumerations() {
  if (enumerationUnavailable_ != 0) {
    document().append(
        "\"hookup\":\"n/a\",\n\"nominalFrequency\":\"n/a\",\n\"phaseSequence\":\"n/a\",\n");
    return;
  }
  const unsigned short wiring = hookup_.value;
  document().append(wiring < 5 ? kHookupLine[wiring] : kHookupLine[0]);
  document().append(frequencyType_.value != 0 ? "\"nominalFrequency\":\"60 Hz\",\n"
                                              : "\"nominalFrequency\":\"50 Hz\",\n");
  document().append(phaseSequence_.value == 0 ? "\"phaseSequence\":\"ABC\",\n"
                                              : "\"phaseSequence\":\"CBA\",\n");
}

void* PollingUpdate::led_process_thread(void* self) {
  // Cancellation is accepted only at the sampler's sleep points.
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
  static_cast<PollingUpdate*>(self)->led_thread();
  return nullptr;
}

// Samples "reading.digin.flag" into the ring of five slots, five times per
// updater interval. A failed read leaves the slot as it was; the ring advances.
int PollingUpdate::led_thread() {
  cancellableSleepUs(1000000);
  if (!isRunning()) return 0;
  int slot = 0;
  for (;;) {
    unsigned short value = samples_[slot].load(std::memory_order_relaxed);
    unsigned int scratch = 0;
    int status =
        dm_read_uint16(&dm, diginIndex_.load(std::memory_order_relaxed), &value, 0, &scratch);
    if (status < 0) {
      fprintf(stderr, "dm_read_uint16 error on key \"%s\" with error code=%d\n", kDiginKey, status);
      runtime_log("dm_read_uint16 error on key \"%s\" with error code=%d\n", kDiginKey, status);
    } else {
      samples_[slot].store(value, std::memory_order_relaxed);
    }
    ledWaiter_.wait(getInterval() / 5);
    if (!isRunning()) return 0;
    slot = (slot + 1) % kSamples;
  }
}
