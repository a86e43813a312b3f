// livedata_export: publishes the meter's readings from the datamap to the
// monitoring systems people run: a Prometheus text file, MQTT with Home
// Assistant discovery and Modbus TCP with the SunSpec meter models. See
// docs/export.md.
#include <stdio.h>
#include <sys/stat.h>

#include <memory>

#include "export/ExportOptions.h"
#include "export/MqttOutput.h"
#include "export/PrometheusFile.h"
#include "export/ReadingLoop.h"
#include "export/modbus/ModbusOutput.h"

namespace {

constexpr int kExitUsage = 2;

// One line when the datamap comes or goes, never one per period.
class MapStateLog {
 public:
  void update(bool open) {
    if (known_ && open == open_) return;
    if (open) {
      fprintf(stderr, "livedata_export: datamap open\n");
    } else {
      fprintf(stderr, "livedata_export: datamap not available yet; trying every period\n");
    }
    known_ = true;
    open_ = open;
  }

 private:
  bool known_ = false;
  bool open_ = false;
};

// Parses the command line: -1 to go on, else the exit status (help, version
// or a bad option, with its line printed).
int readCommandLine(int argc, char** argv, ldexport::ExportOptions* options) {
  base::Status parsed = ldexport::parseExportOptions(argc, argv, options);
  if (!parsed.ok()) {
    fprintf(stderr, "livedata_export: %s\n%s", parsed.message().c_str(), ldexport::exportUsage());
    return kExitUsage;
  }
  if (options->help) {
    fputs(ldexport::exportUsage(), stdout);
    return 0;
  }
  if (options->version) {
    printf("livedata_export %s\n", ldexport::kExporterVersion);
    return 0;
  }
  return -1;
}

// Opens the Modbus port when --modbus asks for it; false (its line printed)
// when the port cannot be opened.
bool startModbus(const ldexport::ExportOptions& options,
                 std::unique_ptr<modbus::ModbusOutput>* output) {
  if (options.modbusPort < 0) return true;
  modbus::ModbusServerOptions serverOptions;
  serverOptions.host = options.modbusHost;
  serverOptions.port = static_cast<uint16_t>(options.modbusPort);
  serverOptions.unit = static_cast<uint8_t>(options.modbusUnit);
  serverOptions.maxClients = options.modbusMaxClients;
  auto started = std::make_unique<modbus::ModbusOutput>(serverOptions, ldexport::kExporterVersion);
  base::Status status = started->start();
  if (!status.ok()) {
    fprintf(stderr, "livedata_export: modbus: %s\n", status.message().c_str());
    return false;
  }
  fprintf(stderr, "livedata_export: modbus: serving unit %d on %s:%u\n", options.modbusUnit,
          options.modbusHost.empty() ? "*" : options.modbusHost.c_str(), started->port());
  *output = std::move(started);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  umask(022);
  setvbuf(stderr, nullptr, _IOLBF, 0);
  ldexport::ExportOptions options;
  const int exitStatus = readCommandLine(argc, argv, &options);
  if (exitStatus >= 0) return exitStatus;

  std::unique_ptr<ldexport::MqttOutput> mqtt;
  if (!options.mqttHost.empty()) {
    mqtt = std::make_unique<ldexport::MqttOutput>(options, stderr);
    base::Status status = mqtt->prepare();
    if (!status.ok()) {
      fprintf(stderr, "livedata_export: %s\n", status.message().c_str());
      return kExitUsage;
    }
  }
  // Before any thread starts: every thread inherits the blocked stop signals.
  ldexport::blockStopSignals();

  ldexport::ReadingLoop loop(options.intervalMs);
  MapStateLog mapState;
  loop.addOutput(
      [&mapState](const ldexport::Snapshot& snapshot) { mapState.update(snapshot.mapOpen); });
  // MQTT first: it only queues the state, while the file waits for its fsync.
  if (mqtt) {
    loop.addOutput([&mqtt](const ldexport::Snapshot& snapshot) { mqtt->publish(snapshot); });
  }
  std::unique_ptr<ldexport::PrometheusFile> prometheus;
  if (!options.prometheusFile.empty()) {
    prometheus = std::make_unique<ldexport::PrometheusFile>(options.prometheusFile, stderr);
    loop.addOutput(
        [&prometheus](const ldexport::Snapshot& snapshot) { prometheus->write(snapshot); });
  }
  std::unique_ptr<modbus::ModbusOutput> modbusOutput;
  if (!startModbus(options, &modbusOutput)) {
    if (mqtt) mqtt->stop();
    return 1;
  }
  if (modbusOutput) {
    loop.addOutput(
        [&modbusOutput](const ldexport::Snapshot& snapshot) { modbusOutput->publish(snapshot); });
  }
  fprintf(stderr, "livedata_export: running, every %d ms\n", options.intervalMs);
  int signal = loop.run();
  if (modbusOutput) modbusOutput->stop();
  if (mqtt) mqtt->stop();
  fprintf(stderr, "livedata_export: stopped (signal %d)\n", signal);
  return 0;
}
