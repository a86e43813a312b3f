// The exporter's key table: one row per published quantity, written once as
// data. Every output (Prometheus file, MQTT state and discovery, and any other
// output of livedata_export) works from these rows; adding a quantity means
// adding a row, nothing else.
//
// A row names where a value comes from (datamap key, how it is read, an
// optional validity flag) and how each output shows it (Prometheus family and
// label, MQTT state field and Home Assistant classes). The row's position is the
// index of its value in a Snapshot (export/Snapshot.h).
//
// Units: a row's value in a Snapshot is the datamap's value as read (a power
// factor text already turned into its signed number). Each output multiplies by
// its own factor: metricFactor for the Prometheus base unit, jsonFactor for the
// MQTT state.
//
// Thread-safety: constant data.
#ifndef EXPORT_READINGTABLE_H_
#define EXPORT_READINGTABLE_H_

#include <stddef.h>

#include <string_view>

namespace ldexport {

// How a row's datamap key is read.
enum class Source : unsigned char {
  kNumber,           // dm_read_flt64 (any numeric key converts)
  kPowerFactorText,  // dm_read_STRING, "0.900 Lag" -> 0.9, "0.800 Lead" -> -0.8
};

// A Prometheus metric family: every sample of a family carries its HELP and TYPE.
struct MetricFamily {
  const char* name;
  const char* type;  // "gauge" or "counter"
  const char* help;
};

struct ReadingRow {
  const char* key;  // datamap key
  Source source;
  const char* validKey;  // boolean key that must read true for the value to count; or nullptr
  // Prometheus: family name (one of kMetricFamilies) or nullptr when the row is
  // not a metric; one label (nullptr: none) and the factor to the base unit.
  const char* family;
  const char* labelName;
  const char* labelValue;
  double metricFactor;
  // MQTT state: field name ([a-z0-9_]) or nullptr when not published, its factor.
  const char* jsonName;
  double jsonFactor;
  // Home Assistant discovery: entity name and classes (nullptr: left out).
  const char* haName;
  const char* haDeviceClass;
  const char* haUnit;
  const char* haStateClass;
};

// HA class combinations that repeat: "measurement" and "total_increasing".
inline constexpr const char* kMeasurement = "measurement";
inline constexpr const char* kTotalIncreasing = "total_increasing";

inline constexpr MetricFamily kMetricFamilies[] = {
    {"meter_voltage_volts", "gauge", "RMS voltage, phase to neutral or phase to phase."},
    {"meter_current_amperes", "gauge", "RMS current per phase and neutral."},
    {"meter_active_power_watts", "gauge", "Active power per phase."},
    {"meter_reactive_power_vars", "gauge", "Reactive power per phase."},
    {"meter_apparent_power_voltamperes", "gauge", "Apparent power per phase."},
    {"meter_power_factor_ratio", "gauge",
     "Power factor per phase, positive lagging, negative leading."},
    {"meter_frequency_hertz", "gauge", "Line frequency."},
    {"meter_active_energy_joules_total", "counter",
     "Active energy register, delivered (quadrants 1 and 4) and received (quadrants 2 and 3)."},
    {"meter_voltage_thd_ratio", "gauge", "Total harmonic distortion of the phase voltages."},
    {"meter_current_thd_ratio", "gauge", "Total harmonic distortion of the phase currents."},
    {"meter_current_tdd_ratio", "gauge", "Total demand distortion of the phase currents."},
    {"meter_flicker_pst", "gauge", "Short-term flicker severity (10 minutes) per phase."},
    {"meter_flicker_plt", "gauge", "Long-term flicker severity (2 hours) per phase."},
    {"meter_sequence_voltage_volts", "gauge", "Symmetrical components of the voltages."},
    {"meter_sequence_current_amperes", "gauge", "Symmetrical components of the currents."},
};

// Families written from a snapshot's info texts and timestamp, not from rows.
inline constexpr MetricFamily kInfoFamily = {
    "meter_info", "gauge", "The meter's designation, serial number and hookup; always 1."};
inline constexpr MetricFamily kLastUpdateFamily = {
    "meter_last_update_timestamp_seconds", "gauge",
    "Unix time of the last period in which the datamap gave readings."};

// Shorthands that keep the table one line per row.
namespace rows {
inline constexpr Source N = Source::kNumber;
inline constexpr Source PF = Source::kPowerFactorText;
}  // namespace rows

inline constexpr ReadingRow kReadingTable[] = {
    // key, source, valid, family, label, value, metric factor, json, json factor, HA name,
    // device class, unit, state class
    {"reading.1sec.volt.an", rows::N, nullptr, "meter_voltage_volts", "phase", "an", 1,
     "voltage_an", 1, "Voltage AN", "voltage", "V", kMeasurement},
    {"reading.1sec.volt.bn", rows::N, nullptr, "meter_voltage_volts", "phase", "bn", 1,
     "voltage_bn", 1, "Voltage BN", "voltage", "V", kMeasurement},
    {"reading.1sec.volt.cn", rows::N, nullptr, "meter_voltage_volts", "phase", "cn", 1,
     "voltage_cn", 1, "Voltage CN", "voltage", "V", kMeasurement},
    {"reading.1sec.volt.ab", rows::N, nullptr, "meter_voltage_volts", "phase", "ab", 1,
     "voltage_ab", 1, "Voltage AB", "voltage", "V", kMeasurement},
    {"reading.1sec.volt.bc", rows::N, nullptr, "meter_voltage_volts", "phase", "bc", 1,
     "voltage_bc", 1, "Voltage BC", "voltage", "V", kMeasurement},
    {"reading.1sec.volt.ca", rows::N, nullptr, "meter_voltage_volts", "phase", "ca", 1,
     "voltage_ca", 1, "Voltage CA", "voltage", "V", kMeasurement},
    {"reading.1sec.current.a", rows::N, nullptr, "meter_current_amperes", "phase", "a", 1,
     "current_a", 1, "Current A", "current", "A", kMeasurement},
    {"reading.1sec.current.b", rows::N, nullptr, "meter_current_amperes", "phase", "b", 1,
     "current_b", 1, "Current B", "current", "A", kMeasurement},
    {"reading.1sec.current.c", rows::N, nullptr, "meter_current_amperes", "phase", "c", 1,
     "current_c", 1, "Current C", "current", "A", kMeasurement},
    {"reading.1sec.current.n", rows::N, nullptr, "meter_current_amperes", "phase", "n", 1,
     "current_n", 1, "Current N", "current", "A", kMeasurement},
    {"reading.1sec.power.watt.a", rows::N, nullptr, "meter_active_power_watts", "phase", "a", 1,
     "power_a", 1, "Power A", "power", "W", kMeasurement},
    {"reading.1sec.power.watt.b", rows::N, nullptr, "meter_active_power_watts", "phase", "b", 1,
     "power_b", 1, "Power B", "power", "W", kMeasurement},
    {"reading.1sec.power.watt.c", rows::N, nullptr, "meter_active_power_watts", "phase", "c", 1,
     "power_c", 1, "Power C", "power", "W", kMeasurement},
    {"reading.1sec.power.var.a", rows::N, nullptr, "meter_reactive_power_vars", "phase", "a", 1,
     "reactive_power_a", 1, "Reactive power A", "reactive_power", "var", kMeasurement},
    {"reading.1sec.power.var.b", rows::N, nullptr, "meter_reactive_power_vars", "phase", "b", 1,
     "reactive_power_b", 1, "Reactive power B", "reactive_power", "var", kMeasurement},
    {"reading.1sec.power.var.c", rows::N, nullptr, "meter_reactive_power_vars", "phase", "c", 1,
     "reactive_power_c", 1, "Reactive power C", "reactive_power", "var", kMeasurement},
    {"reading.1sec.power.va.a", rows::N, nullptr, "meter_apparent_power_voltamperes", "phase", "a",
     1, "apparent_power_a", 1, "Apparent power A", "apparent_power", "VA", kMeasurement},
    {"reading.1sec.power.va.b", rows::N, nullptr, "meter_apparent_power_voltamperes", "phase", "b",
     1, "apparent_power_b", 1, "Apparent power B", "apparent_power", "VA", kMeasurement},
    {"reading.1sec.power.va.c", rows::N, nullptr, "meter_apparent_power_voltamperes", "phase", "c",
     1, "apparent_power_c", 1, "Apparent power C", "apparent_power", "VA", kMeasurement},
    {"reading.1sec.pf.a.string", rows::PF, nullptr, "meter_power_factor_ratio", "phase", "a", 1,
     "power_factor_a", 1, "Power factor A", "power_factor", nullptr, kMeasurement},
    {"reading.1sec.pf.b.string", rows::PF, nullptr, "meter_power_factor_ratio", "phase", "b", 1,
     "power_factor_b", 1, "Power factor B", "power_factor", nullptr, kMeasurement},
    {"reading.1sec.pf.c.string", rows::PF, nullptr, "meter_power_factor_ratio", "phase", "c", 1,
     "power_factor_c", 1, "Power factor C", "power_factor", nullptr, kMeasurement},
    {"reading.1sec.freq", rows::N, nullptr, "meter_frequency_hertz", nullptr, nullptr, 1,
     "frequency", 1, "Frequency", "frequency", "Hz", kMeasurement},
    // Energy registers in Wh: joules for Prometheus, kWh in the MQTT state.
    {"reading.1sec.energy.watthr.q14.total.sec", rows::N, nullptr,
     "meter_active_energy_joules_total", "direction", "delivered", 3600, "energy_delivered_kwh",
     0.001, "Energy delivered", "energy", "kWh", kTotalIncreasing},
    {"reading.1sec.energy.watthr.q23.total.sec", rows::N, nullptr,
     "meter_active_energy_joules_total", "direction", "received", 3600, "energy_received_kwh",
     0.001, "Energy received", "energy", "kWh", kTotalIncreasing},
    // Distortion: the map publishes percentages.
    {"reading.1sec.thd.van", rows::N, nullptr, "meter_voltage_thd_ratio", "phase", "an", 0.01,
     "voltage_thd_an", 0.01, "Voltage THD AN", nullptr, nullptr, kMeasurement},
    {"reading.1sec.thd.vbn", rows::N, nullptr, "meter_voltage_thd_ratio", "phase", "bn", 0.01,
     "voltage_thd_bn", 0.01, "Voltage THD BN", nullptr, nullptr, kMeasurement},
    {"reading.1sec.thd.vcn", rows::N, nullptr, "meter_voltage_thd_ratio", "phase", "cn", 0.01,
     "voltage_thd_cn", 0.01, "Voltage THD CN", nullptr, nullptr, kMeasurement},
    {"reading.3sec.thd.ia.total", rows::N, nullptr, "meter_current_thd_ratio", "phase", "a", 0.01,
     "current_thd_a", 0.01, "Current THD A", nullptr, nullptr, kMeasurement},
    {"reading.3sec.thd.ib.total", rows::N, nullptr, "meter_current_thd_ratio", "phase", "b", 0.01,
     "current_thd_b", 0.01, "Current THD B", nullptr, nullptr, kMeasurement},
    {"reading.3sec.thd.ic.total", rows::N, nullptr, "meter_current_thd_ratio", "phase", "c", 0.01,
     "current_thd_c", 0.01, "Current THD C", nullptr, nullptr, kMeasurement},
    {"reading.3sec.tdd.ia.total", rows::N, nullptr, "meter_current_tdd_ratio", "phase", "a", 0.01,
     "current_tdd_a", 0.01, "Current TDD A", nullptr, nullptr, kMeasurement},
    {"reading.3sec.tdd.ib.total", rows::N, nullptr, "meter_current_tdd_ratio", "phase", "b", 0.01,
     "current_tdd_b", 0.01, "Current TDD B", nullptr, nullptr, kMeasurement},
    {"reading.3sec.tdd.ic.total", rows::N, nullptr, "meter_current_tdd_ratio", "phase", "c", 0.01,
     "current_tdd_c", 0.01, "Current TDD C", nullptr, nullptr, kMeasurement},
    // Flicker severities count only while the meter says they are valid.
    {"reading.flicker.pst.a", rows::N, "reading.valid.pst", "meter_flicker_pst", "phase", "a", 1,
     "flicker_pst_a", 1, "Flicker Pst A", nullptr, nullptr, kMeasurement},
    {"reading.flicker.pst.b", rows::N, "reading.valid.pst", "meter_flicker_pst", "phase", "b", 1,
     "flicker_pst_b", 1, "Flicker Pst B", nullptr, nullptr, kMeasurement},
    {"reading.flicker.pst.c", rows::N, "reading.valid.pst", "meter_flicker_pst", "phase", "c", 1,
     "flicker_pst_c", 1, "Flicker Pst C", nullptr, nullptr, kMeasurement},
    {"reading.flicker.plt.a", rows::N, "reading.valid.plt", "meter_flicker_plt", "phase", "a", 1,
     "flicker_plt_a", 1, "Flicker Plt A", nullptr, nullptr, kMeasurement},
    {"reading.flicker.plt.b", rows::N, "reading.valid.plt", "meter_flicker_plt", "phase", "b", 1,
     "flicker_plt_b", 1, "Flicker Plt B", nullptr, nullptr, kMeasurement},
    {"reading.flicker.plt.c", rows::N, "reading.valid.plt", "meter_flicker_plt", "phase", "c", 1,
     "flicker_plt_c", 1, "Flicker Plt C", nullptr, nullptr, kMeasurement},
    {"reading.3secs.symcomp.volt.zeroseq.mag", rows::N, nullptr, "meter_sequence_voltage_volts",
     "sequence", "zero", 1, "voltage_zero_sequence", 1, "Voltage zero sequence", "voltage", "V",
     kMeasurement},
    {"reading.3secs.symcomp.volt.posseq.mag", rows::N, nullptr, "meter_sequence_voltage_volts",
     "sequence", "positive", 1, "voltage_positive_sequence", 1, "Voltage positive sequence",
     "voltage", "V", kMeasurement},
    {"reading.3secs.symcomp.volt.negseq.mag", rows::N, nullptr, "meter_sequence_voltage_volts",
     "sequence", "negative", 1, "voltage_negative_sequence", 1, "Voltage negative sequence",
     "voltage", "V", kMeasurement},
    {"reading.3secs.symcomp.current.zeroseq.mag", rows::N, nullptr,
     "meter_sequence_current_amperes", "sequence", "zero", 1, "current_zero_sequence", 1,
     "Current zero sequence", "current", "A", kMeasurement},
    {"reading.3secs.symcomp.current.posseq.mag", rows::N, nullptr, "meter_sequence_current_amperes",
     "sequence", "positive", 1, "current_positive_sequence", 1, "Current positive sequence",
     "current", "A", kMeasurement},
    {"reading.3secs.symcomp.current.negseq.mag", rows::N, nullptr, "meter_sequence_current_amperes",
     "sequence", "negative", 1, "current_negative_sequence", 1, "Current negative sequence",
     "current", "A", kMeasurement},
    // Totals that only the Modbus map serves (its W, VA, VAR and PF points).
    {"reading.1sec.power.watt.total", rows::N, nullptr, nullptr, nullptr, nullptr, 1, nullptr, 1,
     nullptr, nullptr, nullptr, nullptr},
    {"reading.1sec.power.var.total", rows::N, nullptr, nullptr, nullptr, nullptr, 1, nullptr, 1,
     nullptr, nullptr, nullptr, nullptr},
    {"reading.1sec.power.va.total", rows::N, nullptr, nullptr, nullptr, nullptr, 1, nullptr, 1,
     nullptr, nullptr, nullptr, nullptr},
    {"reading.1sec.pf.total.string", rows::PF, nullptr, nullptr, nullptr, nullptr, 1, nullptr, 1,
     nullptr, nullptr, nullptr, nullptr},
};

inline constexpr size_t kReadingCount = sizeof kReadingTable / sizeof kReadingTable[0];
inline constexpr size_t kMetricFamilyCount = sizeof kMetricFamilies / sizeof kMetricFamilies[0];

// The row index of key, or -1 when no row reads it (the first row when several do).
constexpr int readingIndex(std::string_view key) {
  for (size_t i = 0; i < kReadingCount; ++i) {
    if (key == kReadingTable[i].key) return static_cast<int>(i);
  }
  return -1;
}

}  // namespace ldexport

#endif  // EXPORT_READINGTABLE_H_
