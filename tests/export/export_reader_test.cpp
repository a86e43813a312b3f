// The exporter's datamap reader against real host maps, the atomic file
// replacement, and the heap allocations of a period.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "bench/HeapAllocationCounter.h"
#include "export/MqttMessages.h"
#include "export/PrometheusFile.h"
#include "export/PrometheusText.h"
#include "export/SnapshotReader.h"
#include "platform/common_api.h"
#include "platform/meter_blocks.h"
#include "tests/support/MapFixture.h"
#include "tests/support/TempDir.h"

namespace ldexport {
namespace {

using testsupport::MapFixture;

std::string catalog() {
  return testsupport::readFile(testsupport::sourcePath("data/meter.catalog"));
}

double valueOf(const Snapshot& snapshot, const char* key) {
  int row = readingIndex(key);
  EXPECT_GE(row, 0) << key;
  EXPECT_TRUE(snapshot.present[row]) << key;
  return snapshot.value[row];
}

bool presentIn(const Snapshot& snapshot, const char* key) {
  return snapshot.present[readingIndex(key)];
}

// A factory record with the serial text; the checksum is right unless broken.
void writeFactoryRecord(MapFixture* map, const char* serial, bool broken) {
  using namespace meter_blocks;
  unsigned char record[kFactoryRecordSize] = {};
  memcpy(record + (kFactorySerial - kFactoryRecord), serial, strlen(serial));
  memcpy(record + (kFactoryOem - kFactoryRecord), "OEM", 3);
  unsigned short crc = CRC16_down(0xFFFF, kFactoryChecksumLength, record + kFactoryRecordSize - 1);
  if (broken) crc ^= 1;
  record[0] = static_cast<unsigned char>(crc >> 8);
  record[1] = static_cast<unsigned char>(crc & 0xFF);
  map->writeBlock(kReadingsBlock, kFactoryRecord, record, sizeof record);
}

TEST(SnapshotReader, ReadsEveryRowTheDesignationHookupAndSerial) {
  MapFixture map(catalog());
  map.set("reading.1sec.volt.an", "230.25");
  map.set("reading.1sec.pf.b.string", "0.750 Lead");
  map.set("sys.enumeration.hookup", "3");
  map.set("dev.designation", "Feeder \"7\"");
  writeFactoryRecord(&map, "000000SIM1234567", false);
  SnapshotReader reader;
  Snapshot snapshot;
  reader.read(1700000000000, &snapshot);
  EXPECT_TRUE(snapshot.mapOpen);
  EXPECT_EQ(1u, snapshot.period);
  EXPECT_EQ(1700000000000, snapshot.unixMillis);
  EXPECT_EQ(230.25, valueOf(snapshot, "reading.1sec.volt.an"));
  EXPECT_EQ(-0.75, valueOf(snapshot, "reading.1sec.pf.b.string"));
  EXPECT_EQ(0.9, valueOf(snapshot, "reading.1sec.pf.a.string"));
  EXPECT_TRUE(snapshot.designationPresent);
  EXPECT_STREQ("Feeder \"7\"", snapshot.designation);
  EXPECT_TRUE(snapshot.hookupPresent);
  EXPECT_EQ(3u, snapshot.hookup);
  EXPECT_TRUE(snapshot.factoryRecordValid);
  EXPECT_STREQ("SIM1234567", snapshot.serial);
  // Flicker is not valid in the catalogue: Pst and Plt are left out.
  EXPECT_FALSE(presentIn(snapshot, "reading.flicker.pst.a"));
  EXPECT_FALSE(presentIn(snapshot, "reading.flicker.plt.c"));
  EXPECT_EQ(static_cast<int>(kReadingCount) - 6, snapshot.presentCount());
}

TEST(SnapshotReader, FlickerCountsWhileItsFlagSaysValid) {
  MapFixture map(catalog());
  map.set("reading.flicker.pst.b", "0.5");
  map.set("reading.valid.pst", "1");
  SnapshotReader reader;
  Snapshot snapshot;
  reader.read(0, &snapshot);
  EXPECT_EQ(0.5, valueOf(snapshot, "reading.flicker.pst.b"));
  EXPECT_FALSE(presentIn(snapshot, "reading.flicker.plt.b"));
  map.set("reading.valid.pst", "0");
  reader.read(0, &snapshot);
  EXPECT_FALSE(presentIn(snapshot, "reading.flicker.pst.b"));
}

TEST(SnapshotReader, BrokenFactoryRecordGivesNoSerial) {
  MapFixture map(catalog());
  writeFactoryRecord(&map, "SER42", true);
  SnapshotReader reader;
  Snapshot snapshot;
  reader.read(0, &snapshot);
  EXPECT_FALSE(snapshot.factoryRecordValid);
  EXPECT_STREQ("", snapshot.serial);
  writeFactoryRecord(&map, "SER42", false);
  reader.read(0, &snapshot);
  EXPECT_TRUE(snapshot.factoryRecordValid);
  EXPECT_STREQ("SER42", snapshot.serial);
}

TEST(SnapshotReader, MissingKeyLeavesItsFamilyOutAndTheRestIn) {
  MapFixture map(testsupport::catalogWithout(catalog(), {"reading.1sec.freq"}));
  SnapshotReader reader;
  Snapshot snapshot;
  reader.read(1000, &snapshot);
  EXPECT_FALSE(presentIn(snapshot, "reading.1sec.freq"));
  EXPECT_EQ(120, valueOf(snapshot, "reading.1sec.volt.an"));
  TextBuffer text(64 * 1024);
  formatPrometheusText(snapshot, &text);
  EXPECT_EQ(std::string::npos, text.view().find("meter_frequency_hertz"));
  EXPECT_NE(std::string::npos, text.view().find("meter_voltage_volts{phase=\"an\"} 120\n"));
}

TEST(SnapshotReader, TextWhereANumberIsExpectedAndNumberWhereTextIsAreAbsent) {
  std::string text = testsupport::catalogWithout(
      catalog(), {"reading.1sec.volt.bn", "reading.1sec.pf.c.string"});
  text += "reading.1sec.volt.bn string16 121.5\n";
  text += "reading.1sec.pf.c.string flt64 0.9\n";
  MapFixture map(text);
  SnapshotReader reader;
  Snapshot snapshot;
  reader.read(0, &snapshot);
  EXPECT_FALSE(presentIn(snapshot, "reading.1sec.volt.bn"));
  EXPECT_FALSE(presentIn(snapshot, "reading.1sec.pf.c.string"));
  EXPECT_TRUE(presentIn(snapshot, "reading.1sec.volt.an"));
}

TEST(SnapshotReader, FailedReadsAndNonFiniteValuesAreAbsentForThatPeriodOnly) {
  MapFixture map(catalog());
  SnapshotReader reader;
  Snapshot snapshot;
  map.fail("reading.1sec.current.a", -7);
  map.set("reading.1sec.current.b", "nan");
  map.set("reading.1sec.pf.a.string", "n/a");
  map.fail("dev.designation", -6);
  reader.read(0, &snapshot);
  EXPECT_FALSE(presentIn(snapshot, "reading.1sec.current.a"));
  EXPECT_FALSE(presentIn(snapshot, "reading.1sec.current.b"));
  EXPECT_FALSE(presentIn(snapshot, "reading.1sec.pf.a.string"));
  EXPECT_FALSE(snapshot.designationPresent);
  map.fail("reading.1sec.current.a", 0);
  map.set("reading.1sec.current.b", "4.5");
  reader.read(0, &snapshot);
  EXPECT_EQ(5, valueOf(snapshot, "reading.1sec.current.a"));
  EXPECT_EQ(4.5, valueOf(snapshot, "reading.1sec.current.b"));
}

TEST(SnapshotReader, NoMapYetThenAMapThenAReplacementWithTheMissingKey) {
  testsupport::TempDir dir;
  std::string path = dir.file("datamap");
  setenv("DATAMAP_FILE", path.c_str(), 1);
  SnapshotReader reader;
  Snapshot snapshot;
  reader.read(0, &snapshot);
  EXPECT_FALSE(snapshot.mapOpen);
  EXPECT_EQ(0, snapshot.presentCount());
  std::string error;
  ASSERT_TRUE(dmhost::HostDatamap::createFromCatalogText(
      path, testsupport::catalogWithout(catalog(), {"reading.1sec.volt.cn"}), "test", &error))
      << error;
  reader.read(0, &snapshot);
  EXPECT_TRUE(snapshot.mapOpen);
  EXPECT_FALSE(presentIn(snapshot, "reading.1sec.volt.cn"));
  EXPECT_TRUE(presentIn(snapshot, "reading.1sec.volt.an"));
  ASSERT_TRUE(dmhost::HostDatamap::createFromCatalogText(path, catalog(), "test", &error)) << error;
  // The platform follows the replacement; the key missing before is looked up again.
  bool found = testsupport::waitFor([&] {
    reader.read(0, &snapshot);
    return presentIn(snapshot, "reading.1sec.volt.cn");
  });
  EXPECT_TRUE(found);
  unsetenv("DATAMAP_FILE");
}

TEST(PrometheusFile, ReplacesWholeAndNeverWritesThroughALink) {
  testsupport::TempDir dir;
  std::string path = dir.file("metrics.prom");
  std::string victim = dir.file("victim");
  testsupport::writeFile(victim, "keep\n");
  ASSERT_EQ(0, symlink(victim.c_str(), path.c_str()));
  PrometheusFile file(path, stderr);
  Snapshot snapshot;
  ASSERT_TRUE(file.write(snapshot));
  EXPECT_EQ("keep\n", testsupport::readFile(victim));
  struct stat info;
  ASSERT_EQ(0, lstat(path.c_str(), &info));
  EXPECT_TRUE(S_ISREG(info.st_mode));
  EXPECT_EQ(0644u, info.st_mode & 0777);
  EXPECT_EQ(std::string(file.text().data(), file.text().size()), testsupport::readFile(path));
}

TEST(PrometheusFile, AFailureLeavesTheOldFile) {
  testsupport::TempDir dir;
  std::string directory = dir.file("adir");
  testsupport::makeDirs(directory + "/inside");
  PrometheusFile file(directory, stderr);
  Snapshot snapshot;
  EXPECT_FALSE(file.write(snapshot));
  struct stat info;
  ASSERT_EQ(0, lstat(directory.c_str(), &info));
  EXPECT_TRUE(S_ISDIR(info.st_mode));
  EXPECT_TRUE(testsupport::fileExists(directory + "/inside"));
}

TEST(ExportAllocations, NoHeapAllocationPerPeriodAfterTheFirst) {
  MapFixture map(testsupport::catalogWithout(catalog(), {"reading.1sec.freq"}));
  map.fail("reading.1sec.volt.an", -3);
  map.set("reading.valid.plt", "1");
  writeFactoryRecord(&map, "000000SIM7", false);
  testsupport::TempDir dir;
  FILE* log = fopen("/dev/null", "w");
  ASSERT_NE(nullptr, log);
  PrometheusFile file(dir.file("metrics.prom"), log);
  SnapshotReader reader;
  Snapshot snapshot;
  TextBuffer state(8192);
  auto period = [&](int64_t millis) {
    reader.read(millis, &snapshot);
    ASSERT_TRUE(file.write(snapshot));
    formatState(snapshot, &state);
  };
  period(1000);
  long long before = heap_allocation_count();
  for (int i = 0; i < 50; ++i) period(2000 + i);
  long long allocations = heap_allocation_count() - before;
  fclose(log);
  EXPECT_EQ(0, allocations);
  EXPECT_NE(std::string::npos, testsupport::readFile(dir.file("metrics.prom"))
                                   .find("meter_flicker_plt{phase=\"a\"} 0\n"));
}

}  // namespace
}  // namespace ldexport
