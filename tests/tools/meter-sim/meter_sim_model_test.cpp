// Tests of the simulated meter's model, driven through the simulator library
// against a real host datamap in a temporary directory. Every expectation is
// computed here from the published values with the textbook relations (power,
// Fortescue, THD, CRC), not taken from the simulator's own helpers.
#include <gtest/gtest.h>
#include <string.h>

#include <cmath>
#include <complex>
#include <memory>
#include <string>
#include <vector>

#include "Fortescue.h"
#include "LimitSelection.h"
#include "MeterSimulator.h"
#include "SampleSettingsFile.h"
#include "SimOptions.h"
#include "hoststore/HostDatamap.h"
#include "platform/meter_blocks.h"
#include "tests/tools/meter-sim/sim_helpers.h"
#include "tests/support/StatusAssertions.h"
#include "tests/support/TempDir.h"

using simtest::number;
using simtest::text;

namespace {

constexpr double kRad = M_PI / 180.0;

std::complex<double> phasorOf(const dmhost::HostDatamap& map, const std::string& magKey,
                              const std::string& angleKey) {
  return std::polar(number(map, magKey), number(map, angleKey) * kRad);
}

class SimulatorTest : public ::testing::Test {
 protected:
  SimulatorTest() {
    options.seed = 11;
    options.seedGiven = true;
  }

  void start() {
    sim.reset(new MeterSimulator(options));
    ASSERT_TRUE(testsupport::IsOk(sim->start(mapPath, testsupport::sourcePath("data/meter.catalog"),
                                             LimitSelection::choose("", &note))));
    ASSERT_EQ(sim->publishProblems(), 0);
    ASSERT_TRUE(testsupport::IsOk(reader.open(mapPath)));
  }

  void advance(int steps) {
    for (int i = 0; i < steps; ++i) ASSERT_TRUE(testsupport::IsOk(sim->advance()));
  }

  testsupport::TempDir dir;
  std::string mapPath = dir.file("datamap");
  SimOptions options;
  std::unique_ptr<MeterSimulator> sim;
  dmhost::HostDatamap reader;
  std::string note;
};

// Reads the sequence components the meter published and compares them with the
// Fortescue transform of the published phasors.
void expectSequencesMatch(const dmhost::HostDatamap& map, const std::string& family,
                          const std::string mags[3], const std::string angles[3]) {
  const std::complex<double> a = phasorOf(map, mags[0], angles[0]);
  const std::complex<double> b = phasorOf(map, mags[1], angles[1]);
  const std::complex<double> c = phasorOf(map, mags[2], angles[2]);
  const std::complex<double> op = std::polar(1.0, 120.0 * kRad);
  const std::complex<double> expected[3] = {(a + b + c) / 3.0, (a + op * b + op * op * c) / 3.0,
                                            (a + op * op * b + op * c) / 3.0};
  const char* const names[3] = {"zeroseq", "posseq", "negseq"};
  for (int s = 0; s < 3; ++s) {
    const std::string key = "reading.3secs.symcomp." + family + "." + names[s];
    const std::complex<double> published = phasorOf(map, key + ".mag", key + ".phase");
    EXPECT_NEAR(std::abs(published), std::abs(expected[s]), 1e-9 * std::abs(a)) << key;
    EXPECT_NEAR(std::abs(published - expected[s]), 0.0, 1e-9 * std::abs(a)) << key;
  }
}

TEST(Fortescue, BalancedSetsAreOneSequenceEach) {
  Phasor a{100.0, 0.0}, b{100.0, 240.0}, c{100.0, 120.0};
  SequenceComponents abc = fortescue(a, b, c);
  EXPECT_NEAR(abc.positive.magnitude, 100.0, 1e-9);
  EXPECT_NEAR(abc.positive.angle, 0.0, 1e-9);
  EXPECT_NEAR(abc.negative.magnitude, 0.0, 1e-9);
  EXPECT_NEAR(abc.zero.magnitude, 0.0, 1e-9);
  // The reverse rotation is all negative sequence.
  SequenceComponents acb = fortescue(Phasor{10.0, 30.0}, Phasor{10.0, 150.0}, Phasor{10.0, 270.0});
  EXPECT_NEAR(acb.negative.magnitude, 10.0, 1e-9);
  EXPECT_NEAR(acb.negative.angle, 30.0, 1e-9);
  EXPECT_NEAR(acb.positive.magnitude, 0.0, 1e-9);
  // One phase alone splits into three equal thirds.
  SequenceComponents single = fortescue(Phasor{3.0, -90.0}, Phasor{}, Phasor{});
  EXPECT_NEAR(single.zero.magnitude, 1.0, 1e-12);
  EXPECT_NEAR(single.positive.magnitude, 1.0, 1e-12);
  EXPECT_NEAR(single.negative.magnitude, 1.0, 1e-12);
  EXPECT_NEAR(single.zero.angle, -90.0, 1e-9);
}

TEST_F(SimulatorTest, SequenceComponentsAreFortescueOfPublishedPhasors) {
  options.unbalance = 10.0;
  start();
  const std::string vMags[3] = {"reading.1sec.volt.an", "reading.1sec.volt.bn", "reading.1sec.volt.cn"};
  const std::string vAngles[3] = {"reading.02sec.volt.an.phase", "reading.02sec.volt.bn.phase",
                                  "reading.02sec.volt.cn.phase"};
  const std::string iMags[3] = {"reading.1sec.current.a", "reading.1sec.current.b",
                                "reading.1sec.current.c"};
  const std::string iAngles[3] = {"reading.02sec.current.a.phase", "reading.02sec.current.b.phase",
                                  "reading.02sec.current.c.phase"};
  for (int step = 0; step < 5; ++step) {
    expectSequencesMatch(reader, "volt", vMags, vAngles);
    expectSequencesMatch(reader, "current", iMags, iAngles);
    advance(1);
  }
  // A 10 % unbalance shows as a clear negative sequence.
  EXPECT_GT(number(reader, "reading.3secs.symcomp.volt.negseq.mag"),
            0.01 * number(reader, "reading.3secs.symcomp.volt.posseq.mag"));
}

TEST_F(SimulatorTest, LineVoltagesArePhasorDifferences) {
  start();
  const char* const phases[3] = {"an", "bn", "cn"};
  const char* const lines[3] = {"ab", "bc", "ca"};
  for (int p = 0; p < 3; ++p) {
    const std::string from = phases[p], to = phases[(p + 1) % 3];
    std::complex<double> expected =
        phasorOf(reader, "reading.1sec.volt." + from, "reading.02sec.volt." + from + ".phase") -
        phasorOf(reader, "reading.1sec.volt." + to, "reading.02sec.volt." + to + ".phase");
    const std::string line = lines[p];
    std::complex<double> published =
        phasorOf(reader, "reading.1sec.volt." + line, "reading.02sec.volt." + line + ".phase");
    EXPECT_NEAR(std::abs(published - expected), 0.0, 1e-9) << line;
    // Line voltages of a near-balanced wye are about sqrt(3) times the phase voltages.
    EXPECT_NEAR(std::abs(published) / number(reader, "reading.1sec.volt." + from), std::sqrt(3.0), 0.1);
  }
}

TEST_F(SimulatorTest, PowersFollowVoltageCurrentAndAngle) {
  options.pt = 3;
  options.ct = 4;
  start();
  advance(3);
  const char* const phases[3] = {"a", "b", "c"};
  const char* const volts[3] = {"an", "bn", "cn"};
  double p = 0, q = 0, s = 0;
  for (int i = 0; i < 3; ++i) {
    const double v = number(reader, std::string("reading.1sec.volt.") + volts[i]);
    const double amps = number(reader, std::string("reading.1sec.current.") + phases[i]);
    const double phi = (number(reader, std::string("reading.02sec.volt.") + volts[i] + ".phase") -
                        number(reader, std::string("reading.02sec.current.") + phases[i] + ".phase")) * kRad;
    const std::string tail = std::string(".") + phases[i];
    EXPECT_NEAR(number(reader, "reading.1sec.power.watt" + tail), v * amps * std::cos(phi), 1e-6);
    EXPECT_NEAR(number(reader, "reading.1sec.power.var" + tail), v * amps * std::sin(phi), 1e-6);
    EXPECT_NEAR(number(reader, "reading.1sec.power.va" + tail), v * amps, 1e-6);
    p += v * amps * std::cos(phi);
    q += v * amps * std::sin(phi);
    s += v * amps;
    // Primary values: 120 V x PT 3, 5 A x CT 4 within the model's variation.
    EXPECT_NEAR(v, 360.0, 360.0 * 0.05);
    EXPECT_NEAR(amps, 20.0, 20.0 * 0.5);
  }
  EXPECT_NEAR(number(reader, "reading.1sec.power.watt.total"), p, 1e-6);
  EXPECT_NEAR(number(reader, "reading.1sec.power.var.total"), q, 1e-6);
  EXPECT_NEAR(number(reader, "reading.1sec.power.va.total"), s, 1e-6);
  // pf 0.9 lagging: positive vars and a "Lag" text near 0.900.
  EXPECT_GT(q, 0.0);
  const std::string pf = text(reader, "reading.1sec.pf.total.string");
  ASSERT_EQ(pf.size(), 9u) << pf;
  EXPECT_EQ(pf.substr(5), " Lag");
  EXPECT_NEAR(atof(pf.c_str()), p / s, 0.0005);
  EXPECT_NEAR(p / s, 0.9, 0.03);
  EXPECT_EQ(number(reader, "dev.pt.pn.ratio"), 3.0);
  EXPECT_EQ(number(reader, "dev.ct.abc.ratio"), 4.0);
}

TEST_F(SimulatorTest, LeadingPowerFactorGivesNegativeVars) {
  options.pf = -0.8;
  start();
  EXPECT_LT(number(reader, "reading.1sec.power.var.total"), 0.0);
  const std::string pf = text(reader, "reading.1sec.pf.a.string");
  EXPECT_EQ(pf.substr(pf.size() - 5), " Lead") << pf;
  EXPECT_NEAR(atof(pf.c_str()), 0.8, 0.03);
}

TEST_F(SimulatorTest, EnergiesIntegratePowerAndNeverDecrease) {
  options.pt = 2;
  options.ct = 5;
  options.periodMs = 2000;
  start();
  const std::vector<std::string> monotonic = {
      "reading.1sec.energy.watthr.q14.total.sec",        "reading.1sec.energy.watthr.q23.total.sec",
      "reading.1sec.energy.varhr.q12.total.sec",         "reading.1sec.energy.varhr.q34.total.sec",
      "reading.1sec.energy.vahr.total.total.sec",        "reading.1sec.energy.uncomp_watthr.q14.total.sec",
      "reading.1sec.energy.uncomp_watthr.q23.total.sec", "reading.1sec.energy.uncomp_varhr.q12.total.sec",
      "reading.1sec.energy.uncomp_varhr.q34.total.sec",  "reading.1sec.energy.uncomp_vahr.total.sec",
      "reading.1sec.energy.qhr.pos.total.sec",           "reading.1sec.energy.qhr.neg.total.sec",
      "reading.1sec.accum.hsi.1", "reading.1sec.accum.hsi.2", "reading.1sec.accum.hsi.3",
      "reading.1sec.accum.hsi.4", "reading.1sec.accum.hsi.5", "reading.1sec.accum.hsi.6",
      "reading.1sec.accum.hsi.7", "reading.1sec.accum.hsi.8", "reading.1sec.accum.agg.1",
      "reading.1sec.accum.agg.2", "reading.1sec.accum.agg.3", "reading.1sec.accum.agg.4"};
  std::vector<double> previous;
  for (const std::string& key : monotonic) previous.push_back(number(reader, key));
  const double firstWh = number(reader, "reading.1sec.energy.uncomp_watthr.q14.total.sec");
  for (int step = 0; step < 30; ++step) {
    const double before = number(reader, "reading.1sec.energy.uncomp_watthr.q14.total.sec");
    advance(1);
    // Secondary Wh of this period: total primary watts / (PT x CT) x 2 s / 3600.
    const double watts = number(reader, "reading.1sec.power.watt.total");
    EXPECT_NEAR(number(reader, "reading.1sec.energy.uncomp_watthr.q14.total.sec") - before,
                watts / 10.0 * 2.0 / 3600.0, 1e-6);
    for (size_t k = 0; k < monotonic.size(); ++k) {
      const double now = number(reader, monotonic[k]);
      EXPECT_GE(now, previous[k]) << monotonic[k] << " decreased at step " << step;
      previous[k] = now;
    }
  }
  EXPECT_GT(number(reader, "reading.1sec.energy.uncomp_watthr.q14.total.sec"), firstWh);
  // Delivered-only load: the received register does not move.
  EXPECT_EQ(number(reader, "reading.1sec.accum.agg.1"),
            number(reader, "reading.1sec.accum.hsi.1") + number(reader, "reading.1sec.accum.hsi.2"));
}

TEST_F(SimulatorTest, DemandsFollowPowers) {
  options.pt = 2;
  options.ct = 5;
  options.periodMs = 10000;
  start();
  advance(100);
  const double watts = number(reader, "reading.1sec.power.watt.total");
  const double demand = number(reader, "reading.demand.current.watt.q14.total");
  EXPECT_NEAR(demand, watts, watts * 0.15);
  EXPECT_NEAR(number(reader, "reading.demand.current.watt.q14.total.sec"), demand / 10.0, 1e-9);
  EXPECT_NEAR(number(reader, "reading.demand.current.va.total.total"),
              number(reader, "reading.1sec.power.va.total"),
              number(reader, "reading.1sec.power.va.total") * 0.15);
  EXPECT_EQ(number(reader, "reading.demand.current.watt.q23.total"), 0.0);
  // The positive peak is valid and at least the present demand; no negative peak.
  EXPECT_EQ(text(reader, "posmax.valid.demand.current.watt.total"), "1");
  EXPECT_GE(number(reader, "posmax.demand.current.watt.total"), demand);
  EXPECT_EQ(text(reader, "negmax.valid.demand.current.watt.total"), "0");
}

TEST_F(SimulatorTest, ThdAndKFactorMatchThePublishedHarmonics) {
  options.harmonics = 4.0;
  start();
  advance(2);
  const char* const thdKeys[6] = {"reading.1sec.thd.van", "reading.1sec.thd.vbn",
                                  "reading.1sec.thd.vcn", "reading.3sec.thd.ia.total",
                                  "reading.3sec.thd.ib.total", "reading.3sec.thd.ic.total"};
  const char* const kKeys[6] = {"reading.3sec.kfactor.van.total", "reading.3sec.kfactor.vbn.total",
                                "reading.3sec.kfactor.vcn.total", "reading.3sec.kfactor.ia.total",
                                "reading.3sec.kfactor.ib.total",  "reading.3sec.kfactor.ic.total"};
  for (int c = 0; c < 6; ++c) {
    std::string bytes = simtest::blockBytes(reader, 2, meter_blocks::harmonicMagnitudeOffset(c), 256);
    uint16_t mag[128];
    memcpy(mag, bytes.data(), sizeof mag);
    ASSERT_EQ(mag[1], 10000) << "fundamental is 100.00 %";
    double harmonics = 0, weighted = 0, all = 0;
    for (int h = 2; h < 128; ++h) harmonics += double(mag[h]) * mag[h];
    for (int h = 1; h < 128; ++h) {
      weighted += double(mag[h]) * mag[h] * h * h;
      all += double(mag[h]) * mag[h];
    }
    const double thd = std::sqrt(harmonics) / mag[1] * 100.0;
    EXPECT_NEAR(number(reader, thdKeys[c]), thd, 1e-9) << thdKeys[c];
    EXPECT_NEAR(number(reader, kKeys[c]), weighted / all, 1e-9) << kKeys[c];
    // Target distortion: 4 % in voltages, three times that in currents.
    EXPECT_NEAR(thd, c < 3 ? 4.0 : 12.0, c < 3 ? 0.5 : 1.5) << thdKeys[c];
  }
  // TDD relates current harmonics to the full-load current, so it stays below THD here.
  EXPECT_LT(number(reader, "reading.3sec.tdd.ia.total"), number(reader, "reading.3sec.thd.ia.total"));
  EXPECT_GT(number(reader, "reading.3sec.tdd.ia.total"), 0.0);
}

TEST_F(SimulatorTest, HarmonicPhasesAreHundredthsOfDegrees) {
  start();
  std::string bytes = simtest::blockBytes(reader, 2, meter_blocks::harmonicPhaseOffset(0), 256);
  int16_t phs[128];
  memcpy(phs, bytes.data(), sizeof phs);
  for (int h = 0; h < 128; ++h) {
    EXPECT_GE(phs[h], -18000);
    EXPECT_LT(phs[h], 18000);
  }
  // The fundamental's phase is the published A voltage angle.
  EXPECT_NEAR(simtest::angleDifference(phs[1] / 100.0, number(reader, "reading.02sec.volt.an.phase")), 0.0,
              0.006);
}

TEST_F(SimulatorTest, SeededRunsRepeatAndSeedsDiffer) {
  start();
  advance(5);
  const std::string first = simtest::snapshot(mapPath);
  reader.close();
  sim.reset();
  start();
  advance(5);
  EXPECT_EQ(simtest::snapshot(mapPath), first);
  options.seed = 12;
  reader.close();
  sim.reset();
  start();
  advance(5);
  EXPECT_NE(simtest::snapshot(mapPath), first);
}

TEST_F(SimulatorTest, ClockAdvancesByThePeriod) {
  options.start = "2024-02-29 23:59:58";
  start();
  EXPECT_EQ(text(reader, "reading.time.ltc"), "2024-02-29 23:59:58");
  advance(2);
  EXPECT_EQ(text(reader, "reading.time.ltc"), "2024-03-01 00:00:00");
  EXPECT_EQ(text(reader, "sys.ontime"), "2024-02-29 23:59:58");
}

TEST_F(SimulatorTest, SeededRunStartsAtAFixedTime) {
  start();
  EXPECT_EQ(text(reader, "reading.time.ltc"), "2025-01-01 00:00:00");
}

TEST_F(SimulatorTest, FlickerWindowsCountDownAndClose) {
  options.periodMs = 60000;  // one minute per step
  start();
  EXPECT_EQ(number(reader, "reading.flicker.countdown_sec.pst"), 600);
  EXPECT_EQ(number(reader, "reading.flicker.countdown_sec.plt"), 7200);
  EXPECT_EQ(text(reader, "reading.valid.pst"), "0");
  advance(1);
  EXPECT_EQ(number(reader, "reading.flicker.countdown_sec.pst"), 540);
  EXPECT_EQ(number(reader, "reading.flicker.countdown_sec.plt"), 7140);
  advance(9);
  EXPECT_EQ(text(reader, "reading.valid.pst"), "1");
  EXPECT_EQ(text(reader, "reading.flicker.timestamp.pst"), "2025-01-01 00:10:00");
  EXPECT_EQ(number(reader, "reading.flicker.countdown_sec.pst"), 600);
  EXPECT_EQ(text(reader, "reading.valid.plt"), "0");
  for (const char* phase : {"a", "b", "c"}) {
    const std::string p = phase;
    const double pst = number(reader, "reading.flicker.pst." + p);
    EXPECT_GT(pst, 0.1);
    EXPECT_LT(pst, 2.0);
    EXPECT_EQ(text(reader, "posmax.valid.flicker.pst." + p), "1");
    EXPECT_GE(number(reader, "posmax.flicker.pst." + p), pst);
    EXPECT_LE(number(reader, "posmin.flicker.pst." + p), pst);
    EXPECT_GE(number(reader, "reading.flicker.pinst." + p), 0.0);
  }
  advance(110);
  EXPECT_EQ(text(reader, "reading.valid.plt"), "1");
  EXPECT_EQ(text(reader, "reading.flicker.timestamp.plt"), "2025-01-01 02:00:00");
}

TEST_F(SimulatorTest, ThermalExtremesAreValidAndOrdered) {
  start();
  advance(10);
  for (const char* channel : {"an", "bc", "aux"}) {
    const std::string tail = std::string(".thermal.volt.") + channel;
    EXPECT_EQ(text(reader, "posmax.valid" + tail), "1");
    EXPECT_EQ(text(reader, "posmin.valid" + tail), "1");
    EXPECT_GE(number(reader, "posmax" + tail), number(reader, "reading" + tail));
    EXPECT_LE(number(reader, "posmin" + tail), number(reader, "reading" + tail));
  }
  EXPECT_EQ(text(reader, "posmin.valid.thermal.freq"), "1");
  // Lagging, delivered load: no negative watts or vars ever seen.
  EXPECT_EQ(text(reader, "negmax.valid.thermal.power.watt.total"), "0");
  EXPECT_EQ(text(reader, "negmin.valid.thermal.power.var.a"), "0");
  EXPECT_EQ(text(reader, "posmax.valid.thermal.power.watt.total"), "1");
}

TEST_F(SimulatorTest, DeltaHookupHasNoNeutralAndFiftyHertz) {
  options.hookup = 1;
  options.frequency = 50.0;
  start();
  advance(3);
  EXPECT_EQ(number(reader, "sys.enumeration.hookup"), 1);
  EXPECT_EQ(number(reader, "sys.enumeration.frequency_type"), 0);
  EXPECT_EQ(number(reader, "reading.1sec.current.n"), 0.0);
  EXPECT_NEAR(number(reader, "reading.1sec.freq"), 50.0, 0.1);
  // The flicker page's nominal voltage is the line voltage of a delta hookup.
  EXPECT_NEAR(number(reader, "setting.en50160.nominal_voltage"), 120.0 * std::sqrt(3.0), 0.01);
}

TEST_F(SimulatorTest, DigitalInputsChangeNowAndThen) {
  start();
  const double first = number(reader, "reading.digin.flag");
  int changes = 0;
  double last = first;
  for (int i = 0; i < 100; ++i) {
    advance(1);
    const double now = number(reader, "reading.digin.flag");
    if (now != last) ++changes;
    last = now;
  }
  EXPECT_GT(changes, 2);
  EXPECT_LT(changes, 50);
}

TEST_F(SimulatorTest, FactoryRecordCarriesAValidBigEndianChecksum) {
  start();
  std::string record = simtest::blockBytes(reader, 2, meter_blocks::kFactoryRecord, 512);
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(record.data());
  const uint16_t expected = simtest::crc16Downwards(0xFFFF, 510, bytes + 511);
  EXPECT_EQ((bytes[0] << 8) | bytes[1], expected);
  EXPECT_EQ(record.substr(448, 16), "000000SIM0000011");
  EXPECT_EQ(std::string(record.c_str() + 464), "Korvo Meter Sim");
}

TEST_F(SimulatorTest, Block1CarriesTheEnergyPageTexts) {
  start();
  const size_t positions[] = {30256, 29616, 30276, 30176, 30196, 30096, 30116, 29636, 29676, 29656,
                              30076, 30056, 30156, 30136, 30236, 29596, 30216, 30036, 29976, 30016,
                              29956, 29996, 29936, 29896, 29876, 29856, 29836, 29916, 30316, 30296,
                              32940, 32920, 32900, 32880, 32860, 32840, 32820, 32800, 33196, 33176,
                              33156, 33136};
  for (size_t position : positions) {
    std::string field = simtest::blockBytes(reader, 1, position, 20);
    size_t end = field.find('\0');
    ASSERT_NE(end, std::string::npos) << position;
    EXPECT_GT(end, 0u) << "empty text at " << position;
  }
  EXPECT_EQ(std::string(simtest::blockBytes(reader, 1, 29656, 20).c_str()), "Wh Del");
  EXPECT_EQ(std::string(simtest::blockBytes(reader, 1, 32940, 20).c_str()), "Accum 1 Wh Del");
}

TEST_F(SimulatorTest, LimitsNameLogItemsOfTheCatalogue) {
  start();
  uint32_t enabled = 0;
  memcpy(&enabled, simtest::blockBytes(reader, 18, meter_blocks::kLimitEnableWord, 4).data(), 4);
  EXPECT_EQ(enabled, 0xFC000000u);  // limits 0..5, bit 0 the most significant
  uint16_t ids[32];
  memcpy(ids, simtest::blockBytes(reader, 18, meter_blocks::kLimitItemIds, 64).data(), 64);
  const std::string subs = simtest::blockBytes(reader, 18, meter_blocks::kLimitSubIds, 32);
  // The built-in catalogue starts with "1 1 Volts AN" and "2 1 Volts AB".
  EXPECT_EQ(ids[0], 1);
  EXPECT_EQ(subs[0], 1);
  EXPECT_EQ(ids[1], 2);
  EXPECT_EQ(std::string(simtest::blockBytes(reader, 19, 64, 80).c_str()), "Volts AN");
  EXPECT_EQ(std::string(simtest::blockBytes(reader, 19, 144, 80).c_str()), "Volts AB");
  for (int i = 6; i < 32; ++i) EXPECT_EQ(ids[i], 0xFFFF) << i;
  EXPECT_TRUE(note.empty()) << note;
}

TEST(LimitSelection, FallsBackToNumberedItems) {
  std::string note;
  std::vector<MeterBlocks::Limit> limits = LimitSelection::choose("/nonexistent/log_items", &note);
  ASSERT_EQ(limits.size(), 6u);
  EXPECT_EQ(limits[0].id, 1);
  EXPECT_EQ(limits[5].id, 6);
  EXPECT_FALSE(note.empty());
}

TEST(SampleSettingsFile, WrittenOnceWithBlankPaddedLabels) {
  testsupport::TempDir dir;
  const std::string path = dir.file("home/korvo.data/root/kv7720.kps");
  bool created = false;
  ASSERT_TRUE(testsupport::IsOk(SampleSettingsFile::writeIfMissing(path, &created)));
  EXPECT_TRUE(created);
  std::string bytes = testsupport::readFile(path);
  ASSERT_EQ(bytes.size(), 32784u);
  EXPECT_EQ(bytes.substr(896 + 8, 16), "Breaker 52a     ");
  EXPECT_EQ(bytes.substr(896 + 24, 16), "Open            ");
  EXPECT_EQ(bytes.substr(896 + 56 + 40, 16), "Closed          ");
  EXPECT_EQ(bytes[1940], 1);
  EXPECT_EQ(bytes.substr(2360, 16), "Del kWh Pulse   ");
  EXPECT_EQ(bytes.substr(2488 + 48, 16), "Wh B + C        ");
  // An existing file is left alone.
  testsupport::writeFile(path, "mine");
  ASSERT_TRUE(testsupport::IsOk(SampleSettingsFile::writeIfMissing(path, &created)));
  EXPECT_FALSE(created);
  EXPECT_EQ(testsupport::readFile(path), "mine");
}

base::Status parse(std::vector<std::string> words, SimOptions* options) {
  words.insert(words.begin(), "meter-sim");
  std::vector<char*> argv;
  for (std::string& w : words) argv.push_back(&w[0]);
  argv.push_back(nullptr);
  return parseSimOptions(static_cast<int>(words.size()), argv.data(), options);
}

TEST(SimOptions, AcceptsEveryOption) {
  SimOptions o;
  ASSERT_TRUE(testsupport::IsOk(parse({"--hookup",    "3",
                                       "--voltage",   "277",
                                       "--frequency", "50",
                                       "--load",      "2.5",
                                       "--pf",        "-0.7",
                                       "--unbalance", "5",
                                       "--harmonics", "8",
                                       "--pt",        "60",
                                       "--ct",        "0x28",
                                       "--period",    "250",
                                       "--seed",      "99",
                                       "--steps",     "4",
                                       "--start",     "2024-05-06 07:08:09",
                                       "--map",       "/tmp/x",
                                       "--catalog",   "/tmp/c"},
                                      &o)));
  EXPECT_FALSE(o.help);
  EXPECT_EQ(o.hookup, 3u);
  EXPECT_EQ(o.voltage, 277.0);
  EXPECT_EQ(o.frequency, 50.0);
  EXPECT_EQ(o.load, 2.5);
  EXPECT_EQ(o.pf, -0.7);
  EXPECT_EQ(o.unbalance, 5.0);
  EXPECT_EQ(o.harmonics, 8.0);
  EXPECT_EQ(o.pt, 60u);
  EXPECT_EQ(o.ct, 40u);
  EXPECT_EQ(o.periodMs, 250u);
  EXPECT_TRUE(o.seedGiven);
  EXPECT_EQ(o.seed, 99u);
  EXPECT_EQ(o.steps, 4ul);
  EXPECT_EQ(o.start, "2024-05-06 07:08:09");
  EXPECT_EQ(o.mapPath, "/tmp/x");
  EXPECT_EQ(o.catalogPath, "/tmp/c");
}

TEST(SimOptions, RejectsBadValues) {
  const std::vector<std::vector<std::string>> bad = {
      {"--hookup", "5"},   {"--hookup", "-1"},  {"--pf", "1.5"},      {"--voltage", "abc"},
      {"--voltage", "0"},  {"--period", "5"},   {"--pt", "0"},        {"--ct", "1.5"},
      {"--seed", "-3"},    {"--frequency", "100"}, {"--start", "2024-13-01 00:00:00"},
      {"--bogus"},         {"--load"},          {"stray"},            {"--once", "--steps", "2"},
      {"--harmonics", "nan"}};
  for (const auto& words : bad) {
    SimOptions o;
    base::Status parsed = parse(words, &o);
    EXPECT_FALSE(parsed.ok()) << words[0];
    EXPECT_FALSE(parsed.message().empty()) << words[0];
  }
  SimOptions o;
  EXPECT_TRUE(testsupport::IsOk(parse({"--help"}, &o)));
  EXPECT_TRUE(o.help);
}

}  // namespace
