// The texts livedata_export sends over MQTT, apart from the connection: the
// meter's identity and topics, the per-period state and the Home Assistant
// discovery configs.
//
// State (<base>/state, every period):
//   {"time":1764060000.125,"voltage_an":120.1,...}
// one field per kReadingTable row with a jsonName that is present in the
// period (absent readings are left out), numbers in the rows' jsonFactor
// units (base units; energy in kWh).
//
// Discovery (<prefix>/sensor/<node>/<jsonName>/config, one per row with a
// jsonName): name, unique_id, object_id, state_topic, value_template
// "{{ value_json.NAME }}", availability_topic, device_class,
// unit_of_measurement, state_class, device (identifiers, name, model,
// sw_version, serial_number), origin.
//
// Thread-safety: the functions are pure; a MeterIdentity is a value.
#ifndef EXPORT_MQTTMESSAGES_H_
#define EXPORT_MQTTMESSAGES_H_

#include <string>

#include "export/ReadingTable.h"
#include "export/Snapshot.h"
#include "export/TextBuffer.h"

namespace ldexport {

// The exporter's version, as sent in discovery and printed by --version.
extern const char* const kExporterVersion;

struct MeterIdentity {
  std::string node;         // [a-z0-9_-]+: from the serial number, else the designation
  std::string designation;  // as read (the device's name in Home Assistant)
  std::string serial;       // empty when the factory record is not valid
  std::string baseTopic;    // --topic, or livedata/<node>
  std::string discoveryPrefix;

  std::string stateTopic() const { return baseTopic + "/state"; }
  std::string availabilityTopic() const { return baseTopic + "/availability"; }
  std::string statusTopic() const { return discoveryPrefix + "/status"; }
  std::string discoveryTopic(const ReadingRow& row) const;
};

// True when snapshot carries enough to name the meter (a valid factory record
// or a designation).
bool identityKnown(const Snapshot& snapshot);

// text lowered and reduced to [a-z0-9_-]: every run of other bytes becomes one
// '_', leading and trailing '_' dropped; "meter" when nothing is left.
std::string reduceToNodeId(const std::string& text);

// The identity of the meter in snapshot (identityKnown must hold). topic empty:
// livedata/<node>.
MeterIdentity meterIdentity(const Snapshot& snapshot, const std::string& topic,
                            const std::string& discoveryPrefix);

// The state message of snapshot into out (cleared first). Allocates nothing.
void formatState(const Snapshot& snapshot, TextBuffer* out);

// The discovery config of row into out (cleared first).
void formatDiscovery(const MeterIdentity& identity, const ReadingRow& row, TextBuffer* out);

}  // namespace ldexport

#endif  // EXPORT_MQTTMESSAGES_H_
