// Golden tests of thd_data.json: the expected documents are written by hand from
// the document's format, the catalogue's values and the harmonicArray values that
// each test puts into block 2.
#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <map>
#include <string>

#include "livedata/Globals.h"
#include "platform/meter_blocks.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"
#include "tests/updaters/UpdaterFixture.h"
#include "tests/updaters/phasor_testing.h"
#include "updaters/ThdUpdate.h"

namespace {

using phasortest::GlobalsScope;
using testsupport::MapFixture;
using testsupport::StreamCapture;

const char kCatalog[] =
    "reading.1sec.freq flt64 60\n"
    "reading.1sec.volt.an flt64 120.5\n"
    "reading.1sec.thd.van flt64 2.5\n"
    "reading.3sec.kfactor.van.total flt64 9.875\n"
    "reading.1sec.tdd.van flt64 3.75\n"
    "reading.1sec.volt.ab flt64 208.5\n"
    "reading.1sec.volt.bn flt64 121.25\n"
    "reading.1sec.thd.vbn flt64 2.25\n"
    "reading.3sec.kfactor.vbn.total flt64 9.75\n"
    "reading.1sec.tdd.vbn flt64 3.5\n"
    "reading.1sec.volt.bc flt64 209.25\n"
    "reading.1sec.volt.cn flt64 119.75\n"
    "reading.1sec.thd.vcn flt64 2.125\n"
    "reading.3sec.kfactor.vcn.total flt64 9.625\n"
    "reading.1sec.tdd.vcn flt64 3.25\n"
    "reading.1sec.volt.ca flt64 207.75\n"
    "reading.1sec.current.a flt64 5.5\n"
    "reading.3sec.thd.ia.total flt64 10.25\n"
    "reading.3sec.kfactor.ia.total flt64 1.5\n"
    "reading.3sec.tdd.ia.total flt64 8.125\n"
    "reading.1sec.current.b flt64 4.25\n"
    "reading.3sec.thd.ib.total flt64 11.5\n"
    "reading.3sec.kfactor.ib.total flt64 1.75\n"
    "reading.3sec.tdd.ib.total flt64 7.5\n"
    "reading.1sec.current.c flt64 3.125\n"
    "reading.3sec.thd.ic.total flt64 12.75\n"
    "reading.3sec.kfactor.ic.total flt64 2.25\n"
    "reading.3sec.tdd.ic.total flt64 6.875\n"
    "dev.designation string64 THD \"Main\"\n"
    "reading.time.ltc ts8 2024-02-29 23:59:58\n"
    "sys.ontime ts8 2024-01-01 00:00:00\n";

// Voltage lines carry value, THD, TDD (never the K-factor); current lines value,
// THD, TDD, K-factor.
const char kWyeReadings[] =
    "\"frequency\":\"60.000 Hz\",\n"
    "\"voltA\":[\"120.500 V\",\"2.500\",\"3.750\"],\n"
    "\"voltB\":[\"121.250 V\",\"2.250\",\"3.500\"],\n"
    "\"voltC\":[\"119.750 V\",\"2.125\",\"3.250\"],\n"
    "\"currentA\":[\"5.500 A\",\"10.250\",\"8.125\",\"1.500\"],\n"
    "\"currentB\":[\"4.250 A\",\"11.500\",\"7.500\",\"1.750\"],\n"
    "\"currentC\":[\"3.125 A\",\"12.750\",\"6.875\",\"2.250\"],\n";
const char kDeltaReadings[] =
    "\"frequency\":\"60.000 Hz\",\n"
    "\"voltA\":[\"208.500 V\",\"2.500\",\"3.750\"],\n"
    "\"voltB\":[\"209.250 V\",\"2.250\",\"3.500\"],\n"
    "\"voltC\":[\"207.750 V\",\"2.125\",\"3.250\"],\n"
    "\"currentA\":[\"5.500 A\",\"10.250\",\"8.125\",\"1.500\"],\n"
    "\"currentB\":[\"4.250 A\",\"11.500\",\"7.500\",\"1.750\"],\n"
    "\"currentC\":[\"3.125 A\",\"12.750\",\"6.875\",\"2.250\"],\n";
const char kTail[] =
    "\"meterDesignation\":\"THD \\\"Main\\\"\",\n"
    "\"dateTime\":\"2024-02-29 23:59:58\",\n"
    "\"powerOnTime\":\"2024-01-01 00:00:00\"\n"
    "}\n";

// One harmonicArray array: element 127 first, element 0 last; elements not listed
// hold 0 and print as 0.00.
std::string harmonicArray(const char* name, const std::map<int, std::string>& values = {}) {
  std::string text = std::string("\"") + name + "\":[";
  for (int i = 127; i >= 0; --i) {
    auto found = values.find(i);
    text += "\"" + (found == values.end() ? std::string("0.00") : found->second) + "\"";
    text += i == 0 ? "],\n" : ",";
  }
  return text;
}

// Byte offsets of the arrays in block 2.
using meter_blocks::harmonicMagnitudeOffset;
using meter_blocks::harmonicPhaseOffset;
constexpr size_t kVaPhs = harmonicPhaseOffset(0), kVaMag = harmonicMagnitudeOffset(0);
constexpr size_t kVbPhs = harmonicPhaseOffset(1), kVbMag = harmonicMagnitudeOffset(1);
constexpr size_t kVcPhs = harmonicPhaseOffset(2), kVcMag = harmonicMagnitudeOffset(2);
constexpr size_t kIaPhs = harmonicPhaseOffset(3), kIaMag = harmonicMagnitudeOffset(3);
constexpr size_t kIbPhs = harmonicPhaseOffset(4), kIbMag = harmonicMagnitudeOffset(4);
constexpr size_t kIcPhs = harmonicPhaseOffset(5), kIcMag = harmonicMagnitudeOffset(5);

void putMagnitude(MapFixture& map, size_t array, int element, uint16_t value) {
  map.writeBlock(2, array + 2 * static_cast<size_t>(element), &value, sizeof value);
}
void putPhase(MapFixture& map, size_t array, int element, int16_t value) {
  map.writeBlock(2, array + 2 * static_cast<size_t>(element), &value, sizeof value);
}

std::string allZeroHarmonics() {
  std::string text;
  for (const char* name : {"va_mag", "va_phs", "vb_mag", "vb_phs", "vc_mag", "vc_phs", "ia_mag",
                           "ia_phs", "ib_mag", "ib_phs", "ic_mag", "ic_phs"}) {
    text += harmonicArray(name);
  }
  return text;
}

const char kDocumentName[] = "thd_data.json";
using ThdTest = updatertest::DocumentTest<ThdUpdate, kDocumentName, kCatalog>;

TEST(ThdFormatTest, HundredthsMatchPrintfForEverySixteenBitValue) {
  char expected[32];
  char actual[32];
  for (int32_t v = 0; v <= 65535; ++v) {
    snprintf(expected, sizeof expected, "%.2f", v / 100.0);
    size_t length = ThdUpdate::formatHundredths(v, actual);
    ASSERT_EQ(std::string(actual, length), expected) << v;
  }
  for (int32_t v = -32768; v <= 32767; ++v) {
    snprintf(expected, sizeof expected, "%.2f", v / 100.0);
    size_t length = ThdUpdate::formatHundredths(v, actual);
    ASSERT_EQ(std::string(actual, length), expected) << v;
  }
}

TEST(ThdFormatTest, HundredthsByHand) {
  char text[32];
  EXPECT_EQ(std::string(text, ThdUpdate::formatHundredths(0, text)), "0.00");
  EXPECT_EQ(std::string(text, ThdUpdate::formatHundredths(-5, text)), "-0.05");
  EXPECT_EQ(std::string(text, ThdUpdate::formatHundredths(65535, text)), "655.35");
  EXPECT_EQ(std::string(text, ThdUpdate::formatHundredths(-18000, text)), "-180.00");
  EXPECT_EQ(std::string(text, ThdUpdate::formatHundredths(-32768, text)), "-327.68");
  EXPECT_EQ(std::string(text, ThdUpdate::formatHundredths(100, text)), "1.00");
  EXPECT_EQ(std::string(text, ThdUpdate::formatHundredths(7, text)), "0.07");
}

TEST_F(ThdTest, WyeDocumentWithZeroHarmonics) {
  GlobalsScope globals(0);
  init();
  EXPECT_EQ(initErrors_, "");
  EXPECT_EQ(quietCycle(), phasortest::documentHead() + kWyeReadings + allZeroHarmonics() + kTail);
}

TEST_F(ThdTest, HarmonicsAreListedFromTheLastElementDown) {
  GlobalsScope globals(0);
  init();
  putMagnitude(*map_, kVaMag, 127, 65535);
  putMagnitude(*map_, kVaMag, 64, 1);
  putMagnitude(*map_, kVaMag, 0, 10000);
  putPhase(*map_, kVaPhs, 127, -5);
  putPhase(*map_, kVaPhs, 1, -18000);
  putPhase(*map_, kVaPhs, 0, 17999);
  putMagnitude(*map_, kVbMag, 2, 12345);
  putPhase(*map_, kVcPhs, 3, -1);
  putMagnitude(*map_, kIaMag, 126, 99);
  putPhase(*map_, kIbPhs, 10, -100);
  putMagnitude(*map_, kIcMag, 5, 1);
  putPhase(*map_, kIcPhs, 64, 32767);
  putPhase(*map_, kIcPhs, 63, -32768);
  putMagnitude(*map_, kVbPhs, 0, 40000);  // a phase above 32767 reads as negative: -25536
  // Bytes outside the twelve arrays (the gap and the neighbours) never appear.
  const std::string ones(512, '\xff');
  map_->writeBlock(2, 78336, ones);
  map_->writeBlock(2, kVaPhs - 512, ones);
  map_->writeBlock(2, 80384, ones);
  const std::string harmonics =
      harmonicArray("va_mag", {{127, "655.35"}, {64, "0.01"}, {0, "100.00"}}) +
      harmonicArray("va_phs", {{127, "-0.05"}, {1, "-180.00"}, {0, "179.99"}}) +
      harmonicArray("vb_mag", {{2, "123.45"}}) + harmonicArray("vb_phs", {{0, "-255.36"}}) +
      harmonicArray("vc_mag") + harmonicArray("vc_phs", {{3, "-0.01"}}) +
      harmonicArray("ia_mag", {{126, "0.99"}}) + harmonicArray("ia_phs") + harmonicArray("ib_mag") +
      harmonicArray("ib_phs", {{10, "-1.00"}}) + harmonicArray("ic_mag", {{5, "0.01"}}) +
      harmonicArray("ic_phs", {{64, "327.67"}, {63, "-327.68"}});
  EXPECT_EQ(cycle(), phasortest::documentHead() + kWyeReadings + harmonics + kTail);
  // The block is read afresh each cycle.
  putMagnitude(*map_, kVaMag, 127, 0);
  const std::string changed =
      harmonicArray("va_mag", {{64, "0.01"}, {0, "100.00"}}) +
      harmonics.substr(harmonicArray("va_mag", {{127, "655.35"}, {64, "0.01"}, {0, "100.00"}}).size());
  EXPECT_EQ(cycle(), phasortest::documentHead() + kWyeReadings + changed + kTail);
}

TEST_F(ThdTest, MagnitudesAreUnsigned) {
  GlobalsScope globals(0);
  init();
  putMagnitude(*map_, kIcMag, 0, 65535);
  putMagnitude(*map_, kIcMag, 127, 32768);
  std::string harmonics;
  for (const char* name : {"va_mag", "va_phs", "vb_mag", "vb_phs", "vc_mag", "vc_phs",
                           "ia_mag", "ia_phs", "ib_mag", "ib_phs"}) {
    harmonics += harmonicArray(name);
  }
  harmonics += harmonicArray("ic_mag", {{127, "327.68"}, {0, "655.35"}}) + harmonicArray("ic_phs");
  EXPECT_EQ(cycle(), phasortest::documentHead() + kWyeReadings + harmonics + kTail);
}

TEST_F(ThdTest, HookupChoosesVoltages) {
  init();
  const struct {
    uint32_t code;
    const char* readings;
  } cases[] = {{0, kWyeReadings},   {1, kDeltaReadings}, {2, kDeltaReadings},
               {3, kWyeReadings},   {4, kDeltaReadings}, {5, kDeltaReadings},
               {99, kDeltaReadings}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.code);
    GlobalsScope globals(c.code);
    EXPECT_EQ(cycle(), phasortest::documentHead() + c.readings + allZeroHarmonics() + kTail);
  }
}

TEST_F(ThdTest, EveryReadFailureHasItsTextAndKeepsOldValues) {
  GlobalsScope globals(0);
  init();
  const std::string good = phasortest::documentHead() + kWyeReadings + allZeroHarmonics() + kTail;
  EXPECT_EQ(cycle(), good);
  failEveryKey(-6);
  std::string errors;
  std::string text = cycle(&errors);
  EXPECT_EQ(errors,
            "dm_read_flt64 error on key \"reading.1sec.freq\" with error code= -6\n"
            "dm_read_flt64 error on \"data.voltA.thd\"  with error code= -6\n"
            "dm_read_flt64 error on \"data.voltA.kfactor\" with error code= -6\n"
            "dm_read_flt64 error on \"data.voltA.tdd\" with error code= -6\n"
            "dm_read_flt64 error on \"reading.1sec.volt.an\" with error code= -6\n"
            "dm_read_flt64 error on \"reading.1sec.volt.bn\" with error code= -6\n"
            "dm_read_flt64 error on \"reading.1sec.volt.cn\" with error code= -6\n"
            "dm_read_flt64 error on \"data.voltB.thd\"  with error code= -6\n"
            "dm_read_flt64 error on \"data.voltB.kfactor\" with error code= -6\n"
            "dm_read_flt64 error on \"data.voltB.tdd\" with error code= -6\n"
            "dm_read_flt64 error on \"data.voltC.thd\"  with error code= -6\n"
            "dm_read_flt64 error on \"data.voltC.kfactor\" with error code= -6\n"
            "dm_read_flt64 error on \"data.voltC.tdd\" with error code= -6\n"
            "dm_read_flt64 error on \"reading.1sec.current.a\" with error code= -6\n"
            "dm_read_flt64 error on \"data.currentA.thd\"  with error code= -6\n"
            "dm_read_flt64 error on \"data.currentA.kfactor\" with error code= -6\n"
            "dm_read_flt64 error on \"data.currentA.tdd\" with error code= -6\n"
            "dm_read_flt64 error on \"reading.1sec.current.b\" with error code= -6\n"
            "dm_read_flt64 error on \"data.currentB.thd\"  with error code= -6\n"
            "dm_read_flt64 error on \"data.currentB.kfactor\" with error code= -6\n"
            "dm_read_flt64 error on \"data.currentB.tdd\" with error code= -6\n"
            "dm_read_flt64 error on \"reading.1sec.current.c\" with error code= -6\n"
            "dm_read_flt64 error on \"data.currentC.thd\"  with error code= -6\n"
            "dm_read_flt64 error on \"data.currentC.kfactor\" with error code= -6\n"
            "dm_read_flt64 error on \"data.currentC.tdd\" with error code= -6\n"
            "dm_read_STRING error on \"dev.designation\" with error code= -6\n"
            "dm_read_timestamp_b8 error on \"reading.time.ltc\" with error code= -6\n"
            "dm_read_timestamp_b8 error on \"sys.ontime\" with error code= -6\n");
  EXPECT_EQ(text, good);
  // Delta hookup while the reads fail: the phase-to-phase reads are reported and
  // the three voltage values keep what they held.
  GlobalsScope delta(2);
  StreamCapture deltaErr(2);
  EXPECT_EQ(cycle(), good);
  const std::string lines = deltaErr.finish();
  EXPECT_NE(lines.find("dm_read_flt64 error on \"reading.1sec.volt.ab\" with error code= -6\n"
                       "dm_read_flt64 error on \"reading.1sec.volt.bc\" with error code= -6\n"
                       "dm_read_flt64 error on \"reading.1sec.volt.ca\" with error code= -6\n"),
            std::string::npos);
}

// The map of the test catalogue without the named keys.
class ThdMissingKeysTest : public ThdTest {
 protected:
  ThdMissingKeysTest()
      : ThdTest(testsupport::catalogWithout(
            kCatalog, {"reading.3sec.kfactor.vbn.total", "reading.1sec.volt.ca",
                       "reading.3sec.tdd.ic.total", "dev.designation"})) {}
};

TEST_F(ThdMissingKeysTest, LookupAndReadErrorsName) {
  GlobalsScope globals(1);
  init();
  EXPECT_EQ(initErrors_,
            "dm_get_info error on key \"reading.3sec.kfactor.vbn.total\" with error code= -2\n"
            "dm_get_info error on key \"reading.1sec.volt.ca\" with error code= -2\n"
            "dm_get_info error on key \"reading.3sec.tdd.ic.total\" with error code= -2\n"
            "dm_get_info error on key \"dev.designation\" with error code= -2\n");
  std::string errors;
  std::string text = cycle(&errors);
  EXPECT_EQ(errors,
            "dm_read_flt64 error on \"reading.1sec.volt.ca\" with error code= -3\n"
            "dm_read_flt64 error on \"data.voltB.kfactor\" with error code= -3\n"
            "dm_read_flt64 error on \"data.currentC.tdd\" with error code= -3\n"
            "dm_read_STRING error on \"dev.designation\" with error code= -3\n");
  const std::string readings =
      "\"frequency\":\"60.000 Hz\",\n"
      "\"voltA\":[\"208.500 V\",\"2.500\",\"3.750\"],\n"
      "\"voltB\":[\"209.250 V\",\"2.250\",\"3.500\"],\n"
      "\"voltC\":[\"0.000 V\",\"2.125\",\"3.250\"],\n"
      "\"currentA\":[\"5.500 A\",\"10.250\",\"8.125\",\"1.500\"],\n"
      "\"currentB\":[\"4.250 A\",\"11.500\",\"7.500\",\"1.750\"],\n"
      "\"currentC\":[\"3.125 A\",\"12.750\",\"0.000\",\"2.250\"],\n";
  const std::string tail =
      "\"meterDesignation\":\"\",\n"
      "\"dateTime\":\"2024-02-29 23:59:58\",\n"
      "\"powerOnTime\":\"2024-01-01 00:00:00\"\n"
      "}\n";
  EXPECT_EQ(text, phasortest::documentHead() + readings + allZeroHarmonics() + tail);
}

TEST(ThdWithoutMapTest, UnmappedBlockPublishesZeroHarmonics) {
  GlobalsScope globals(0);
  testsupport::TempDir dir;
  ThdUpdate updater;
  updater.setJsonFile(dir.file("thd_data.json").c_str());
  StreamCapture err(2);
  updater.init();
  const std::string lines = err.finish();
  EXPECT_NE(lines.find("dm_get_info error on key \"reading.1sec.freq\" with error code= -1\n"),
            std::string::npos);
  EXPECT_NE(lines.find("dm_get_sys_data_handle error on key \"shared_meter_readings\" with "
                       "error code= -1\n"),
            std::string::npos);
  StreamCapture readErr(2);
  updater.getData();
  updater.displayData();
  std::string text = testsupport::readFile(dir.file("thd_data.json"));
  readErr.finish();
  const std::string readings =
      "\"frequency\":\"0.000 Hz\",\n"
      "\"voltA\":[\"0.000 V\",\"0.000\",\"0.000\"],\n"
      "\"voltB\":[\"0.000 V\",\"0.000\",\"0.000\"],\n"
      "\"voltC\":[\"0.000 V\",\"0.000\",\"0.000\"],\n"
      "\"currentA\":[\"0.000 A\",\"0.000\",\"0.000\",\"0.000\"],\n"
      "\"currentB\":[\"0.000 A\",\"0.000\",\"0.000\",\"0.000\"],\n"
      "\"currentC\":[\"0.000 A\",\"0.000\",\"0.000\",\"0.000\"],\n";
  const std::string tail =
      "\"meterDesignation\":\"\",\n"
      "\"dateTime\":\"0000-00-00 00:00:00\",\n"
      "\"powerOnTime\":\"0000-00-00 00:00:00\"\n"
      "}\n";
  EXPECT_EQ(text, phasortest::documentHead() + readings + allZeroHarmonics() + tail);
}

TEST_F(ThdTest, DebugLinesWithTheThdOrLivedataBit) {
  GlobalsScope globals(0);
  EXPECT_EQ(debugLines(kDebugPhasor), "");
  for (uint32_t mask : {kDebugThd, kDebugLivedata}) {
    EXPECT_EQ(debugLines(mask), "ThdUpdate init...\nThdUpdate displayData...\n");
  }
}

}  // namespace
