// The texts the exporter publishes, byte for byte: the Prometheus exposition of
// a snapshot and the MQTT state and discovery messages.
#include <gtest/gtest.h>

#include <string.h>

#include "export/MqttMessages.h"
#include "export/PrometheusText.h"
#include "export/ReadingTable.h"
#include "export/Snapshot.h"
#include "export/TextBuffer.h"

namespace ldexport {
namespace {

void put(Snapshot* snapshot, const char* key, double value) {
  int row = readingIndex(key);
  ASSERT_GE(row, 0) << key;
  snapshot->value[row] = value;
  snapshot->present[row] = true;
}

Snapshot sampleSnapshot() {
  Snapshot snapshot;
  snapshot.unixMillis = 1700000000123;
  snapshot.mapOpen = true;
  put(&snapshot, "reading.1sec.volt.an", 120.5);
  put(&snapshot, "reading.1sec.current.n", 0.25);
  put(&snapshot, "reading.1sec.pf.a.string", -0.8);
  put(&snapshot, "reading.1sec.energy.watthr.q14.total.sec", 1000);
  put(&snapshot, "reading.1sec.thd.van", 5);
  strcpy(snapshot.designation, "Main \"A\"");
  snapshot.designationPresent = true;
  strcpy(snapshot.serial, "SIM1");
  snapshot.factoryRecordValid = true;
  snapshot.hookup = 1;
  snapshot.hookupPresent = true;
  return snapshot;
}

TEST(PrometheusText, PresentSamplesOnlyEachFamilyWithHelpAndType) {
  TextBuffer text(64 * 1024);
  formatPrometheusText(sampleSnapshot(), &text);
  const char* expected =
      "# HELP meter_voltage_volts RMS voltage, phase to neutral or phase to phase.\n"
      "# TYPE meter_voltage_volts gauge\n"
      "meter_voltage_volts{phase=\"an\"} 120.5\n"
      "# HELP meter_current_amperes RMS current per phase and neutral.\n"
      "# TYPE meter_current_amperes gauge\n"
      "meter_current_amperes{phase=\"n\"} 0.25\n"
      "# HELP meter_power_factor_ratio Power factor per phase, positive lagging, negative "
      "leading.\n"
      "# TYPE meter_power_factor_ratio gauge\n"
      "meter_power_factor_ratio{phase=\"a\"} -0.8\n"
      "# HELP meter_active_energy_joules_total Active energy register, delivered (quadrants 1 "
      "and 4) and received (quadrants 2 and 3).\n"
      "# TYPE meter_active_energy_joules_total counter\n"
      "meter_active_energy_joules_total{direction=\"delivered\"} 3600000\n"
      "# HELP meter_voltage_thd_ratio Total harmonic distortion of the phase voltages.\n"
      "# TYPE meter_voltage_thd_ratio gauge\n"
      "meter_voltage_thd_ratio{phase=\"an\"} 0.05\n"
      "# HELP meter_info The meter's designation, serial number and hookup; always 1.\n"
      "# TYPE meter_info gauge\n"
      "meter_info{designation=\"Main \\\"A\\\"\",serial=\"SIM1\",hookup=\"Delta 3 CTs\"} 1\n"
      "# HELP meter_last_update_timestamp_seconds Unix time of the last period in which the "
      "datamap gave readings.\n"
      "# TYPE meter_last_update_timestamp_seconds gauge\n"
      "meter_last_update_timestamp_seconds 1700000000.123\n";
  EXPECT_EQ(expected, text.view());
}

TEST(PrometheusText, FrequencyHasNoLabels) {
  Snapshot snapshot;
  put(&snapshot, "reading.1sec.freq", 59.98);
  snapshot.unixMillis = 1000;
  TextBuffer text(4096);
  formatPrometheusText(snapshot, &text);
  EXPECT_NE(std::string::npos, text.view().find("\nmeter_frequency_hertz 59.98\n"));
  EXPECT_EQ(std::string::npos, text.view().find("meter_info"));
}

TEST(PrometheusText, NothingPresentGivesAnEmptyText) {
  Snapshot snapshot;
  snapshot.unixMillis = 1700000000000;
  TextBuffer text(4096);
  formatPrometheusText(snapshot, &text);
  EXPECT_EQ("", text.view());
}

TEST(PrometheusText, InvalidRecordLeavesTheSerialEmpty) {
  Snapshot snapshot;
  strcpy(snapshot.designation, "Feeder 2");
  snapshot.designationPresent = true;
  snapshot.hookup = 9;
  snapshot.hookupPresent = true;
  TextBuffer text(4096);
  formatPrometheusText(snapshot, &text);
  EXPECT_NE(std::string::npos,
            text.view().find("meter_info{designation=\"Feeder 2\",serial=\"\",hookup=\"\"} 1\n"));
}

TEST(MqttMessages, StateHoldsPresentReadingsInBaseUnitsEnergyInKwh) {
  Snapshot snapshot = sampleSnapshot();
  put(&snapshot, "reading.1sec.energy.watthr.q14.total.sec", 1234.5);
  TextBuffer text(8192);
  formatState(snapshot, &text);
  EXPECT_EQ(
      "{\"time\":1700000000.123,\"voltage_an\":120.5,\"current_n\":0.25,"
      "\"power_factor_a\":-0.8,\"energy_delivered_kwh\":1.2345,\"voltage_thd_an\":0.05}",
      text.view());
}

TEST(MqttMessages, NodeIdIsTheSerialReducedElseTheDesignation) {
  EXPECT_EQ("sim0001234", reduceToNodeId("SIM0001234"));
  EXPECT_EQ("kv7720_simulator_main_feeder", reduceToNodeId("KV7720 Simulator \"Main Feeder\""));
  EXPECT_EQ("a-b_c", reduceToNodeId("  A-b_c!! "));
  EXPECT_EQ("meter", reduceToNodeId("\"\"\""));
  Snapshot snapshot = sampleSnapshot();
  MeterIdentity identity = meterIdentity(snapshot, "", "homeassistant");
  EXPECT_EQ("sim1", identity.node);
  EXPECT_EQ("livedata/sim1", identity.baseTopic);
  snapshot.factoryRecordValid = false;
  identity = meterIdentity(snapshot, "site/meters/7", "ha");
  EXPECT_EQ("main_a", identity.node);
  EXPECT_EQ("site/meters/7/state", identity.stateTopic());
  EXPECT_EQ("site/meters/7/availability", identity.availabilityTopic());
  EXPECT_EQ("ha/status", identity.statusTopic());
}

TEST(MqttMessages, DiscoveryConfigOfAVoltage) {
  MeterIdentity identity = meterIdentity(sampleSnapshot(), "", "homeassistant");
  const ReadingRow& row = kReadingTable[readingIndex("reading.1sec.volt.an")];
  EXPECT_EQ("homeassistant/sensor/sim1/voltage_an/config", identity.discoveryTopic(row));
  TextBuffer text(4096);
  formatDiscovery(identity, row, &text);
  std::string expected = std::string(
      "{\"name\":\"Voltage AN\",\"unique_id\":\"livedata_sim1_voltage_an\","
      "\"object_id\":\"livedata_sim1_voltage_an\",\"state_topic\":\"livedata/sim1/state\","
      "\"value_template\":\"{{ value_json.voltage_an }}\","
      "\"availability_topic\":\"livedata/sim1/availability\",\"device_class\":\"voltage\","
      "\"unit_of_measurement\":\"V\",\"state_class\":\"measurement\","
      "\"device\":{\"identifiers\":[\"livedata_sim1\"],\"name\":\"Main \\\"A\\\"\","
      "\"model\":\"Three-phase power-quality meter\",\"sw_version\":\"") +
      kExporterVersion + "\",\"serial_number\":\"SIM1\"},"
      "\"origin\":{\"name\":\"livedata_export\",\"sw_version\":\"" + kExporterVersion + "\"}}";
  EXPECT_EQ(expected, text.view());
}

TEST(MqttMessages, DiscoveryOfEnergyAndPowerFactor) {
  MeterIdentity identity = meterIdentity(sampleSnapshot(), "", "homeassistant");
  TextBuffer text(4096);
  formatDiscovery(identity,
                  kReadingTable[readingIndex("reading.1sec.energy.watthr.q23.total.sec")], &text);
  std::string energy(text.view());
  EXPECT_NE(std::string::npos,
            energy.find("\"device_class\":\"energy\",\"unit_of_measurement\":\"kWh\","
                        "\"state_class\":\"total_increasing\""));
  formatDiscovery(identity, kReadingTable[readingIndex("reading.1sec.pf.b.string")], &text);
  std::string pf(text.view());
  EXPECT_NE(std::string::npos,
            pf.find("\"device_class\":\"power_factor\",\"state_class\":\"measurement\""));
  EXPECT_EQ(std::string::npos, pf.find("unit_of_measurement"));
}

}  // namespace
}  // namespace ldexport
