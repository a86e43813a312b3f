#include "export/modbus/MeterReadings.h"

namespace modbus {
namespace {

struct SourceRow {
  Source source;
  const char* key;
};

// Where each source quantity comes from. Power factors are read from their
// published texts ("0.900 Lag"); energies are in Wh.
constexpr SourceRow kSourceRows[] = {
    {Source::kNone, ""},
    {Source::kCurrentA, "reading.1sec.current.a"},
    {Source::kCurrentB, "reading.1sec.current.b"},
    {Source::kCurrentC, "reading.1sec.current.c"},
    {Source::kVoltAN, "reading.1sec.volt.an"},
    {Source::kVoltBN, "reading.1sec.volt.bn"},
    {Source::kVoltCN, "reading.1sec.volt.cn"},
    {Source::kVoltAB, "reading.1sec.volt.ab"},
    {Source::kVoltBC, "reading.1sec.volt.bc"},
    {Source::kVoltCA, "reading.1sec.volt.ca"},
    {Source::kFrequency, "reading.1sec.freq"},
    {Source::kWattA, "reading.1sec.power.watt.a"},
    {Source::kWattB, "reading.1sec.power.watt.b"},
    {Source::kWattC, "reading.1sec.power.watt.c"},
    {Source::kWattTotal, "reading.1sec.power.watt.total"},
    {Source::kVaA, "reading.1sec.power.va.a"},
    {Source::kVaB, "reading.1sec.power.va.b"},
    {Source::kVaC, "reading.1sec.power.va.c"},
    {Source::kVaTotal, "reading.1sec.power.va.total"},
    {Source::kVarA, "reading.1sec.power.var.a"},
    {Source::kVarB, "reading.1sec.power.var.b"},
    {Source::kVarC, "reading.1sec.power.var.c"},
    {Source::kVarTotal, "reading.1sec.power.var.total"},
    {Source::kPfA, "reading.1sec.pf.a.string"},
    {Source::kPfB, "reading.1sec.pf.b.string"},
    {Source::kPfC, "reading.1sec.pf.c.string"},
    {Source::kPfTotal, "reading.1sec.pf.total.string"},
    {Source::kWhDelivered, "reading.1sec.energy.watthr.q14.total.sec"},
    {Source::kWhReceived, "reading.1sec.energy.watthr.q23.total.sec"},
};
static_assert(sizeof kSourceRows / sizeof kSourceRows[0] == kSourceCount,
              "one row per source, in the order of Source");

struct HookupRow {
  Hookup hookup;
  const char* name;
  bool delta;
};

// In the order of the meter's enumeration codes.
constexpr HookupRow kHookupRows[] = {
    {Hookup::kWye, "Wye", false},
    {Hookup::kDelta3Ct, "Delta 3 CTs", true},
    {Hookup::kDelta2Ct, "Delta 2 CTs", true},
    {Hookup::kWye25Element, "2.5 Element Wye", false},
    {Hookup::kFourWireDelta, "4 Wire Delta", false},
    {Hookup::kUnknown, "", false},
};

}  // namespace

void MeterReadings::clear() {
  for (Reading& reading : values) reading = Reading{};
  hookup = Hookup::kUnknown;
  serial[0] = '\0';
}

const char* sourceKey(Source source) {
  const size_t index = static_cast<size_t>(source);
  return index < kSourceCount ? kSourceRows[index].key : "";
}

const char* hookupName(Hookup hookup) {
  const size_t index = static_cast<size_t>(hookup);
  return index < sizeof kHookupRows / sizeof kHookupRows[0] ? kHookupRows[index].name : "";
}

Hookup hookupFromCode(unsigned code) {
  return code < static_cast<unsigned>(Hookup::kUnknown) ? kHookupRows[code].hookup
                                                        : Hookup::kUnknown;
}

bool isDelta(Hookup hookup) {
  const size_t index = static_cast<size_t>(hookup);
  return index < sizeof kHookupRows / sizeof kHookupRows[0] && kHookupRows[index].delta;
}

}  // namespace modbus
