// MqttOutput for builds without libmosquitto (the PowerPC cross build until
// its dependencies carry the library): --mqtt is refused at start with one line.
#include "export/MqttOutput.h"

namespace ldexport {

MqttOutput::MqttOutput(const ExportOptions& options, FILE* log)
    : options_(options), log_(log), state_(1), discovery_(1) {}

MqttOutput::~MqttOutput() = default;

base::Status MqttOutput::prepare() {
  return base::Status::Error("--mqtt",
                             "this build of livedata_export has no MQTT output "
                             "(built without libmosquitto)");
}

void MqttOutput::publish(const Snapshot&) {}

void MqttOutput::stop() {}

}  // namespace ldexport
