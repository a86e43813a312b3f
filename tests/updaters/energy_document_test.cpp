// Golden tests of "energy_data.json": whole documents compared byte for byte,
// and the exact lookup and read error lines, including the texts that name
// other keys and the entry of key 21 that no lookup fills.
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
#include "tests/updaters/energy_test_data.h"
#include "updaters/EnergyUpdate.h"

namespace {

using testsupport::MapFixture;
using testsupport::readFile;
using testsupport::StreamCapture;
using updatertest::UpdaterFixture;

const char kHead[] =
    "{\n"
    "\"version\":{\t\"major\":0,\t\"minor\":1,\t\"micro\":6},\n"
    "\"quadrantblock\":[\"T30256\",\"T29616\",\"T30276\",\"T30176\",\"T30196\",\"T30096\","
    "\"T30116\",\"T29636\",\"T29676\",\"T29656\",\"T30076\",\"T30056\",\"T30156\",\"T30136\","
    "\"T30236\",\"T29596\",\"T30216\"],\n"
    "\"iv2tblock\":[\"T30036\",\"T29976\",\"T30016\",\"T29956\",\"T29996\",\"T29936\"],\n"
    "\"energyblock\":[\"T29656\",\"1000.125\",\"T29636\",\"2000.250\",\"T29616\",\"3000.375\","
    "\"T29596\",\"4000.500\",\"T29676\",\"5000.625\"],\n"
    "\"uncompenergyblock\":[\"T29896\",\"1100.125\",\"T29876\",\"1200.250\",\"T29856\","
    "\"1300.375\",\"T29836\",\"1400.500\",\"T29916\",\"1500.625\"],\n";

// Item 9 is read through key 21's own entry, which is never resolved.
const char kCmdBlock[] =
    "\"cmdblock\":[\"11.500\",\"12.500\",\"13.500\",\"14.500\",\"15.500\",\"16.500\",\"17.500\","
    "\"18.500\",\"0.000\",\"20.500\"],\n";

const char kMiddle[] =
    "\"qhrblock\":[\"T30316\",\"1.500 M\",\"T30296\",\"2.250 M\"],\n"
    "\"accumulators\":[\"T32940\",\"T32920\",\"T32900\",\"T32880\",\"T32860\",\"T32840\","
    "\"T32820\",\"T32800\"],\n"
    "\"aggregators\":[\"T33196\",\"T33176\",\"T33156\",\"T33136\"],\n";

const char kPeaksPlain[] =
    "\"maxdemand\":[\"1250000.000\",\"2023-04-05 06:07:08\",\"-2375000.000\","
    "\"2023-05-06 07:08:09\"],\n";

const char kTail[] =
    "\"last_energy_reset_Time\":\"2022-10-05 19:03:30\",\n"
    "\"last_aggregator_reset_Time\":\"2022-11-06 20:04:31\",\n"
    "\"last_peak_demand_reset_Time\":\"2022-12-07 21:05:32\",\n"
    "\"meterDesignation\":\"Sub \\\"North\\\" C:\\\\ 1/2\",\n"
    "\"dateTime\":\"2024-01-02 03:04:05\",\n"
    "\"powerOnTime\":\"2023-12-31 23:59:58\"\n"
    "}\n";

std::string document(const std::string& peaks = kPeaksPlain,
                     const std::string& cmdblock = kCmdBlock, const std::string& tail = kTail) {
  return std::string(kHead) + cmdblock + kMiddle + peaks + tail;
}

// The read error of key 21's unresolved entry, printed every cycle.
const char kKey21Error[] =
    "dm_read_flt64 error on key \"core.interval.demand.va.total.total\" with error code= -3\n";

class EnergyDocumentTest : public UpdaterFixture<EnergyUpdate> {
 protected:
  EnergyDocumentTest() : UpdaterFixture("energy_data.json", energy_test::catalog()) {}
  // The energy page's texts in block 1.
  void prepareMap(MapFixture& map) override { energy_test::writeBlockTexts(map); }
};

TEST_F(EnergyDocumentTest, FullMapGivesTheDocumentAndOnlyTheKey21ReadError) {
  EXPECT_EQ("", start());
  std::string errors;
  EXPECT_EQ(document(), cycle(&errors));
  EXPECT_EQ(kKey21Error, errors);
  // Every cycle reports it again.
  cycle(&errors);
  EXPECT_EQ(kKey21Error, errors);
}

struct PeakUnitCase {
  updatertest::Ratios ratios;
  const char* peaks;
};

using EnergyPeakUnitTest = updatertest::WithCases<EnergyDocumentTest, PeakUnitCase>;

TEST_P(EnergyPeakUnitTest, RatiosChooseThePrefix) {
  start();
  EXPECT_EQ(document(GetParam().peaks), cycleWithRatios(GetParam().ratios));
}

INSTANTIATE_TEST_SUITE_P(
    Boundaries, EnergyPeakUnitTest,
    ::testing::Values(
        PeakUnitCase{{"5", "10"}, kPeaksPlain},
        PeakUnitCase{{"6", "10"},
                     "\"maxdemand\":[\"1250.000 k\",\"2023-04-05 06:07:08\",\"-2375.000 k\","
                     "\"2023-05-06 07:08:09\"],\n"},
        PeakUnitCase{{"5", "11"},
                     "\"maxdemand\":[\"1250.000 k\",\"2023-04-05 06:07:08\",\"-2375.000 k\","
                     "\"2023-05-06 07:08:09\"],\n"},
        PeakUnitCase{{"6", "11"},
                     "\"maxdemand\":[\"1.250 M\",\"2023-04-05 06:07:08\",\"-2.375 M\","
                     "\"2023-05-06 07:08:09\"],\n"}));

TEST_F(EnergyDocumentTest, InvalidPeaksAreNotAvailable) {
  start();
  map_->set("posmax.valid.demand.current.watt.total", "0");
  EXPECT_EQ(document("\"maxdemand\":[\"n/a\",\"n/a\",\"-2375000.000\",\"2023-05-06 07:08:09\"],\n"),
            cycle());
  map_->set("negmax.valid.demand.current.watt.total", "false");
  EXPECT_EQ(document("\"maxdemand\":[\"n/a\",\"n/a\",\"n/a\",\"n/a\"],\n"), cycle());
  map_->set("posmax.valid.demand.current.watt.total", "1");
  EXPECT_EQ(document("\"maxdemand\":[\"1.250 M\",\"2023-04-05 06:07:08\",\"n/a\",\"n/a\"],\n"),
            cycleWithRatios({"6", "11"}));
}

TEST_F(EnergyDocumentTest, Key21IsLookedUpIntoKey22sEntry) {
  // Without key 22, its entry keeps the index of key 21's lookup.
  std::string errors = start(catalogLacking({"reading.demand.current.va.total.total.sec"}));
  EXPECT_EQ(
      "dm_get_info error on key \"reading.demand.current.va.total.total.sec\" with error code= "
      "-2\n",
      errors);
  EXPECT_EQ(document(kPeaksPlain,
                     "\"cmdblock\":[\"11.500\",\"12.500\",\"13.500\",\"14.500\",\"15.500\","
                     "\"16.500\",\"17.500\",\"18.500\",\"0.000\",\"19.500\"],\n"),
            cycle(&errors));
  EXPECT_EQ(kKey21Error, errors);
}

TEST_F(EnergyDocumentTest, LookupFailuresUseTheTableTexts) {
  std::string errors = start(catalogLacking(
      {"reading.1sec.energy.watthr.q23.total.sec",
       "reading.1sec.energy.uncomp_watthr.q23.total.sec",
       "reading.1sec.energy.uncomp_vahr.total.sec", "reading.demand.current.va.total.total",
       "reading.1sec.accum.hsi.3", "reading.1sec.accum.agg.4",
       "posmax.valid.demand.current.watt.total", "dev.designation", "dev.ct.abc.ratio"}));
  EXPECT_EQ(
      "dm_get_info error on key \"reading.1sec.energy.watthr.q14.total.sec\" with error code= -2\n"
      "dm_get_info error on key \"reading.1sec.energy.uncomp_watthr.q14.total.sec\" with error "
      "code= -2\n"
      "dm_get_info error on key \"reading.1sec.energy.uncomp_vahr.total.total.sec\" with error "
      "code= -2\n"
      "dm_get_info error on key \"reading.demand.current.va.total.total\" with error code= -2\n"
      "dm_get_info error on key \"reading.1sec.accum.hsi.3\" with error code= -2\n"
      "dm_get_info error on key \"reading.1sec.accum.agg.4\" with error code= -2\n"
      "dm_get_info error on key \"posmax.valid.demand.current.watt.total\" with error code= -2\n"
      "dm_get_info error on key \"dev.designation\" with error code= -2\n"
      "dm_get_info error on key \"dev.ct.abc.ratio\" with error code= -2\n",
      errors);
  cycle(&errors);
  // Key 4 is read before key 3, key 9 before key 8.
  EXPECT_EQ(
      "dm_read_flt64 error on key \"reading.1sec.energy.watthr.total.q23_sec\" with error code= "
      "-3\n"
      "dm_read_flt64 error on key \"reading.1sec.energy.watthr.total.q23_sec\" with error code= "
      "-3\n"
      "dm_read_flt64 error on key \"reading.1sec.energy.uncomp_vahr.total.q1234\" with error "
      "code= -3\n"
      "dm_read_flt64 error on key \"core.interval.demand.va.total.total\" with error code= -3\n"
      "dm_read_uint64 error on \"accumulator[2]\" with error code= -3\n"
      "dm_read_uint64 error on \"aggregator[3]\" with error code= -3\n"
      "dm_read_flt64 error on \"posmax.valid.demand.current.watt.total\" key with error code= "
      "-3\n"
      "dm_read_flt64 error on \"dev.designation\" with error code= -3\n"
      "dm_read_uint32 error on dev.ct.abc.ratio with error code= -3\n",
      errors);
}

// What a cycle prints when every read fails with -7: each key's own text, and
// key 21's unresolved entry still failing with -3.
const char kEveryReadFailedErrors[] =
    "dm_read_flt64 error on key \"reading.1sec.energy.qhr.pos.total.sec\" with error code= -7\n"
    "dm_read_flt64 error on key \"reading.1sec.energy.qhr.neg.total.sec\" with error code= -7\n"
    "dm_read_flt64 error on key \"reading.1sec.energy.watthr.total.q23_sec\" with error code= -7\n"
    "dm_read_flt64 error on key \"reading.1sec.energy.watthr.total.q14_sec\" with error code= -7\n"
    "dm_read_flt64 error on key \"reading.1sec.energy.varhr.total.q12_sec\" with error code= -7\n"
    "dm_read_flt64 error on key \"reading.1sec.energy.varhr.total.q34_sec\" with error code= -7\n"
    "dm_read_flt64 error on key \"reading.1sec.energy.vahr.total.q1234\" with error code= -7\n"
    "dm_read_flt64 error on key \"reading.1sec.energy.watthr.total.q23_sec\" with error code= -7\n"
    "dm_read_flt64 error on key \"reading.1sec.energy.watthr.total.q14_sec\" with error code= -7\n"
    "dm_read_flt64 error on key \"reading.1sec.energy.uncomp_varhr.total.q12_sec\" with error "
    "code= -7\n"
    "dm_read_flt64 error on key \"reading.1sec.energy.uncomp_varhr.total.q34_sec\" with error "
    "code= -7\n"
    "dm_read_flt64 error on key \"reading.1sec.energy.uncomp_vahr.total.q1234\" with error "
    "code= -7\n"
    "dm_read_flt64 error on key \"core.interval.demand.watt.q14\" with error code= -7\n"
    "dm_read_flt64 error on key \"core.interval.demand.watt.q14.sec\" with error code= -7\n"
    "dm_read_flt64 error on key \"core.interval.demand.watt.q23\" with error code= -7\n"
    "dm_read_flt64 error on key \"core.interval.demand.watt.q23.sec\" with error code= -7\n"
    "dm_read_flt64 error on key \"core.interval.demand.var.q12\" with error code= -7\n"
    "dm_read_flt64 error on key \"core.interval.demand.var.q34.sec\" with error code= -7\n"
    "dm_read_flt64 error on key \"core.interval.demand.var.q34\" with error code= -7\n"
    "dm_read_flt64 error on key \"core.interval.demand.var.q34.sec\" with error code= -7\n"
    "dm_read_flt64 error on key \"core.interval.demand.va.total.total\" with error code= -3\n"
    "dm_read_flt64 error on key \"core.interval.demand.va.total.total.sec\" with error code= "
    "-7\n"
    "dm_read_uint64 error on \"accumulator[0]\" with error code= -7\n"
    "dm_read_uint64 error on \"accumulator[1]\" with error code= -7\n"
    "dm_read_uint64 error on \"accumulator[2]\" with error code= -7\n"
    "dm_read_uint64 error on \"accumulator[3]\" with error code= -7\n"
    "dm_read_uint64 error on \"accumulator[4]\" with error code= -7\n"
    "dm_read_uint64 error on \"accumulator[5]\" with error code= -7\n"
    "dm_read_uint64 error on \"accumulator[6]\" with error code= -7\n"
    "dm_read_uint64 error on \"accumulator[7]\" with error code= -7\n"
    "dm_read_uint64 error on \"aggregator[0]\" with error code= -7\n"
    "dm_read_uint64 error on \"aggregator[1]\" with error code= -7\n"
    "dm_read_uint64 error on \"aggregator[2]\" with error code= -7\n"
    "dm_read_uint64 error on \"aggregator[3]\" with error code= -7\n"
    "dm_read_flt64 error on key \"posmax.demand.current.watt.total\" with error code= -7\n"
    "dm_read_flt64 error on \"posmax.valid.demand.current.watt.total\" key with error code= -7\n"
    "dm_read_flt64 error on \"posmax.timestamp.demand.current.watt.total\" with error code= -7\n"
    "dm_read_flt64 error on key \"negmax.demand.current.watt.total\" with error code= -7\n"
    "dm_read_flt64 error on \"negmax.valid.demand.current.watt.total\" key with error code= -7\n"
    "dm_read_flt64 error on \"negmax.timestamp.demand.current.watt.total\" with error code= -7\n"
    "dm_read_flt64 error on \"dev.designation\" with error code= -7\n"
    "dm_read_flt64 error on \"reading.time.ltc\" with error code= -7\n"
    "dm_read_flt64 error on \"sys.ontime\" with error code= -7\n"
    "dm_read_flt64 error on \"sys.timestamp.reset_energy\" with error code= -7\n"
    "dm_read_flt64 error on \"sys.timestamp.reset_hsi_accumulator\" with error code= -7\n"
    "dm_read_flt64 error on \"sys.timestamp.reset_demand_peak\" with error code= -7\n"
    "dm_read_uint32 error on dev.pt.pn.ratio with error code= -7\n"
    "dm_read_uint32 error on dev.ct.abc.ratio with error code= -7\n";

TEST_F(EnergyDocumentTest, EveryReadFaultHasItsMessageAndKeepsTheOldValue) {
  start();
  std::string good = cycle();
  failEveryKey(-7);
  map_->set("reading.1sec.energy.qhr.pos.total.sec", "9");
  map_->set("dev.designation", "other");
  map_->set("dev.pt.pn.ratio", "100");
  std::string errors;
  EXPECT_EQ(good, cycle(&errors));
  EXPECT_EQ(kEveryReadFailedErrors, errors);
}

TEST_F(EnergyDocumentTest, SteadyStateAndChangedValues) {
  start();
  steadyCycle();
  map_->set("reading.1sec.energy.qhr.neg.total.sec", "-0.5");
  map_->set("reading.demand.current.watt.q14.total", "1e6");
  map_->set("dev.designation", "a\tb\x02/\xc3\xa9");
  map_->set("reading.time.ltc", "2025-06-30 12:00:00");
  std::string expected = document(
      kPeaksPlain,
      "\"cmdblock\":[\"1000000.000\",\"12.500\",\"13.500\",\"14.500\",\"15.500\",\"16.500\","
      "\"17.500\",\"18.500\",\"0.000\",\"20.500\"],\n",
      "\"last_energy_reset_Time\":\"2022-10-05 19:03:30\",\n"
      "\"last_aggregator_reset_Time\":\"2022-11-06 20:04:31\",\n"
      "\"last_peak_demand_reset_Time\":\"2022-12-07 21:05:32\",\n"
      "\"meterDesignation\":\"a\\tb\\u0002/\xc3\xa9\",\n"
      "\"dateTime\":\"2025-06-30 12:00:00\",\n"
      "\"powerOnTime\":\"2023-12-31 23:59:58\"\n"
      "}\n");
  expected.replace(expected.find("\"2.250 M\""), 9, "\"-0.500 M\"");
  EXPECT_EQ(expected, cycle());
}

TEST_F(EnergyDocumentTest, MonthFirstTimestampsAndZeroTimestamps) {
  start();
  timestamp_print_out_format = 1;
  map_->set("sys.ontime", "0000-00-00 00:00:00");
  EXPECT_EQ(document("\"maxdemand\":[\"1250000.000\",\"04/05/2023 06:07:08\",\"-2375000.000\","
                     "\"05/06/2023 07:08:09\"],\n",
                     kCmdBlock,
                     "\"last_energy_reset_Time\":\"10/05/2022 19:03:30\",\n"
                     "\"last_aggregator_reset_Time\":\"11/06/2022 20:04:31\",\n"
                     "\"last_peak_demand_reset_Time\":\"12/07/2022 21:05:32\",\n"
                     "\"meterDesignation\":\"Sub \\\"North\\\" C:\\\\ 1/2\",\n"
                     "\"dateTime\":\"01/02/2024 03:04:05\",\n"
                     "\"powerOnTime\":\"00/00/0000 00:00:00\"\n"
                     "}\n"),
            cycle());
}

TEST_F(EnergyDocumentTest, BadDirectorySkipsSilentlyThenWrites) {
  start();
  const std::string path = displayAfterBadDirectories("energy_data.json");
  EXPECT_EQ(document(), readFile(path));
}

TEST_F(EnergyDocumentTest, DebugTextFollowsTheMask) {
  build(energy_test::catalog());
  EXPECT_EQ(3u, updater_->getDebugMaskBits());
  debug = true;
  debugMask = kDebugEnergy;
  StreamCapture err(2);
  {
    StreamCapture out(1);
    updater_->init();
    updater_->getData();
    updater_->displayData();
    EXPECT_EQ("EnergyUpdate init...\nEnergyUpdate displayData...\n", out.finish());
  }
  debugMask = kDebugPolling;
  {
    StreamCapture out(1);
    updater_->init();
    updater_->displayData();
    EXPECT_EQ("", out.finish());
  }
}

TEST_F(EnergyDocumentTest, ZeroFilledBlockGivesEmptyTexts) {
  build(energy_test::catalog());
  updater_->init();
  std::string text = cycle();
  EXPECT_EQ(0u, text.find("{\n\"version\":{\t\"major\":0,\t\"minor\":1,\t\"micro\":6},\n"
                          "\"quadrantblock\":[\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\","
                          "\"\",\"\",\"\",\"\",\"\",\"\",\"\"],\n"
                          "\"iv2tblock\":[\"\",\"\",\"\",\"\",\"\",\"\"],\n"
                          "\"energyblock\":[\"\",\"1000.125\","));
}

}  // namespace
