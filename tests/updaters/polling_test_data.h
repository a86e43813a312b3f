// Shared inputs of the polling updater tests: a catalogue with all of the
// updater's keys and the expected document fragments for that catalogue, written
// by hand from the document format.
//
// Values: volts channel c (an=0 .. aux=6) reads (100+c)*1000 for the one-second
// reading, +125 thermal, +250 maximum, +375 minimum; currents (a=0 .. x=4) the
// same from (10+c)*1000. Powers: watts (a, b, c, total = 0..3) from (20+c)*1e6,
// vars from (30+c)*1e6, VAs from (40+c)*1e6, thermal +125000, positive max
// +250000, positive min +375000, negative max -(base+500000), negative min
// -(base+625000). Every number is a multiple of 1/8 after any scaling, so the
// three decimals are exact.
#ifndef TESTS_UPDATERS_POLLING_TEST_DATA_H_
#define TESTS_UPDATERS_POLLING_TEST_DATA_H_

#include <string>

namespace polling_test {

inline const char* catalog() {
  return R"(# polling updater keys
reading.digin.flag uint16 0
posmin.valid.thermal.freq boolean 1
reading.1sec.freq flt64 60.125
reading.1sec.volt.an flt64 100000
reading.thermal.volt.an flt64 100125
posmax.valid.thermal.volt.an boolean 1
posmax.thermal.volt.an flt64 100250
posmin.valid.thermal.volt.an boolean 1
posmin.thermal.volt.an flt64 100375
reading.1sec.volt.bn flt64 101000
reading.thermal.volt.bn flt64 101125
posmax.valid.thermal.volt.bn boolean 1
posmax.thermal.volt.bn flt64 101250
posmin.valid.thermal.volt.bn boolean 1
posmin.thermal.volt.bn flt64 101375
reading.1sec.volt.cn flt64 102000
reading.thermal.volt.cn flt64 102125
posmax.valid.thermal.volt.cn boolean 1
posmax.thermal.volt.cn flt64 102250
posmin.valid.thermal.volt.cn boolean 1
posmin.thermal.volt.cn flt64 102375
reading.1sec.volt.ab flt64 103000
reading.thermal.volt.ab flt64 103125
posmax.valid.thermal.volt.ab boolean 1
posmax.thermal.volt.ab flt64 103250
posmin.valid.thermal.volt.ab boolean 1
posmin.thermal.volt.ab flt64 103375
reading.1sec.volt.bc flt64 104000
reading.thermal.volt.bc flt64 104125
posmax.valid.thermal.volt.bc boolean 1
posmax.thermal.volt.bc flt64 104250
posmin.valid.thermal.volt.bc boolean 1
posmin.thermal.volt.bc flt64 104375
reading.1sec.volt.ca flt64 105000
reading.thermal.volt.ca flt64 105125
posmax.valid.thermal.volt.ca boolean 1
posmax.thermal.volt.ca flt64 105250
posmin.valid.thermal.volt.ca boolean 1
posmin.thermal.volt.ca flt64 105375
reading.1sec.volt.aux flt64 106000
reading.thermal.volt.aux flt64 106125
posmax.valid.thermal.volt.aux boolean 1
posmax.thermal.volt.aux flt64 106250
posmin.valid.thermal.volt.aux boolean 1
posmin.thermal.volt.aux flt64 106375
reading.1sec.current.a flt64 10000
reading.thermal.current.a flt64 10125
posmax.valid.thermal.current.a boolean 1
posmax.thermal.current.a flt64 10250
posmin.valid.thermal.current.a boolean 1
posmin.thermal.current.a flt64 10375
reading.1sec.current.b flt64 11000
reading.thermal.current.b flt64 11125
posmax.valid.thermal.current.b boolean 1
posmax.thermal.current.b flt64 11250
posmin.valid.thermal.current.b boolean 1
posmin.thermal.current.b flt64 11375
reading.1sec.current.c flt64 12000
reading.thermal.current.c flt64 12125
posmax.valid.thermal.current.c boolean 1
posmax.thermal.current.c flt64 12250
posmin.valid.thermal.current.c boolean 1
posmin.thermal.current.c flt64 12375
reading.1sec.current.n flt64 13000
reading.thermal.current.n flt64 13125
posmax.valid.thermal.current.n boolean 1
posmax.thermal.current.n flt64 13250
posmin.valid.thermal.current.n boolean 1
posmin.thermal.current.n flt64 13375
reading.1sec.current.x flt64 14000
reading.thermal.current.x flt64 14125
posmax.valid.thermal.current.x boolean 1
posmax.thermal.current.x flt64 14250
posmin.valid.thermal.current.x boolean 1
posmin.thermal.current.x flt64 14375
reading.1sec.power.watt.a flt64 20000000
reading.thermal.power.watt.a flt64 20125000
posmax.valid.thermal.power.watt.a boolean 1
posmin.valid.thermal.power.watt.a boolean 1
negmax.valid.thermal.power.watt.a boolean 1
negmin.valid.thermal.power.watt.a boolean 1
posmax.thermal.power.watt.a flt64 20250000
posmin.thermal.power.watt.a flt64 20375000
negmax.thermal.power.watt.a flt64 -20500000
negmin.thermal.power.watt.a flt64 -20625000
reading.1sec.power.watt.b flt64 21000000
reading.thermal.power.watt.b flt64 21125000
posmax.valid.thermal.power.watt.b boolean 1
posmin.valid.thermal.power.watt.b boolean 1
negmax.valid.thermal.power.watt.b boolean 1
negmin.valid.thermal.power.watt.b boolean 1
posmax.thermal.power.watt.b flt64 21250000
posmin.thermal.power.watt.b flt64 21375000
negmax.thermal.power.watt.b flt64 -21500000
negmin.thermal.power.watt.b flt64 -21625000
reading.1sec.power.watt.c flt64 22000000
reading.thermal.power.watt.c flt64 22125000
posmax.valid.thermal.power.watt.c boolean 1
posmin.valid.thermal.power.watt.c boolean 1
negmax.valid.thermal.power.watt.c boolean 1
negmin.valid.thermal.power.watt.c boolean 1
posmax.thermal.power.watt.c flt64 22250000
posmin.thermal.power.watt.c flt64 22375000
negmax.thermal.power.watt.c flt64 -22500000
negmin.thermal.power.watt.c flt64 -22625000
reading.1sec.power.watt.total flt64 23000000
reading.thermal.power.watt.total flt64 23125000
posmax.valid.thermal.power.watt.total boolean 1
posmin.valid.thermal.power.watt.total boolean 1
negmax.valid.thermal.power.watt.total boolean 1
negmin.valid.thermal.power.watt.total boolean 1
posmax.thermal.power.watt.total flt64 23250000
posmin.thermal.power.watt.total flt64 23375000
negmax.thermal.power.watt.total flt64 -23500000
negmin.thermal.power.watt.total flt64 -23625000
reading.1sec.power.var.a flt64 30000000
reading.thermal.power.var.a flt64 30125000
posmax.valid.thermal.power.var.a boolean 1
posmin.valid.thermal.power.var.a boolean 1
negmax.valid.thermal.power.var.a boolean 1
negmin.valid.thermal.power.var.a boolean 1
posmax.thermal.power.var.a flt64 30250000
posmin.thermal.power.var.a flt64 30375000
negmax.thermal.power.var.a flt64 -30500000
negmin.thermal.power.var.a flt64 -30625000
reading.1sec.power.var.b flt64 31000000
reading.thermal.power.var.b flt64 31125000
posmax.valid.thermal.power.var.b boolean 1
posmin.valid.thermal.power.var.b boolean 1
negmax.valid.thermal.power.var.b boolean 1
negmin.valid.thermal.power.var.b boolean 1
posmax.thermal.power.var.b flt64 31250000
posmin.thermal.power.var.b flt64 31375000
negmax.thermal.power.var.b flt64 -31500000
negmin.thermal.power.var.b flt64 -31625000
reading.1sec.power.var.c flt64 32000000
reading.thermal.power.var.c flt64 32125000
posmax.valid.thermal.power.var.c boolean 1
posmin.valid.thermal.power.var.c boolean 1
negmax.valid.thermal.power.var.c boolean 1
negmin.valid.thermal.power.var.c boolean 1
posmax.thermal.power.var.c flt64 32250000
posmin.thermal.power.var.c flt64 32375000
negmax.thermal.power.var.c flt64 -32500000
negmin.thermal.power.var.c flt64 -32625000
reading.1sec.power.var.total flt64 33000000
reading.thermal.power.var.total flt64 33125000
posmax.valid.thermal.power.var.total boolean 1
posmin.valid.thermal.power.var.total boolean 1
negmax.valid.thermal.power.var.total boolean 1
negmin.valid.thermal.power.var.total boolean 1
posmax.thermal.power.var.total flt64 33250000
posmin.thermal.power.var.total flt64 33375000
negmax.thermal.power.var.total flt64 -33500000
negmin.thermal.power.var.total flt64 -33625000
reading.1sec.power.va.a flt64 40000000
reading.thermal.power.va.a flt64 40125000
posmax.valid.thermal.power.va.a boolean 1
posmin.valid.thermal.power.va.a boolean 1
posmax.thermal.power.va.a flt64 40250000
posmin.thermal.power.va.a flt64 40375000
reading.1sec.power.va.b flt64 41000000
reading.thermal.power.va.b flt64 41125000
posmax.valid.thermal.power.va.b boolean 1
posmin.valid.thermal.power.va.b boolean 1
posmax.thermal.power.va.b flt64 41250000
posmin.thermal.power.va.b flt64 41375000
reading.1sec.power.va.c flt64 42000000
reading.thermal.power.va.c flt64 42125000
posmax.valid.thermal.power.va.c boolean 1
posmin.valid.thermal.power.va.c boolean 1
posmax.thermal.power.va.c flt64 42250000
posmin.thermal.power.va.c flt64 42375000
reading.1sec.power.va.total flt64 43000000
reading.thermal.power.va.total flt64 43125000
posmax.valid.thermal.power.va.total boolean 1
posmin.valid.thermal.power.va.total boolean 1
posmax.thermal.power.va.total flt64 43250000
posmin.thermal.power.va.total flt64 43375000
reading.1sec.pf.a.string string32 0.910 lag
reading.1sec.pf.b.string string32 0.920 lead
reading.1sec.pf.c.string string32 0.930 lag
reading.1sec.pf.total.string string32 0.940 lag
dev.pf_displayment.setting.string string32 IEEE
dev.designation string64 Line "7" \ west
reading.time.ltc ts8 2024-02-03 04:05:06
sys.ontime ts8 2024-01-01 00:00:01
sys.timestamp.reset_thermal_peak.max ts8 2023-06-07 08:09:10
dev.pt.pn.ratio uint32 1
dev.ct.abc.ratio uint32 1
sys.enumeration.hookup uint16 0
sys.enumeration.frequency_type uint16 1
reading.02sec.volt.phase_sequence uint16 0
)";
}

inline std::string header(const std::string& digins = "\"0\",\"0\",\"0\",\"0\",\"0\"") {
  return "{\n\"version\":{\t\"major\":0,\t\"minor\":1,\t\"micro\":6},\n"
         "\"frequency\":\"60.125 Hz\",\n"
         "\"digins\":[" + digins + "],\n";
}

const char kVoltsV[] =
    "\"volts\":["
    "\"100000.000 V\",\"100125.000 V\",\"100250.000 V\",\"100375.000 V\","
    "\"101000.000 V\",\"101125.000 V\",\"101250.000 V\",\"101375.000 V\","
    "\"102000.000 V\",\"102125.000 V\",\"102250.000 V\",\"102375.000 V\","
    "\"103000.000 V\",\"103125.000 V\",\"103250.000 V\",\"103375.000 V\","
    "\"104000.000 V\",\"104125.000 V\",\"104250.000 V\",\"104375.000 V\","
    "\"105000.000 V\",\"105125.000 V\",\"105250.000 V\",\"105375.000 V\","
    "\"106000.000 V\",\"106125.000 V\",\"106250.000 V\",\"106375.000 V\"],\n";

const char kVoltsKV[] =
    "\"volts\":["
    "\"100.000 kV\",\"100.125 kV\",\"100.250 kV\",\"100.375 kV\","
    "\"101.000 kV\",\"101.125 kV\",\"101.250 kV\",\"101.375 kV\","
    "\"102.000 kV\",\"102.125 kV\",\"102.250 kV\",\"102.375 kV\","
    "\"103.000 kV\",\"103.125 kV\",\"103.250 kV\",\"103.375 kV\","
    "\"104.000 kV\",\"104.125 kV\",\"104.250 kV\",\"104.375 kV\","
    "\"105.000 kV\",\"105.125 kV\",\"105.250 kV\",\"105.375 kV\","
    "\"106.000 kV\",\"106.125 kV\",\"106.250 kV\",\"106.375 kV\"],\n";

const char kCurrentsA[] =
    "\"currents\":["
    "\"10000.000 A\",\"10125.000 A\",\"10250.000 A\",\"10375.000 A\","
    "\"11000.000 A\",\"11125.000 A\",\"11250.000 A\",\"11375.000 A\","
    "\"12000.000 A\",\"12125.000 A\",\"12250.000 A\",\"12375.000 A\","
    "\"13000.000 A\",\"13125.000 A\",\"13250.000 A\",\"13375.000 A\","
    "\"14000.000 A\",\"14125.000 A\",\"14250.000 A\",\"14375.000 A\"],\n";

const char kCurrentsKA[] =
    "\"currents\":["
    "\"10.000 kA\",\"10.125 kA\",\"10.250 kA\",\"10.375 kA\","
    "\"11.000 kA\",\"11.125 kA\",\"11.250 kA\",\"11.375 kA\","
    "\"12.000 kA\",\"12.125 kA\",\"12.250 kA\",\"12.375 kA\","
    "\"13.000 kA\",\"13.125 kA\",\"13.250 kA\",\"13.375 kA\","
    "\"14.000 kA\",\"14.125 kA\",\"14.250 kA\",\"14.375 kA\"],\n";

// Powers: per channel one-second, thermal, positive max, positive min, negative
// min, negative max. The three power arrays end without a line end.
const char kPowersPlain[] =
    "\"watts\":["
    "\"20000000.000\",\"20125000.000\",\"20250000.000\",\"20375000.000\",\"-20625000.000\",\"-20500000.000\","
    "\"21000000.000\",\"21125000.000\",\"21250000.000\",\"21375000.000\",\"-21625000.000\",\"-21500000.000\","
    "\"22000000.000\",\"22125000.000\",\"22250000.000\",\"22375000.000\",\"-22625000.000\",\"-22500000.000\","
    "\"23000000.000\",\"23125000.000\",\"23250000.000\",\"23375000.000\",\"-23625000.000\",\"-23500000.000\"],"
    "\"vars\":["
    "\"30000000.000\",\"30125000.000\",\"30250000.000\",\"30375000.000\",\"-30625000.000\",\"-30500000.000\","
    "\"31000000.000\",\"31125000.000\",\"31250000.000\",\"31375000.000\",\"-31625000.000\",\"-31500000.000\","
    "\"32000000.000\",\"32125000.000\",\"32250000.000\",\"32375000.000\",\"-32625000.000\",\"-32500000.000\","
    "\"33000000.000\",\"33125000.000\",\"33250000.000\",\"33375000.000\",\"-33625000.000\",\"-33500000.000\"],"
    "\"vas\":["
    "\"40000000.000\",\"40125000.000\",\"40250000.000\",\"40375000.000\","
    "\"41000000.000\",\"41125000.000\",\"41250000.000\",\"41375000.000\","
    "\"42000000.000\",\"42125000.000\",\"42250000.000\",\"42375000.000\","
    "\"43000000.000\",\"43125000.000\",\"43250000.000\",\"43375000.000\"],";

const char kPowersKilo[] =
    "\"watts\":["
    "\"20000.000 k\",\"20125.000 k\",\"20250.000 k\",\"20375.000 k\",\"-20625.000 k\",\"-20500.000 k\","
    "\"21000.000 k\",\"21125.000 k\",\"21250.000 k\",\"21375.000 k\",\"-21625.000 k\",\"-21500.000 k\","
    "\"22000.000 k\",\"22125.000 k\",\"22250.000 k\",\"22375.000 k\",\"-22625.000 k\",\"-22500.000 k\","
    "\"23000.000 k\",\"23125.000 k\",\"23250.000 k\",\"23375.000 k\",\"-23625.000 k\",\"-23500.000 k\"],"
    "\"vars\":["
    "\"30000.000 k\",\"30125.000 k\",\"30250.000 k\",\"30375.000 k\",\"-30625.000 k\",\"-30500.000 k\","
    "\"31000.000 k\",\"31125.000 k\",\"31250.000 k\",\"31375.000 k\",\"-31625.000 k\",\"-31500.000 k\","
    "\"32000.000 k\",\"32125.000 k\",\"32250.000 k\",\"32375.000 k\",\"-32625.000 k\",\"-32500.000 k\","
    "\"33000.000 k\",\"33125.000 k\",\"33250.000 k\",\"33375.000 k\",\"-33625.000 k\",\"-33500.000 k\"],"
    "\"vas\":["
    "\"40000.000 k\",\"40125.000 k\",\"40250.000 k\",\"40375.000 k\","
    "\"41000.000 k\",\"41125.000 k\",\"41250.000 k\",\"41375.000 k\","
    "\"42000.000 k\",\"42125.000 k\",\"42250.000 k\",\"42375.000 k\","
    "\"43000.000 k\",\"43125.000 k\",\"43250.000 k\",\"43375.000 k\"],";

const char kPowersMega[] =
    "\"watts\":["
    "\"20.000 M\",\"20.125 M\",\"20.250 M\",\"20.375 M\",\"-20.625 M\",\"-20.500 M\","
    "\"21.000 M\",\"21.125 M\",\"21.250 M\",\"21.375 M\",\"-21.625 M\",\"-21.500 M\","
    "\"22.000 M\",\"22.125 M\",\"22.250 M\",\"22.375 M\",\"-22.625 M\",\"-22.500 M\","
    "\"23.000 M\",\"23.125 M\",\"23.250 M\",\"23.375 M\",\"-23.625 M\",\"-23.500 M\"],"
    "\"vars\":["
    "\"30.000 M\",\"30.125 M\",\"30.250 M\",\"30.375 M\",\"-30.625 M\",\"-30.500 M\","
    "\"31.000 M\",\"31.125 M\",\"31.250 M\",\"31.375 M\",\"-31.625 M\",\"-31.500 M\","
    "\"32.000 M\",\"32.125 M\",\"32.250 M\",\"32.375 M\",\"-32.625 M\",\"-32.500 M\","
    "\"33.000 M\",\"33.125 M\",\"33.250 M\",\"33.375 M\",\"-33.625 M\",\"-33.500 M\"],"
    "\"vas\":["
    "\"40.000 M\",\"40.125 M\",\"40.250 M\",\"40.375 M\","
    "\"41.000 M\",\"41.125 M\",\"41.250 M\",\"41.375 M\","
    "\"42.000 M\",\"42.125 M\",\"42.250 M\",\"42.375 M\","
    "\"43.000 M\",\"43.125 M\",\"43.250 M\",\"43.375 M\"],";

const char kPowerFactors[] =
    "\"pfs\":[\"0.910 lag\",\"0.920 lead\",\"0.930 lag\",\"0.940 lag\"],\"pf_display\":\"IEEE\",\n";

const char kEnumerations[] =
    "\"hookup\":\"Wye\",\n\"nominalFrequency\":\"60 Hz\",\n\"phaseSequence\":\"ABC\",\n";

const char kTail[] =
    "\"last_thermal_peak_reset_time\":\"2023-06-07 08:09:10\",\n"
    "\"meterDesignation\":\"Line \\\"7\\\" \\\\ west\",\n"
    "\"dateTime\":\"2024-02-03 04:05:06\",\n"
    "\"powerOnTime\":\"2024-01-01 00:00:01\"\n"
    "}\n";

// The whole document from its parts.
inline std::string document(const std::string& volts, const std::string& currents,
                            const std::string& powers,
                            const std::string& enumerations = kEnumerations,
                            const std::string& head = header()) {
  return head + volts + currents + powers + kPowerFactors + enumerations + kTail;
}

}  // namespace polling_test

#endif  // TESTS_UPDATERS_POLLING_TEST_DATA_H_
