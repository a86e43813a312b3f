// The Modbus options of livedata_export's command line.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "export/ExportOptions.h"

namespace {

using ldexport::ExportOptions;

base::Status parse(std::vector<std::string> args, ExportOptions* options) {
  args.insert(args.begin(), "livedata_export");
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  return ldexport::parseExportOptions(static_cast<int>(argv.size()), argv.data(), options);
}

TEST(ModbusOptions, NoModbusByDefault) {
  ExportOptions options;
  ASSERT_TRUE(parse({"--prometheus", "m.prom"}, &options).ok());
  EXPECT_EQ(options.modbusPort, -1);
  EXPECT_EQ(options.modbusUnit, 1);
  EXPECT_EQ(options.modbusMaxClients, 16);
}

TEST(ModbusOptions, ListenForms) {
  struct Case {
    const char* text;
    const char* host;
    int port;
  } const cases[] = {{"502", "", 502},
                     {"127.0.0.1:1502", "127.0.0.1", 1502},
                     {"meter.local:502", "meter.local", 502},
                     {"[::1]:1502", "::1", 1502},
                     {"127.0.0.1:0", "127.0.0.1", 0}};
  for (const Case& c : cases) {
    ExportOptions options;
    ASSERT_TRUE(parse({"--modbus", c.text}, &options).ok()) << c.text;  // Modbus alone is enough
    EXPECT_EQ(options.modbusHost, c.host) << c.text;
    EXPECT_EQ(options.modbusPort, c.port) << c.text;
  }
}

TEST(ModbusOptions, UnitAndMaxClients) {
  ExportOptions options;
  ASSERT_TRUE(
      parse({"--modbus", "502", "--modbus-unit", "247", "--modbus-max-clients", "1"}, &options)
          .ok());
  EXPECT_EQ(options.modbusUnit, 247);
  EXPECT_EQ(options.modbusMaxClients, 1);
}

TEST(ModbusOptions, BadValuesAreOneLineErrors) {
  const std::vector<std::vector<std::string>> bad = {
      {"--modbus"},
      {"--modbus", ""},
      {"--modbus", "65536"},
      {"--modbus", "-1"},
      {"--modbus", "host:"},
      {"--modbus", "a:b:502"},
      {"--modbus", "[::1]"},
      {"--modbus", "502", "--modbus-unit", "0"},
      {"--modbus", "502", "--modbus-unit", "248"},
      {"--modbus", "502", "--modbus-unit", "x"},
      {"--modbus", "502", "--modbus-max-clients", "0"},
      {"--modbus", "502", "--modbus-max-clients", "1025"},
  };
  for (const auto& args : bad) {
    ExportOptions options;
    const base::Status status = parse(args, &options);
    EXPECT_FALSE(status.ok()) << testing::PrintToString(args);
    EXPECT_EQ(status.message().find('\n'), std::string::npos);
  }
  ExportOptions options;
  const base::Status status = parse({"--modbus", "502", "--modbus-unit", "0"}, &options);
  EXPECT_EQ(status.message(), "--modbus-unit: '0' is not a unit id in 1..247");
}

}  // namespace
