// Key records and their error lines on standard error.
#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "livedata/DmAccess.h"
#include "livedata/Globals.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StreamCapture.h"

using testsupport::MapFixture;
using testsupport::StreamCapture;

namespace {

const char kCatalog[] =
    "# test catalogue\n"
    "sys.enumeration.hookup uint16 3\n"
    "reading.1sec.freq flt64 59.95\n"
    "dev.designation string64 Feeder 7\n"
    "reading.time.ltc ts8 2022-10-05 19:03:30\n"
    "dev.count uint32 123456\n"
    "dev.flag boolean 1\n";

TEST(DmAccess, RecordsStartUnresolvedAndZeroed) {
  DmKey<double> number;
  DmTextKey text;
  EXPECT_EQ(DM_INDEX_NONE, number.index);
  EXPECT_EQ(0.0, number.value);
  EXPECT_EQ(DM_INDEX_NONE, text.index);
  EXPECT_EQ(std::string(kDmTextSize, '\0'), std::string(text.value, kDmTextSize));
}

TEST(DmAccess, ResolveAndReadEveryKind) {
  MapFixture map(kCatalog);
  DmKey<double> freq;
  DmTextKey name;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> time;
  DmKey<unsigned int> count;
  DmKey<bool> flag;
  StreamCapture err(2);
  ASSERT_GE(resolve_dm_key("reading.1sec.freq", &freq.index), 0);
  ASSERT_GE(resolve_dm_key("dev.designation", &name.index), 0);
  ASSERT_GE(resolve_dm_key("reading.time.ltc", &time.index), 0);
  ASSERT_GE(resolve_dm_key("dev.count", &count.index), 0);
  ASSERT_GE(resolve_dm_key("dev.flag", &flag.index), 0);
  EXPECT_GE(read_dm_key(freq, "dm_read_flt64 error on freq with error code= "), 0);
  EXPECT_GE(read_dm_key(name, "x"), 0);
  EXPECT_GE(read_dm_key(time, "x"), 0);
  EXPECT_GE(read_dm_key(count, "x"), 0);
  EXPECT_GE(read_dm_key(flag, "x"), 0);
  EXPECT_EQ("", err.finish());
  EXPECT_EQ(59.95, freq.value);
  EXPECT_STREQ("Feeder 7", name.value);
  EXPECT_EQ(20, time.value.century);
  EXPECT_EQ(22, time.value.year);
  EXPECT_EQ(10, time.value.month);
  EXPECT_EQ(5, time.value.day);
  EXPECT_EQ(19, time.value.hour);
  EXPECT_EQ(3, time.value.minute);
  EXPECT_EQ(30, time.value.second);
  EXPECT_EQ(123456u, count.value);
  EXPECT_TRUE(flag.value);
}

TEST(DmAccess, UnknownKeyPrintsTheStandardLineAndKeepsTheIndex) {
  MapFixture map(kCatalog);
  DmKey<double> missing;
  StreamCapture err(2);
  EXPECT_EQ(-2, resolve_dm_key("reading.no.such", &missing.index));
  EXPECT_EQ("dm_get_info error on key \"reading.no.such\" with error code= -2\n", err.finish());
  EXPECT_EQ(DM_INDEX_NONE, missing.index);
}

TEST(DmAccess, ReadThroughUnresolvedRecordFailsWithItsMessage) {
  MapFixture map(kCatalog);
  DmKey<double> missing;
  missing.value = 1.25;
  StreamCapture err(2);
  EXPECT_EQ(-3, read_dm_key(missing, "dm_read_flt64 error on key \"reading.no.such\" with error code= "));
  EXPECT_EQ("dm_read_flt64 error on key \"reading.no.such\" with error code= -3\n", err.finish());
  EXPECT_EQ(1.25, missing.value);  // the old value stays
}

TEST(DmAccess, InjectedReadFailureKeepsTheOldValue) {
  MapFixture map(kCatalog);
  DmKey<double> freq;
  ASSERT_GE(resolve_dm_key("reading.1sec.freq", &freq.index), 0);
  ASSERT_GE(dm_read(freq), 0);
  map.fail("reading.1sec.freq", -17);
  map.set("reading.1sec.freq", "50.5");
  StreamCapture err(2);
  EXPECT_EQ(-17, read_dm_key(freq, "dm_read_flt64 error on  freq with error code= "));
  EXPECT_EQ("dm_read_flt64 error on  freq with error code= -17\n", err.finish());
  EXPECT_EQ(59.95, freq.value);
  map.fail("reading.1sec.freq", 0);
  EXPECT_GE(dm_read(freq), 0);
  EXPECT_EQ(50.5, freq.value);
}

TEST(DmAccess, ReportDmError) {
  StreamCapture err(2);
  report_dm_error("dm_read_uint16 error on key \"a.b\" with error code= ", -4);
  EXPECT_EQ("dm_read_uint16 error on key \"a.b\" with error code= -4\n", err.finish());
}

TEST(DmAccess, KeyReadUint16) {
  MapFixture map(kCatalog);
  unsigned short value = 0;
  unsigned int index = DM_INDEX_NONE;
  StreamCapture err(2);
  EXPECT_EQ(0, dm_key_read_uint16(&dm, "sys.enumeration.hookup", &value, &index));
  EXPECT_EQ(3, value);
  EXPECT_NE(DM_INDEX_NONE, index);

  // Lookup failure: its own negative status, nothing printed.
  unsigned int missingIndex = DM_INDEX_NONE;
  EXPECT_EQ(-2, dm_key_read_uint16(&dm, "sys.enumeration.none", &value, &missingIndex));
  EXPECT_EQ(DM_INDEX_NONE, missingIndex);

  // Read failure after a good lookup: -1 whatever the read's code.
  unsigned int textIndex = DM_INDEX_NONE;
  EXPECT_EQ(-1, dm_key_read_uint16(&dm, "dev.designation", &value, &textIndex));
  EXPECT_NE(DM_INDEX_NONE, textIndex);
  map.fail("sys.enumeration.hookup", -9);
  EXPECT_EQ(-1, dm_key_read_uint16(&dm, "sys.enumeration.hookup", &value, &index));
  EXPECT_EQ(3, value);
  EXPECT_EQ("", err.finish());
}

TEST(DmAccess, MapSysBlock) {
  MapFixture map(kCatalog);
  const unsigned char* block = nullptr;
  unsigned int marker = 0x12345678u;
  map.writeBlock(2, 16, &marker, sizeof marker);
  StreamCapture err(2);
  EXPECT_GE(map_sys_block(2, "shared_meter_readings", &block), 0);
  ASSERT_NE(nullptr, block);
  unsigned int read = 0;
  memcpy(&read, block + 16, sizeof read);
  EXPECT_EQ(marker, read);

  const unsigned char* none = nullptr;
  EXPECT_EQ(-5, map_sys_block(3, "shared_meter_data3", &none));
  EXPECT_EQ(nullptr, none);
  EXPECT_EQ("dm_get_sys_data_handle error on key \"shared_meter_data3\" with error code= -5\n",
            err.finish());
}

TEST(DmAccess, ClosedHandleFailsEveryCall) {
  DM_SYS_DATA_BLOK_USER closed = {nullptr};
  unsigned short value = 0;
  unsigned int index = DM_INDEX_NONE;
  EXPECT_LT(dm_key_read_uint16(&closed, "sys.enumeration.hookup", &value, &index), 0);
  EXPECT_EQ(DM_INDEX_NONE, index);
}

}  // namespace
