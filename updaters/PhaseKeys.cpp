#include "updaters/PhaseKeys.h"
#include "livedata/SharedKeys.h"

namespace {

using Phase = PhaseKeys::Phase;

// The quantities in lookup order: the key of phase p is key with the phase's
// channel (an/bn/cn, ab/bc/ca or a/b/c) in place of "%s"; the read error
// names the firmware's field data.phase<p>.<field> ("volt" for the three
// magnitudes).
struct Quantity {
  DmKey<double> Phase::*record;
  bool isPower;
  const char* key;
  const char* const* channels;
  const char* field;
};

const char* const kToNeutral[3] = {"an", "bn", "cn"};
const char* const kToPhase[3] = {"ab", "bc", "ca"};
const char* const kPhase[3] = {"a", "b", "c"};

const Quantity kQuantities[8] = {
    {&Phase::vln, false, "reading.1sec.volt.%s", kToNeutral, "volt"},
    {&Phase::vll, false, "reading.1sec.volt.%s", kToPhase, "volt"},
    {&Phase::current, false, "reading.1sec.current.%s", kPhase, "volt"},
    {&Phase::watt, true, "reading.1sec.power.watt.%s", kPhase, "watt"},
    {&Phase::va, true, "reading.1sec.power.va.%s", kPhase, "va"},
    {&Phase::vlnAngle, false, "reading.02sec.volt.%s.phase", kToNeutral, "vangle"},
    {&Phase::vllAngle, false, "reading.02sec.volt.%s.phase", kToPhase, "vangle_vpp"},
    {&Phase::currentAngle, false, "reading.02sec.current.%s.phase", kPhase, "iangle"},
};

enum { kVln, kVll, kCurrent, kWatt, kVa, kVlnAngle, kVllAngle, kCurrentAngle };

// Read order: groups of quantities, each group read phase by phase.
const int kReadGroups[3][5] = {
    {kVln, kVlnAngle, -1},
    {kVll, kVllAngle, -1},
    {kCurrent, kWatt, kVa, kCurrentAngle, -1},
};

}  // namespace

const char* const PhaseKeys::kFrameMessages[3] = {
    "dm_read_STRING error on \"%s\" with error code= ",
    "dm_read_timestamp_b8error on \"%s\" with error code= ",
    "dm_read_timestamp_b8 error on \"%s\" with error code= ",
};

void PhaseKeys::addLookups(DmKeyTable& table, Phase* phases, bool withPowers) {
  for (int p = 0; p < 3; ++p) {
    for (const Quantity& q : kQuantities) {
      if (q.isPower && !withPowers) continue;
      table.addLookup(phases[p].*q.record, table.keepf(q.key, q.channels[p]));
    }
  }
}

void PhaseKeys::addReads(DmKeyTable& table, Phase* phases, bool withPowers) {
  for (const int* group : kReadGroups) {
    for (int p = 0; p < 3; ++p) {
      for (const int* q = group; *q >= 0; ++q) {
        const Quantity& quantity = kQuantities[*q];
        if (quantity.isPower && !withPowers) continue;
        table.addRead(phases[p].*quantity.record,
                      table.keepf("dm_read_flt64 error on data.phase%s.%s with error code= ",
                                  kPhase[p], quantity.field));
      }
    }
  }
}

void PhaseKeys::addFrequencyAndPhases(DmKeyTable& table, DmKey<double>& frequency, Phase* phases,
                                      bool withPowers) {
  table.addKeyed(frequency, sharedkeys::kFrequency, sharedkeys::kFlt64KeyFormat);
  addLookups(table, phases, withPowers);
  addReads(table, phases, withPowers);
}
