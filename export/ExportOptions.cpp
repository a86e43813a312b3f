#include "export/ExportOptions.h"

#include <charconv>
#include <string_view>

namespace ldexport {

namespace {

constexpr const char kUsage[] =
    "usage: livedata_export [--interval MS] [--prometheus FILE]\n"
    "                       [--mqtt HOST[:PORT] [--mqtt-user USER] [--mqtt-password-file FILE]\n"
    "                        [--mqtt-cafile FILE] [--topic BASE] [--discovery-prefix PREFIX]\n"
    "                        [--no-discovery]]\n"
    "                       [--modbus [HOST:]PORT [--modbus-unit N] [--modbus-max-clients N]]\n"
    "  --interval MS            reading period, 10..3600000 ms (1000)\n"
    "  --prometheus FILE        Prometheus text file, replaced atomically every period\n"
    "  --mqtt HOST[:PORT]       MQTT broker (port 1883, 8883 with --mqtt-cafile)\n"
    "  --mqtt-user USER         user name for the broker\n"
    "  --mqtt-password-file F   file whose first line is the broker password\n"
    "  --mqtt-cafile FILE       CA certificates: connect with TLS\n"
    "  --topic BASE             base topic (livedata/<serial number>)\n"
    "  --discovery-prefix P     Home Assistant discovery prefix (homeassistant)\n"
    "  --no-discovery           send no Home Assistant discovery configs\n"
    "  --modbus [HOST:]PORT     serve the SunSpec meter models over Modbus TCP (all addresses)\n"
    "  --modbus-unit N          the Modbus unit id, 1..247 (1)\n"
    "  --modbus-max-clients N   connections at once, 1..1024 (16); the longest idle goes\n"
    "  -h, --help               this text;  --version: the version\n"
    "The datamap is DATAMAP_FILE (default /dev/shm/datamap).\n";

base::Status optionError(std::string_view option, const std::string& what) {
  return base::Status::Error(std::string(option), what);
}

bool parseInt(std::string_view text, int low, int high, int* value) {
  int parsed = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
  if (error != std::errc() || end != text.data() + text.size()) return false;
  if (parsed < low || parsed > high) return false;
  *value = parsed;
  return true;
}

// A topic level text: not empty, no wildcards, no NUL, no leading or trailing '/'.
bool validTopic(const std::string& topic) {
  if (topic.empty() || topic.front() == '/' || topic.back() == '/') return false;
  return topic.find_first_of(std::string_view("+#\0", 3)) == std::string::npos;
}

// "host", "host:port", "[v6addr]" or "[v6addr]:port".
base::Status parseBroker(std::string_view text, ExportOptions* options, bool* portGiven) {
  std::string_view host = text;
  std::string_view port;
  if (!text.empty() && text.front() == '[') {
    size_t close = text.find(']');
    if (close == std::string_view::npos) return optionError("--mqtt", "unclosed '['");
    host = text.substr(1, close - 1);
    std::string_view rest = text.substr(close + 1);
    if (!rest.empty()) {
      if (rest.front() != ':') return optionError("--mqtt", "expected HOST[:PORT]");
      port = rest.substr(1);
      *portGiven = true;
    }
  } else {
    size_t colon = text.rfind(':');
    if (colon != std::string_view::npos) {
      if (text.find(':') != colon) return optionError("--mqtt", "an IPv6 address goes in [ ]");
      host = text.substr(0, colon);
      port = text.substr(colon + 1);
      *portGiven = true;
    }
  }
  if (host.empty()) return optionError("--mqtt", "no host given");
  if (*portGiven && !parseInt(port, 1, 65535, &options->mqttPort)) {
    return optionError("--mqtt", "bad port '" + std::string(port) + "'");
  }
  options->mqttHost = std::string(host);
  return base::Status::Ok();
}

// "PORT", "HOST:PORT" or "[v6addr]:PORT".
base::Status parseModbusListen(std::string_view text, ExportOptions* options) {
  std::string_view host;
  std::string_view port = text;
  if (!text.empty() && text.front() == '[') {
    const size_t close = text.find("]:");
    if (close == std::string_view::npos) return optionError("--modbus", "expected [ADDRESS]:PORT");
    host = text.substr(1, close - 1);
    port = text.substr(close + 2);
  } else if (const size_t colon = text.rfind(':'); colon != std::string_view::npos) {
    if (text.find(':') != colon) return optionError("--modbus", "an IPv6 address goes in [ ]");
    host = text.substr(0, colon);
    port = text.substr(colon + 1);
  }
  if (!parseInt(port, 0, 65535, &options->modbusPort)) {
    return optionError("--modbus", "bad port '" + std::string(port) + "'");
  }
  options->modbusHost = std::string(host);
  return base::Status::Ok();
}

// The options that take a value, as a table: each row's parser checks the
// value and stores it. portGiven tells whether --mqtt named a port.
using ValueParser = base::Status (*)(std::string_view option, const std::string& value,
                                     ExportOptions* options, bool* portGiven);

struct ValuedOption {
  const char* name;
  ValueParser parse;
};

base::Status parseRange(std::string_view option, const std::string& value, int low, int high,
                        const char* what, int* out) {
  if (parseInt(value, low, high, out)) return base::Status::Ok();
  return optionError(option, "'" + value + "' is not " + what);
}

base::Status parseTopic(std::string_view option, const std::string& value, std::string* out) {
  if (!validTopic(value)) return optionError(option, "bad topic '" + value + "'");
  *out = value;
  return base::Status::Ok();
}

const ValuedOption kValuedOptions[] = {
    {"--interval",
     [](std::string_view option, const std::string& value, ExportOptions* options, bool*) {
       return parseRange(option, value, 10, 3600000, "a number of ms in 10..3600000",
                         &options->intervalMs);
     }},
    {"--prometheus",
     [](std::string_view option, const std::string& value, ExportOptions* options, bool*) {
       if (value.empty()) return optionError(option, "empty path");
       options->prometheusFile = value;
       return base::Status::Ok();
     }},
    {"--mqtt", [](std::string_view, const std::string& value, ExportOptions* options,
                  bool* portGiven) { return parseBroker(value, options, portGiven); }},
    {"--mqtt-user",
     [](std::string_view, const std::string& value, ExportOptions* options, bool*) {
       options->mqttUser = value;
       return base::Status::Ok();
     }},
    {"--mqtt-password-file",
     [](std::string_view, const std::string& value, ExportOptions* options, bool*) {
       options->mqttPasswordFile = value;
       return base::Status::Ok();
     }},
    {"--mqtt-cafile",
     [](std::string_view, const std::string& value, ExportOptions* options, bool*) {
       options->mqttCaFile = value;
       return base::Status::Ok();
     }},
    {"--topic", [](std::string_view option, const std::string& value, ExportOptions* options,
                   bool*) { return parseTopic(option, value, &options->topic); }},
    {"--discovery-prefix",
     [](std::string_view option, const std::string& value, ExportOptions* options, bool*) {
       return parseTopic(option, value, &options->discoveryPrefix);
     }},
    {"--modbus", [](std::string_view, const std::string& value, ExportOptions* options,
                    bool*) { return parseModbusListen(value, options); }},
    {"--modbus-unit",
     [](std::string_view option, const std::string& value, ExportOptions* options, bool*) {
       return parseRange(option, value, 1, 247, "a unit id in 1..247", &options->modbusUnit);
     }},
    {"--modbus-max-clients",
     [](std::string_view option, const std::string& value, ExportOptions* options, bool*) {
       return parseRange(option, value, 1, 1024, "a number in 1..1024", &options->modbusMaxClients);
     }},
};

const ValuedOption* findValuedOption(std::string_view option) {
  for (const ValuedOption& row : kValuedOptions) {
    if (option == row.name) return &row;
  }
  return nullptr;
}

// What the options say together: MQTT details need a broker, and something
// must be published.
base::Status checkCombination(bool portGiven, ExportOptions* options) {
  if (!options->mqttCaFile.empty() && !portGiven) options->mqttPort = 8883;
  if (options->mqttHost.empty() &&
      (!options->mqttUser.empty() || !options->mqttPasswordFile.empty() ||
       !options->mqttCaFile.empty() || !options->topic.empty())) {
    return base::Status::Error("", "MQTT options given without --mqtt HOST[:PORT]");
  }
  if (options->prometheusFile.empty() && options->mqttHost.empty() && options->modbusPort < 0) {
    return base::Status::Error(
        "", "nothing to publish: give --prometheus FILE, --mqtt HOST and/or --modbus PORT");
  }
  return base::Status::Ok();
}

}  // namespace

const char* exportUsage() { return kUsage; }

base::Status parseExportOptions(int argc, char** argv, ExportOptions* options) {
  bool portGiven = false;
  for (int i = 1; i < argc; ++i) {
    std::string_view option = argv[i];
    if (option == "-h" || option == "--help") {
      options->help = true;
      return base::Status::Ok();
    }
    if (option == "--version") {
      options->version = true;
      return base::Status::Ok();
    }
    if (option == "--no-discovery") {
      options->discovery = false;
      continue;
    }
    const ValuedOption* row = findValuedOption(option);
    if (row == nullptr) {
      if (!option.empty() && option.front() == '-') return optionError(option, "unknown option");
      return optionError(option, "unexpected argument");
    }
    if (i + 1 >= argc) return optionError(option, "needs a value");
    base::Status status = row->parse(option, argv[++i], options, &portGiven);
    if (!status.ok()) return status;
  }
  return checkCombination(portGiven, options);
}

}  // namespace ldexport
