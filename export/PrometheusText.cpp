#include "export/PrometheusText.h"

#include <string.h>

namespace ldexport {

namespace {

void appendHeader(const MetricFamily& family, TextBuffer* out) {
  out->append("# HELP ");
  out->append(family.name);
  out->append(' ');
  out->append(family.help);
  out->append("\n# TYPE ");
  out->append(family.name);
  out->append(' ');
  out->append(family.type);
  out->append('\n');
}

bool familyHasSample(const Snapshot& snapshot, const char* family) {
  for (size_t row = 0; row < kReadingCount; ++row) {
    const char* name = kReadingTable[row].family;
    if (snapshot.present[row] && name != nullptr && strcmp(name, family) == 0) return true;
  }
  return false;
}

void appendSample(const ReadingRow& row, double value, TextBuffer* out) {
  out->append(row.family);
  if (row.labelName != nullptr) {
    out->append('{');
    out->append(row.labelName);
    out->append("=\"");
    out->appendLabelValue(row.labelValue);
    out->append("\"}");
  }
  out->append(' ');
  out->appendNumber(value * row.metricFactor);
  out->append('\n');
}

void appendFamily(const Snapshot& snapshot, const MetricFamily& family, TextBuffer* out) {
  if (!familyHasSample(snapshot, family.name)) return;
  appendHeader(family, out);
  for (size_t row = 0; row < kReadingCount; ++row) {
    const ReadingRow& reading = kReadingTable[row];
    if (!snapshot.present[row] || reading.family == nullptr) continue;
    if (strcmp(reading.family, family.name) != 0) continue;
    appendSample(reading, snapshot.value[row], out);
  }
}

void appendInfo(const Snapshot& snapshot, TextBuffer* out) {
  if (!snapshot.designationPresent && !snapshot.factoryRecordValid && !snapshot.hookupPresent) {
    return;
  }
  appendHeader(kInfoFamily, out);
  out->append(kInfoFamily.name);
  out->append("{designation=\"");
  if (snapshot.designationPresent) out->appendLabelValue(snapshot.designation);
  out->append("\",serial=\"");
  if (snapshot.factoryRecordValid) out->appendLabelValue(snapshot.serial);
  out->append("\",hookup=\"");
  if (snapshot.hookupPresent) out->appendLabelValue(hookupName(snapshot.hookup));
  out->append("\"} 1\n");
}

void appendLastUpdate(const Snapshot& snapshot, TextBuffer* out) {
  if (snapshot.presentCount() == 0) return;
  appendHeader(kLastUpdateFamily, out);
  out->append(kLastUpdateFamily.name);
  out->append(' ');
  out->appendMillisAsSeconds(snapshot.unixMillis);
  out->append('\n');
}

}  // namespace

void formatPrometheusText(const Snapshot& snapshot, TextBuffer* out) {
  out->clear();
  for (const MetricFamily& family : kMetricFamilies) appendFamily(snapshot, family, out);
  appendInfo(snapshot, out);
  appendLastUpdate(snapshot, out);
}

}  // namespace ldexport
