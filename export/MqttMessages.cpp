#include "export/MqttMessages.h"

namespace ldexport {

const char* const kExporterVersion = LDX_VERSION;

namespace {

constexpr const char* kModel = "Three-phase power-quality meter";

void appendField(const char* name, std::string_view value, TextBuffer* out) {
  out->append(",\"");
  out->append(name);
  out->append("\":\"");
  out->appendJsonString(value);
  out->append('"');
}

}  // namespace

std::string MeterIdentity::discoveryTopic(const ReadingRow& row) const {
  return discoveryPrefix + "/sensor/" + node + "/" + row.jsonName + "/config";
}

bool identityKnown(const Snapshot& snapshot) {
  return snapshot.factoryRecordValid || snapshot.designationPresent;
}

std::string reduceToNodeId(const std::string& text) {
  std::string node;
  bool gap = false;
  for (char c : text) {
    char lowered = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    bool keep = (lowered >= 'a' && lowered <= 'z') || (lowered >= '0' && lowered <= '9') ||
                lowered == '_' || lowered == '-';
    if (!keep) {
      gap = true;
      continue;
    }
    if (gap && !node.empty()) node += '_';
    gap = false;
    node += lowered;
  }
  while (!node.empty() && node.back() == '_') node.pop_back();
  size_t first = node.find_first_not_of('_');
  node = first == std::string::npos ? std::string() : node.substr(first);
  return node.empty() ? "meter" : node;
}

MeterIdentity meterIdentity(const Snapshot& snapshot, const std::string& topic,
                            const std::string& discoveryPrefix) {
  MeterIdentity identity;
  if (snapshot.designationPresent) identity.designation = snapshot.designation;
  if (snapshot.factoryRecordValid) identity.serial = snapshot.serial;
  identity.node = reduceToNodeId(identity.serial.empty() ? identity.designation : identity.serial);
  identity.baseTopic = topic.empty() ? "livedata/" + identity.node : topic;
  identity.discoveryPrefix = discoveryPrefix;
  return identity;
}

void formatState(const Snapshot& snapshot, TextBuffer* out) {
  out->clear();
  out->append("{\"time\":");
  out->appendMillisAsSeconds(snapshot.unixMillis);
  for (size_t row = 0; row < kReadingCount; ++row) {
    const ReadingRow& reading = kReadingTable[row];
    if (!snapshot.present[row] || reading.jsonName == nullptr) continue;
    out->append(",\"");
    out->append(reading.jsonName);
    out->append("\":");
    out->appendNumber(snapshot.value[row] * reading.jsonFactor);
  }
  out->append('}');
}

void formatDiscovery(const MeterIdentity& identity, const ReadingRow& row, TextBuffer* out) {
  std::string uniqueId = "livedata_" + identity.node + "_" + row.jsonName;
  out->clear();
  out->append("{\"name\":\"");
  out->appendJsonString(row.haName);
  out->append('"');
  appendField("unique_id", uniqueId, out);
  appendField("object_id", uniqueId, out);
  appendField("state_topic", identity.stateTopic(), out);
  appendField("value_template", std::string("{{ value_json.") + row.jsonName + " }}", out);
  appendField("availability_topic", identity.availabilityTopic(), out);
  if (row.haDeviceClass != nullptr) appendField("device_class", row.haDeviceClass, out);
  if (row.haUnit != nullptr) appendField("unit_of_measurement", row.haUnit, out);
  if (row.haStateClass != nullptr) appendField("state_class", row.haStateClass, out);
  out->append(",\"device\":{\"identifiers\":[\"livedata_");
  out->appendJsonString(identity.node);
  out->append("\"],\"name\":\"");
  out->appendJsonString(identity.designation.empty() ? identity.node : identity.designation);
  out->append('"');
  appendField("model", kModel, out);
  appendField("sw_version", kExporterVersion, out);
  if (!identity.serial.empty()) appendField("serial_number", identity.serial, out);
  out->append("},\"origin\":{\"name\":\"livedata_export\"");
  appendField("sw_version", kExporterVersion, out);
  out->append("}}");
}

}  // namespace ldexport
