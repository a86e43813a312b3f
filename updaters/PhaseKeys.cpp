#include "updaters/PhaseKeys.h"

namespace {

using Phase = PhaseKeys::Phase;

// The quantities in lookup order, with their keys for phases a, b, c and read
// messages ("volt" for the three magnitudes).
struct Quantity {
  DmKey<double> Phase::*record;
  bool isPower;
  const char* keys[3];
  const char* messages[3];
};

#define PHASE_MESSAGES(field)                                   \
  {"dm_read_flt64 error on data.phasea." field " with error code= ", \
   "dm_read_flt64 error on data.phaseb." field " with error code= ", \
   "dm_read_flt64 error on data.phasec." field " with error code= "}

const Quantity kQuantities[8] = {
    {&Phase::vln, false, {"reading.1sec.volt.an", "reading.1sec.volt.bn", "reading.1sec.volt.cn"},
     PHASE_MESSAGES("volt")},
    {&Phase::vll, false, {"reading.1sec.volt.ab", "reading.1sec.volt.bc", "reading.1sec.volt.ca"},
     PHASE_MESSAGES("volt")},
    {&Phase::current, false,
     {"reading.1sec.current.a", "reading.1sec.current.b", "reading.1sec.current.c"},
     PHASE_MESSAGES("volt")},
    {&Phase::watt, true,
     {"reading.1sec.power.watt.a", "reading.1sec.power.watt.b", "reading.1sec.power.watt.c"},
     PHASE_MESSAGES("watt")},
    {&Phase::va, true,
     {"reading.1sec.power.va.a", "reading.1sec.power.va.b", "reading.1sec.power.va.c"},
     PHASE_MESSAGES("va")},
    {&Phase::vlnAngle, false,
     {"reading.02sec.volt.an.phase", "reading.02sec.volt.bn.phase", "reading.02sec.volt.cn.phase"},
     PHASE_MESSAGES("vangle")},
    {&Phase::vllAngle, false,
     {"reading.02sec.volt.ab.phase", "reading.02sec.volt.bc.phase", "reading.02sec.volt.ca.phase"},
     PHASE_MESSAGES("vangle_vpp")},
    {&Phase::currentAngle, false,
     {"reading.02sec.current.a.phase", "reading.02sec.current.b.phase",
      "reading.02sec.current.c.phase"},
     PHASE_MESSAGES("iangle")},
};

#undef PHASE_MESSAGES

enum { kVln, kVll, kCurrent, kWatt, kVa, kVlnAngle, kVllAngle, kCurrentAngle };

// Read order: groups of quantities, each group read phase by phase.
const int kReadGroups[3][5] = {
    {kVln, kVlnAngle, -1},
    {kVll, kVllAngle, -1},
    {kCurrent, kWatt, kVa, kCurrentAngle, -1},
};

}  // namespace

const char* const PhaseKeys::kFrameMessages[3] = {
    "dm_read_STRING error on \"dev.designation\" with error code= ",
    "dm_read_timestamp_b8error on \"reading.time.ltc\" with error code= ",
    "dm_read_timestamp_b8 error on \"sys.ontime\" with error code= ",
};

void PhaseKeys::addLookups(DmKeyTable& table, Phase* phases, bool withPowers) {
  for (int p = 0; p < 3; ++p) {
    for (const Quantity& q : kQuantities) {
      if (q.isPower && !withPowers) continue;
      table.addLookup(phases[p].*q.record, q.keys[p]);
    }
  }
}

void PhaseKeys::addReads(DmKeyTable& table, Phase* phases, bool withPowers) {
  for (const int* group : kReadGroups) {
    for (int p = 0; p < 3; ++p) {
      for (const int* q = group; *q >= 0; ++q) {
        const Quantity& quantity = kQuantities[*q];
        if (quantity.isPower && !withPowers) continue;
        table.addRead(phases[p].*quantity.record, quantity.messages[p]);
      }
    }
  }
}

void PhaseKeys::addFrequencyAndPhases(DmKeyTable& table, DmKey<double>& frequency,
                                      Phase* phases, bool withPowers) {
  table.add(frequency, "reading.1sec.freq",
            "dm_read_flt64 error on key \"reading.1sec.freq\" with error code= ");
  addLookups(table, phases, withPowers);
  addReads(table, phases, withPowers);
}
