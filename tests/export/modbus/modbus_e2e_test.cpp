// livedata_export serving Modbus TCP, end to end: the staged program against a
// real host datamap in a temporary directory, read by independent clients from
// Debian (mbpoll; pymodbus through tests/export/modbus/sunspec_read.py, which
// decodes every model from the Alliance's JSON definitions) and by raw sockets
// for the protocol's corner cases.
#include <signal.h>
#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/export/modbus/RawModbusClient.h"
#include "tests/support/MapFixture.h"
#include "tests/support/Process.h"
#include "tests/support/RepeatingThread.h"
#include "tests/support/TempDir.h"

namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using testsupport::Bytes;
using testsupport::RawModbusClient;

constexpr int kIntervalMs = 100;

class ModbusE2eTest : public ::testing::Test {
 protected:
  void SetUp() override {
    mapPath_ = dir_.file("datamap");
    dmtool({"create", testsupport::sourcePath("data/meter.catalog")});
  }

  void TearDown() override {
    if (exporter_ && exporter_->running()) exporter_->stop(SIGKILL);
  }

  void dmtool(const std::vector<std::string>& args) {
    std::vector<std::string> argv{testsupport::stagedProgram("bin/dmtool"), "--map", mapPath_};
    argv.insert(argv.end(), args.begin(), args.end());
    const testsupport::ProcessResult result = testsupport::runProcess(argv);
    ASSERT_EQ(result.exitCode, 0) << result.err;
  }

  // Starts the exporter on a free loopback port (it reports the port it got).
  void startExporter(std::vector<std::string> extra = {}) {
    std::vector<std::string> argv{testsupport::stagedProgram("sbin/livedata_export"), "--modbus",
                                  "127.0.0.1:0", "--interval", std::to_string(kIntervalMs)};
    argv.insert(argv.end(), extra.begin(), extra.end());
    testsupport::ProcessOptions options;
    options.env = {"DATAMAP_FILE=" + mapPath_};
    exporter_ = std::make_unique<testsupport::ChildProcess>();
    ASSERT_TRUE(exporter_->start(argv, options));
    const std::string marker = "on 127.0.0.1:";
    ASSERT_TRUE(testsupport::waitFor([&] {
      return exporter_->err().find(marker) != std::string::npos;
    }, 30s)) << exporter_->err();
    const std::string err = exporter_->err();
    port_ = static_cast<uint16_t>(atoi(err.c_str() + err.find(marker) + marker.size()));
    ASSERT_NE(port_, 0);
    // The first period's image is in place once "SunS" reads (unit 0 is always answered).
    ASSERT_TRUE(
        testsupport::waitFor([&] { return readRegisters(40000, 2, 0).size() == 2; }, 30s));
  }

  std::vector<uint16_t> readRegisters(uint16_t address, uint16_t count, uint8_t unit = 1) {
    RawModbusClient client;
    if (!client.connect(port_)) return {};
    Bytes answer;
    if (!client.send(RawModbusClient::readRequest(1, address, count, unit))) return {};
    if (!client.receiveFrame(&answer)) return {};
    return RawModbusClient::registersOf(answer);
  }

  // The whole map as pymodbus reads and decodes it.
  json readWithPymodbus() {
    const testsupport::ProcessResult result = testsupport::runProcess(
        {"/usr/bin/python3", testsupport::sourcePath("tests/export/modbus/sunspec_read.py"),
         "127.0.0.1", std::to_string(port_), "1", testsupport::sourcePath("tests/export/sunspec")});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return result.exitCode == 0 ? json::parse(result.out) : json();
  }

  std::string mbpoll(const std::vector<std::string>& args) {
    std::vector<std::string> argv{"/usr/bin/mbpoll", "-m", "tcp", "-a", "1", "-1", "-p",
                                  std::to_string(port_)};
    argv.insert(argv.end(), args.begin(), args.end());
    argv.push_back("127.0.0.1");
    const testsupport::ProcessResult result = testsupport::runProcess(argv);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return result.out;
  }

  // Waits for the next periods to have taken what dmtool set.
  void waitPeriods(int periods = 3) {
    std::this_thread::sleep_for(std::chrono::milliseconds(periods * kIntervalMs));
  }

  testsupport::TempDir dir_;
  std::string mapPath_;
  std::unique_ptr<testsupport::ChildProcess> exporter_;
  uint16_t port_ = 0;
};

const json& model(const json& map, int index) { return map.at("models").at(index); }

// The scale factor step of an integer point's group.
double stepOf(const json& points, const std::string& factor) {
  return std::pow(10.0, points.at(factor).get<int>());
}

struct Expected {
  const char* intName;
  const char* floatName;
  const char* factor;
  double value;
};

void expectModels(const json& map, const std::vector<Expected>& expected) {
  const json& ints = model(map, 1).at("points");
  const json& floats = model(map, 2).at("points");
  for (const Expected& e : expected) {
    SCOPED_TRACE(e.intName);
    ASSERT_FALSE(ints.at(e.intName).is_null());
    const double step = e.factor != nullptr ? stepOf(ints, e.factor) : 1.0;
    EXPECT_NEAR(ints.at(e.intName).get<double>(), e.value, step);
    ASSERT_FALSE(floats.at(e.floatName).is_null());
    EXPECT_NEAR(floats.at(e.floatName).get<double>(), e.value, std::fabs(e.value) * 1e-6 + 1e-6);
  }
}

TEST_F(ModbusE2eTest, MbpollReadsSunSAndTheModelIds) {
  dmtool({"set", "sys.enumeration.hookup", "0"});
  startExporter();
  // mbpoll counts references from 1: reference 40001 is register 40000.
  const std::string suns = mbpoll({"-r", "40001", "-c", "2", "-t", "4:hex"});
  EXPECT_NE(suns.find("[40001]: \t0x5375"), std::string::npos) << suns;
  EXPECT_NE(suns.find("[40002]: \t0x6E53"), std::string::npos) << suns;
  EXPECT_NE(mbpoll({"-r", "40003", "-c", "2", "-t", "4"}).find("[40004]: \t66"), std::string::npos);
  EXPECT_NE(mbpoll({"-r", "40071", "-c", "1", "-t", "4"}).find("[40071]: \t203"),
            std::string::npos);
  EXPECT_NE(mbpoll({"-r", "40178", "-c", "1", "-t", "4"}).find("[40178]: \t213"),
            std::string::npos);
  EXPECT_NE(mbpoll({"-r", "40304", "-c", "2", "-t", "4:hex"}).find("[40304]: \t0xFFFF"),
            std::string::npos);
}

TEST_F(ModbusE2eTest, PymodbusDecodesEveryModelWithItsScaleFactors) {
  dmtool({"set", "sys.enumeration.hookup", "0", "reading.1sec.volt.an", "230.1",
          "reading.1sec.volt.bn", "229.9", "reading.1sec.volt.cn", "231.0",
          "reading.1sec.volt.ab", "398.2", "reading.1sec.volt.bc", "399.0",
          "reading.1sec.volt.ca", "397.7", "reading.1sec.current.a", "12.345",
          "reading.1sec.current.b", "11.5", "reading.1sec.current.c", "13.25",
          "reading.1sec.freq", "49.98", "reading.1sec.power.watt.a", "2500.4",
          "reading.1sec.power.watt.b", "-120.5", "reading.1sec.power.watt.c", "2710",
          "reading.1sec.power.watt.total", "5089.9", "reading.1sec.power.var.total", "-830.2",
          "reading.1sec.power.va.total", "5157.2", "reading.1sec.pf.total.string", "0.987 Lag",
          "reading.1sec.pf.a.string", "0.850 Lead", "reading.1sec.energy.watthr.q14.total.sec",
          "123456.7", "reading.1sec.energy.watthr.q23.total.sec", "4321",
          "dev.designation", "Feeder 7"});
  startExporter();
  waitPeriods();
  const json map = readWithPymodbus();
  ASSERT_EQ(map.at("models").size(), 4u);
  EXPECT_EQ(model(map, 0).at("id"), 1);
  EXPECT_EQ(model(map, 0).at("points").at("Opt"), "Wye");
  EXPECT_EQ(model(map, 0).at("points").at("DA"), 1);
  EXPECT_EQ(model(map, 1).at("id"), 203);
  EXPECT_EQ(model(map, 2).at("id"), 213);
  EXPECT_EQ(model(map, 3).at("id"), 0xFFFF);
  EXPECT_EQ(model(map, 3).at("length"), 0);
  expectModels(map, {{"A", "A", "A_SF", 37.095},
                     {"AphA", "AphA", "A_SF", 12.345},
                     {"AphC", "AphC", "A_SF", 13.25},
                     {"PhV", "PhV", "V_SF", (230.1 + 229.9 + 231.0) / 3},
                     {"PhVphA", "PhVphA", "V_SF", 230.1},
                     {"PhVphC", "PhVphC", "V_SF", 231.0},
                     {"PPV", "PPV", "V_SF", (398.2 + 399.0 + 397.7) / 3},
                     {"PhVphAB", "PPVphAB", "V_SF", 398.2},
                     {"PhVphCA", "PPVphCA", "V_SF", 397.7},
                     {"Hz", "Hz", "Hz_SF", 49.98},
                     {"W", "W", "W_SF", 5089.9},
                     {"WphB", "WphB", "W_SF", -120.5},
                     {"VAR", "VAR", "VAR_SF", -830.2},
                     {"VA", "VA", "VA_SF", 5157.2},
                     {"PF", "PF", "PF_SF", 98.7},
                     {"PFphA", "PFphA", "PF_SF", -85.0},
                     {"TotWhImp", "TotWhImp", nullptr, 123456.7},
                     {"TotWhExp", "TotWhExp", nullptr, 4321}});
  // Resolution: never worse than 1/1000 of the group's largest value.
  const json& ints = model(map, 1).at("points");
  EXPECT_LE(stepOf(ints, "V_SF"), 399.0 / 1000);
  EXPECT_LE(stepOf(ints, "A_SF"), 37.095 / 1000);
  EXPECT_EQ(ints.at("TotWh_SF"), 0);
  EXPECT_TRUE(ints.at("TotVAhImp").is_null());
  EXPECT_TRUE(ints.at("TotVArh_SF").is_null());
  EXPECT_EQ(ints.at("Evt"), 0);
}

TEST_F(ModbusE2eTest, MediumVoltage) {
  dmtool({"set", "reading.1sec.volt.an", "13800", "reading.1sec.volt.bn", "13799",
          "reading.1sec.volt.cn", "13801", "reading.1sec.volt.ab", "23900",
          "reading.1sec.volt.bc", "23899", "reading.1sec.volt.ca", "23902",
          "reading.1sec.current.a", "1203.5", "reading.1sec.current.b", "1199.25",
          "reading.1sec.current.c", "1201"});
  startExporter();
  waitPeriods();
  const json map = readWithPymodbus();
  const json& ints = model(map, 1).at("points");
  EXPECT_EQ(ints.at("V_SF"), 0);  // 23.9 kV in steps of 1 V
  EXPECT_EQ(ints.at("A_SF"), 0);  // the sum, 3603.75 A, in steps of 1 A
  expectModels(map, {{"PhVphAB", "PPVphAB", "V_SF", 23900},
                     {"PhVphCA", "PPVphCA", "V_SF", 23902},
                     {"PhVphA", "PhVphA", "V_SF", 13800},
                     {"AphA", "AphA", "A_SF", 1203.5},
                     {"AphB", "AphB", "A_SF", 1199.25},
                     {"A", "A", "A_SF", 3603.75}});
}

TEST_F(ModbusE2eTest, DeltaHookupAndTheHookupFollowedWhileRunning) {
  dmtool({"set", "sys.enumeration.hookup", "1"});
  startExporter();
  waitPeriods();
  json map = readWithPymodbus();
  EXPECT_EQ(model(map, 0).at("points").at("Opt"), "Delta 3 CTs");
  EXPECT_EQ(model(map, 1).at("id"), 204);
  EXPECT_EQ(model(map, 2).at("id"), 214);
  for (const char* name : {"PhV", "PhVphA", "PhVphB", "PhVphC"}) {
    EXPECT_TRUE(model(map, 1).at("points").at(name).is_null()) << name;
    EXPECT_TRUE(model(map, 2).at("points").at(name).is_null()) << name;
  }
  expectModels(map, {{"PhVphAB", "PPVphAB", "V_SF", 207.846}});

  // Back to wye without a restart: the ids change within two periods.
  const auto set = std::chrono::steady_clock::now();
  dmtool({"set", "sys.enumeration.hookup", "3"});
  ASSERT_TRUE(testsupport::waitFor([&] {
    const std::vector<uint16_t> ids = readRegisters(40070, 1);
    return !ids.empty() && ids[0] == 203;
  }, 5000ms));
  EXPECT_LT(std::chrono::steady_clock::now() - set,
            std::chrono::milliseconds(2 * kIntervalMs + 500));
  EXPECT_EQ(readRegisters(40177, 1), std::vector<uint16_t>{213});
  map = readWithPymodbus();
  EXPECT_EQ(model(map, 0).at("points").at("Opt"), "2.5 Element Wye");
  EXPECT_FALSE(model(map, 1).at("points").at("PhVphA").is_null());
}

TEST_F(ModbusE2eTest, UnreadableReadingIsNotImplementedAndTheRestStays) {
  startExporter();
  dmtool({"fail", "reading.1sec.volt.bn", "-7"});
  dmtool({"fail", "reading.1sec.pf.a.string", "-7"});
  waitPeriods();
  const json map = readWithPymodbus();
  const json& ints = model(map, 1).at("points");
  const json& floats = model(map, 2).at("points");
  for (const char* name : {"PhVphB", "PhV", "PFphA"}) {
    EXPECT_TRUE(ints.at(name).is_null()) << name;
    EXPECT_TRUE(floats.at(name).is_null()) << name;
  }
  expectModels(map, {{"PhVphA", "PhVphA", "V_SF", 120},
                     {"PhVphC", "PhVphC", "V_SF", 120},
                     {"PPV", "PPV", "V_SF", 207.846},
                     {"PFphB", "PFphB", "PF_SF", 90}});
}

TEST_F(ModbusE2eTest, UnitIdOption) {
  startExporter({"--modbus-unit", "7"});
  EXPECT_EQ(readRegisters(40068, 1, 7), std::vector<uint16_t>{7});  // DA
  RawModbusClient client;
  ASSERT_TRUE(client.connect(port_));
  Bytes answer;
  ASSERT_TRUE(client.send(RawModbusClient::readRequest(5, 40000, 2, 1)));
  ASSERT_TRUE(client.receiveFrame(&answer));
  EXPECT_EQ(answer, (Bytes{0, 5, 0, 0, 0, 3, 1, 0x83, 11}));
}

// Three voltages flip between 100 V and 20 kV while a client reads the whole
// integer meter model in one request as fast as it can: every answer decodes
// to one of the two, never 1 V or 2000 kV. LDU_MODBUS_FLIP_SECONDS (default 5).
TEST_F(ModbusE2eTest, NoTornReadsWhileVoltagesFlip) {
  const char* env = getenv("LDU_MODBUS_FLIP_SECONDS");
  const int seconds = env != nullptr && atoi(env) > 0 ? atoi(env) : 5;
  testsupport::MapFixture map(testsupport::readFile(testsupport::sourcePath("data/meter.catalog")));
  mapPath_ = map.mapPath();
  const char* const keys[] = {"reading.1sec.volt.an", "reading.1sec.volt.bn",
                              "reading.1sec.volt.cn"};
  for (const char* key : keys) map.set(key, "100");
  startExporter({"--interval", "10"});
  if (HasFatalFailure()) return;
  bool high = false;
  testsupport::RepeatingThread writer([&] {
    const std::string volts = high ? "20000" : "100";
    for (const char* key : keys) map.set(key, volts);
    high = !high;
    std::this_thread::sleep_for(1ms);
  });
  RawModbusClient client;
  ASSERT_TRUE(client.connect(port_));
  long reads = 0, torn = 0, highs = 0, low = 0;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (std::chrono::steady_clock::now() < end) {
    std::vector<uint16_t> r;
    ASSERT_TRUE(client.readIntegerMeterModel(&r));
    const double step = RawModbusClient::voltageStepOf(r);
    const std::vector<double> phases = RawModbusClient::phaseVoltagesOf(r);
    for (size_t phase = 0; phase < phases.size(); ++phase) {
      const double volts = phases[phase];
      if (std::fabs(volts - 100.0) <= step) {
        ++low;
      } else if (std::fabs(volts - 20000.0) <= step) {
        ++highs;
      } else {
        if (torn < 5)
          ADD_FAILURE() << "torn: " << r[8 + phase] << " sf " << r[15] << " at " << 8 + phase;
        ++torn;
      }
    }
    ++reads;
  }
  writer.stop();
  EXPECT_EQ(torn, 0) << "of " << reads << " reads";
  EXPECT_GT(highs, 0);
  EXPECT_GT(low, 0);
  RecordProperty("reads", static_cast<int>(reads));
}

// Each request of a protocol corner with the answer it gets, on one connection.
void expectCornerAnswers(RawModbusClient& client) {
  const std::vector<std::pair<Bytes, Bytes>> cases = {
      {{0, 1, 0, 0, 0, 6, 1, 6, 0x9C, 0x42, 0, 1}, {0, 1, 0, 0, 0, 3, 1, 0x86, 1}},
      {{0, 2, 0, 0, 0, 9, 1, 16, 0x9C, 0x42, 0, 1, 2, 0, 1}, {0, 2, 0, 0, 0, 3, 1, 0x90, 1}},
      {{0, 3, 0, 0, 0, 2, 1, 0x2B}, {0, 3, 0, 0, 0, 3, 1, 0xAB, 1}},
      {RawModbusClient::readRequest(4, 40300, 6), {0, 4, 0, 0, 0, 3, 1, 0x83, 2}},
      {RawModbusClient::readRequest(5, 39999, 1, 1, 4), {0, 5, 0, 0, 0, 3, 1, 0x84, 2}},
      {RawModbusClient::readRequest(6, 40000, 0), {0, 6, 0, 0, 0, 3, 1, 0x83, 3}},
      {RawModbusClient::readRequest(7, 40000, 126), {0, 7, 0, 0, 0, 3, 1, 0x83, 3}},
      {RawModbusClient::readRequest(8, 40000, 1, 9), {0, 8, 0, 0, 0, 3, 9, 0x83, 11}},
      {RawModbusClient::readRequest(9, 40000, 1, 0), {0, 9, 0, 0, 0, 5, 0, 3, 2, 0x53, 0x75}},
      {RawModbusClient::readRequest(10, 40000, 1, 255), {0, 10, 0, 0, 0, 5, 255, 3, 2, 0x53, 0x75}},
  };
  Bytes answer;
  for (const auto& [request, expected] : cases) {
    ASSERT_TRUE(client.send(request));
    ASSERT_TRUE(client.receiveFrame(&answer));
    EXPECT_EQ(answer, expected) << int{request[1]};
  }
}

// Pipelined: 30 requests in one write, answered in order.
void expectPipelinedAnswersInOrder(RawModbusClient& client) {
  Bytes burst;
  for (uint16_t i = 0; i < 30; ++i) {
    const Bytes request = RawModbusClient::readRequest(static_cast<uint16_t>(100 + i), 40000, 2);
    burst.insert(burst.end(), request.begin(), request.end());
  }
  ASSERT_TRUE(client.send(burst));
  Bytes answer;
  for (uint16_t i = 0; i < 30; ++i) {
    ASSERT_TRUE(client.receiveFrame(&answer));
    EXPECT_EQ(answer[0] << 8 | answer[1], 100 + i);
  }
}

// Ten connections sending garbage, then one a malformed header, which is closed.
void sendGarbageAndAMalformedHeader(uint16_t port) {
  for (int i = 0; i < 10; ++i) {
    RawModbusClient noisy;
    ASSERT_TRUE(noisy.connect(port));
    Bytes garbage(100 + 50 * i);
    for (size_t b = 0; b < garbage.size(); ++b) garbage[b] = static_cast<uint8_t>(b * 7919 + i);
    noisy.send(garbage);
  }
  RawModbusClient malformed;
  ASSERT_TRUE(malformed.connect(port));
  ASSERT_TRUE(malformed.send(Bytes{0, 1, 0, 7, 0, 6, 1, 3, 0x9C, 0x40, 0, 1}));
  EXPECT_TRUE(malformed.closedByPeer(2000ms));
}

TEST_F(ModbusE2eTest, ProtocolCornersAndSigterm) {
  startExporter();
  RawModbusClient client;
  ASSERT_TRUE(client.connect(port_));
  ASSERT_NO_FATAL_FAILURE(expectCornerAnswers(client));
  ASSERT_NO_FATAL_FAILURE(expectPipelinedAnswersInOrder(client));
  ASSERT_NO_FATAL_FAILURE(sendGarbageAndAMalformedHeader(port_));

  // 40 stalled half-frames do not delay a new client.
  std::vector<std::unique_ptr<RawModbusClient>> stalled;
  ASSERT_TRUE(RawModbusClient::openMany(port_, 40, Bytes{0, 1, 0, 0, 0, 6, 1}, &stalled));
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(readRegisters(40000, 2), (std::vector<uint16_t>{0x5375, 0x6E53}));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms);
  ASSERT_TRUE(exporter_->running());

  const testsupport::ProcessResult result = exporter_->stop(SIGTERM);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  RawModbusClient late;
  EXPECT_FALSE(late.connect(port_));
}

}  // namespace
