// Golden tests of "polling_data.json": whole documents compared byte for byte
// over many datamap states, and the exact error lines of lookups and reads.
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "livedata/Globals.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"
#include "tests/updaters/UpdaterFixture.h"
#include "tests/updaters/polling_test_data.h"
#include "updaters/PollingUpdate.h"

namespace {

using testsupport::readFile;
using testsupport::StreamCapture;
using updatertest::UpdaterFixture;

class PollingDocumentTest : public UpdaterFixture<PollingUpdate> {
 protected:
  PollingDocumentTest() : UpdaterFixture("polling_data.json", polling_test::catalog()) {}
};

using namespace polling_test;

TEST_F(PollingDocumentTest, FullMapWithUnitRatiosGivesPlainUnitsAndNoErrors) {
  EXPECT_EQ("", start());
  std::string errors;
  EXPECT_EQ(document(kVoltsV, kCurrentsA, kPowersPlain), cycle(&errors));
  EXPECT_EQ("", errors);
}

struct UnitCase {
  updatertest::Ratios ratios;
  const char* volts;
  const char* currents;
  const char* powers;
};

using PollingUnitTest = updatertest::WithCases<PollingDocumentTest, UnitCase>;

TEST_P(PollingUnitTest, RatiosChooseUnits) {
  start();
  EXPECT_EQ(document(GetParam().volts, GetParam().currents, GetParam().powers),
            cycleWithRatios(GetParam().ratios));
}

INSTANTIATE_TEST_SUITE_P(
    Boundaries, PollingUnitTest,
    ::testing::Values(UnitCase{{"5", "10"}, kVoltsV, kCurrentsA, kPowersPlain},
                      UnitCase{{"6", "10"}, kVoltsKV, kCurrentsA, kPowersKilo},
                      UnitCase{{"5", "11"}, kVoltsV, kCurrentsKA, kPowersKilo},
                      UnitCase{{"6", "11"}, kVoltsKV, kCurrentsKA, kPowersMega},
                      UnitCase{{"4000000000", "4000000000"}, kVoltsKV, kCurrentsKA, kPowersMega},
                      UnitCase{{"0", "0"}, kVoltsV, kCurrentsA, kPowersPlain}));

TEST_F(PollingDocumentTest, ThermalInvalidAndClearedFlagsGiveNotAvailableEntries) {
  start();
  map_->set("posmin.valid.thermal.freq", "0");
  map_->set("posmax.valid.thermal.volt.bn", "0");
  map_->set("posmin.valid.thermal.current.x", "0");
  map_->set("negmax.valid.thermal.power.watt.total", "0");
  map_->set("posmin.valid.thermal.power.var.a", "0");
  map_->set("posmin.valid.thermal.power.va.total", "0");
  // Values behind a clear flag are not read: their faults stay silent.
  map_->fail("reading.thermal.volt.an", -7);
  map_->fail("reading.thermal.power.va.c", -7);
  map_->fail("posmax.thermal.volt.bn", -7);
  map_->fail("negmax.thermal.power.watt.total", -7);
  const char volts[] =
      "\"volts\":["
      "\"100000.000 V\",\"n/a\",\"100250.000 V\",\"100375.000 V\","
      "\"101000.000 V\",\"n/a\",\"n/a\",\"101375.000 V\","
      "\"102000.000 V\",\"n/a\",\"102250.000 V\",\"102375.000 V\","
      "\"103000.000 V\",\"n/a\",\"103250.000 V\",\"103375.000 V\","
      "\"104000.000 V\",\"n/a\",\"104250.000 V\",\"104375.000 V\","
      "\"105000.000 V\",\"n/a\",\"105250.000 V\",\"105375.000 V\","
      "\"106000.000 V\",\"n/a\",\"106250.000 V\",\"106375.000 V\"],\n";
  const char currents[] =
      "\"currents\":["
      "\"10000.000 A\",\"n/a\",\"10250.000 A\",\"10375.000 A\","
      "\"11000.000 A\",\"n/a\",\"11250.000 A\",\"11375.000 A\","
      "\"12000.000 A\",\"n/a\",\"12250.000 A\",\"12375.000 A\","
      "\"13000.000 A\",\"n/a\",\"13250.000 A\",\"13375.000 A\","
      "\"14000.000 A\",\"n/a\",\"14250.000 A\",\"n/a\"],\n";
  const char powers[] =
      "\"watts\":["
      "\"20000000.000\",\"n/a\",\"20250000.000\",\"20375000.000\",\"-20625000.000\",\"-20500000.000\","
      "\"21000000.000\",\"n/a\",\"21250000.000\",\"21375000.000\",\"-21625000.000\",\"-21500000.000\","
      "\"22000000.000\",\"n/a\",\"22250000.000\",\"22375000.000\",\"-22625000.000\",\"-22500000.000\","
      "\"23000000.000\",\"n/a\",\"23250000.000\",\"23375000.000\",\"-23625000.000\",\"n/a\"],"
      "\"vars\":["
      "\"30000000.000\",\"n/a\",\"30250000.000\",\"n/a\",\"-30625000.000\",\"-30500000.000\","
      "\"31000000.000\",\"n/a\",\"31250000.000\",\"31375000.000\",\"-31625000.000\",\"-31500000.000\","
      "\"32000000.000\",\"n/a\",\"32250000.000\",\"32375000.000\",\"-32625000.000\",\"-32500000.000\","
      "\"33000000.000\",\"n/a\",\"33250000.000\",\"33375000.000\",\"-33625000.000\",\"-33500000.000\"],"
      "\"vas\":["
      "\"40000000.000\",\"n/a\",\"40250000.000\",\"40375000.000\","
      "\"41000000.000\",\"n/a\",\"41250000.000\",\"41375000.000\","
      "\"42000000.000\",\"n/a\",\"42250000.000\",\"42375000.000\","
      "\"43000000.000\",\"n/a\",\"43250000.000\",\"n/a\"],";
  std::string errors;
  EXPECT_EQ(document(volts, currents, powers), cycle(&errors));
  EXPECT_EQ("", errors);
}

TEST_F(PollingDocumentTest, NegativeEntriesWithKiloUnits) {
  start();
  map_->set("dev.pt.pn.ratio", "6");
  map_->set("negmin.valid.thermal.power.watt.a", "0");
  std::string powers = kPowersKilo;
  std::string from = "\"-20625.000 k\",\"-20500.000 k\"";
  powers.replace(powers.find(from), from.size(), "\"n/a\",\"-20500.000 k\"");
  EXPECT_EQ(document(kVoltsKV, kCurrentsA, powers), cycle());
}

struct HookupCase {
  const char* value;
  const char* line;
};

using PollingHookupTest = updatertest::WithCases<PollingDocumentTest, HookupCase>;

TEST_P(PollingHookupTest, HookupText) {
  start();
  map_->set("sys.enumeration.hookup", GetParam().value);
  std::string enumerations = std::string(GetParam().line) +
                             "\"nominalFrequency\":\"60 Hz\",\n\"phaseSequence\":\"ABC\",\n";
  EXPECT_EQ(document(kVoltsV, kCurrentsA, kPowersPlain, enumerations), cycle());
}

INSTANTIATE_TEST_SUITE_P(
    Values, PollingHookupTest,
    ::testing::Values(HookupCase{"0", "\"hookup\":\"Wye\",\n"},
                      HookupCase{"1", "\"hookup\":\"Delta 3CTs\",\n"},
                      HookupCase{"2", "\"hookup\":\"Delta 2CTs\",\n"},
                      HookupCase{"3", "\"hookup\":\"2.5 Element WYE\",\n"},
                      HookupCase{"4", "\"hookup\":\"4 Wire Delta\",\n"},
                      HookupCase{"5", "\"hookup\":\"Wye\",\n"},
                      HookupCase{"6", "\"hookup\":\"Wye\",\n"},
                      HookupCase{"65535", "\"hookup\":\"Wye\",\n"}));

TEST_F(PollingDocumentTest, FrequencyTypeZeroAndReversedPhaseSequence) {
  start();
  map_->set("sys.enumeration.hookup", "4");
  map_->set("sys.enumeration.frequency_type", "0");
  map_->set("reading.02sec.volt.phase_sequence", "1");
  EXPECT_EQ(document(kVoltsV, kCurrentsA, kPowersPlain,
                     "\"hookup\":\"4 Wire Delta\",\n\"nominalFrequency\":\"50 Hz\",\n"
                     "\"phaseSequence\":\"CBA\",\n"),
            cycle());
  map_->set("sys.enumeration.frequency_type", "2");
  map_->set("reading.02sec.volt.phase_sequence", "2");
  EXPECT_EQ(document(kVoltsV, kCurrentsA, kPowersPlain,
                     "\"hookup\":\"4 Wire Delta\",\n\"nominalFrequency\":\"60 Hz\",\n"
                     "\"phaseSequence\":\"CBA\",\n"),
            cycle());
}

const char kEnumerationsUnavailable[] =
    "\"hookup\":\"n/a\",\n\"nominalFrequency\":\"n/a\",\n\"phaseSequence\":\"n/a\",\n";

struct MissingEnumerationCase {
  const char* key;
  unsigned bits;
};

using PollingMissingEnumerationTest =
    updatertest::WithCases<PollingDocumentTest, MissingEnumerationCase>;

TEST_P(PollingMissingEnumerationTest, OneMissingKeyTurnsAllThreeUnavailable) {
  std::string errors = start(catalogLacking({GetParam().key}));
  EXPECT_EQ(std::string("dm_get_info error on key \"") + GetParam().key +
                "\" with error code= -2\n",
            errors);
  EXPECT_EQ(GetParam().bits, updater_->enumerationUnavailable());
  // The enumerations are no longer read at all: their faults stay silent.
  for (const char* key : {"sys.enumeration.hookup", "sys.enumeration.frequency_type",
                          "reading.02sec.volt.phase_sequence"}) {
    if (strcmp(key, GetParam().key) != 0) map_->fail(key, -7);
  }
  EXPECT_EQ(document(kVoltsV, kCurrentsA, kPowersPlain, kEnumerationsUnavailable), cycle(&errors));
  EXPECT_EQ("", errors);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, PollingMissingEnumerationTest,
    ::testing::Values(MissingEnumerationCase{"sys.enumeration.hookup", 1u},
                      MissingEnumerationCase{"sys.enumeration.frequency_type", 2u},
                      MissingEnumerationCase{"reading.02sec.volt.phase_sequence", 4u}));

TEST_F(PollingDocumentTest, MissingKeysAtInitAndTheirReadErrors) {
  std::string errors =
      start(catalogLacking({"reading.digin.flag", "posmax.thermal.volt.cn",
                            "negmin.valid.thermal.power.var.total", "dev.designation"}));
  EXPECT_EQ(
      "dm_get_info error on key \"reading.digin.flag\" with error code= -2\n"
      "dm_get_info error on key \"posmax.thermal.volt.cn\" with error code= -2\n"
      "dm_get_info error on key \"negmin.valid.thermal.power.var.total\" with error code= -2\n"
      "dm_get_info error on key \"dev.designation\" with error code= -2\n",
      errors);
  std::string volts = kVoltsV;
  volts.replace(volts.find("\"102250.000 V\""), 14, "\"0.000 V\"");
  std::string powers = kPowersPlain;
  powers.replace(powers.find("\"-33625000.000\""), 15, "\"n/a\"");
  std::string tail = kTail;
  std::string expected = document(volts, kCurrentsA, powers);
  std::string designation = "Line \\\"7\\\" \\\\ west";
  expected.replace(expected.find(designation), designation.size(), "");
  EXPECT_EQ(expected, cycle(&errors));
  EXPECT_EQ(
      "dm_read_flt64 error on data.volt.cn.max with error code= -3\n"
      "dm_read_flt64 error on data.var.total.nmin_valid with error code= -3\n"
      "dm_read_STRING error on \"dev.designation\" with error code= -3\n",
      errors);
}

TEST_F(PollingDocumentTest, ReadFaultsReportExactLinesAndKeepOldValues) {
  start();
  std::string good = cycle();
  ASSERT_EQ(document(kVoltsV, kCurrentsA, kPowersPlain), good);
  const char* failing[] = {"reading.1sec.freq",
                           "posmin.valid.thermal.freq",
                           "reading.thermal.volt.an",
                           "reading.thermal.current.x",
                           "reading.thermal.power.va.total",
                           "reading.1sec.volt.an",
                           "reading.1sec.power.watt.total",
                           "posmax.valid.thermal.volt.bn",
                           "posmin.thermal.volt.bn",
                           "posmin.thermal.current.x",
                           "negmin.thermal.power.watt.a",
                           "negmax.valid.thermal.power.var.c",
                           "posmin.thermal.power.va.b",
                           "reading.1sec.pf.total.string",
                           "dev.pf_displayment.setting.string",
                           "dev.designation",
                           "sys.timestamp.reset_thermal_peak.max",
                           "dev.ct.abc.ratio",
                           "reading.02sec.volt.phase_sequence"};
  // New values behind failing reads never reach the document.
  map_->set("reading.1sec.freq", "50");
  map_->set("reading.1sec.volt.an", "1");
  map_->set("posmin.thermal.volt.bn", "2");
  map_->set("dev.designation", "changed");
  map_->set("dev.ct.abc.ratio", "100");
  map_->set("reading.02sec.volt.phase_sequence", "1");
  for (const char* key : failing) map_->fail(key, -7);
  std::string errors;
  EXPECT_EQ(good, cycle(&errors));
  EXPECT_EQ(
      "dm_read_flt64 error on key \"reading.1sec.freq\" with error code= -7\n"
      "dm_read_flt64 error on key \"posmin.valid.thermal.freq\" with error code= -7\n"
      "dm_read_flt64 error on key \"avg.1sec.volt.an\" with error code= -7\n"
      "dm_read_flt64 error on key \"avg.1sec.volt.an\" with error code= -7\n"
      "dm_read_flt64 error on key data.current.aux.avg with error code= -7\n"
      "dm_read_flt64 error on key data.va.total.avg with error code= -7\n"
      "dm_read_flt64 error on key \"reading.1sec.volt.an\" with error code= -7\n"
      "dm_read_flt64 error on key \"reading.1sec.volt.an\" with error code= -7\n"
      "dm_read_flt64 error on key data.watt.total.reading with error code= -7\n"
      "dm_read_flt64 error on data.volt.bn.max_valid with error code= -7\n"
      "dm_read_flt64 error on data.volt.bn.max_valid with error code= -7\n"
      "dm_read_flt64 error on data.volt.bn.min with error code= -7\n"
      "dm_read_flt64 error on data.volt.bn.min with error code= -7\n"
      "dm_read_flt64 error on data.current.aux.min with error code= -7\n"
      "dm_read_flt64 error on data.watt.a.nmin with error code= -7\n"
      "dm_read_flt64 error on data.var.c.nmax_valid with error code= -7\n"
      "dm_read_flt64 error on data.va.b.pmin with error code= -7\n"
      "dm_read_flt64 error on key data.pf.total with error code= -7\n"
      "dm_read_STRING error on \"data.pf.method\" with error code= -7\n"
      "dm_read_STRING error on \"dev.designation\" with error code= -7\n"
      "dm_read_timestamp_b8 error on \"sys.timestamp.reset_thermal_peak.max\" with error code= "
      "-7\n"
      "dm_read_uint32 error on dev.ct.abc.ratio with error code= -7\n"
      "dm_read_uint32 error on reading.02sec.volt.phase_sequence with error code= -7\n",
      errors);
}

TEST_F(PollingDocumentTest, RemainingMessageFormsOfVoltsCurrentsAndPowers) {
  start();
  cycle();
  map_->fail("reading.thermal.volt.aux", -9);
  map_->fail("reading.thermal.power.watt.b", -9);
  map_->fail("reading.1sec.current.x", -9);
  map_->fail("reading.1sec.power.var.total", -9);
  map_->fail("posmax.thermal.volt.aux", -9);
  map_->fail("posmin.valid.thermal.current.a", -9);
  map_->fail("posmax.valid.thermal.power.watt.c", -9);
  map_->fail("posmin.valid.thermal.power.var.total", -9);
  map_->fail("negmax.thermal.power.var.a", -9);
  map_->fail("posmax.valid.thermal.power.va.total", -9);
  map_->fail("reading.1sec.pf.a.string", -9);
  map_->fail("reading.time.ltc", -9);
  map_->fail("sys.ontime", -9);
  map_->fail("dev.pt.pn.ratio", -9);
  map_->fail("sys.enumeration.hookup", -9);
  map_->fail("sys.enumeration.frequency_type", -9);
  std::string errors;
  cycle(&errors);
  EXPECT_EQ(
      "dm_read_flt64 error on key \"avg.1sec.volt.aux\" with error code= -9\n"
      "dm_read_flt64 error on key data.watt.b.avg with error code= -9\n"
      "dm_read_flt64 error on key data.current.aux.reading with error code= -9\n"
      "dm_read_flt64 error on key data.var.total.reading with error code= -9\n"
      "dm_read_flt64 error on data.volt.aux.max with error code= -9\n"
      "dm_read_flt64 error on data.current.a.min_valid with error code= -9\n"
      "dm_read_flt64 error on data.watt.c.pmax_valid with error code= -9\n"
      "dm_read_flt64 error on data.var.a.nmax with error code= -9\n"
      "dm_read_flt64 error on data.var.total.pmin_valid with error code= -9\n"
      "dm_read_flt64 error on data.va.total.pmax_valid with error code= -9\n"
      "dm_read_flt64 error on key data.pf.a with error code= -9\n"
      "dm_read_timestamp_b8 error on \"reading.time.ltc\" with error code= -9\n"
      "dm_read_timestamp_b8 error on \"sys.ontime\" with error code= -9\n"
      "dm_read_uint32 error on dev.pt.pn.ratio with error code= -9\n"
      "dm_read_uint32 error on sys.enumeration.hookup with error code= -9\n"
      "dm_read_uint32 error on sys.enumeration.frequency_type with error code= -9\n",
      errors);
}

TEST_F(PollingDocumentTest, SteadyStateRepeatsTheDocumentAndFollowsChanges) {
  start();
  steadyCycle();
  map_->set("reading.1sec.freq", "49.875");
  map_->set("dev.designation", "tab\there\x01");
  std::string expected = document(kVoltsV, kCurrentsA, kPowersPlain);
  expected.replace(expected.find("60.125 Hz"), 9, "49.875 Hz");
  std::string designation = "Line \\\"7\\\" \\\\ west";
  expected.replace(expected.find(designation), designation.size(), "tab\\there\\u0001");
  EXPECT_EQ(expected, cycle());
}

TEST_F(PollingDocumentTest, MonthFirstTimestampLayout) {
  start();
  timestamp_print_out_format = 1;
  std::string expected = document(kVoltsV, kCurrentsA, kPowersPlain);
  expected.replace(expected.find("2023-06-07 08:09:10"), 19, "06/07/2023 08:09:10");
  expected.replace(expected.find("2024-02-03 04:05:06"), 19, "02/03/2024 04:05:06");
  expected.replace(expected.find("2024-01-01 00:00:01"), 19, "01/01/2024 00:00:01");
  EXPECT_EQ(expected, cycle());
}

TEST_F(PollingDocumentTest, MissingOrBlockedDirectorySkipsSilentlyThenWrites) {
  start();
  const std::string path = displayAfterBadDirectories("polling_data.json");
  EXPECT_EQ(document(kVoltsV, kCurrentsA, kPowersPlain), readFile(path));
}

TEST_F(PollingDocumentTest, DebugTextFollowsTheMask) {
  build(polling_test::catalog());
  debug = true;
  debugMask = kDebugPolling;
  {
    StreamCapture out(1);
    updater_->init();
    updater_->getData();
    updater_->displayData();
    EXPECT_EQ("PollingUpdate init...\nPollingUpdate displayData...\n", out.finish());
  }
  debugMask = kDebugEnergy | kDebugFlicker;
  {
    StreamCapture out(1);
    updater_->init();
    updater_->displayData();
    EXPECT_EQ("", out.finish());
  }
  debug = false;
  debugMask = kDebugPolling;
  {
    StreamCapture out(1);
    updater_->init();
    updater_->displayData();
    EXPECT_EQ("", out.finish());
  }
}

}  // namespace
