#include "export/modbus/ModbusOutput.h"

#include <stdio.h>

#include "export/ReadingTable.h"

namespace modbus {

ModbusOutput::ModbusOutput(const ModbusServerOptions& options, const char* version)
    : encoder_(options.unit, version), server_(&images_, options) {
  for (size_t s = 0; s < kSourceCount; ++s) {
    rowOf_[s] = s == 0 ? -1 : ldexport::readingIndex(sourceKey(static_cast<Source>(s)));
  }
}

void ModbusOutput::readingsFrom(const ldexport::Snapshot& snapshot, MeterReadings* readings) const {
  for (size_t s = 0; s < kSourceCount; ++s) {
    const int row = rowOf_[s];
    readings->values[s] =
        row >= 0 && snapshot.present[row] ? Reading{snapshot.value[row], true} : Reading{};
  }
  readings->hookup = snapshot.hookupPresent ? hookupFromCode(snapshot.hookup) : Hookup::kUnknown;
  const char* serial = snapshot.factoryRecordValid   ? snapshot.serial
                       : snapshot.designationPresent ? snapshot.designation
                                                     : "";
  snprintf(readings->serial, sizeof readings->serial, "%s", serial);
}

void ModbusOutput::publish(const ldexport::Snapshot& snapshot) {
  readingsFrom(snapshot, &readings_);
  encoder_.encode(readings_, images_.back());
  images_.publish();
}

}  // namespace modbus
