// Golden tests of flicker_data.json: every expected document below is written by
// hand from the document's format and the catalogue's values.
#include <gtest/gtest.h>

#include <string>

#include "livedata/Globals.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"
#include "tests/updaters/UpdaterFixture.h"
#include "tests/updaters/phasor_testing.h"
#include "updaters/FlickerUpdate.h"

namespace {

using phasortest::GlobalsScope;
using testsupport::StreamCapture;

const char kCatalog[] =
    "sys.timestamp.reset_flicker_peak ts8 2022-10-01 00:00:00\n"
    "reading.time.ltc ts8 2022-10-05 19:03:30\n"
    "reading.flicker.countdown_sec.pst uint32 125\n"
    "reading.flicker.countdown_sec.plt uint32 7199\n"
    "sys.enumeration.frequency_type uint32 1\n"
    "reading.1sec.freq flt32 59.98\n"
    "setting.en50160.nominal_voltage flt32 230\n"
    "reading.flicker.pinst.a flt32 0.5\n"
    "reading.flicker.pinst.b flt32 0.25\n"
    "reading.flicker.pinst.c flt32 0.125\n"
    "reading.1sec.volt.an flt32 120.5\n"
    "reading.1sec.volt.bn flt32 121.25\n"
    "reading.1sec.volt.cn flt32 119.75\n"
    "reading.1sec.volt.ab flt32 208.5\n"
    "reading.1sec.volt.bc flt32 209.25\n"
    "reading.1sec.volt.ca flt32 207.75\n"
    "reading.flicker.pst.a flt32 0.75\n"
    "reading.valid.pst boolean 1\n"
    "reading.valid.plt boolean 0\n"
    "posmax.flicker.pst.a flt32 1.25\n"
    "posmax.valid.flicker.pst.a boolean 1\n"
    "posmax.timestamp.flicker.pst.a ts8 2022-10-02 10:00:00\n"
    "posmin.flicker.pst.a flt32 0.125\n"
    "posmin.valid.flicker.pst.a boolean 1\n"
    "posmin.timestamp.flicker.pst.a ts8 2022-10-03 11:00:00\n"
    "reading.flicker.pst.b flt32 0.625\n"
    "posmax.flicker.pst.b flt32 1.5\n"
    "posmax.valid.flicker.pst.b boolean 1\n"
    "posmax.timestamp.flicker.pst.b ts8 2022-10-02 12:30:00\n"
    "posmin.flicker.pst.b flt32 0.25\n"
    "posmin.valid.flicker.pst.b boolean 0\n"
    "posmin.timestamp.flicker.pst.b ts8 2022-10-03 13:00:00\n"
    "reading.flicker.pst.c flt32 0.5\n"
    "posmax.flicker.pst.c flt32 2\n"
    "posmax.valid.flicker.pst.c boolean 0\n"
    "posmax.timestamp.flicker.pst.c ts8 2022-10-02 14:00:00\n"
    "posmin.flicker.pst.c flt32 0.375\n"
    "posmin.valid.flicker.pst.c boolean 1\n"
    "posmin.timestamp.flicker.pst.c ts8 2022-10-04 15:45:59\n"
    "reading.flicker.timestamp.pst ts8 2022-10-05 19:00:00\n"
    "reading.flicker.plt.a flt32 0.875\n"
    "posmax.flicker.plt.a flt32 1\n"
    "posmax.valid.flicker.plt.a boolean 0\n"
    "posmax.timestamp.flicker.plt.a ts8 2022-10-01 01:00:00\n"
    "posmin.flicker.plt.a flt32 0.5\n"
    "posmin.valid.flicker.plt.a boolean 0\n"
    "posmin.timestamp.flicker.plt.a ts8 2022-10-01 02:00:00\n"
    "reading.flicker.plt.b flt32 0.75\n"
    "posmax.flicker.plt.b flt32 1\n"
    "posmax.valid.flicker.plt.b boolean 0\n"
    "posmax.timestamp.flicker.plt.b ts8 2022-10-01 03:00:00\n"
    "posmin.flicker.plt.b flt32 0.5\n"
    "posmin.valid.flicker.plt.b boolean 0\n"
    "posmin.timestamp.flicker.plt.b ts8 2022-10-01 04:00:00\n"
    "reading.flicker.plt.c flt32 0.625\n"
    "posmax.flicker.plt.c flt32 1\n"
    "posmax.valid.flicker.plt.c boolean 0\n"
    "posmax.timestamp.flicker.plt.c ts8 2022-10-01 05:00:00\n"
    "posmin.flicker.plt.c flt32 0.5\n"
    "posmin.valid.flicker.plt.c boolean 0\n"
    "posmin.timestamp.flicker.plt.c ts8 2022-10-01 06:00:00\n"
    "reading.flicker.timestamp.plt ts8 2022-10-05 18:00:00\n"
    "dev.designation string32 Flicker <Meter> 2\n"
    "sys.ontime ts8 2022-01-02 03:04:05\n";

const char kRuntime[] =
    "\"runtime\":[\"2022-10-01 00:00:00\",\"2022-10-05 19:03:30\",\"2 min 5 sec\","
    "\"119 min 59 sec\",\"60.000 Hz\",\"59.980 Hz\", \"230.000 V\"],\n";
const char kInstWye[] =
    "\"inst\":[\"0.500\",\"120.500 V\",\"0.250\",\"121.250 V\",\"0.125\",\"119.750 V\"],\n";
const char kInstDelta[] =
    "\"inst\":[\"0.500\",\"208.500 V\",\"0.250\",\"209.250 V\",\"0.125\",\"207.750 V\"],\n";
// Maxima A, B, C then minima A, B, C: max C and min B are not valid.
const char kShortTerm[] =
    "\"shortterm\":[\"0.750\",\"2022-10-05 19:00:00\",\"0.625\",\"2022-10-05 19:00:00\","
    "\"0.500\",\"2022-10-05 19:00:00\",\"1.250\",\"2022-10-02 10:00:00\",\"1.500\","
    "\"2022-10-02 12:30:00\",\"n/a\",\"n/a\",\"0.125\",\"2022-10-03 11:00:00\",\"n/a\",\"n/a\","
    "\"0.375\",\"2022-10-04 15:45:59\"],\n";
const char kLongTerm[] =
    "\"longterm\":[\"0.875\",\"2022-10-05 18:00:00\",\"0.750\",\"2022-10-05 18:00:00\","
    "\"0.625\",\"2022-10-05 18:00:00\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\","
    "\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\"],\n";
const char kTail[] =
    "\"meterDesignation\":\"Flicker <Meter> 2\",\n"
    "\"dateTime\":\"2022-10-05 19:03:30\",\n"
    "\"powerOnTime\":\"2022-01-02 03:04:05\"\n"
    "}\n";

std::string document(const std::string& runtime = kRuntime, const std::string& inst = kInstWye,
                     const std::string& shortTerm = kShortTerm,
                     const std::string& longTerm = kLongTerm, const std::string& tail = kTail) {
  return phasortest::documentHead() + runtime + inst + shortTerm + longTerm + tail;
}

const char kDocumentName[] = "flicker_data.json";
using FlickerTest = updatertest::DocumentTest<FlickerUpdate, kDocumentName, kCatalog>;

TEST_F(FlickerTest, WyeDocument) {
  GlobalsScope globals(0);
  init();
  EXPECT_EQ(initErrors_, "");
  EXPECT_EQ(quietCycle(), document());
  EXPECT_EQ(quietCycle(), document());
}

TEST_F(FlickerTest, HookupChoosesVoltages) {
  init();
  const struct {
    uint32_t code;
    const char* inst;
  } cases[] = {{0, kInstWye},   {1, kInstDelta}, {2, kInstDelta}, {3, kInstWye},
               {4, kInstDelta}, {5, kInstDelta}, {77, kInstDelta}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.code);
    GlobalsScope globals(c.code);
    EXPECT_EQ(cycle(), document(kRuntime, c.inst));
  }
}

TEST_F(FlickerTest, FrequencyTypeZeroIsFiftyHertz) {
  GlobalsScope globals(0);
  init();
  map_->set("sys.enumeration.frequency_type", "0");
  EXPECT_EQ(cycle(), document("\"runtime\":[\"2022-10-01 00:00:00\",\"2022-10-05 19:03:30\","
                              "\"2 min 5 sec\",\"119 min 59 sec\",\"50.000 Hz\",\"59.980 Hz\","
                              " \"230.000 V\"],\n"));
  map_->set("sys.enumeration.frequency_type", "2");
  EXPECT_EQ(cycle(), document());
}

TEST_F(FlickerTest, CountdownsDivideAsSignedNumbers) {
  GlobalsScope globals(0);
  init();
  map_->set("reading.flicker.countdown_sec.pst", "4294967295");  // -1
  map_->set("reading.flicker.countdown_sec.plt", "4294967176");  // -120
  EXPECT_EQ(cycle(), document("\"runtime\":[\"2022-10-01 00:00:00\",\"2022-10-05 19:03:30\","
                              "\"0 min -1 sec\",\"-2 min 0 sec\",\"60.000 Hz\",\"59.980 Hz\","
                              " \"230.000 V\"],\n"));
  map_->set("reading.flicker.countdown_sec.pst", "0");
  map_->set("reading.flicker.countdown_sec.plt", "60");
  EXPECT_EQ(cycle(), document("\"runtime\":[\"2022-10-01 00:00:00\",\"2022-10-05 19:03:30\","
                              "\"0 min 0 sec\",\"1 min 0 sec\",\"60.000 Hz\",\"59.980 Hz\","
                              " \"230.000 V\"],\n"));
}

TEST_F(FlickerTest, NominalVoltageKeepsLastGoodValue) {
  GlobalsScope globals(0);
  map_->fail("setting.en50160.nominal_voltage", -6);
  init();
  const std::string before =
      "\"runtime\":[\"2022-10-01 00:00:00\",\"2022-10-05 19:03:30\",\"2 min 5 sec\","
      "\"119 min 59 sec\",\"60.000 Hz\",\"59.980 Hz\", \"120.000 V\"],\n";
  {
    StreamCapture err(2);
    EXPECT_EQ(cycle(), document(before));
    EXPECT_EQ(err.finish(),
              "dm_read_flt32 error on key \"setting.en50160.nominal_voltage\" with error code= "
              "-6\n");
  }
  map_->fail("setting.en50160.nominal_voltage", 0);
  EXPECT_EQ(cycle(), document());
  map_->set("setting.en50160.nominal_voltage", "115");
  map_->fail("setting.en50160.nominal_voltage", -6);
  StreamCapture err(2);
  EXPECT_EQ(cycle(), document());  // still 230
  err.finish();
}

TEST_F(FlickerTest, AllExtremesInvalidGiveNaPairs) {
  GlobalsScope globals(0);
  init();
  for (const char* kind : {"pst", "plt"}) {
    for (const char* bound : {"posmax", "posmin"}) {
      for (const char* phase : {"a", "b", "c"}) {
        map_->set(std::string(bound) + ".valid.flicker." + kind + "." + phase, "0");
      }
    }
  }
  const std::string shortTerm =
      "\"shortterm\":[\"0.750\",\"2022-10-05 19:00:00\",\"0.625\",\"2022-10-05 19:00:00\","
      "\"0.500\",\"2022-10-05 19:00:00\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\","
      "\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\"],\n";
  EXPECT_EQ(cycle(), document(kRuntime, kInstWye, shortTerm, kLongTerm));
}

TEST_F(FlickerTest, AllExtremesValidInTheLongTerm) {
  GlobalsScope globals(0);
  init();
  for (const char* bound : {"posmax", "posmin"}) {
    for (const char* phase : {"a", "b", "c"}) {
      map_->set(std::string(bound) + ".valid.flicker.plt." + phase, "1");
    }
  }
  const std::string longTerm =
      "\"longterm\":[\"0.875\",\"2022-10-05 18:00:00\",\"0.750\",\"2022-10-05 18:00:00\","
      "\"0.625\",\"2022-10-05 18:00:00\",\"1.000\",\"2022-10-01 01:00:00\",\"1.000\","
      "\"2022-10-01 03:00:00\",\"1.000\",\"2022-10-01 05:00:00\",\"0.500\","
      "\"2022-10-01 02:00:00\",\"0.500\",\"2022-10-01 04:00:00\",\"0.500\","
      "\"2022-10-01 06:00:00\"],\n";
  EXPECT_EQ(cycle(), document(kRuntime, kInstWye, kShortTerm, longTerm));
}

TEST_F(FlickerTest, MonthFirstTimestampLayoutEverywhere) {
  GlobalsScope globals(0, 1);
  init();
  const std::string runtime =
      "\"runtime\":[\"10/01/2022 00:00:00\",\"10/05/2022 19:03:30\",\"2 min 5 sec\","
      "\"119 min 59 sec\",\"60.000 Hz\",\"59.980 Hz\", \"230.000 V\"],\n";
  const std::string shortTerm =
      "\"shortterm\":[\"0.750\",\"10/05/2022 19:00:00\",\"0.625\",\"10/05/2022 19:00:00\","
      "\"0.500\",\"10/05/2022 19:00:00\",\"1.250\",\"10/02/2022 10:00:00\",\"1.500\","
      "\"10/02/2022 12:30:00\",\"n/a\",\"n/a\",\"0.125\",\"10/03/2022 11:00:00\",\"n/a\","
      "\"n/a\",\"0.375\",\"10/04/2022 15:45:59\"],\n";
  const std::string longTerm =
      "\"longterm\":[\"0.875\",\"10/05/2022 18:00:00\",\"0.750\",\"10/05/2022 18:00:00\","
      "\"0.625\",\"10/05/2022 18:00:00\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\","
      "\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\"],\n";
  const std::string tail =
      "\"meterDesignation\":\"Flicker <Meter> 2\",\n"
      "\"dateTime\":\"10/05/2022 19:03:30\",\n"
      "\"powerOnTime\":\"01/02/2022 03:04:05\"\n"
      "}\n";
  EXPECT_EQ(cycle(), document(runtime, kInstWye, shortTerm, longTerm, tail));
}

// What a cycle prints when every read fails with -6, in the order of the reads.
const char kEveryReadFailedErrors[] =
    "dm_read_zul_timestamp_b8 error on key \"sys.timestamp.reset_flicker_peak\" with error "
    "code= -6\n"
    "dm_read_zul_timestamp_b8 error on key \"reading.time.ltc\" with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on key \"reading.flicker.countdown_sec.plt\" with error "
    "code= -6\n"
    "dm_read_zul_timestamp_b8 error on key \"reading.flicker.countdown_sec.pst\" with error "
    "code= -6\n"
    "dm_read_uint32 error on key \"sys.enumeration.frequency_type\" with error code= -6\n"
    "dm_read_flt32 error on key \"reading.1sec.freq\" with error code= -6\n"
    "dm_read_flt32 error on key \"setting.en50160.nominal_voltage\" with error code= -6\n"
    "dm_read_flt32 error on key \"reading.flicker.pinst.a\" with error code= -6\n"
    "dm_read_flt32 error on key \"reading.flicker.pinst.b\" with error code= -6\n"
    "dm_read_flt32 error on key \"reading.flicker.pinst.c\" with error code= -6\n"
    "dm_read_flt32 error on key \"reading.1sec.volt.ab\" with error code= -6\n"
    "dm_read_flt32 error on key \"reading.1sec.volt.bc\" with error code= -6\n"
    "dm_read_flt32 error on key \"reading.1sec.volt.ca\" with error code= -6\n"
    "dm_read_flt64 error on pst_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on key \"reading.flicker.pst.a\" with error code= -6\n"
    "dm_read_flt64 error on pstmaxa_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on pstmaxa_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on pstmaxa_time_dm_index key with error code= -6\n"
    "dm_read_flt64 error on pstmina_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on pstmina_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on pstmina_time_dm_index key with error code= -6\n"
    "dm_read_flt32 error on key \"reading.flicker.pst.b\" with error code= -6\n"
    "dm_read_flt64 error on pstmaxb_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on pstmaxb_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on pstmaxb_time_dm_index key with error code= -6\n"
    "dm_read_flt64 error on pstminb_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on pstminb_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on pstminb_time_dm_index key with error code= -6\n"
    "dm_read_flt32 error on key \"reading.flicker.pst.c\" with error code= -6\n"
    "dm_read_flt64 error on pstmaxc_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on pstmaxc_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on pstmaxc_time_dm_index key with error code= -6\n"
    "dm_read_flt64 error on pstminc_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on pstminc_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on pstminc_time_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on key \"rreading.1sec.time\" with error code= -6\n"
    "dm_read_flt64 error on plt_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on key \"reading.flicker.plt.a\" with error code= -6\n"
    "dm_read_flt64 error on pltmaxa_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on pltmaxa_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on pltmaxa_time_dm_index key with error code= -6\n"
    "dm_read_flt64 error on pltmina_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on pltmina_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on pltmina_time_dm_index key with error code= -6\n"
    "dm_read_flt32 error on key \"reading.flicker.plt.b\" with error code= -6\n"
    "dm_read_flt64 error on pltmaxb_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on pltmaxb_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on pltmaxb_time_dm_index key with error code= -6\n"
    "dm_read_flt64 error on pltminb_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on pltminb_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on pltminb_time_dm_index key with error code= -6\n"
    "dm_read_flt32 error on key \"reading.flicker.plt.c\" with error code= -6\n"
    "dm_read_flt64 error on pltmaxc_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on pltmaxc_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on pltmaxc_time_dm_index key with error code= -6\n"
    "dm_read_flt64 error on pltminc_valid_dm_index key with error code= -6\n"
    "dm_read_flt32 error on pltminc_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on pltminc_time_dm_index key with error code= -6\n"
    "dm_read_zul_timestamp_b8 error on key \"rreading.1sec.time\" with error code= -6\n"
    "dm_read_STRING error on \"dev.designation\" with error code= -6\n"
    "dm_read_timestamp_b8 error on \"reading.time.ltc\" with error code= -6\n"
    "dm_read_timestamp_b8 error on \"sys.ontime\" with error code= -6\n";

TEST_F(FlickerTest, EveryReadFailureHasItsTextAndKeepsOldValues) {
  GlobalsScope globals(1);
  init();
  EXPECT_EQ(cycle(), document(kRuntime, kInstDelta));
  failEveryKey(-6);
  std::string errors;
  EXPECT_EQ(cycle(&errors), document(kRuntime, kInstDelta));
  EXPECT_EQ(errors, kEveryReadFailedErrors);
}

// The map of the test catalogue without the named keys.
class FlickerMissingKeysTest : public FlickerTest {
 protected:
  FlickerMissingKeysTest()
      : FlickerTest(testsupport::catalogWithout(
            kCatalog, {"reading.flicker.countdown_sec.pst", "sys.enumeration.frequency_type",
                       "reading.1sec.volt.bn", "posmin.valid.flicker.pst.a",
                       "reading.flicker.timestamp.plt"})) {}
};

TEST_F(FlickerMissingKeysTest, LookupAndReadErrorsName) {
  GlobalsScope globals(3);
  init();
  EXPECT_EQ(initErrors_,
            "dm_get_info error on key \"reading.flicker.countdown_sec.pst\" with error code= -2\n"
            "dm_get_info error on key \"sys.enumeration.frequency_type\" with error code= -2\n"
            "dm_get_info error on key \"reading.1sec.volt.bn\" with error code= -2\n"
            "dm_get_info error on key \"posmin.valid.flicker.pst.a\" with error code= -2\n"
            "dm_get_info error on key \"reading.flicker.timestamp.plt\" with error code= -2\n");
  std::string errors;
  std::string text = cycle(&errors);
  EXPECT_EQ(errors,
            "dm_read_zul_timestamp_b8 error on key \"reading.flicker.countdown_sec.pst\" with "
            "error code= -3\n"
            "dm_read_uint32 error on key \"sys.enumeration.frequency_type\" with error code= -3\n"
            "dm_read_flt32 error on key \"reading.1sec.volt.bn\" with error code= -3\n"
            "dm_read_flt64 error on pstmina_valid_dm_index key with error code= -3\n"
            "dm_read_zul_timestamp_b8 error on key \"rreading.1sec.time\" with error code= -3\n");
  // The frequency type stays 0 (50 Hz), the Pst countdown 0, Vbn 0, the Pst
  // minimum of A not valid, the Plt time all zero.
  const std::string runtime =
      "\"runtime\":[\"2022-10-01 00:00:00\",\"2022-10-05 19:03:30\",\"0 min 0 sec\","
      "\"119 min 59 sec\",\"50.000 Hz\",\"59.980 Hz\", \"230.000 V\"],\n";
  const std::string inst =
      "\"inst\":[\"0.500\",\"120.500 V\",\"0.250\",\"0.000 V\",\"0.125\",\"119.750 V\"],\n";
  const std::string shortTerm =
      "\"shortterm\":[\"0.750\",\"2022-10-05 19:00:00\",\"0.625\",\"2022-10-05 19:00:00\","
      "\"0.500\",\"2022-10-05 19:00:00\",\"1.250\",\"2022-10-02 10:00:00\",\"1.500\","
      "\"2022-10-02 12:30:00\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\","
      "\"0.375\",\"2022-10-04 15:45:59\"],\n";
  const std::string longTerm =
      "\"longterm\":[\"0.875\",\"0000-00-00 00:00:00\",\"0.750\",\"0000-00-00 00:00:00\","
      "\"0.625\",\"0000-00-00 00:00:00\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\","
      "\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\",\"n/a\"],\n";
  EXPECT_EQ(text, document(runtime, inst, shortTerm, longTerm));
}

TEST_F(FlickerTest, DebugLinesWithTheFlickerBit) {
  GlobalsScope globals(0);
  EXPECT_EQ(debugLines(kDebugPhasor), "");  // shares no bit with 0x5
  EXPECT_EQ(debugLines(kDebugFlicker), "FlickerUpdate init...\nFlicker displayData...\n");
}

}  // namespace
