#include <ctype.h>
// End to end: the installed meter-sim fills a datamap in a temporary root, the
// installed daemon runs against it, and all eight documents appear, parse as
// JSON, carry the simulator's values in the documents' units and change over
// time. Both programs are stopped whatever the outcome.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "hoststore/HostDatamap.h"
#include "livedata/JsonDirectory.h"
#include "tests/support/MeterRootTest.h"
#include "tests/support/Process.h"
#include "tests/support/StatusAssertions.h"
#include "tests/support/TempDir.h"
#include "tests/tools/meter-sim/sim_helpers.h"

using nlohmann::json;
using testsupport::ChildProcess;
using testsupport::ProcessOptions;
using testsupport::TempDir;
using testsupport::waitFor;

namespace {

const std::vector<std::string> kDocuments = {
    "energy_data.json",      "meter_factory_setting.json", "flicker_data.json",
    "symmetrical_components.json", "phasor_data.json",     "polling_data.json",
    "thd_data.json",         "device_profile_label.json"};

// True when text[pos..] starts with count digits (count 0: one or more); moves pos.
bool takeDigits(const std::string& text, size_t* pos, size_t count) {
  size_t start = *pos;
  while (*pos < text.size() && isdigit(static_cast<unsigned char>(text[*pos]))) ++*pos;
  size_t taken = *pos - start;
  return count == 0 ? taken > 0 : taken == count;
}

// True when text is "-?DIGITS.DECIMALS" followed by " UNIT" (nothing when unit is empty).
bool isFixedNumber(const std::string& text, const std::string& unit, int decimals) {
  size_t pos = (!text.empty() && text[0] == '-') ? 1 : 0;
  if (!takeDigits(text, &pos, 0) || pos >= text.size() || text[pos] != '.') return false;
  ++pos;
  if (!takeDigits(text, &pos, static_cast<size_t>(decimals))) return false;
  return text.substr(pos) == (unit.empty() ? std::string() : " " + unit);
}

// The number in a "%.3f UNIT" (or "%.2f") text; fails the test on another form.
double valueIn(const json& item, const std::string& unit, int decimals = 3) {
  EXPECT_TRUE(item.is_string()) << item.dump();
  if (!item.is_string()) return NAN;
  const std::string text = item.get<std::string>();
  EXPECT_TRUE(isFixedNumber(text, unit, decimals))
      << "'" << text << "' is not a number with " << decimals << " decimals and unit '" << unit
      << "'";
  return atof(text.c_str());
}

// "0.8xx Lag" or "0.9xx Lag".
bool isLaggingPowerFactor(const std::string& text) {
  return text.size() == 9 && text.compare(0, 2, "0.") == 0 && (text[2] == '8' || text[2] == '9') &&
         isFixedNumber(text.substr(0, 5), "", 3) && text.compare(5, 4, " Lag") == 0;
}

// "M min S sec" with one or two digits each.
bool isCountdown(const std::string& text) {
  size_t pos = 0;
  size_t start = pos;
  if (!takeDigits(text, &pos, 0) || pos - start > 2 || text.compare(pos, 5, " min ") != 0) {
    return false;
  }
  pos += 5;
  start = pos;
  if (!takeDigits(text, &pos, 0) || pos - start > 2) return false;
  return text.substr(pos) == " sec";
}

class SimulatedMeter : public testsupport::MeterRootTest {
 protected:
  void startSimulator(const std::vector<std::string>& args) {
    std::vector<std::string> argv = {"--seed", "3", "--period", "250"};
    argv.insert(argv.end(), args.begin(), args.end());
    startMeterSim(argv);
  }

  // Reads a document once it is complete JSON (it is rewritten in place).
  json document(const std::string& name) {
    json parsed;
    bool ok = waitFor(
        [&] {
          std::string text;
          if (!testsupport::readFileIfExists(documentPath(name), &text) || text.empty()) return false;
          parsed = json::parse(text, nullptr, false);
          return !parsed.is_discarded();
        },
        std::chrono::seconds(30));
    EXPECT_TRUE(ok) << name << " did not appear as JSON; daemon: " << daemon->err();
    return parsed;
  }

  double mapValue(const std::string& key) {
    dmhost::HostDatamap map;
    EXPECT_TRUE(testsupport::IsOk(map.open(mapPath())));
    return simtest::number(map, key);
  }

  // The polling page: kV, kA and M, the enumerations and the texts.
  void expectPollingValues(double van, double ia) {
    json polling = document("polling_data.json");
    EXPECT_NEAR(valueIn(polling["frequency"], "Hz"), 60.0, 0.11);
    EXPECT_NEAR(valueIn(polling["volts"][0], "kV"), van / 1000.0, van / 1000.0 * 0.02);
    EXPECT_NEAR(valueIn(polling["currents"][0], "kA"), ia / 1000.0, ia / 1000.0 * 0.2);
    EXPECT_NEAR(valueIn(polling["watts"][0], "M"), mapValue("reading.1sec.power.watt.a") / 1e6,
                mapValue("reading.1sec.power.va.a") / 1e6 * 0.2);
    EXPECT_EQ(polling["volts"].size(), 28u);
    EXPECT_EQ(polling["watts"].size(), 24u);
    EXPECT_EQ(polling["hookup"], "Wye");
    EXPECT_EQ(polling["nominalFrequency"], "60 Hz");
    EXPECT_EQ(polling["phaseSequence"], "ABC");
    EXPECT_TRUE(isLaggingPowerFactor(polling["pfs"][3].get<std::string>())) << polling["pfs"][3];
    EXPECT_EQ(polling["pf_display"], "IEEE");
    EXPECT_EQ(polling["meterDesignation"], "KV7720 Simulator \"Main Feeder\"");
    EXPECT_EQ(polling["powerOnTime"], "2025-01-01 00:00:00");
    // No negative watts were ever seen: their extremes are unavailable.
    EXPECT_EQ(polling["watts"][4], "n/a");
  }

  // The phasor page: kV and M beside the angle of a lagging power factor.
  void expectPhasorValues(double van) {
    json phasor = document("phasor_data.json");
    EXPECT_EQ(phasor["hookup"], "Wye");
    EXPECT_NEAR(valueIn(phasor["phasetoneutral"][0], "kV"), van / 1000.0, van / 1000.0 * 0.02);
    EXPECT_NEAR(valueIn(phasor["phasetoneutral"][6], "M"),
                mapValue("reading.1sec.power.watt.a") / 1e6,
                mapValue("reading.1sec.power.va.a") / 1e6 * 0.2);
    // Voltage-to-current angle of phase A: acos(0.9) = 25.8 degrees, lagging.
    EXPECT_NEAR(valueIn(phasor["phasetoneutral"][18], "Deg"), 25.84, 3.0);
    EXPECT_EQ(phasor["earthblock"][0], "N/A");
  }

  // The symmetrical components page: kV and kA.
  void expectSymmValues() {
    json symm = document("symmetrical_components.json");
    EXPECT_NEAR(valueIn(symm["voltage_positive_sequence"][0], "kV"),
                mapValue("reading.3secs.symcomp.volt.posseq.mag") / 1000.0, 0.05);
    EXPECT_NEAR(valueIn(symm["voltage_positive_sequence"][0], "kV"), 7.2, 0.4);
    EXPECT_NEAR(valueIn(symm["current_positive_sequence"][0], "kA"), 0.2, 0.1);
    EXPECT_EQ(symm["hookup"], "Wye");
  }

  // The THD page: volts unscaled, the harmonics listed from element 127 down.
  void expectThdValues(double van) {
    json thd = document("thd_data.json");
    EXPECT_NEAR(valueIn(thd["voltA"][0], "V"), van, van * 0.02);  // this page does not scale
    EXPECT_NEAR(valueIn(thd["voltA"][1], ""), 3.0, 0.5);
    EXPECT_NEAR(valueIn(thd["currentA"][1], ""), 9.0, 1.5);
    ASSERT_EQ(thd["va_mag"].size(), 128u);
    // Listed from element 127 down: the fundamental (element 1) is next to last.
    EXPECT_EQ(thd["va_mag"][126], "100.00");
    EXPECT_EQ(thd["va_mag"][127], "0.00");
    EXPECT_EQ(thd["ia_mag"][126], "100.00");
  }

  // The flicker page: the frequency, the countdown and the short-term values.
  void expectFlickerValues(double van) {
    json flicker = document("flicker_data.json");
    EXPECT_EQ(flicker["runtime"][4], "60.000 Hz");
    EXPECT_TRUE(isCountdown(flicker["runtime"][2].get<std::string>())) << flicker["runtime"][2];
    EXPECT_NEAR(valueIn(flicker["inst"][1], "V"), van, van * 0.02);
    EXPECT_GT(valueIn(flicker["shortterm"][0], ""), 0.1);
  }

  // The energy page: the block texts, the energy and the demand peaks.
  void expectEnergyValues() {
    json energy = document("energy_data.json");
    EXPECT_EQ(energy["energyblock"][0], "Wh Del");
    EXPECT_EQ(energy["quadrantblock"][9], "Wh Del");
    EXPECT_EQ(energy["accumulators"][0], "Accum 1 Wh Del");
    EXPECT_EQ(energy["aggregators"][3], "Agg 4 Wh B+C");
    EXPECT_EQ(energy["qhrblock"][0], "Qh Pos");
    EXPECT_GT(valueIn(energy["energyblock"][1], ""), 1000.0);
    EXPECT_NEAR(valueIn(energy["maxdemand"][0], "M"), 3 * 7.2 * 0.2 * 0.9, 1.5);
    EXPECT_EQ(energy["maxdemand"][2], "n/a");
    EXPECT_EQ(energy["last_energy_reset_Time"], "2024-12-02 00:00:00");
  }

  // The factory settings page.
  void expectFactoryValues() {
    json factory = document("meter_factory_setting.json");
    EXPECT_EQ(factory["_status"], "good");
    EXPECT_EQ(factory["serial_number"], "SIM0000003");
    EXPECT_EQ(factory["oem_string"], "Korvo Meter Sim");
  }

  // The device profile labels.
  void expectLabelValues() {
    json labels = document("device_profile_label.json");
    EXPECT_EQ(labels["Q14_Whr_label"], "Del Wh");
    EXPECT_EQ(labels["accumulators_label"][0], "Del kWh Pulse");
    EXPECT_EQ(labels["aggregators_label"][3], "Wh B + C");
    EXPECT_EQ(labels["digital_input_name_label"][0], "Breaker 52a");
    EXPECT_EQ(labels["digital_input_shorted_label"][3], "Emergency");
    ASSERT_EQ(labels["limit_label"].size(), 32u);
    EXPECT_EQ(labels["limit_label"][0], "Volts AN");
  }

  // Every key the daemon reads exists with a type it can read: the only error
  // line left is the energy page's demand entry that no lookup fills (by design
  // it stays unresolved, so its read fails with -3 every cycle).
  void expectOnlyTheUnresolvedDemandReadFails() {
    const std::string err = daemon->err();
    size_t start = 0;
    while (start < err.size()) {
      size_t end = err.find('\n', start);
      if (end == std::string::npos) end = err.size();
      const std::string line = err.substr(start, end - start);
      if (!line.empty()) {
        EXPECT_EQ(line,
                  "dm_read_flt64 error on key \"core.interval.demand.va.total.total\" with error "
                  "code= -3");
      }
      start = end + 1;
    }
  }
};

TEST_F(SimulatedMeter, AllDocumentsCarryTheSimulatedValuesInTheirUnits) {
  // PT 60 and CT 40 select kV, kA and M on every page that scales.
  ASSERT_NO_FATAL_FAILURE(startSimulator({"--pt", "60", "--ct", "40", "--harmonics", "3"}));
  ASSERT_NO_FATAL_FAILURE(startDaemon());
  for (const std::string& name : kDocuments)
    EXPECT_TRUE(waitFor([&] { return testsupport::fileExists(documentPath(name)); },
                        std::chrono::seconds(30)))
        << name << "; daemon: " << daemon->err();

  const double van = mapValue("reading.1sec.volt.an");  // about 7200 V
  const double ia = mapValue("reading.1sec.current.a");  // about 200 A
  EXPECT_NEAR(van, 7200.0, 7200.0 * 0.05);

  expectPollingValues(van, ia);
  expectPhasorValues(van);
  expectSymmValues();
  expectThdValues(van);
  expectFlickerValues(van);
  expectEnergyValues();
  expectFactoryValues();
  expectLabelValues();
  expectOnlyTheUnresolvedDemandReadFails();
}

TEST_F(SimulatedMeter, DocumentsChangeOverTimeInPlainUnits) {
  ASSERT_NO_FATAL_FAILURE(startSimulator({}));
  ASSERT_NO_FATAL_FAILURE(startDaemon());
  json first = document("energy_data.json");
  json firstPolling = document("polling_data.json");
  ASSERT_FALSE(first.is_null());
  EXPECT_NEAR(valueIn(firstPolling["volts"][0], "V"), 120.0, 6.0);
  EXPECT_NEAR(valueIn(firstPolling["currents"][0], "A"), 5.0, 2.5);
  EXPECT_GT(valueIn(firstPolling["watts"][0], ""), 0.0);
  const double firstWh = valueIn(first["energyblock"][1], "");
  EXPECT_TRUE(waitFor(
      [&] {
        json later = document("energy_data.json");
        return later.is_object() && valueIn(later["energyblock"][1], "") > firstWh;
      },
      std::chrono::seconds(15)));
  EXPECT_TRUE(waitFor(
      [&] {
        json later = document("polling_data.json");
        return later.is_object() && later["dateTime"] != firstPolling["dateTime"];
      },
      std::chrono::seconds(15)));
  json energy = document("energy_data.json");
  EXPECT_GE(valueIn(energy["energyblock"][9], ""), valueIn(first["energyblock"][9], ""));
}

}  // namespace
