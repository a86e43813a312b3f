// livedata_export against Debian's real servers on free loopback ports:
// prometheus scraping the metrics through lighttpd (as the demo serves them),
// and mosquitto with a subscriber watching state, availability and discovery.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <map>
#include <thread>

#include <nlohmann/json.hpp>

#include "export/ReadingTable.h"
#include "tests/export/export_e2e_helpers.h"

namespace {

using exporttest::dmtool;
using exporttest::freePort;
using exporttest::makeMap;
using exporttest::retainedMessage;
using exporttest::startBroker;
using exporttest::startExporter;
using exporttest::startSubscriber;
using exporttest::subscriberLines;
using testsupport::ChildProcess;
using testsupport::TempDir;
using testsupport::waitFor;
using nlohmann::json;
using namespace std::chrono_literals;

// The node id of the catalogue's meter: no factory record, so its designation.
constexpr const char* kNode = "kv7720_simulator";
const std::string kBase = std::string("livedata/") + kNode;

size_t discoveryRowCount() {
  size_t count = 0;
  for (const ldexport::ReadingRow& row : ldexport::kReadingTable) count += row.jsonName ? 1 : 0;
  return count;
}

// The instant value of a PromQL query, or NaN.
double promQuery(int port, const std::string& query) {
  std::string url = "http://127.0.0.1:" + std::to_string(port) + "/api/v1/query?query=";
  for (char c : query) {
    if (isalnum(static_cast<unsigned char>(c)) || c == '_') {
      url += c;
    } else {
      char hex[4];
      snprintf(hex, sizeof hex, "%%%02X", static_cast<unsigned char>(c));
      url += hex;
    }
  }
  std::string body = exporttest::httpGet(url);
  json reply = json::parse(body, nullptr, false);
  if (reply.is_discarded() || reply.value("status", "") != "success") return NAN;
  const json& result = reply["data"]["result"];
  if (!result.is_array() || result.size() != 1) return NAN;
  return std::stod(result[0]["value"][1].get<std::string>());
}

TEST(ExportPrometheus, ScrapedThroughLighttpdByARealPrometheus) {
  TempDir dir;
  std::string map = makeMap(dir);
  dmtool(map, {"set", "reading.1sec.volt.an", "231.25", "reading.1sec.energy.watthr.q14.total.sec",
               "1000"});
  std::string file = dir.file("metrics.prom");
  auto exporter = startExporter(map, {"--prometheus", file, "--interval", "200"});

  // lighttpd with the demo's configuration, /metrics included. Started as root
  // it runs as www-data, which must enter the directory; its errors go to its
  // standard error.
  int webPort = freePort();
  ASSERT_EQ(0, chmod(dir.path().c_str(), 0755));
  testsupport::makeDirs(dir.file("htdocs"));
  testsupport::ProcessResult conf = testsupport::runProcess(
      {testsupport::sourcePath("scripts/web-conf"), "--htdocs", dir.file("htdocs"), "--www",
       testsupport::sourcePath("web/www"), "--port", std::to_string(webPort), "--metrics",
       file});
  ASSERT_EQ(0, conf.exitCode) << conf.err;
  testsupport::writeFile(dir.file("lighttpd.conf"), conf.out);
  ChildProcess web;
  ASSERT_TRUE(web.start({"/usr/sbin/lighttpd", "-D", "-f", dir.file("lighttpd.conf")}));
  ASSERT_TRUE(waitFor([&] { return exporttest::portOpen(webPort); }));
  std::string response =
      exporttest::httpGet("http://127.0.0.1:" + std::to_string(webPort) + "/metrics", true);
  EXPECT_NE(std::string::npos,
            response.find("Content-Type: text/plain; version=0.0.4; charset=utf-8\r\n"))
      << response;

  int promPort = freePort();
  testsupport::writeFile(dir.file("prometheus.yml"),
                         "global:\n  scrape_interval: 1s\n  evaluation_interval: 1s\n"
                         "scrape_configs:\n  - job_name: meter\n    static_configs:\n"
                         "      - targets: ['127.0.0.1:" +
                             std::to_string(webPort) + "']\n");
  ChildProcess prometheus;
  ASSERT_TRUE(prometheus.start({"/usr/bin/prometheus",
                                "--config.file=" + dir.file("prometheus.yml"),
                                "--storage.tsdb.path=" + dir.file("tsdb"),
                                "--web.listen-address=127.0.0.1:" + std::to_string(promPort)}));
  ASSERT_TRUE(waitFor([&] { return promQuery(promPort, "up") == 1; }, 60s)) << prometheus.err();
  EXPECT_TRUE(waitFor(
      [&] { return promQuery(promPort, "meter_voltage_volts{phase=\"an\"}") == 231.25; }, 20s));
  const std::string energy = "meter_active_energy_joules_total{direction=\"delivered\"}";
  EXPECT_TRUE(waitFor([&] { return promQuery(promPort, energy) == 3600000; }, 20s));
  dmtool(map, {"set", "reading.1sec.energy.watthr.q14.total.sec", "1500"});
  EXPECT_TRUE(waitFor([&] { return promQuery(promPort, energy) == 5400000; }, 20s));
  EXPECT_TRUE(waitFor([&] {
    return promQuery(promPort, "increase(" + energy + "[1m])") > 0;
  }, 20s));

  testsupport::ProcessOptions check;
  check.stdinText = testsupport::readFile(file);
  testsupport::ProcessResult lint = testsupport::runProcess({"/usr/bin/promtool", "check", "metrics"}, check);
  EXPECT_EQ(0, lint.exitCode);
  EXPECT_EQ("", lint.out + lint.err);
  EXPECT_EQ(0, exporter->stop(SIGTERM).exitCode);
}

// Fixture: a map, a broker and a subscriber on livedata/# and homeassistant/#.
class ExportMqtt : public testing::Test {
 protected:
  void SetUp() override {
    if (!LDX_WITH_MQTT) GTEST_SKIP() << "livedata_export built without libmosquitto";
    map_ = makeMap(dir_);
    port_ = freePort();
    broker_ = startBroker(dir_, port_);
    ASSERT_NE(nullptr, broker_);
    subscriber_ = startSubscriber(port_, {"livedata/#", "homeassistant/#"});
    usleep(300 * 1000);
  }

  std::unique_ptr<ChildProcess> exporter(std::vector<std::string> extra = {}) {
    std::vector<std::string> args = {"--mqtt", "127.0.0.1:" + std::to_string(port_),
                                     "--interval", "200"};
    args.insert(args.end(), extra.begin(), extra.end());
    return startExporter(map_, args);
  }

  // Messages on topic seen by the subscriber.
  std::vector<std::string> messages(const std::string& topic) {
    std::vector<std::string> payloads;
    for (const std::string& line : subscriberLines(*subscriber_)) {
      if (line.compare(0, topic.size() + 1, topic + " ") == 0) {
        payloads.push_back(line.substr(topic.size() + 1));
      }
    }
    return payloads;
  }

  size_t configCount() {
    size_t count = 0;
    for (const std::string& line : subscriberLines(*subscriber_)) {
      count += line.rfind("homeassistant/sensor/", 0) == 0 ? 1 : 0;
    }
    return count;
  }

  // True once a state with field == value arrived.
  bool stateHas(const std::string& field, double value) {
    for (const std::string& payload : messages(kBase + "/state")) {
      json state = json::parse(payload, nullptr, false);
      if (!state.is_discarded() && state.contains(field) && state[field] == value) return true;
    }
    return false;
  }

  // One config per row, the classes Home Assistant accepts.
  void expectConfigsWithTheirClasses() {
    std::map<std::string, json> configs;
    for (const std::string& line : subscriberLines(*subscriber_)) {
      if (line.rfind("homeassistant/sensor/", 0) != 0) continue;
      size_t blank = line.find(' ');
      configs[line.substr(0, blank)] = json::parse(line.substr(blank + 1));
    }
    EXPECT_EQ(discoveryRowCount(), configs.size());
    // voltage, current, power, reactive and apparent power, power factor,
    // frequency, energy: the classes Home Assistant accepts.
    struct Expected {
      const char* object;
      const char* deviceClass;
      const char* unit;  // nullptr: none
      const char* stateClass;
    };
    const Expected expected[] = {
        {"voltage_an", "voltage", "V", "measurement"},
        {"current_n", "current", "A", "measurement"},
        {"power_b", "power", "W", "measurement"},
        {"reactive_power_c", "reactive_power", "var", "measurement"},
        {"apparent_power_a", "apparent_power", "VA", "measurement"},
        {"power_factor_a", "power_factor", nullptr, "measurement"},
        {"frequency", "frequency", "Hz", "measurement"},
        {"energy_delivered_kwh", "energy", "kWh", "total_increasing"},
        {"energy_received_kwh", "energy", "kWh", "total_increasing"},
    };
    for (const Expected& want : expected) {
      std::string topic = std::string("homeassistant/sensor/") + kNode + "/" + want.object + "/config";
      ASSERT_EQ(1u, configs.count(topic)) << topic;
      const json& config = configs[topic];
      EXPECT_EQ(want.deviceClass, config.value("device_class", ""));
      EXPECT_EQ(want.stateClass, config.value("state_class", ""));
      if (want.unit) {
        EXPECT_EQ(want.unit, config.value("unit_of_measurement", ""));
      } else {
        EXPECT_FALSE(config.contains("unit_of_measurement"));
      }
      EXPECT_EQ(std::string("{{ value_json.") + want.object + " }}", config["value_template"]);
      EXPECT_EQ(kBase + "/state", config["state_topic"]);
      EXPECT_EQ(kBase + "/availability", config["availability_topic"]);
      EXPECT_EQ(std::string("livedata_") + kNode + "_" + want.object, config["unique_id"]);
      EXPECT_EQ(std::string("livedata_") + kNode, config["device"]["identifiers"][0]);
      EXPECT_EQ("KV7720 Simulator", config["device"]["name"]);
      EXPECT_TRUE(config["device"].contains("model"));
      EXPECT_TRUE(config["device"].contains("sw_version"));
      EXPECT_EQ("livedata_export", config["origin"]["name"]);
    }
  }

  TempDir dir_;
  std::string map_;
  int port_ = 0;
  std::unique_ptr<ChildProcess> broker_;
  std::unique_ptr<ChildProcess> subscriber_;
};

TEST_F(ExportMqtt, DiscoveryStateAvailabilityAndTheLastWill) {
  auto running = exporter();
  const size_t rows = discoveryRowCount();
  ASSERT_TRUE(waitFor([&] { return configCount() >= rows; })) << running->err();
  expectConfigsWithTheirClasses();

  dmtool(map_, {"set", "reading.1sec.volt.an", "222.5", "reading.1sec.pf.a.string", "0.6 Lead",
                "reading.1sec.energy.watthr.q23.total.sec", "2500"});
  EXPECT_TRUE(waitFor([&] {
    return stateHas("voltage_an", 222.5) && stateHas("power_factor_a", -0.6) &&
           stateHas("energy_received_kwh", 2.5);
  })) << running->err();
  EXPECT_EQ("online", retainedMessage(port_, kBase + "/availability"));

  // Home Assistant came back: every config again.
  size_t before = configCount();
  ASSERT_EQ(0, testsupport::runProcess({"/usr/bin/mosquitto_pub", "-h", "127.0.0.1", "-p",
                                        std::to_string(port_), "-t", "homeassistant/status",
                                        "-m", "online"})
                   .exitCode);
  EXPECT_TRUE(waitFor([&] { return configCount() >= before + rows; }));

  running->stop(SIGKILL);
  EXPECT_TRUE(waitFor([&] { return retainedMessage(port_, kBase + "/availability") == "offline"; }));
}

TEST_F(ExportMqtt, StatesKeepComingAfterTheDiscoveryBurstAtTheShortestPeriod) {
  // At 10 ms the first states leave while the configs' acknowledgements are
  // still coming in.
  auto running = exporter({"--interval", "10"});
  EXPECT_TRUE(waitFor([&] { return messages(kBase + "/state").size() >= 100; }, 10s))
      << messages(kBase + "/state").size() << " states\n" << running->err();
  EXPECT_EQ(0, running->stop(SIGTERM).exitCode);
}

TEST_F(ExportMqtt, CleanStopPublishesOfflineAndExits0) {
  auto running = exporter({"--no-discovery"});
  ASSERT_TRUE(waitFor([&] { return !messages(kBase + "/state").empty(); })) << running->err();
  EXPECT_EQ(0u, configCount());
  testsupport::ProcessResult result = running->stop(SIGTERM);
  EXPECT_EQ(0, result.exitCode) << result.err;
  EXPECT_EQ("offline", retainedMessage(port_, kBase + "/availability"));
}

TEST_F(ExportMqtt, BackWithDiscoveryAndStateAfterTheBrokerWasAway10s) {
  auto running = exporter();
  ASSERT_TRUE(waitFor([&] { return !messages(kBase + "/state").empty(); })) << running->err();
  subscriber_->stop(SIGTERM);
  broker_->stop(SIGTERM);
  std::this_thread::sleep_for(10s);
  EXPECT_TRUE(running->running());
  broker_ = startBroker(dir_, port_);
  ASSERT_NE(nullptr, broker_);
  auto started = std::chrono::steady_clock::now();
  subscriber_ = startSubscriber(port_, {"livedata/#", "homeassistant/#"});
  EXPECT_TRUE(waitFor([&] {
    return configCount() >= discoveryRowCount() && !messages(kBase + "/state").empty();
  }, 15s)) << running->err();
  EXPECT_LT(std::chrono::steady_clock::now() - started, 15s);
  EXPECT_EQ("online", retainedMessage(port_, kBase + "/availability"));
  EXPECT_EQ(0, running->stop(SIGTERM).exitCode);
}

TEST_F(ExportMqtt, StartedBeforeTheBrokerConnectsWithin15s) {
  subscriber_->stop(SIGTERM);
  broker_->stop(SIGTERM);
  std::string file = dir_.file("metrics.prom");
  auto running = exporter({"--prometheus", file});
  // The file is written every period while the broker is away.
  ASSERT_TRUE(waitFor([&] {
    return testsupport::readFileOrEmpty(file).find("meter_voltage_volts") != std::string::npos;
  }));
  std::this_thread::sleep_for(4s);
  broker_ = startBroker(dir_, port_);
  ASSERT_NE(nullptr, broker_);
  subscriber_ = startSubscriber(port_, {"livedata/#"});
  EXPECT_TRUE(waitFor([&] { return !messages(kBase + "/state").empty(); }, 15s))
      << running->err();
  EXPECT_EQ(0, running->stop(SIGTERM).exitCode);
  std::string log = running->err();
  EXPECT_NE(std::string::npos, log.find("cannot connect")) << log;
  EXPECT_NE(std::string::npos, log.find("connected to 127.0.0.1:")) << log;
}

// A broker that asks for a user and password: the password file's first line
// (its line end not included) is what the exporter sends.
TEST(ExportMqttPassword, FirstLineOfThePasswordFileIsSentAndAWrongOneIsRefused) {
  if (!LDX_WITH_MQTT) GTEST_SKIP() << "livedata_export built without libmosquitto";
  TempDir dir;
  std::string map = makeMap(dir);
  std::string brokerPasswords = dir.file("broker.passwd");
  ASSERT_EQ(0, testsupport::runProcess({"/usr/bin/mosquitto_passwd", "-b", "-c", brokerPasswords,
                                        "meter", "s3cret"})
                   .exitCode);
  int port = freePort();
  // Started as root, mosquitto would read the file as its own user: it stays root here.
  auto broker = startBroker(dir, port,
                            "allow_anonymous false\npassword_file " + brokerPasswords +
                                (geteuid() == 0 ? "\nuser root\n" : "\n"));
  ASSERT_NE(nullptr, broker);

  auto connectWith = [&](const std::string& fileText) {
    std::string file = dir.file("exporter.passwd");
    testsupport::writeFile(file, fileText);
    return startExporter(map, {"--mqtt", "127.0.0.1:" + std::to_string(port), "--mqtt-user",
                               "meter", "--mqtt-password-file", file, "--interval", "200"});
  };
  auto right = connectWith("s3cret\r\nnot the password\n");
  EXPECT_TRUE(waitFor([&] { return right->err().find("connected to 127.0.0.1:") !=
                                   std::string::npos; }, 15s))
      << right->err();
  EXPECT_EQ(0, right->stop(SIGTERM).exitCode);

  auto wrong = connectWith("s3cret2\n");
  EXPECT_TRUE(waitFor([&] { return wrong->err().find("refused the connection") !=
                                   std::string::npos; }, 15s))
      << wrong->err();
  EXPECT_EQ(std::string::npos, wrong->err().find("connected to")) << wrong->err();
  EXPECT_EQ(0, wrong->stop(SIGTERM).exitCode);
}

}  // namespace
