// Golden tests of symmetrical_components.json: every expected document below is
// written by hand from the document's format and the catalogue's values.
#include <gtest/gtest.h>

#include <string>

#include "livedata/Globals.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"
#include "tests/updaters/UpdaterFixture.h"
#include "tests/updaters/phasor_testing.h"
#include "updaters/SymmUpdate.h"

namespace {

using phasortest::GlobalsScope;
using testsupport::MapFixture;

const char kCatalog[] =
    "reading.1sec.freq flt64 50\n"
    "reading.1sec.volt.an flt64 230\n"
    "reading.1sec.volt.ab flt64 398\n"
    "reading.1sec.current.a flt64 10\n"
    "reading.02sec.volt.an.phase flt64 0\n"
    "reading.02sec.volt.ab.phase flt64 30\n"
    "reading.02sec.current.a.phase flt64 -30\n"
    "reading.1sec.volt.bn flt64 231\n"
    "reading.1sec.volt.bc flt64 399\n"
    "reading.1sec.current.b flt64 11\n"
    "reading.02sec.volt.bn.phase flt64 -120\n"
    "reading.02sec.volt.bc.phase flt64 -90\n"
    "reading.02sec.current.b.phase flt64 210\n"
    "reading.1sec.volt.cn flt64 229\n"
    "reading.1sec.volt.ca flt64 397\n"
    "reading.1sec.current.c flt64 12\n"
    "reading.02sec.volt.cn.phase flt64 120\n"
    "reading.02sec.volt.ca.phase flt64 150\n"
    "reading.02sec.current.c.phase flt64 90\n"
    "reading.3secs.symcomp.volt.zeroseq.mag flt64 1.5\n"
    "reading.3secs.symcomp.volt.zeroseq.phase flt64 -30\n"
    "reading.3secs.symcomp.volt.posseq.mag flt64 230.25\n"
    "reading.3secs.symcomp.volt.posseq.phase flt64 300\n"
    "reading.3secs.symcomp.volt.negseq.mag flt64 2.75\n"
    "reading.3secs.symcomp.volt.negseq.phase flt64 240\n"
    "reading.3secs.symcomp.current.zeroseq.mag flt64 0.5\n"
    "reading.3secs.symcomp.current.zeroseq.phase flt64 0\n"
    "reading.3secs.symcomp.current.posseq.mag flt64 11\n"
    "reading.3secs.symcomp.current.posseq.phase flt64 240\n"
    "reading.3secs.symcomp.current.negseq.mag flt64 0.25\n"
    "reading.3secs.symcomp.current.negseq.phase flt64 -10\n"
    "dev.designation string64 Sub\\Station\t7\n"
    "reading.time.ltc ts8 2023-03-04 05:06:07\n"
    "sys.ontime ts8 2023-01-01 00:00:01\n"
    "dev.pt.pn.ratio uint32 1\n"
    "dev.ct.abc.ratio uint32 1\n";

// Zero sequence -30 -> 330 three times; positive 300 -> 300, 60, 180;
// negative 240 -> 240, 240 + 240 - 360 = 120, 240 + 120 = 360 (kept).
const char kVoltageSequences[] =
    "\"voltage_zero_sequence\":[\"1.500 V\",\"1.500 V\",\"1.500 V\",\"330.00 Deg\","
    "\"330.00 Deg\",\"330.00 Deg\"],\n"
    "\"voltage_positive_sequence\":[\"230.250 V\",\"230.250 V\",\"230.250 V\",\"300.00 Deg\","
    "\"60.00 Deg\",\"180.00 Deg\"],\n"
    "\"voltage_negative_sequence\":[\"2.750 V\",\"2.750 V\",\"2.750 V\",\"240.00 Deg\","
    "\"120.00 Deg\",\"360.00 Deg\"],\n";
const char kWyePhasor[] =
    "\"voltage_phasor\":[\"230.000 V\",\"231.000 V\",\"229.000 V\",\"0.00 Deg\",\"240.00 Deg\","
    "\"120.00 Deg\"],\n";
const char kDeltaPhasor[] =
    "\"voltage_phasor\":[\"398.000 V\",\"399.000 V\",\"397.000 V\",\"30.00 Deg\",\"270.00 Deg\","
    "\"150.00 Deg\"],\n";
// Positive 240 -> 240, 360, 120; negative -10 -> 350, 350 + 240 - 360 = 230,
// 350 + 120 - 360 = 110.
const char kCurrents[] =
    "\"current_zero_sequence\":[\"0.500 A\",\"0.500 A\",\"0.500 A\",\"0.00 Deg\",\"0.00 Deg\","
    "\"0.00 Deg\"],\n"
    "\"current_positive_sequence\":[\"11.000 A\",\"11.000 A\",\"11.000 A\",\"240.00 Deg\","
    "\"360.00 Deg\",\"120.00 Deg\"],\n"
    "\"current_negative_sequence\":[\"0.250 A\",\"0.250 A\",\"0.250 A\",\"350.00 Deg\","
    "\"230.00 Deg\",\"110.00 Deg\"],\n"
    "\"current_phasor\":[\"10.000 A\",\"11.000 A\",\"12.000 A\",\"330.00 Deg\",\"210.00 Deg\","
    "\"90.00 Deg\"],\n";
const char kTail[] =
    "\"meterDesignation\":\"Sub\\\\Station\\t7\",\n"
    "\"dateTime\":\"2023-03-04 05:06:07\",\n"
    "\"powerOnTime\":\"2023-01-01 00:00:01\"\n"
    "}\n";

std::string document(const std::string& hookupName, const std::string& voltages,
                     const std::string& currents = kCurrents,
                     const std::string& frequency = "50.000", const std::string& tail = kTail) {
  return phasortest::documentHead() + "\"frequency\":\"" + frequency + " Hz\",\n" +
         "\"hookup\":\"" + hookupName + "\",\n" + voltages + currents + tail;
}

const char kDocumentName[] = "symmetrical_components.json";
using SymmTest = updatertest::DocumentTest<SymmUpdate, kDocumentName, kCatalog>;

TEST_F(SymmTest, WyeDocumentWithRotatedAndNormalisedAngles) {
  GlobalsScope globals(0);
  init();
  EXPECT_EQ(initErrors_, "");
  EXPECT_EQ(quietCycle(), document("Wye", std::string(kVoltageSequences) + kWyePhasor));
  // Steady state: the stored angles are normalised; the next cycle is the same.
  EXPECT_EQ(quietCycle(), document("Wye", std::string(kVoltageSequences) + kWyePhasor));
}

TEST_F(SymmTest, HookupChoosesPhasorSetAndName) {
  init();
  const struct {
    uint32_t code;
    const char* name;
    const char* phasor;
  } cases[] = {{0, "Wye", kWyePhasor},           {1, "Delta 3 CTs", kDeltaPhasor},
               {2, "Delta 2 CTs", kDeltaPhasor}, {3, "2.5 Element Wye", kWyePhasor},
               {4, "4 Wire Delta", kDeltaPhasor}, {5, "", kDeltaPhasor},
               {6, "", kDeltaPhasor},            {1000, "", kDeltaPhasor}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.code);
    GlobalsScope globals(c.code);
    EXPECT_EQ(cycle(), document(c.name, std::string(kVoltageSequences) + c.phasor));
  }
}

// Magnitudes that divide cleanly by 1000: the sequences and the phasors.
void setLargeMagnitudes(MapFixture& map) {
  map.set("reading.3secs.symcomp.volt.zeroseq.mag", "1500");
  map.set("reading.3secs.symcomp.volt.posseq.mag", "13800");
  map.set("reading.3secs.symcomp.volt.negseq.mag", "250");
  map.set("reading.1sec.volt.an", "13810");
  map.set("reading.1sec.volt.bn", "13790");
  map.set("reading.1sec.volt.cn", "13800");
  map.set("reading.3secs.symcomp.current.zeroseq.mag", "500");
  map.set("reading.3secs.symcomp.current.posseq.mag", "1250");
  map.set("reading.3secs.symcomp.current.negseq.mag", "20");
  map.set("reading.1sec.current.a", "1240");
  map.set("reading.1sec.current.b", "1250");
  map.set("reading.1sec.current.c", "1260");
}

// The voltage and current blocks of those magnitudes in plain and kilo units.
const char kSymmVolts[] =
    "\"voltage_zero_sequence\":[\"1500.000 V\",\"1500.000 V\",\"1500.000 V\",\"330.00 Deg\","
    "\"330.00 Deg\",\"330.00 Deg\"],\n"
    "\"voltage_positive_sequence\":[\"13800.000 V\",\"13800.000 V\",\"13800.000 V\","
    "\"300.00 Deg\",\"60.00 Deg\",\"180.00 Deg\"],\n"
    "\"voltage_negative_sequence\":[\"250.000 V\",\"250.000 V\",\"250.000 V\",\"240.00 Deg\","
    "\"120.00 Deg\",\"360.00 Deg\"],\n"
    "\"voltage_phasor\":[\"13810.000 V\",\"13790.000 V\",\"13800.000 V\",\"0.00 Deg\","
    "\"240.00 Deg\",\"120.00 Deg\"],\n";
const char kSymmKiloVolts[] =
    "\"voltage_zero_sequence\":[\"1.500 kV\",\"1.500 kV\",\"1.500 kV\",\"330.00 Deg\","
    "\"330.00 Deg\",\"330.00 Deg\"],\n"
    "\"voltage_positive_sequence\":[\"13.800 kV\",\"13.800 kV\",\"13.800 kV\","
    "\"300.00 Deg\",\"60.00 Deg\",\"180.00 Deg\"],\n"
    "\"voltage_negative_sequence\":[\"0.250 kV\",\"0.250 kV\",\"0.250 kV\",\"240.00 Deg\","
    "\"120.00 Deg\",\"360.00 Deg\"],\n"
    "\"voltage_phasor\":[\"13.810 kV\",\"13.790 kV\",\"13.800 kV\",\"0.00 Deg\","
    "\"240.00 Deg\",\"120.00 Deg\"],\n";
const char kSymmAmps[] =
    "\"current_zero_sequence\":[\"500.000 A\",\"500.000 A\",\"500.000 A\",\"0.00 Deg\","
    "\"0.00 Deg\",\"0.00 Deg\"],\n"
    "\"current_positive_sequence\":[\"1250.000 A\",\"1250.000 A\",\"1250.000 A\","
    "\"240.00 Deg\",\"360.00 Deg\",\"120.00 Deg\"],\n"
    "\"current_negative_sequence\":[\"20.000 A\",\"20.000 A\",\"20.000 A\",\"350.00 Deg\","
    "\"230.00 Deg\",\"110.00 Deg\"],\n"
    "\"current_phasor\":[\"1240.000 A\",\"1250.000 A\",\"1260.000 A\",\"330.00 Deg\","
    "\"210.00 Deg\",\"90.00 Deg\"],\n";
const char kSymmKiloAmps[] =
    "\"current_zero_sequence\":[\"0.500 kA\",\"0.500 kA\",\"0.500 kA\",\"0.00 Deg\","
    "\"0.00 Deg\",\"0.00 Deg\"],\n"
    "\"current_positive_sequence\":[\"1.250 kA\",\"1.250 kA\",\"1.250 kA\","
    "\"240.00 Deg\",\"360.00 Deg\",\"120.00 Deg\"],\n"
    "\"current_negative_sequence\":[\"0.020 kA\",\"0.020 kA\",\"0.020 kA\",\"350.00 Deg\","
    "\"230.00 Deg\",\"110.00 Deg\"],\n"
    "\"current_phasor\":[\"1.240 kA\",\"1.250 kA\",\"1.260 kA\",\"330.00 Deg\","
    "\"210.00 Deg\",\"90.00 Deg\"],\n";

TEST_F(SymmTest, VoltageAndCurrentUnitsFollowRatios) {
  GlobalsScope globals(0);
  init();
  setLargeMagnitudes(*map_);
  EXPECT_EQ(cycleWithRatios({"5", "10"}), document("Wye", kSymmVolts, kSymmAmps));
  map_->set("dev.pt.pn.ratio", "6");
  EXPECT_EQ(cycle(), document("Wye", kSymmKiloVolts, kSymmAmps));
  map_->set("dev.ct.abc.ratio", "11");
  EXPECT_EQ(cycle(), document("Wye", kSymmKiloVolts, kSymmKiloAmps));
  map_->set("dev.pt.pn.ratio", "5");
  EXPECT_EQ(cycle(), document("Wye", kSymmVolts, kSymmKiloAmps));
}

TEST_F(SymmTest, RotationWrapsOnlyAboveThreeSixty) {
  GlobalsScope globals(0);
  init();
  // 120 + 240 = 360 stays; 120.5 + 240 = 360.5 -> 0.5.
  map_->set("reading.3secs.symcomp.volt.posseq.phase", "120");
  map_->set("reading.3secs.symcomp.volt.negseq.phase", "120.5");
  map_->set("reading.3secs.symcomp.volt.zeroseq.phase", "-0.25");
  const std::string volts =
      "\"voltage_zero_sequence\":[\"1.500 V\",\"1.500 V\",\"1.500 V\",\"359.75 Deg\","
      "\"359.75 Deg\",\"359.75 Deg\"],\n"
      "\"voltage_positive_sequence\":[\"230.250 V\",\"230.250 V\",\"230.250 V\",\"120.00 Deg\","
      "\"240.00 Deg\",\"360.00 Deg\"],\n"
      "\"voltage_negative_sequence\":[\"2.750 V\",\"2.750 V\",\"2.750 V\",\"120.50 Deg\","
      "\"0.50 Deg\",\"240.50 Deg\"],\n";
  EXPECT_EQ(cycle(), document("Wye", volts + kWyePhasor));
}

// After the voltage reads, what the current and the sequence reads print when
// each fails with -6.
const char kCurrentAndSequenceReadErrors[] =
    "dm_read_flt64 error on data.phasea.volt with error code= -6\n"
    "dm_read_flt64 error on data.phasea.iangle with error code= -6\n"
    "dm_read_flt64 error on data.phaseb.volt with error code= -6\n"
    "dm_read_flt64 error on data.phaseb.iangle with error code= -6\n"
    "dm_read_flt64 error on data.phasec.volt with error code= -6\n"
    "dm_read_flt64 error on data.phasec.iangle with error code= -6\n"
    "dm_read_flt64 error on reading.3secs.symcomp.volt.zeroseq.mag with error code= -6\n"
    "dm_read_flt64 error on reading.3secs.symcomp.volt.zeroseq.phase with error code= -6\n"
    "dm_read_flt64 error on reading.3secs.symcomp.volt.posseq.mag with error code= -6\n"
    "dm_read_flt64 error on reading.3secs.symcomp.volt.posseq.phase with error code= -6\n"
    "dm_read_flt64 error on reading.3secs.symcomp.volt.negseq.mag with error code= -6\n"
    "dm_read_flt64 error on reading.3secs.symcomp.volt.negseq.phase with error code= -6\n"
    "dm_read_flt64 error on reading.3secs.symcomp.current.zeroseq.mag with error code= -6\n"
    "dm_read_flt64 error on reading.3secs.symcomp.current.zeroseq.phase with error code= -6\n"
    "dm_read_flt64 error on reading.3secs.symcomp.current.posseq.mag with error code= -6\n"
    "dm_read_flt64 error on reading.3secs.symcomp.current.posseq.phase with error code= -6\n"
    "dm_read_flt64 error on reading.3secs.symcomp.current.negseq.mag with error code= -6\n"
    "dm_read_flt64 error on reading.3secs.symcomp.current.negseq.phase with error code= -6\n"
    "dm_read_STRING error on \"dev.designation\" with error code= -6\n"
    "dm_read_timestamp_b8error on \"reading.time.ltc\" with error code= -6\n"
    "dm_read_timestamp_b8 error on \"sys.ontime\" with error code= -6\n"
    "dm_read_uint32 error on dev.pt.pn.ratio with error code= -6\n"
    "dm_read_uint32 error on dev.ct.abc.ratio with error code= -6\n";

TEST_F(SymmTest, EveryReadFailureHasItsTextAndKeepsOldValues) {
  GlobalsScope globals(0);
  init();
  const std::string good = document("Wye", std::string(kVoltageSequences) + kWyePhasor);
  EXPECT_EQ(cycle(), good);
  failEveryKey(-6);
  std::string errors;
  EXPECT_EQ(cycle(&errors), good);
  EXPECT_EQ(errors, std::string(phasortest::kVoltageReadErrors) + kCurrentAndSequenceReadErrors);
}

// The map of the test catalogue without the named keys.
class SymmMissingKeysTest : public SymmTest {
 protected:
  SymmMissingKeysTest()
      : SymmTest(testsupport::catalogWithout(
            kCatalog, {"reading.02sec.volt.bc.phase", "reading.3secs.symcomp.current.negseq.mag",
                       "reading.time.ltc", "dev.pt.pn.ratio"})) {}
};

TEST_F(SymmMissingKeysTest, LookupAndReadErrorsName) {
  GlobalsScope globals(1);
  init();
  EXPECT_EQ(initErrors_,
            "dm_get_info error on key \"reading.02sec.volt.bc.phase\" with error code= -2\n"
            "dm_get_info error on key \"reading.3secs.symcomp.current.negseq.mag\" with error "
            "code= -2\n"
            "dm_get_info error on key \"reading.time.ltc\" with error code= -2\n"
            "dm_get_info error on key \"dev.pt.pn.ratio\" with error code= -2\n");
  std::string errors;
  std::string text = cycle(&errors);
  EXPECT_EQ(errors,
            "dm_read_flt64 error on data.phaseb.vangle_vpp with error code= -3\n"
            "dm_read_flt64 error on reading.3secs.symcomp.current.negseq.mag with error code= -3\n"
            "dm_read_timestamp_b8error on \"reading.time.ltc\" with error code= -3\n"
            "dm_read_uint32 error on dev.pt.pn.ratio with error code= -3\n");
  const std::string phasor =
      "\"voltage_phasor\":[\"398.000 V\",\"399.000 V\",\"397.000 V\",\"30.00 Deg\",\"0.00 Deg\","
      "\"150.00 Deg\"],\n";
  const std::string currents =
      "\"current_zero_sequence\":[\"0.500 A\",\"0.500 A\",\"0.500 A\",\"0.00 Deg\",\"0.00 Deg\","
      "\"0.00 Deg\"],\n"
      "\"current_positive_sequence\":[\"11.000 A\",\"11.000 A\",\"11.000 A\",\"240.00 Deg\","
      "\"360.00 Deg\",\"120.00 Deg\"],\n"
      "\"current_negative_sequence\":[\"0.000 A\",\"0.000 A\",\"0.000 A\",\"350.00 Deg\","
      "\"230.00 Deg\",\"110.00 Deg\"],\n"
      "\"current_phasor\":[\"10.000 A\",\"11.000 A\",\"12.000 A\",\"330.00 Deg\",\"210.00 Deg\","
      "\"90.00 Deg\"],\n";
  const std::string tail =
      "\"meterDesignation\":\"Sub\\\\Station\\t7\",\n"
      "\"dateTime\":\"0000-00-00 00:00:00\",\n"
      "\"powerOnTime\":\"2023-01-01 00:00:01\"\n"
      "}\n";
  EXPECT_EQ(text, document("Delta 3 CTs", std::string(kVoltageSequences) + phasor, currents,
                           "50.000", tail));
}

TEST_F(SymmTest, DebugLinesUseThePhasorText) {
  GlobalsScope globals(0);
  EXPECT_EQ(debugLines(kDebugMaskDefault), "");  // no bit 1: silent
  EXPECT_EQ(debugLines(kDebugLivedata), "SymmUpdate init...\nPhasorUpdate displayData...\n");
}

}  // namespace
