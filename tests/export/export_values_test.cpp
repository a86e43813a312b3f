// The exporter's small pieces: power factor texts, the text buffer (numbers,
// escapes, overflow), the command line and the key table's consistency.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "export/ExportOptions.h"
#include "export/PowerFactorText.h"
#include "export/ReadingTable.h"
#include "export/TextBuffer.h"
#include "tests/support/TempDir.h"

namespace ldexport {
namespace {

bool parsePf(const std::string& text, double* value) {
  return parsePowerFactorText(text.c_str(), text.size(), value);
}

TEST(PowerFactorText, LagIsPositiveLeadIsNegative) {
  double value = 7;
  ASSERT_TRUE(parsePf("0.900 Lag", &value));
  EXPECT_EQ(0.9, value);
  ASSERT_TRUE(parsePf("0.800 Lead", &value));
  EXPECT_EQ(-0.8, value);
  ASSERT_TRUE(parsePf(" 1.000  LEAD ", &value));
  EXPECT_EQ(-1.0, value);
  ASSERT_TRUE(parsePf("1.000", &value));
  EXPECT_EQ(1.0, value);
  ASSERT_TRUE(parsePf("0.000 Lead", &value));
  EXPECT_EQ(0.0, value);
  EXPECT_FALSE(std::signbit(value));
}

TEST(PowerFactorText, AnythingElseIsRefusedAndLeavesTheValue) {
  double value = 7;
  for (const char* text : {"", "Lag", "n/a", "0.9 Lagging", "1.5 Lag", "-0.5 Lag", "0.9 Lag x",
                           "nan Lag", "0x1 Lag", "0.9Lag"}) {
    EXPECT_FALSE(parsePf(text, &value)) << text;
  }
  EXPECT_EQ(7, value);
}

TEST(PowerFactorText, StopsAtTheGivenSize) {
  double value = 0;
  ASSERT_TRUE(parsePowerFactorText("0.5 Leadxxxx", 8, &value));
  EXPECT_EQ(-0.5, value);
}

TEST(TextBuffer, NumbersAreTheShortestRoundTripForm) {
  TextBuffer text(256);
  text.appendNumber(120.0);
  text.append(' ');
  text.appendNumber(0.9);
  text.append(' ');
  text.appendNumber(3600000.0);
  text.append(' ');
  text.appendNumber(-0.8);
  text.append(' ');
  text.appendNumber(0.00001);
  text.append(' ');
  text.appendMillisAsSeconds(1700000000005);
  EXPECT_EQ("120 0.9 3600000 -0.8 1e-05 1700000000.005", text.view());
}

TEST(TextBuffer, LabelValuesEscapeQuotesBackslashesNewlinesAndBadUtf8) {
  TextBuffer text(256);
  text.appendLabelValue("a\"b\\c\nd \xC3\xA9 \xFF\xC3");
  EXPECT_EQ("a\\\"b\\\\c\\nd \xC3\xA9 ??", text.view());
}

TEST(TextBuffer, JsonStringsEscapeControlCharacters) {
  TextBuffer text(256);
  text.appendJsonString("\"x\\\t\x01\xE2\x82\xAC\xED\xA0\x80");
  EXPECT_EQ("\\\"x\\\\\\u0009\\u0001\xE2\x82\xAC???", text.view());
}

TEST(TextBuffer, TextThatDoesNotFitIsDroppedAndRemembered) {
  TextBuffer text(8);
  text.append("1234567");
  text.append("89");
  EXPECT_TRUE(text.overflowed());
  EXPECT_EQ("1234567", text.view());
  text.clear();
  EXPECT_FALSE(text.overflowed());
  EXPECT_EQ(0u, text.size());
}

base::Status parse(std::vector<std::string> args, ExportOptions* options) {
  args.insert(args.begin(), "livedata_export");
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  return parseExportOptions(static_cast<int>(argv.size()), argv.data(), options);
}

TEST(ExportOptions, Defaults) {
  ExportOptions options;
  ASSERT_TRUE(parse({"--prometheus", "m.prom"}, &options).ok());
  EXPECT_EQ(1000, options.intervalMs);
  EXPECT_EQ("m.prom", options.prometheusFile);
  EXPECT_TRUE(options.mqttHost.empty());
  EXPECT_EQ("homeassistant", options.discoveryPrefix);
  EXPECT_TRUE(options.discovery);
}

TEST(ExportOptions, BrokerForms) {
  ExportOptions a;
  ASSERT_TRUE(parse({"--mqtt", "broker.lan"}, &a).ok());
  EXPECT_EQ("broker.lan", a.mqttHost);
  EXPECT_EQ(1883, a.mqttPort);
  ExportOptions b;
  ASSERT_TRUE(parse({"--mqtt", "10.0.0.2:1884", "--no-discovery", "--topic", "site/m1"}, &b).ok());
  EXPECT_EQ("10.0.0.2", b.mqttHost);
  EXPECT_EQ(1884, b.mqttPort);
  EXPECT_FALSE(b.discovery);
  EXPECT_EQ("site/m1", b.topic);
  ExportOptions c;
  ASSERT_TRUE(parse({"--mqtt", "[::1]:1999"}, &c).ok());
  EXPECT_EQ("::1", c.mqttHost);
  EXPECT_EQ(1999, c.mqttPort);
  ExportOptions d;
  ASSERT_TRUE(parse({"--mqtt", "b", "--mqtt-cafile", "ca.pem"}, &d).ok());
  EXPECT_EQ(8883, d.mqttPort);
}

TEST(ExportOptions, BadOptionsAreOneLineErrors) {
  const std::vector<std::vector<std::string>> bad = {
      {},
      {"--interval", "5", "--prometheus", "f"},
      {"--interval", "1s", "--prometheus", "f"},
      {"--prometheus"},
      {"--mqtt", "h:0"},
      {"--mqtt", "h:65536"},
      {"--mqtt", ":1883"},
      {"--mqtt", "a:b:c"},
      {"--mqtt", "h", "--topic", "a/#"},
      {"--mqtt", "h", "--topic", "/a"},
      {"--mqtt", "h", "--discovery-prefix", "+"},
      {"--prometheus", "f", "--mqtt-user", "u"},
      {"--prometheus", "f", "--bogus"},
      {"--prometheus", "f", "extra"},
  };
  for (const auto& args : bad) {
    ExportOptions options;
    base::Status status = parse(args, &options);
    EXPECT_FALSE(status.ok()) << testing::PrintToString(args);
    EXPECT_EQ(std::string::npos, status.message().find('\n'));
  }
}

TEST(ReadingTable, EveryRowNamesAKnownFamilyAndUniqueJsonName) {
  std::set<std::string> families;
  for (const MetricFamily& family : kMetricFamilies) {
    EXPECT_TRUE(families.insert(family.name).second) << family.name;
    EXPECT_TRUE(std::string(family.type) == "gauge" || std::string(family.type) == "counter");
    EXPECT_EQ(std::string(family.type) == "counter",
              std::string(family.name).size() > 6 &&
                  std::string(family.name).substr(std::string(family.name).size() - 6) ==
                      "_total")
        << family.name;
  }
  std::set<std::string> jsonNames;
  std::set<std::string> samples;
  for (const ReadingRow& row : kReadingTable) {
    if (row.family != nullptr) {
      EXPECT_EQ(1u, families.count(row.family)) << row.key;
      std::string sample = std::string(row.family) + (row.labelValue ? row.labelValue : "");
      EXPECT_TRUE(samples.insert(sample).second) << sample;
    }
    if (row.jsonName == nullptr) continue;
    EXPECT_TRUE(jsonNames.insert(row.jsonName).second) << row.jsonName;
    for (const char* c = row.jsonName; *c; ++c) {
      EXPECT_TRUE((*c >= 'a' && *c <= 'z') || (*c >= '0' && *c <= '9') || *c == '_')
          << row.jsonName;
    }
    EXPECT_NE(nullptr, row.haName) << row.jsonName;
  }
}

TEST(ReadingTable, TheFamiliesMonitoringUsersExpectAreThere) {
  const std::vector<std::string> wanted = {
      "meter_voltage_volts",          "meter_current_amperes",
      "meter_active_power_watts",     "meter_reactive_power_vars",
      "meter_apparent_power_voltamperes", "meter_power_factor_ratio",
      "meter_frequency_hertz",        "meter_active_energy_joules_total",
      "meter_voltage_thd_ratio",      "meter_current_thd_ratio",
      "meter_current_tdd_ratio",      "meter_flicker_pst",
      "meter_flicker_plt",            "meter_sequence_voltage_volts",
      "meter_sequence_current_amperes"};
  std::set<std::string> labels;
  for (const ReadingRow& row : kReadingTable) {
    if (row.family != nullptr && row.labelValue != nullptr) {
      labels.insert(std::string(row.family) + "/" + row.labelValue);
    }
  }
  for (const std::string& family : wanted) {
    bool found = false;
    for (const MetricFamily& f : kMetricFamilies) found = found || family == f.name;
    EXPECT_TRUE(found) << family;
  }
  for (const char* phase : {"an", "bn", "cn", "ab", "bc", "ca"}) {
    EXPECT_EQ(1u, labels.count(std::string("meter_voltage_volts/") + phase)) << phase;
  }
  for (const char* phase : {"a", "b", "c", "n"}) {
    EXPECT_EQ(1u, labels.count(std::string("meter_current_amperes/") + phase)) << phase;
  }
  for (const char* direction : {"delivered", "received"}) {
    EXPECT_EQ(1u, labels.count(std::string("meter_active_energy_joules_total/") + direction));
  }
}

TEST(ReadingTable, HomeAssistantClassesAreOnesItAccepts) {
  // device class -> the unit Home Assistant accepts with it here (empty: none)
  const std::vector<std::pair<std::string, std::string>> accepted = {
      {"voltage", "V"},       {"current", "A"},         {"power", "W"},
      {"reactive_power", "var"}, {"apparent_power", "VA"}, {"power_factor", ""},
      {"frequency", "Hz"},    {"energy", "kWh"}};
  for (const ReadingRow& row : kReadingTable) {
    if (row.jsonName == nullptr || row.haDeviceClass == nullptr) continue;
    std::string unit = row.haUnit ? row.haUnit : "";
    bool ok = false;
    for (const auto& [deviceClass, wantedUnit] : accepted) {
      ok = ok || (deviceClass == row.haDeviceClass && unit == wantedUnit);
    }
    EXPECT_TRUE(ok) << row.jsonName;
    std::string stateClass = row.haStateClass ? row.haStateClass : "";
    if (std::string(row.haDeviceClass) == "energy") {
      EXPECT_EQ("total_increasing", stateClass) << row.jsonName;
    } else {
      EXPECT_EQ("measurement", stateClass) << row.jsonName;
    }
  }
}

TEST(ReadingTable, EveryKeyIsInTheSimulatorsCatalogue) {
  std::string catalog = testsupport::readFile(testsupport::sourcePath("data/meter.catalog"));
  for (const ReadingRow& row : kReadingTable) {
    EXPECT_NE(std::string::npos, catalog.find(std::string("\n") + row.key + " ")) << row.key;
    if (row.validKey != nullptr) {
      EXPECT_NE(std::string::npos, catalog.find(std::string("\n") + row.validKey + " boolean"))
          << row.validKey;
    }
  }
  EXPECT_EQ(0, readingIndex(kReadingTable[0].key));
  EXPECT_EQ(-1, readingIndex("no.such.key"));
}

}  // namespace
}  // namespace ldexport
