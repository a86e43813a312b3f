// Golden tests of "meter_factory_setting.json", written by the energy updater's
// cycle from the factory record of the shared_meter_readings block.
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "livedata/Globals.h"
#include "livedata/JsonDirectory.h"
#include "platform/common_api.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"
#include "tests/updaters/energy_test_data.h"
#include "updaters/EnergyUpdate.h"
#include "updaters/FactorySettingsFile.h"

namespace {

using testsupport::MapFixture;
using testsupport::StreamCapture;
using testsupport::TempDir;
using testsupport::readFile;

const char kGoodHead[] =
    "{\n"
    "\"version\":{\t\"major\":0,\t\"minor\":1,\t\"micro\":6},\n"
    "\"_status\":\"good\",\n";

const char kInvalid[] =
    "{\n"
    "\"version\":{\t\"major\":0,\t\"minor\":1,\t\"micro\":0},\n"
    "\"_status\":\"invalid, checksum not match\",\n"
    "\"serial_number\":null,\"oem_string\":null\n"
    "}\n";

std::string good(const std::string& serial, const std::string& oem) {
  return std::string(kGoodHead) + "\"serial_number\":\"" + serial + "\",\n\"oem_string\":\"" +
         oem + "\"\n}\n";
}

TEST(FactoryChecksum, TestCrcMatchesTheKnownCheckValue) {
  const unsigned char digits[] = "987654321";
  EXPECT_EQ(0x4B37, energy_test::crcDownwards(digits + 8, 9));
  EXPECT_EQ(0x4B37, CRC16_down(0xFFFF, 9, digits + 8));
}

class FactorySettingsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("WEB_ROOT", dir_.path().c_str(), 1);
    testsupport::makeDirs(jsonDir_);
    map_ = std::make_unique<MapFixture>(energy_test::catalog());
    updater_ = std::make_unique<EnergyUpdate>();
    updater_->setJsonFile((jsonDir_ + "/energy_data.json").c_str());
    StreamCapture err(2);
    updater_->init();
  }
  void TearDown() override {
    updater_.reset();
    map_.reset();
    unsetenv("WEB_ROOT");
  }

  std::string cycle() {
    StreamCapture err(2);
    updater_->getData();
    updater_->displayData();
    return readFile(path_);
  }

  TempDir dir_;
  // The JSON directory without its trailing '/'.
  std::string jsonDir_ = dir_.path() + std::string(kJsonDirectory, sizeof kJsonDirectory - 2);
  std::string path_ = jsonDir_ + "/meter_factory_setting.json";
  std::unique_ptr<MapFixture> map_;
  std::unique_ptr<EnergyUpdate> updater_;
};

TEST_F(FactorySettingsTest, PathsFollowTheWebRoot) {
  EXPECT_EQ(path_, std::string(sys_config_jsonfile));
  EXPECT_EQ(jsonDir_, std::string(sys_config_jsonfile_dir));
}

TEST_F(FactorySettingsTest, SixLeadingZerosAreDropped) {
  energy_test::writeFactoryRecord(*map_, energy_test::factoryRecord("0000001234567890", "ACME"));
  EXPECT_EQ(good("1234567890", "ACME"), cycle());
}

TEST_F(FactorySettingsTest, ShortSerialAfterZerosEndsAtItsNul) {
  energy_test::writeFactoryRecord(*map_, energy_test::factoryRecord("00000012", "OEM"));
  EXPECT_EQ(good("12", "OEM"), cycle());
}

TEST_F(FactorySettingsTest, SerialWithoutSixZerosIsPublishedWhole) {
  energy_test::writeFactoryRecord(*map_, energy_test::factoryRecord("00000A12", "x"));
  EXPECT_EQ(good("00000A12", "x"), cycle());
}

TEST_F(FactorySettingsTest, FullSixteenByteFieldsAreCutAfterSixteen) {
  // Every other byte of the record is non-zero, so nothing ends the fields early.
  energy_test::writeFactoryRecord(
      *map_, energy_test::factoryRecord("SN-0123456789ABC", "OEM-Name-16chars", 'Z'));
  EXPECT_EQ(good("SN-0123456789ABC", "OEM-Name-16chars"), cycle());
  energy_test::writeFactoryRecord(
      *map_, energy_test::factoryRecord("000000ABCDEFGHIJ", "0123456789abcdef", 'Z'));
  EXPECT_EQ(good("ABCDEFGHIJ", "0123456789abcdef"), cycle());
}

TEST_F(FactorySettingsTest, TextsAreNotEscaped) {
  energy_test::writeFactoryRecord(*map_, energy_test::factoryRecord("A\"B\\C", "x/y"));
  EXPECT_EQ(good("A\"B\\C", "x/y"), cycle());
}

TEST_F(FactorySettingsTest, ChecksumMismatchGivesTheInvalidDocument) {
  energy_test::writeFactoryRecord(*map_,
                                  energy_test::factoryRecord("0000001234567890", "ACME", 0, 1));
  EXPECT_EQ(kInvalid, cycle());
  energy_test::writeFactoryRecord(*map_,
                                  energy_test::factoryRecord("0000001234567890", "ACME", 0, 0x100));
  EXPECT_EQ(kInvalid, cycle());
  // A zero-filled record does not match its checksum either.
  std::vector<unsigned char> zeros(512, 0);
  energy_test::writeFactoryRecord(*map_, zeros);
  EXPECT_EQ(kInvalid, cycle());
}

TEST_F(FactorySettingsTest, ChecksumIsReadBigEndian) {
  std::vector<unsigned char> record = energy_test::factoryRecord("0000009876543210", "B");
  if (record[0] != record[1]) {
    std::swap(record[0], record[1]);
    energy_test::writeFactoryRecord(*map_, record);
    EXPECT_EQ(kInvalid, cycle());
    std::swap(record[0], record[1]);
  }
  energy_test::writeFactoryRecord(*map_, record);
  EXPECT_EQ(good("9876543210", "B"), cycle());
}

TEST_F(FactorySettingsTest, FileTakesMode0774AndTheDirectorysOwner) {
  ASSERT_EQ(0, chown(jsonDir_.c_str(), 1234, 5678));
  energy_test::writeFactoryRecord(*map_, energy_test::factoryRecord("0000001234567890", "ACME"));
  cycle();
  struct stat info;
  ASSERT_EQ(0, stat(path_.c_str(), &info));
  EXPECT_EQ(0774u, info.st_mode & 07777);
  EXPECT_EQ(1234u, info.st_uid);
  EXPECT_EQ(5678u, info.st_gid);
}

TEST_F(FactorySettingsTest, WrittenEvenWhenTheEnergyDocumentIsSkipped) {
  updater_->setJsonFile(dir_.file("missing/energy_data.json").c_str());
  energy_test::writeFactoryRecord(*map_, energy_test::factoryRecord("0000001234567890", "ACME"));
  EXPECT_EQ(good("1234567890", "ACME"), cycle());
}

TEST_F(FactorySettingsTest, MissingDirectorySkipsSilentlyThenWrites) {
  testsupport::removeTree(jsonDir_);
  energy_test::writeFactoryRecord(*map_, energy_test::factoryRecord("0000001234567890", "ACME"));
  {
    StreamCapture err(2);
    updater_->getData();
    updater_->displayData();
    EXPECT_EQ(
        "dm_read_flt64 error on key \"core.interval.demand.va.total.total\" with error code= -3\n",
        err.finish());
  }
  EXPECT_FALSE(testsupport::fileExists(path_));
  testsupport::makeDirs(jsonDir_);
  EXPECT_EQ(good("1234567890", "ACME"), cycle());
}

TEST_F(FactorySettingsTest, RewrittenEveryCycle) {
  energy_test::writeFactoryRecord(*map_, energy_test::factoryRecord("0000001234567890", "ACME"));
  EXPECT_EQ(good("1234567890", "ACME"), cycle());
  testsupport::writeFile(path_, "stale");
  EXPECT_EQ(good("1234567890", "ACME"), cycle());
  energy_test::writeFactoryRecord(*map_, energy_test::factoryRecord("SERIAL", "OEM2"));
  EXPECT_EQ(good("SERIAL", "OEM2"), cycle());
}

TEST_F(FactorySettingsTest, LongerOldTextIsReplacedByANewFile) {
  testsupport::writeFile(path_, std::string(1000, 'x'));
  struct stat before;
  ASSERT_EQ(0, stat(path_.c_str(), &before));
  energy_test::writeFactoryRecord(*map_, energy_test::factoryRecord("0000001234567890", "ACME"));
  EXPECT_EQ(good("1234567890", "ACME"), cycle());
  struct stat after;
  ASSERT_EQ(0, stat(path_.c_str(), &after));
  // Renamed over the old one, never rewritten in place.
  EXPECT_NE(before.st_ino, after.st_ino);
  EXPECT_EQ(0774u, after.st_mode & 07777);
}

TEST_F(FactorySettingsTest, FifoAtThePathIsSkippedWithoutBlocking) {
  ASSERT_EQ(0, mkfifo(path_.c_str(), 0644));
  int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  energy_test::writeFactoryRecord(*map_, energy_test::factoryRecord("0000001234567890", "ACME"));
  StreamCapture err(2);
  updater_->getData();
  updater_->displayData();
  err.finish();
  char byte;
  EXPECT_GE(0, read(reader, &byte, 1)) << "the document was written into the FIFO";
  close(reader);
  struct stat info;
  ASSERT_EQ(0, lstat(path_.c_str(), &info));
  EXPECT_TRUE(S_ISFIFO(info.st_mode));
}

}  // namespace
