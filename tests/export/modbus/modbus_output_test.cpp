// From the exporter's snapshot to the register image: every source of the map
// is a row of the exporter's key table, and the snapshot's texts and hookup
// reach the common model and the model ids.
#include "export/modbus/ModbusOutput.h"

#include <string.h>

#include <gtest/gtest.h>

#include "export/ReadingTable.h"

namespace {

using modbus::Source;

modbus::ModbusServerOptions loopbackOptions() {
  modbus::ModbusServerOptions options;
  options.host = "127.0.0.1";
  options.port = 0;
  return options;
}

TEST(ModbusOutput, EverySourceIsARowOfTheKeyTable) {
  modbus::ModbusOutput output(loopbackOptions(), "1.0");
  for (size_t s = 1; s < modbus::kSourceCount; ++s) {
    const Source source = static_cast<Source>(s);
    const int row = output.rowOf(source);
    ASSERT_GE(row, 0) << modbus::sourceKey(source);
    EXPECT_STREQ(ldexport::kReadingTable[row].key, modbus::sourceKey(source));
  }
  // Power factors come as the table's signed ratios from the published texts.
  EXPECT_EQ(ldexport::kReadingTable[output.rowOf(Source::kPfTotal)].source,
            ldexport::Source::kPowerFactorText);
}

TEST(ModbusOutput, ReadingsFromASnapshot) {
  modbus::ModbusOutput output(loopbackOptions(), "1.0");
  ldexport::Snapshot snapshot;
  const int an = ldexport::readingIndex("reading.1sec.volt.an");
  const int pf = ldexport::readingIndex("reading.1sec.pf.total.string");
  snapshot.value[an] = 230.5;
  snapshot.present[an] = true;
  snapshot.value[pf] = -0.8;
  snapshot.present[pf] = true;
  snapshot.hookup = 2;
  snapshot.hookupPresent = true;
  snprintf(snapshot.designation, sizeof snapshot.designation, "Main feeder");
  snapshot.designationPresent = true;

  modbus::MeterReadings readings;
  output.readingsFrom(snapshot, &readings);
  EXPECT_TRUE(readings[Source::kVoltAN].present);
  EXPECT_EQ(readings[Source::kVoltAN].value, 230.5);
  EXPECT_FALSE(readings[Source::kVoltBN].present);
  EXPECT_EQ(readings[Source::kPfTotal].value, -0.8);
  EXPECT_EQ(readings.hookup, modbus::Hookup::kDelta2Ct);
  EXPECT_STREQ(readings.serial, "Main feeder");  // the record is not valid

  snprintf(snapshot.serial, sizeof snapshot.serial, "A12345");
  snapshot.factoryRecordValid = true;
  snapshot.hookupPresent = false;
  output.readingsFrom(snapshot, &readings);
  EXPECT_STREQ(readings.serial, "A12345");
  EXPECT_EQ(readings.hookup, modbus::Hookup::kUnknown);

  snapshot.factoryRecordValid = false;
  snapshot.designationPresent = false;
  output.readingsFrom(snapshot, &readings);
  EXPECT_STREQ(readings.serial, "");
}

}  // namespace
