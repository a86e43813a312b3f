// Golden tests of phasor_data.json: every expected document below is written by
// hand from the document's format and the datamap values of the catalogue.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "livedata/Globals.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"
#include "tests/updaters/UpdaterFixture.h"
#include "tests/updaters/phasor_testing.h"
#include "updaters/PhasorUpdate.h"

namespace {

using phasortest::GlobalsScope;
using testsupport::MapFixture;

const char kCatalog[] =
    "reading.1sec.freq flt64 59.987\n"
    "reading.1sec.volt.an flt64 120.5\n"
    "reading.1sec.volt.ab flt64 208.5\n"
    "reading.1sec.current.a flt64 5.5\n"
    "reading.1sec.power.watt.a flt64 600.5\n"
    "reading.1sec.power.va.a flt64 650\n"
    "reading.02sec.volt.an.phase flt64 0\n"
    "reading.02sec.volt.ab.phase flt64 30\n"
    "reading.02sec.current.a.phase flt64 -30\n"
    "reading.1sec.volt.bn flt64 121.25\n"
    "reading.1sec.volt.bc flt64 209.25\n"
    "reading.1sec.current.b flt64 4.25\n"
    "reading.1sec.power.watt.b flt64 500.25\n"
    "reading.1sec.power.va.b flt64 520\n"
    "reading.02sec.volt.bn.phase flt64 -120\n"
    "reading.02sec.volt.bc.phase flt64 -90\n"
    "reading.02sec.current.b.phase flt64 210\n"
    "reading.1sec.volt.cn flt64 119.75\n"
    "reading.1sec.volt.ca flt64 207.75\n"
    "reading.1sec.current.c flt64 3.125\n"
    "reading.1sec.power.watt.c flt64 400.125\n"
    "reading.1sec.power.va.c flt64 410\n"
    "reading.02sec.volt.cn.phase flt64 120\n"
    "reading.02sec.volt.ca.phase flt64 150\n"
    "reading.02sec.current.c.phase flt64 90\n"
    "reading.1sec.volt.aux flt64 12.5\n"
    "reading.02sec.volt.aux.phase flt64 -45\n"
    "reading.1sec.current.x flt64 0.75\n"
    "reading.02sec.current.x.phase flt64 10\n"
    "dev.designation string64 Main \"Feeder\" 1\n"
    "reading.time.ltc ts8 2022-10-05 19:03:30\n"
    "sys.ontime ts8 2022-01-02 03:04:05\n"
    "dev.pt.pn.ratio uint32 1\n"
    "dev.ct.abc.ratio uint32 5\n"
    "dev.pt.aux.ratio uint32 1\n"
    "dev.ct.aux.ratio uint32 1\n";

// The catalogue without the lines of the given keys.
std::string catalogWithout(std::initializer_list<const char*> keys) {
  return testsupport::catalogWithout(kCatalog, keys);
}

// Lines of the baseline catalogue (hookup 0).
const char kNeutral[] =
    "\"phasetoneutral\":[\"120.500 V\",\"121.250 V\",\"119.750 V\",\"5.500 A\",\"4.250 A\","
    "\"3.125 A\",\"600.500\",\"500.250\",\"400.125\",\"650.000\",\"520.000\",\"410.000\","
    "\"0.000 Deg\",\"240.000 Deg\",\"120.000 Deg\",\"330.000 Deg\",\"210.000 Deg\","
    "\"90.000 Deg\",\"30.000 Deg\",\"30.000 Deg\",\"30.000 Deg\"],\n";
const char kPhase[] =
    "\"phasetophase\":[\"208.500 V\",\"209.250 V\",\"207.750 V\",\"5.500 A\",\"4.250 A\","
    "\"3.125 A\",\"600.500\",\"500.250\",\"400.125\",\"650.000\",\"520.000\",\"410.000\","
    "\"30.000 Deg\",\"270.000 Deg\",\"150.000 Deg\",\"330.000 Deg\",\"210.000 Deg\","
    "\"90.000 Deg\",\"60.000 Deg\",\"60.000 Deg\",\"60.000 Deg\"],\n";
// Delta hookups other than 1 and 2: powers zeroed, voltages kept.
const char kPhaseNoPower[] =
    "\"phasetophase\":[\"208.500 V\",\"209.250 V\",\"207.750 V\",\"5.500 A\",\"4.250 A\","
    "\"3.125 A\",\"0.000\",\"0.000\",\"0.000\",\"0.000\",\"0.000\",\"0.000\","
    "\"30.000 Deg\",\"270.000 Deg\",\"150.000 Deg\",\"330.000 Deg\",\"210.000 Deg\","
    "\"90.000 Deg\",\"60.000 Deg\",\"60.000 Deg\",\"60.000 Deg\"],\n";
const char kAux[] =
    "\"vauxblock\":[\"12.500 V\",\"-45.000 Deg\"],\n"
    "\"iauxblock\":[\"0.750 A\",\"10.000 Deg\"],\n";
const char kTail[] =
    "\"earthblock\":[\"N/A\",\"N/A\",\"N/A\",\"N/A\"],\n"
    "\"meterDesignation\":\"Main \\\"Feeder\\\" 1\",\n"
    "\"dateTime\":\"2022-10-05 19:03:30\",\n"
    "\"powerOnTime\":\"2022-01-02 03:04:05\"\n"
    "}\n";

std::string document(const std::string& frequency, const std::string& hookupName,
                     const std::string& neutral, const std::string& phase,
                     const std::string& aux = kAux, const std::string& tail = kTail) {
  return phasortest::documentHead() + "\"frequency\":\"" + frequency + " Hz\",\n" +
         "\"hookup\":\"" + hookupName + "\",\n" + neutral + phase + aux + tail;
}

std::string document(const std::string& hookupName, const std::string& neutral,
                     const std::string& phase) {
  return document("59.987", hookupName, neutral, phase);
}

const char kDocumentName[] = "phasor_data.json";
using PhasorTest = updatertest::DocumentTest<PhasorUpdate, kDocumentName, kCatalog>;

TEST_F(PhasorTest, WyeDocumentNormalisesNegativeAnglesAndDifferences) {
  GlobalsScope globals(0);
  init();
  EXPECT_EQ(initErrors_, "");
  EXPECT_EQ(quietCycle(), document("Wye", kNeutral, kPhase));
}

TEST_F(PhasorTest, HookupNamesOfEveryCode) {
  init();
  {
    GlobalsScope globals(3);
    EXPECT_EQ(cycle(), document("2.5 Element Wye", kNeutral, kPhase));
  }
  {
    GlobalsScope globals(4);
    EXPECT_EQ(cycle(), document("4 Wire Delta", kNeutral, kPhaseNoPower));
  }
  {
    GlobalsScope globals(5);
    EXPECT_EQ(cycle(), document("", kNeutral, kPhaseNoPower));
  }
  {
    GlobalsScope globals(9);
    EXPECT_EQ(cycle(), document("", kNeutral, kPhaseNoPower));
  }
  {
    GlobalsScope globals(0xFFFFFFFFu);
    EXPECT_EQ(cycle(), document("", kNeutral, kPhaseNoPower));
  }
}

// Delta with three CTs: Vbc moves to Vca (angle + 180), Vbc and the powers are 0.
const char kPhaseDelta[] =
    "\"phasetophase\":[\"208.500 V\",\"0.000 V\",\"209.250 V\",\"5.500 A\",\"4.250 A\","
    "\"3.125 A\",\"0.000\",\"0.000\",\"0.000\",\"0.000\",\"0.000\",\"0.000\","
    "\"30.000 Deg\",\"0.000 Deg\",\"90.000 Deg\",\"330.000 Deg\",\"210.000 Deg\","
    "\"90.000 Deg\",\"60.000 Deg\",\"150.000 Deg\",\"0.000 Deg\"],\n";

TEST_F(PhasorTest, DeltaThreeCtsMovesVbcToVca) {
  GlobalsScope globals(1);
  init();
  EXPECT_EQ(cycle(), document("Delta 3 CTs", kNeutral, kPhaseDelta));
  // Fresh reads restore what the adjustment changed.
  EXPECT_EQ(cycle(), document("Delta 3 CTs", kNeutral, kPhaseDelta));
}

TEST_F(PhasorTest, DeltaAdjustmentsPersistWhileReadsFail) {
  GlobalsScope globals(1);
  init();
  EXPECT_EQ(cycle(), document("Delta 3 CTs", kNeutral, kPhaseDelta));
  map_->fail("reading.1sec.volt.bc", -6);
  map_->fail("reading.02sec.volt.ca.phase", -6);
  map_->fail("reading.1sec.power.watt.a", -6);
  std::string errors;
  std::string text = cycle(&errors);
  EXPECT_EQ(errors,
            "dm_read_flt64 error on data.phaseb.volt with error code= -6\n"
            "dm_read_flt64 error on data.phasec.vangle_vpp with error code= -6\n"
            "dm_read_flt64 error on data.phasea.watt with error code= -6\n");
  // Watt a keeps the 0 of the last adjustment; Vbc's stored 0 becomes Vca, so
  // Vca's angle is 0 too.
  const std::string neutral =
      "\"phasetoneutral\":[\"120.500 V\",\"121.250 V\",\"119.750 V\",\"5.500 A\",\"4.250 A\","
      "\"3.125 A\",\"0.000\",\"500.250\",\"400.125\",\"650.000\",\"520.000\",\"410.000\","
      "\"0.000 Deg\",\"240.000 Deg\",\"120.000 Deg\",\"330.000 Deg\",\"210.000 Deg\","
      "\"90.000 Deg\",\"30.000 Deg\",\"30.000 Deg\",\"30.000 Deg\"],\n";
  const std::string phase =
      "\"phasetophase\":[\"208.500 V\",\"0.000 V\",\"0.000 V\",\"5.500 A\",\"4.250 A\","
      "\"3.125 A\",\"0.000\",\"0.000\",\"0.000\",\"0.000\",\"0.000\",\"0.000\","
      "\"30.000 Deg\",\"0.000 Deg\",\"0.000 Deg\",\"330.000 Deg\",\"210.000 Deg\","
      "\"90.000 Deg\",\"60.000 Deg\",\"150.000 Deg\",\"-90.000 Deg\"],\n";
  EXPECT_EQ(text, document("Delta 3 CTs", neutral, phase));
  // Once the reads work again the document is whole again.
  map_->fail("reading.1sec.volt.bc", 0);
  map_->fail("reading.02sec.volt.ca.phase", 0);
  map_->fail("reading.1sec.power.watt.a", 0);
  EXPECT_EQ(cycle(), document("Delta 3 CTs", kNeutral, kPhaseDelta));
}

TEST_F(PhasorTest, DeltaTwoCtsWrapsVcaAngleAndZeroVbcGivesZeroAngle) {
  GlobalsScope globals(2);
  init();
  map_->set("reading.02sec.volt.bc.phase", "200");
  // 200 + 180 = 380, less 360: 20.
  const std::string wrapped =
      "\"phasetophase\":[\"208.500 V\",\"0.000 V\",\"209.250 V\",\"5.500 A\",\"4.250 A\","
      "\"3.125 A\",\"0.000\",\"0.000\",\"0.000\",\"0.000\",\"0.000\",\"0.000\","
      "\"30.000 Deg\",\"0.000 Deg\",\"20.000 Deg\",\"330.000 Deg\",\"210.000 Deg\","
      "\"90.000 Deg\",\"60.000 Deg\",\"150.000 Deg\",\"-70.000 Deg\"],\n";
  EXPECT_EQ(cycle(), document("Delta 2 CTs", kNeutral, wrapped));
  map_->set("reading.1sec.volt.bc", "0");
  const std::string zero =
      "\"phasetophase\":[\"208.500 V\",\"0.000 V\",\"0.000 V\",\"5.500 A\",\"4.250 A\","
      "\"3.125 A\",\"0.000\",\"0.000\",\"0.000\",\"0.000\",\"0.000\",\"0.000\","
      "\"30.000 Deg\",\"0.000 Deg\",\"0.000 Deg\",\"330.000 Deg\",\"210.000 Deg\","
      "\"90.000 Deg\",\"60.000 Deg\",\"150.000 Deg\",\"-90.000 Deg\"],\n";
  EXPECT_EQ(cycle(), document("Delta 2 CTs", kNeutral, zero));
}

TEST_F(PhasorTest, AngleDifferenceWrapsBothWays) {
  GlobalsScope globals(0);
  init();
  // 10 - 350 = -340 -> 20; 350 - 10 = 340 -> -20; 180 - 0 = 180 stays.
  map_->set("reading.02sec.volt.an.phase", "10");
  map_->set("reading.02sec.current.a.phase", "350");
  map_->set("reading.02sec.volt.bn.phase", "350");
  map_->set("reading.02sec.current.b.phase", "10");
  map_->set("reading.02sec.volt.cn.phase", "180");
  map_->set("reading.02sec.current.c.phase", "0");
  const std::string neutral =
      "\"phasetoneutral\":[\"120.500 V\",\"121.250 V\",\"119.750 V\",\"5.500 A\",\"4.250 A\","
      "\"3.125 A\",\"600.500\",\"500.250\",\"400.125\",\"650.000\",\"520.000\",\"410.000\","
      "\"10.000 Deg\",\"350.000 Deg\",\"180.000 Deg\",\"350.000 Deg\",\"10.000 Deg\","
      "\"0.000 Deg\",\"20.000 Deg\",\"-20.000 Deg\",\"180.000 Deg\"],\n";
  // 30 - 350 = -320 -> 40; 270 - 10 = 260 -> -100; 150 - 0 = 150.
  const std::string phase =
      "\"phasetophase\":[\"208.500 V\",\"209.250 V\",\"207.750 V\",\"5.500 A\",\"4.250 A\","
      "\"3.125 A\",\"600.500\",\"500.250\",\"400.125\",\"650.000\",\"520.000\",\"410.000\","
      "\"30.000 Deg\",\"270.000 Deg\",\"150.000 Deg\",\"350.000 Deg\",\"10.000 Deg\","
      "\"0.000 Deg\",\"40.000 Deg\",\"-100.000 Deg\",\"150.000 Deg\"],\n";
  EXPECT_EQ(cycle(), document("Wye", neutral, phase));
}

// Magnitudes that divide cleanly by 1000 and 1000000.
void setLargeValues(MapFixture& map) {
  map.set("reading.1sec.volt.an", "13810");
  map.set("reading.1sec.volt.bn", "13790");
  map.set("reading.1sec.volt.cn", "13800");
  map.set("reading.1sec.volt.ab", "23900");
  map.set("reading.1sec.volt.bc", "23920");
  map.set("reading.1sec.volt.ca", "23880");
  map.set("reading.1sec.current.a", "1250");
  map.set("reading.1sec.current.b", "1240");
  map.set("reading.1sec.current.c", "1260");
  map.set("reading.1sec.power.watt.a", "5000000");
  map.set("reading.1sec.power.watt.b", "4875000");
  map.set("reading.1sec.power.watt.c", "5125000");
  map.set("reading.1sec.power.va.a", "6000000");
  map.set("reading.1sec.power.va.b", "6125000");
  map.set("reading.1sec.power.va.c", "5875000");
  map.set("reading.1sec.volt.aux", "12500");
  map.set("reading.1sec.current.x", "750");
}

const char kAngles[] =
    "\"0.000 Deg\",\"240.000 Deg\",\"120.000 Deg\",\"330.000 Deg\",\"210.000 Deg\","
    "\"90.000 Deg\",\"30.000 Deg\",\"30.000 Deg\",\"30.000 Deg\"],\n";
const char kPhaseAngles[] =
    "\"30.000 Deg\",\"270.000 Deg\",\"150.000 Deg\",\"330.000 Deg\",\"210.000 Deg\","
    "\"90.000 Deg\",\"60.000 Deg\",\"60.000 Deg\",\"60.000 Deg\"],\n";

struct UnitCase {
  updatertest::Ratios ratios;
  const char* volts;  // the three voltages of each line as printed, then currents
  const char* phaseVolts;
  const char* amps;
  const char* powers;
};

TEST_F(PhasorTest, UnitVariantsFollowPtAndCtRatios) {
  GlobalsScope globals(0);
  init();
  setLargeValues(*map_);
  const UnitCase cases[] = {
      {{"5", "10"},
       "\"13810.000 V\",\"13790.000 V\",\"13800.000 V\",",
       "\"23900.000 V\",\"23920.000 V\",\"23880.000 V\",",
       "\"1250.000 A\",\"1240.000 A\",\"1260.000 A\",",
       "\"5000000.000\",\"4875000.000\",\"5125000.000\",\"6000000.000\",\"6125000.000\","
       "\"5875000.000\","},
      {{"6", "10"},
       "\"13.810 kV\",\"13.790 kV\",\"13.800 kV\",",
       "\"23.900 kV\",\"23.920 kV\",\"23.880 kV\",",
       "\"1250.000 A\",\"1240.000 A\",\"1260.000 A\",",
       "\"5000.000 k\",\"4875.000 k\",\"5125.000 k\",\"6000.000 k\",\"6125.000 k\","
       "\"5875.000 k\","},
      {{"5", "11"},
       "\"13810.000 V\",\"13790.000 V\",\"13800.000 V\",",
       "\"23900.000 V\",\"23920.000 V\",\"23880.000 V\",",
       "\"1.250 kA\",\"1.240 kA\",\"1.260 kA\",",
       "\"5000.000 k\",\"4875.000 k\",\"5125.000 k\",\"6000.000 k\",\"6125.000 k\","
       "\"5875.000 k\","},
      {{"6", "11"},
       "\"13.810 kV\",\"13.790 kV\",\"13.800 kV\",",
       "\"23.900 kV\",\"23.920 kV\",\"23.880 kV\",",
       "\"1.250 kA\",\"1.240 kA\",\"1.260 kA\",",
       "\"5.000 M\",\"4.875 M\",\"5.125 M\",\"6.000 M\",\"6.125 M\",\"5.875 M\","},
  };
  // The auxiliary blocks follow their own ratios (1 here): volts and amperes.
  const std::string aux =
      "\"vauxblock\":[\"12500.000 V\",\"-45.000 Deg\"],\n"
      "\"iauxblock\":[\"750.000 A\",\"10.000 Deg\"],\n";
  for (const UnitCase& unit : cases) {
    SCOPED_TRACE(std::string("pt ") + unit.ratios.pt + " ct " + unit.ratios.ct);
    setRatios(unit.ratios);
    const std::string neutral = std::string("\"phasetoneutral\":[") + unit.volts + unit.amps +
                                unit.powers + kAngles;
    const std::string phase = std::string("\"phasetophase\":[") + unit.phaseVolts + unit.amps +
                              unit.powers + kPhaseAngles;
    EXPECT_EQ(cycle(), document("59.987", "Wye", neutral, phase, aux));
  }
}

TEST_F(PhasorTest, AuxiliaryBlocksUseTheirOwnRatios) {
  GlobalsScope globals(0);
  init();
  map_->set("reading.1sec.volt.aux", "12500");
  map_->set("reading.1sec.current.x", "750");
  map_->set("dev.pt.aux.ratio", "6");
  map_->set("dev.ct.aux.ratio", "11");
  EXPECT_EQ(cycle(), document("59.987", "Wye", kNeutral, kPhase,
                              "\"vauxblock\":[\"12.500 kV\",\"-45.000 Deg\"],\n"
                              "\"iauxblock\":[\"0.750 kA\",\"10.000 Deg\"],\n"));
  map_->set("dev.pt.aux.ratio", "5");
  map_->set("dev.ct.aux.ratio", "10");
  EXPECT_EQ(cycle(), document("59.987", "Wye", kNeutral, kPhase,
                              "\"vauxblock\":[\"12500.000 V\",\"-45.000 Deg\"],\n"
                              "\"iauxblock\":[\"750.000 A\",\"10.000 Deg\"],\n"));
}

TEST_F(PhasorTest, EveryReadFailureHasItsTextAndKeepsOldValues) {
  GlobalsScope globals(0);
  init();
  EXPECT_EQ(cycle(), document("Wye", kNeutral, kPhase));
  failEveryKey(-6);
  std::string errors;
  std::string text = cycle(&errors);
  EXPECT_EQ(errors, std::string(phasortest::kVoltageReadErrors) +
                        "dm_read_flt64 error on data.phasea.volt with error code= -6\n"
                        "dm_read_flt64 error on data.phasea.watt with error code= -6\n"
                        "dm_read_flt64 error on data.phasea.va with error code= -6\n"
                        "dm_read_flt64 error on data.phasea.iangle with error code= -6\n"
                        "dm_read_flt64 error on data.phaseb.volt with error code= -6\n"
                        "dm_read_flt64 error on data.phaseb.watt with error code= -6\n"
                        "dm_read_flt64 error on data.phaseb.va with error code= -6\n"
                        "dm_read_flt64 error on data.phaseb.iangle with error code= -6\n"
                        "dm_read_flt64 error on data.phasec.volt with error code= -6\n"
                        "dm_read_flt64 error on data.phasec.watt with error code= -6\n"
                        "dm_read_flt64 error on data.phasec.va with error code= -6\n"
                        "dm_read_flt64 error on data.phasec.iangle with error code= -6\n"
                        "dm_read_flt64 error on data.vauxrms with error code= -6\n"
                        "dm_read_flt64 error on data.vauxangle with error code= -6\n"
                        "dm_read_flt64 error on data.iauxrms with error code= -6\n"
                        "dm_read_flt64 error on data.iauxangle with error code= -6\n"
                        "dm_read_STRING error on \"dev.designation\" with error code= -6\n"
                        "dm_read_timestamp_b8error on \"reading.time.ltc\" with error code= -6\n"
                        "dm_read_timestamp_b8 error on \"sys.ontime\" with error code= -6\n"
                        "dm_read_uint32 error on dev.pt.pn.ratio with error code= -6\n"
                        "dm_read_uint32 error on dev.ct.abc.ratio with error code= -6\n"
                        "dm_read_uint32 error on dev.pt.aux.ratio with error code= -6\n"
                        "dm_read_uint32 error on dev.ct.aux.ratio with error code= -6\n");
  EXPECT_EQ(text, document("Wye", kNeutral, kPhase));
}

class PhasorMissingKeysTest : public PhasorTest {
 protected:
  PhasorMissingKeysTest()
      : PhasorTest(catalogWithout(
            {"reading.02sec.volt.bn.phase", "sys.ontime", "dev.ct.aux.ratio"})) {}
};

TEST_F(PhasorMissingKeysTest, LookupAndReadErrorsName) {
  GlobalsScope globals(0);
  init();
  // The auxiliary CT ratio's lookup failure names the phase CT ratio.
  EXPECT_EQ(initErrors_,
            "dm_get_info error on key \"reading.02sec.volt.bn.phase\" with error code= -2\n"
            "dm_get_info error on key \"sys.ontime\" with error code= -2\n"
            "dm_get_info error on key \"dev.ct.abc.ratio\" with error code= -2\n");
  for (int round = 0; round < 2; ++round) {
    std::string errors;
    std::string text = cycle(&errors);
    EXPECT_EQ(errors,
              "dm_read_flt64 error on data.phaseb.vangle with error code= -3\n"
              "dm_read_timestamp_b8 error on \"sys.ontime\" with error code= -3\n"
              "dm_read_uint32 error on dev.ct.aux.ratio with error code= -3\n");
    // Vbn's angle stays 0: 0 - 210 = -210 -> 150.
    const std::string neutral =
        "\"phasetoneutral\":[\"120.500 V\",\"121.250 V\",\"119.750 V\",\"5.500 A\",\"4.250 A\","
        "\"3.125 A\",\"600.500\",\"500.250\",\"400.125\",\"650.000\",\"520.000\",\"410.000\","
        "\"0.000 Deg\",\"0.000 Deg\",\"120.000 Deg\",\"330.000 Deg\",\"210.000 Deg\","
        "\"90.000 Deg\",\"30.000 Deg\",\"150.000 Deg\",\"30.000 Deg\"],\n";
    const std::string tail =
        "\"earthblock\":[\"N/A\",\"N/A\",\"N/A\",\"N/A\"],\n"
        "\"meterDesignation\":\"Main \\\"Feeder\\\" 1\",\n"
        "\"dateTime\":\"2022-10-05 19:03:30\",\n"
        "\"powerOnTime\":\"0000-00-00 00:00:00\"\n"
        "}\n";
    EXPECT_EQ(text, document("59.987", "Wye", neutral, kPhase, kAux, tail));
  }
}

TEST_F(PhasorTest, MonthFirstTimestampLayout) {
  GlobalsScope globals(0, 1);
  init();
  const std::string tail =
      "\"earthblock\":[\"N/A\",\"N/A\",\"N/A\",\"N/A\"],\n"
      "\"meterDesignation\":\"Main \\\"Feeder\\\" 1\",\n"
      "\"dateTime\":\"10/05/2022 19:03:30\",\n"
      "\"powerOnTime\":\"01/02/2022 03:04:05\"\n"
      "}\n";
  EXPECT_EQ(cycle(), document("59.987", "Wye", kNeutral, kPhase, kAux, tail));
}

TEST_F(PhasorTest, DebugLinesOnlyWithTheLivedataBit) {
  GlobalsScope globals(0);
  // 0x3e: the phasor updater keeps only bit 1.
  EXPECT_EQ(debugLines(kDebugMaskDefault), "");
  EXPECT_EQ(debugLines(kDebugLivedata), "PhasorUpdate init...\nPhasorUpdate displayData...\n");
}

TEST_F(PhasorTest, UnopenableDocumentIsSkippedAndReturnsEmptyText) {
  GlobalsScope globals(0);
  init();
  updater_->setJsonFile(dir_.file("missing/dir/phasor_data.json").c_str());
  updater_->getData();
  EXPECT_EQ(updater_->displayData(), "");
  EXPECT_FALSE(testsupport::fileExists(dir_.file("missing/dir/phasor_data.json")));
}

}  // namespace
