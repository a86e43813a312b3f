// Damaged, truncated, foreign and empty map files are refused with -1 and never
// crash; hash lookups find every key of a large map.
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "hoststore/HostDatamap.h"
#include "hoststore/MapFormat.h"
#include "platform/datamap.h"
#include "tests/support/StatusAssertions.h"
#include "tests/support/TempDir.h"

namespace {

using dmhost::MapHeader;
using dmhost::MapRecord;

class MapValidationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = dir_.file("datamap");
    setenv("DATAMAP_FILE", path_.c_str(), 1);
    ASSERT_TRUE(testsupport::IsOk(dmhost::HostDatamap::createFromCatalogText(
        path_, "a flt64 1\nb uint16 2\nc string16 three\n", "catalog")));
    good_ = testsupport::readFile(path_);
  }
  void TearDown() override { unsetenv("DATAMAP_FILE"); }

  // Writes bytes as the map and tries to open it.
  int openWith(const std::string& bytes) {
    testsupport::writeFile(path_, bytes);
    DM_SYS_DATA_BLOK_USER dm = {nullptr};
    int status = dm_open_map(&dm);
    if (status == 0) dm_close_map(&dm);
    else EXPECT_EQ(nullptr, dm.impl);
    return status;
  }
  std::string patched(size_t offset, const void* data, size_t length) {
    std::string bytes = good_;
    memcpy(&bytes[offset], data, length);
    return bytes;
  }
  size_t recordOffset(uint32_t index) const { return sizeof(MapHeader) + index * sizeof(MapRecord); }

  testsupport::TempDir dir_;
  std::string path_;
  std::string good_;
};

TEST_F(MapValidationTest, GoodFileOpens) { EXPECT_EQ(0, openWith(good_)); }

TEST_F(MapValidationTest, MissingEmptyAndDirectory) {
  unlink(path_.c_str());
  DM_SYS_DATA_BLOK_USER dm = {nullptr};
  EXPECT_EQ(DM_ERR_MAP, dm_open_map(&dm));
  EXPECT_EQ(DM_ERR_MAP, openWith(""));
  setenv("DATAMAP_FILE", dir_.path().c_str(), 1);
  EXPECT_EQ(DM_ERR_MAP, dm_open_map(&dm));
  EXPECT_EQ(nullptr, dm.impl);
}

TEST_F(MapValidationTest, TruncatedFiles) {
  const size_t lengths[] = {1, 63, 64, 100, good_.size() / 2, good_.size() - 1};
  for (size_t length : lengths) EXPECT_EQ(DM_ERR_MAP, openWith(good_.substr(0, length))) << length;
}

TEST_F(MapValidationTest, ForeignFiles) {
  EXPECT_EQ(DM_ERR_MAP, openWith(std::string(good_.size(), 'x')));
  EXPECT_EQ(DM_ERR_MAP, openWith(std::string(good_.size(), '\0')));
  EXPECT_EQ(DM_ERR_MAP, openWith("KEY flt64 1\n"));
}

TEST_F(MapValidationTest, DamagedHeaderFields) {
  MapHeader header;
  memcpy(&header, good_.data(), sizeof(header));
  auto withHeader = [&](const MapHeader& h) { return patched(0, &h, sizeof(h)); };
  MapHeader h = header;
  h.formatVersion = 2;
  EXPECT_EQ(DM_ERR_MAP, openWith(withHeader(h)));
  h = header;
  h.byteOrder = 0x04030201u;  // made on a machine of the other byte order
  EXPECT_EQ(DM_ERR_MAP, openWith(withHeader(h)));
  h = header;
  h.keyCount = 1000;
  EXPECT_EQ(DM_ERR_MAP, openWith(withHeader(h)));
  h = header;
  h.keyCount = 0xFFFFFFFFu;
  EXPECT_EQ(DM_ERR_MAP, openWith(withHeader(h)));
  h = header;
  h.hashOffset += 4;
  EXPECT_EQ(DM_ERR_MAP, openWith(withHeader(h)));
  h = header;
  h.totalSize *= 2;
  EXPECT_EQ(DM_ERR_MAP, openWith(withHeader(h)));
  h = header;
  h.magic[0] = 'X';
  EXPECT_EQ(DM_ERR_MAP, openWith(withHeader(h)));
}

TEST_F(MapValidationTest, DamagedRecords) {
  uint32_t badSize = 3;
  EXPECT_EQ(DM_ERR_MAP, openWith(patched(recordOffset(1) + offsetof(MapRecord, size), &badSize, 4)));
  uint32_t badType = 300;
  EXPECT_EQ(DM_ERR_MAP, openWith(patched(recordOffset(0) + offsetof(MapRecord, type), &badType, 4)));
  std::string unterminated(dmhost::kKeyCapacity, 'k');
  EXPECT_EQ(DM_ERR_MAP, openWith(patched(recordOffset(2) + offsetof(MapRecord, key),
                                         unterminated.data(), unterminated.size())));
  char empty = '\0';
  EXPECT_EQ(DM_ERR_MAP, openWith(patched(recordOffset(2) + offsetof(MapRecord, key), &empty, 1)));
}

TEST_F(MapValidationTest, DamagedHashEntriesAreIgnored) {
  MapHeader header;
  memcpy(&header, good_.data(), sizeof(header));
  std::string bytes = good_;
  uint32_t* slots = reinterpret_cast<uint32_t*>(&bytes[header.hashOffset]);
  for (uint32_t i = 0; i < header.hashSlots; ++i) {
    if (slots[i] == 0) slots[i] = 0x7FFFFFFF;  // fill every empty slot with garbage
  }
  testsupport::writeFile(path_, bytes);
  DM_SYS_DATA_BLOK_USER dm = {nullptr};
  ASSERT_EQ(0, dm_open_map(&dm));
  unsigned int index = 9, size = 0, type = 0;
  EXPECT_EQ(0, dm_get_info(&dm, "b", &index, &size, &type));
  EXPECT_EQ(1u, index);
  EXPECT_EQ(DM_ERR_NO_KEY, dm_get_info(&dm, "absent", &index, &size, &type));  // bounded probe
  dm_close_map(&dm);
}

TEST_F(MapValidationTest, ManyKeysAllFoundByHash) {
  const int kKeys = 5000;
  std::string catalog;
  for (int i = 0; i < kKeys; ++i) {
    catalog += "reading.many." + std::to_string(i) + " uint32 " + std::to_string(i * 3) + "\n";
  }
  ASSERT_TRUE(
      testsupport::IsOk(dmhost::HostDatamap::createFromCatalogText(path_, catalog, "many")));
  DM_SYS_DATA_BLOK_USER dm = {nullptr};
  ASSERT_EQ(0, dm_open_map(&dm));
  for (int i = 0; i < kKeys; ++i) {
    std::string key = "reading.many." + std::to_string(i);
    unsigned int index = 0, size = 0, type = 0;
    ASSERT_EQ(0, dm_get_info(&dm, key.c_str(), &index, &size, &type)) << key;
    ASSERT_EQ(static_cast<unsigned int>(i), index);
    unsigned int value = 0;
    ASSERT_EQ(0, dm_read_uint32(&dm, index, &value, 0, nullptr));
    ASSERT_EQ(static_cast<unsigned int>(i * 3), value);
  }
  unsigned int index = 0, size = 0, type = 0;
  EXPECT_EQ(DM_ERR_NO_KEY, dm_get_info(&dm, "reading.many.5000", &index, &size, &type));
  dm_close_map(&dm);
}

TEST_F(MapValidationTest, EmptyCatalogMakesAMapWithBlocksOnly) {
  ASSERT_TRUE(
      testsupport::IsOk(dmhost::HostDatamap::createFromCatalogText(path_, "# nothing\n", "c")));
  DM_SYS_DATA_BLOK_USER dm = {nullptr};
  ASSERT_EQ(0, dm_open_map(&dm));
  unsigned int index = 0, size = 0, type = 0;
  EXPECT_EQ(DM_ERR_NO_KEY, dm_get_info(&dm, "a", &index, &size, &type));
  void* block = nullptr;
  EXPECT_EQ(0, dm_get_user_data_handle(&dm, 19, &size, &block, &type));
  dm_close_map(&dm);
}

}  // namespace
