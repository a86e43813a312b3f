// The command line of livedata_export.
//
//   livedata_export [--interval MS] [--prometheus FILE]
//                   [--mqtt HOST[:PORT] [--mqtt-user USER] [--mqtt-password-file FILE]
//                    [--mqtt-cafile FILE] [--topic BASE] [--discovery-prefix PREFIX]
//                    [--no-discovery]]
//                   [--modbus [HOST:]PORT [--modbus-unit N] [--modbus-max-clients N]]
//
// Thread-safety: plain values; parsing is for the start-up thread.
#ifndef EXPORT_EXPORTOPTIONS_H_
#define EXPORT_EXPORTOPTIONS_H_

#include <string>

#include "base/Status.h"

namespace ldexport {

struct ExportOptions {
  int intervalMs = 1000;       // 10..3600000
  std::string prometheusFile;  // empty: no Prometheus file

  std::string mqttHost;  // empty: no MQTT
  int mqttPort = 1883;   // 8883 by default when a CA file is given
  std::string mqttUser;
  std::string mqttPasswordFile;
  std::string mqttCaFile;
  std::string topic;  // empty: livedata/<node>
  std::string discoveryPrefix = "homeassistant";
  bool discovery = true;

  int modbusPort = -1;     // -1: no Modbus; 0: any free port
  std::string modbusHost;  // empty: every address
  int modbusUnit = 1;      // 1..247
  int modbusMaxClients = 16;

  bool help = false;
  bool version = false;
};

// Parses argv[1..argc-1] into *options. A bad option or value, or no output
// asked for, is an error whose message is the one line to show.
base::Status parseExportOptions(int argc, char** argv, ExportOptions* options);

// The usage text, several lines, ending in a newline.
const char* exportUsage();

}  // namespace ldexport

#endif  // EXPORT_EXPORTOPTIONS_H_
