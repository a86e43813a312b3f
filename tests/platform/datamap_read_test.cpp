// Reads through the datamap calls: every conversion, every error code, blocks,
// untouched out-parameters on failure and injected failures.
#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "hoststore/HostDatamap.h"
#include "platform/datamap.h"
#include "tests/support/StatusAssertions.h"
#include "tests/support/TempDir.h"

namespace {

const char kCatalog[] =
    "# every type once\n"
    "\n"
    "s16 sint16 -1234\n"
    "u16 uint16 0xBEEF\n"
    "s32 sint32 -70000\n"
    "u32 uint32 4000000000\n"
    "s64 sint64 -9000000000\n"
    "u64 uint64 18000000000000000000\n"
    "f32 flt32 1.5\n"
    "f64 flt64 -2.75\n"
    "big flt64 1e300\n"
    "nan flt64 nan\n"
    "b1 boolean true\n"
    "b0 boolean 0\n"
    "str16 string16 hello world\n"
    "str32 string32 thirty-two byte text\n"
    "str64 string64 sixty-four\n"
    "t8 ts8 2022-10-05 19:03:30\n"
    "t12 ts12 2023-01-02 03:04:05\n"
    "c12 12 12.5\n"
    "c0 0\n"
    "c200 200 1\n";

class DatamapReadTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = dir_.file("datamap");
    ASSERT_TRUE(
        testsupport::IsOk(dmhost::HostDatamap::createFromCatalogText(path_, kCatalog, "catalog")));
    ASSERT_TRUE(testsupport::IsOk(writer_.open(path_)));
    setenv("DATAMAP_FILE", path_.c_str(), 1);
    ASSERT_EQ(0, dm_open_map(&dm_));
  }
  void TearDown() override {
    dm_close_map(&dm_);
    unsetenv("DATAMAP_FILE");
  }

  unsigned int index(const char* key) {
    unsigned int i = DM_INDEX_NONE, size = 0, type = 0;
    EXPECT_EQ(0, dm_get_info(&dm_, key, &i, &size, &type)) << key;
    return i;
  }

  testsupport::TempDir dir_;
  std::string path_;
  dmhost::HostDatamap writer_;
  DM_SYS_DATA_BLOK_USER dm_ = {nullptr};
};

TEST_F(DatamapReadTest, GetInfoReportsTypeAndSize) {
  struct Expected {
    const char* key;
    unsigned int type;
    unsigned int size;
  } table[] = {{"s16", 1, 2},   {"u16", 2, 2},    {"s32", 3, 4},   {"u32", 4, 4},
               {"s64", 5, 8},   {"u64", 6, 8},    {"t8", 7, 8},    {"f32", 17, 4},
               {"f64", 18, 8},  {"str16", 19, 16}, {"str64", 20, 64}, {"t12", 23, 12},
               {"b1", 24, 1},   {"str32", 25, 32}, {"c12", 12, 8},  {"c0", 0, 8},
               {"c200", 200, 8}};
  for (const Expected& e : table) {
    unsigned int i = 99, size = 0, type = 0;
    ASSERT_EQ(0, dm_get_info(&dm_, e.key, &i, &size, &type)) << e.key;
    EXPECT_EQ(e.type, type) << e.key;
    EXPECT_EQ(e.size, size) << e.key;
    EXPECT_LT(i, 20u);
  }
  EXPECT_EQ(1u, index("u16"));  // catalogue order from 0
}

TEST_F(DatamapReadTest, UnknownKeyIsMinus2AndLeavesOutputs) {
  unsigned int i = 7, size = 8, type = 9;
  EXPECT_EQ(DM_ERR_NO_KEY, dm_get_info(&dm_, "no.such.key", &i, &size, &type));
  EXPECT_EQ(DM_ERR_NO_KEY, dm_get_info(&dm_, "", &i, &size, &type));
  EXPECT_EQ(DM_ERR_NO_KEY, dm_get_info(&dm_, "s1", &i, &size, &type));
  EXPECT_EQ(DM_ERR_NO_KEY, dm_get_info(&dm_, "s16 ", &i, &size, &type));
  EXPECT_EQ(7u, i);
  EXPECT_EQ(8u, size);
  EXPECT_EQ(9u, type);
}

TEST_F(DatamapReadTest, IntegerConversionsLikeCCasts) {
  unsigned short u16 = 0;
  short s16 = 0;
  int s32 = 0;
  unsigned int u32 = 0;
  long long s64 = 0;
  unsigned long long u64 = 0;
  EXPECT_EQ(0, dm_read_uint16(&dm_, index("s16"), &u16, 0, nullptr));
  EXPECT_EQ(64302, u16);  // 65536 - 1234
  EXPECT_EQ(0, dm_read_sint16(&dm_, index("u16"), &s16, 0, nullptr));
  EXPECT_EQ(-16657, s16);  // 0xBEEF - 65536
  EXPECT_EQ(0, dm_read_sint32(&dm_, index("u32"), &s32, 0, nullptr));
  EXPECT_EQ(-294967296, s32);  // 4000000000 - 2^32
  EXPECT_EQ(0, dm_read_uint32(&dm_, index("u32"), &u32, 0, nullptr));
  EXPECT_EQ(4000000000u, u32);
  EXPECT_EQ(0, dm_read_sint64(&dm_, index("s64"), &s64, 0, nullptr));
  EXPECT_EQ(-9000000000LL, s64);
  EXPECT_EQ(0, dm_read_uint64(&dm_, index("u64"), &u64, 0, nullptr));
  EXPECT_EQ(18000000000000000000ULL, u64);
  EXPECT_EQ(0, dm_read_sint32(&dm_, index("s64"), &s32, 0, nullptr));
  EXPECT_EQ(-410065408, s32);  // -9000000000 + 3 * 2^32
  EXPECT_EQ(0, dm_read_sint16(&dm_, index("s32"), &s16, 0, nullptr));
  EXPECT_EQ(-4464, s16);  // -70000 + 65536
  EXPECT_EQ(0, dm_read_uint64(&dm_, index("s16"), &u64, 0, nullptr));
  EXPECT_EQ(18446744073709550382ULL, u64);  // 2^64 - 1234
}

TEST_F(DatamapReadTest, FloatingConversions) {
  double d = 0;
  float f = 0;
  EXPECT_EQ(0, dm_read_flt64(&dm_, index("s16"), &d, 0, nullptr));
  EXPECT_EQ(-1234.0, d);
  EXPECT_EQ(0, dm_read_flt64(&dm_, index("u64"), &d, 0, nullptr));
  EXPECT_EQ(18000000000000000000.0, d);
  EXPECT_EQ(0, dm_read_flt64(&dm_, index("f32"), &d, 0, nullptr));
  EXPECT_EQ(1.5, d);
  EXPECT_EQ(0, dm_read_flt32(&dm_, index("f64"), &f, 0, nullptr));
  EXPECT_EQ(-2.75f, f);
  EXPECT_EQ(0, dm_read_flt64(&dm_, index("c12"), &d, 0, nullptr));
  EXPECT_EQ(12.5, d);
  EXPECT_EQ(0, dm_read_flt64(&dm_, index("b1"), &d, 0, nullptr));
  EXPECT_EQ(1.0, d);
  EXPECT_EQ(0, dm_read_flt32(&dm_, index("big"), &f, 0, nullptr));
  EXPECT_TRUE(isinf(f) && f > 0);
}

TEST_F(DatamapReadTest, FloatingToIntegerTruncatesAndSaturates) {
  int s32 = 5;
  short s16 = 0;
  unsigned short u16 = 9;
  long long s64 = 0;
  unsigned long long u64 = 0;
  EXPECT_EQ(0, dm_read_sint32(&dm_, index("f64"), &s32, 0, nullptr));
  EXPECT_EQ(-2, s32);  // -2.75 toward zero
  EXPECT_EQ(0, dm_read_uint16(&dm_, index("f32"), &u16, 0, nullptr));
  EXPECT_EQ(1, u16);
  EXPECT_EQ(0, dm_read_uint16(&dm_, index("f64"), &u16, 0, nullptr));
  EXPECT_EQ(0, u16);  // negative to unsigned saturates at 0
  EXPECT_EQ(0, dm_read_sint16(&dm_, index("big"), &s16, 0, nullptr));
  EXPECT_EQ(32767, s16);
  EXPECT_EQ(0, dm_read_sint64(&dm_, index("big"), &s64, 0, nullptr));
  EXPECT_EQ(std::numeric_limits<long long>::max(), s64);
  EXPECT_EQ(0, dm_read_uint64(&dm_, index("big"), &u64, 0, nullptr));
  EXPECT_EQ(std::numeric_limits<unsigned long long>::max(), u64);
  EXPECT_EQ(0, dm_read_sint32(&dm_, index("nan"), &s32, 0, nullptr));
  EXPECT_EQ(0, s32);
}

TEST_F(DatamapReadTest, BooleanReadsAndSources) {
  bool b = false;
  EXPECT_EQ(0, dm_read_boolean(&dm_, index("b1"), &b, 0, nullptr));
  EXPECT_TRUE(b);
  EXPECT_EQ(0, dm_read_boolean(&dm_, index("b0"), &b, 0, nullptr));
  EXPECT_FALSE(b);
  EXPECT_EQ(0, dm_read_boolean(&dm_, index("s16"), &b, 0, nullptr));
  EXPECT_TRUE(b);
  EXPECT_EQ(DM_ERR_TYPE, dm_read_boolean(&dm_, index("c0"), &b, 0, nullptr));
  b = false;
  EXPECT_EQ(0, dm_read_boolean(&dm_, index("nan"), &b, 0, nullptr));
  EXPECT_TRUE(b);  // NaN != 0
  unsigned short u16 = 7;
  EXPECT_EQ(0, dm_read_uint16(&dm_, index("b0"), &u16, 0, nullptr));
  EXPECT_EQ(0, u16);
  EXPECT_EQ(0, dm_read_uint16(&dm_, index("b1"), &u16, 0, nullptr));
  EXPECT_EQ(1, u16);
}

TEST_F(DatamapReadTest, StringsCopyTheDeclaredSize) {
  char buffer[80];
  memset(buffer, 'X', sizeof(buffer));
  EXPECT_EQ(0, dm_read_STRING(&dm_, index("str16"), buffer, 0, nullptr));
  EXPECT_STREQ("hello world", buffer);
  for (int i = 11; i < 16; ++i) EXPECT_EQ('\0', buffer[i]) << i;
  for (int i = 16; i < 80; ++i) ASSERT_EQ('X', buffer[i]) << i;
  memset(buffer, 'X', sizeof(buffer));
  EXPECT_EQ(0, dm_read_STRING(&dm_, index("str32"), buffer, 0, nullptr));
  EXPECT_STREQ("thirty-two byte text", buffer);
  EXPECT_EQ('X', buffer[32]);
  EXPECT_EQ('\0', buffer[31]);
  memset(buffer, 'X', sizeof(buffer));
  EXPECT_EQ(0, dm_read_STRING(&dm_, index("str64"), buffer, 0, nullptr));
  EXPECT_STREQ("sixty-four", buffer);
  EXPECT_EQ('\0', buffer[63]);
  EXPECT_EQ('X', buffer[64]);
}

TEST_F(DatamapReadTest, TimestampsBothWays) {
  ZUL_TIMESTAMP_8B_STRUCT t8;
  memset(&t8, 0xEE, sizeof(t8));
  EXPECT_EQ(0, dm_read_zul_timestamp_b8(&dm_, index("t8"), &t8, 0, nullptr));
  const unsigned char expected8[8] = {20, 22, 10, 5, 19, 3, 30, 0};
  EXPECT_EQ(0, memcmp(expected8, &t8, 8));
  EXPECT_EQ(0, dm_read_zul_timestamp_b8(&dm_, index("t12"), &t8, 0, nullptr));
  const unsigned char first8[8] = {20, 23, 1, 2, 3, 4, 5, 0};
  EXPECT_EQ(0, memcmp(first8, &t8, 8));
  ZUL_TIMESTAMP_12B_STRUCT t12;
  memset(&t12, 0xEE, sizeof(t12));
  EXPECT_EQ(0, dm_read_zul_timestamp_b12(&dm_, index("t8"), &t12, 0, nullptr));
  const unsigned char extended[12] = {20, 22, 10, 5, 19, 3, 30, 0, 0, 0, 0, 0};
  EXPECT_EQ(0, memcmp(extended, &t12, 12));
  EXPECT_EQ(0, dm_read_zul_timestamp_b12(&dm_, index("t12"), &t12, 0, nullptr));
  const unsigned char full[12] = {20, 23, 1, 2, 3, 4, 5, 0, 0, 0, 0, 0};
  EXPECT_EQ(0, memcmp(full, &t12, 12));
}

TEST_F(DatamapReadTest, TypeMismatchIsMinus4AndLeavesValue) {
  double d = 42.0;
  char text[64] = "keep";
  ZUL_TIMESTAMP_8B_STRUCT t8 = {1, 2, 3, 4, 5, 6, 7, 8};
  ZUL_TIMESTAMP_12B_STRUCT t12 = {1, 2, 3, 4, 5, 6, 7, 8, {9, 9, 9, 9}};
  unsigned short u16 = 17;
  bool b = true;
  EXPECT_EQ(DM_ERR_TYPE, dm_read_flt64(&dm_, index("str16"), &d, 0, nullptr));
  EXPECT_EQ(DM_ERR_TYPE, dm_read_flt64(&dm_, index("t8"), &d, 0, nullptr));
  EXPECT_EQ(DM_ERR_TYPE, dm_read_flt64(&dm_, index("c0"), &d, 0, nullptr));
  EXPECT_EQ(DM_ERR_TYPE, dm_read_flt64(&dm_, index("c200"), &d, 0, nullptr));
  EXPECT_EQ(DM_ERR_TYPE, dm_read_uint16(&dm_, index("t12"), &u16, 0, nullptr));
  EXPECT_EQ(DM_ERR_TYPE, dm_read_boolean(&dm_, index("str64"), &b, 0, nullptr));
  EXPECT_EQ(DM_ERR_TYPE, dm_read_STRING(&dm_, index("f64"), text, 0, nullptr));
  EXPECT_EQ(DM_ERR_TYPE, dm_read_STRING(&dm_, index("t8"), text, 0, nullptr));
  EXPECT_EQ(DM_ERR_TYPE, dm_read_STRING(&dm_, index("c200"), text, 0, nullptr));
  EXPECT_EQ(DM_ERR_TYPE, dm_read_zul_timestamp_b8(&dm_, index("str16"), &t8, 0, nullptr));
  EXPECT_EQ(DM_ERR_TYPE, dm_read_zul_timestamp_b8(&dm_, index("u64"), &t8, 0, nullptr));
  EXPECT_EQ(DM_ERR_TYPE, dm_read_zul_timestamp_b12(&dm_, index("f64"), &t12, 0, nullptr));
  EXPECT_EQ(42.0, d);
  EXPECT_STREQ("keep", text);
  EXPECT_EQ(17, u16);
  EXPECT_TRUE(b);
  EXPECT_EQ(8, t8.reserved);
  EXPECT_EQ(9, t12.extra[3]);
}

TEST_F(DatamapReadTest, BadIndexIsMinus3) {
  double d = 3.0;
  char text[64] = "keep";
  EXPECT_EQ(DM_ERR_INDEX, dm_read_flt64(&dm_, DM_INDEX_NONE, &d, 0, nullptr));
  EXPECT_EQ(DM_ERR_INDEX, dm_read_flt64(&dm_, 20, &d, 0, nullptr));  // 20 keys: 0..19
  EXPECT_EQ(DM_ERR_INDEX, dm_read_STRING(&dm_, 1000000, text, 0, nullptr));
  EXPECT_EQ(3.0, d);
  EXPECT_STREQ("keep", text);
  EXPECT_EQ(DM_ERR_TYPE, dm_read_flt64(&dm_, 19, &d, 0, nullptr));  // c200: a key, unreadable
}

TEST_F(DatamapReadTest, InjectedCodesComeFirst) {
  ASSERT_TRUE(testsupport::IsOk(writer_.setFail("f64", -77)));
  double d = 5.0;
  char text[64] = "keep";
  EXPECT_EQ(-77, dm_read_flt64(&dm_, index("f64"), &d, 0, nullptr));
  EXPECT_EQ(-77, dm_read_STRING(&dm_, index("f64"), text, 0, nullptr));
  EXPECT_EQ(5.0, d);
  EXPECT_STREQ("keep", text);
  ASSERT_TRUE(testsupport::IsOk(writer_.setFail("f64", 0)));
  EXPECT_EQ(0, dm_read_flt64(&dm_, index("f64"), &d, 0, nullptr));
  EXPECT_EQ(-2.75, d);
  EXPECT_FALSE(writer_.setFail("f64", 3).ok());
  EXPECT_FALSE(writer_.setFail("nope", -1).ok());
}

TEST_F(DatamapReadTest, WritesAreSeenByReaders) {
  ASSERT_TRUE(testsupport::IsOk(writer_.setText("f64", "230.25")));
  ASSERT_TRUE(testsupport::IsOk(writer_.setText("str16", "a much longer text than sixteen")));
  double d = 0;
  char text[16];
  EXPECT_EQ(0, dm_read_flt64(&dm_, index("f64"), &d, 0, nullptr));
  EXPECT_EQ(230.25, d);
  EXPECT_EQ(0, dm_read_STRING(&dm_, index("str16"), text, 0, nullptr));
  EXPECT_EQ(std::string("a much longer t"), std::string(text));
}

TEST_F(DatamapReadTest, Blocks) {
  unsigned int size = 0, flags = 7;
  void* b1 = nullptr;
  void* b2 = nullptr;
  void* b18 = nullptr;
  void* b19 = nullptr;
  ASSERT_EQ(0, dm_get_sys_data_handle(&dm_, 1, &size, &b1, &flags));
  EXPECT_EQ(131072u, size);
  EXPECT_EQ(0u, flags);
  ASSERT_EQ(0, dm_get_sys_data_handle(&dm_, 2, &size, &b2, &flags));
  ASSERT_EQ(0, dm_get_user_data_handle(&dm_, 18, &size, &b18, &flags));
  ASSERT_EQ(0, dm_get_user_data_handle(&dm_, 19, &size, &b19, &flags));
  EXPECT_TRUE(b1 != b2 && b2 != b18 && b18 != b19 && b1 != b19);
  const unsigned char* bytes = static_cast<const unsigned char*>(b2);
  for (size_t i = 0; i < 131072; i += 997) ASSERT_EQ(0, bytes[i]);
  EXPECT_EQ(0, bytes[131071]);
  ASSERT_TRUE(testsupport::IsOk(writer_.writeBlock(2, 59904, "\x12\x34", 2)));
  EXPECT_EQ(0x12, bytes[59904]);
  EXPECT_EQ(0x34, bytes[59905]);
  ASSERT_TRUE(testsupport::IsOk(writer_.writeBlock(19, 131070, "zz", 2)));
  EXPECT_EQ('z', static_cast<const char*>(b19)[131071]);
  EXPECT_FALSE(writer_.writeBlock(19, 131071, "zz", 2).ok());
  EXPECT_FALSE(writer_.writeBlock(3, 0, "zz", 2).ok());
  std::string out;
  ASSERT_TRUE(testsupport::IsOk(writer_.readBlock(2, 59904, 2, &out)));
  EXPECT_EQ(std::string("\x12\x34"), out);

  void* keep = &size;
  unsigned int keepSize = 5;
  EXPECT_EQ(DM_ERR_NO_BLOCK, dm_get_sys_data_handle(&dm_, 18, &keepSize, &keep, &flags));
  EXPECT_EQ(DM_ERR_NO_BLOCK, dm_get_sys_data_handle(&dm_, 3, &keepSize, &keep, &flags));
  EXPECT_EQ(DM_ERR_NO_BLOCK, dm_get_user_data_handle(&dm_, 1, &keepSize, &keep, &flags));
  EXPECT_EQ(DM_ERR_NO_BLOCK, dm_get_user_data_handle(&dm_, 20, &keepSize, &keep, &flags));
  EXPECT_EQ(static_cast<void*>(&size), keep);
  EXPECT_EQ(5u, keepSize);
}

TEST_F(DatamapReadTest, ClosedHandleIsMinus1) {
  unsigned int i = index("f64");
  EXPECT_EQ(0, dm_close_map(&dm_));
  EXPECT_EQ(nullptr, dm_.impl);
  double d = 1.0;
  unsigned int size = 0, type = 0;
  void* block = nullptr;
  EXPECT_EQ(DM_ERR_MAP, dm_read_flt64(&dm_, i, &d, 0, nullptr));
  EXPECT_EQ(DM_ERR_MAP, dm_get_info(&dm_, "f64", &i, &size, &type));
  EXPECT_EQ(DM_ERR_MAP, dm_get_sys_data_handle(&dm_, 1, &size, &block, &type));
  EXPECT_EQ(1.0, d);
  unsigned int result = 9;
  EXPECT_EQ(0, dm_wait_synch(&dm_, 203, &result));
}

TEST_F(DatamapReadTest, MapPathFollowsTheEnvironmentAtEachOpen) {
  unsetenv("DATAMAP_FILE");
  EXPECT_EQ("/dev/shm/datamap", dmhost::mapPath());
  setenv("DATAMAP_FILE", "", 1);
  EXPECT_EQ("/dev/shm/datamap", dmhost::mapPath());
  setenv("DATAMAP_FILE", dir_.file("missing").c_str(), 1);
  DM_SYS_DATA_BLOK_USER other = {nullptr};
  EXPECT_EQ(DM_ERR_MAP, dm_open_map(&other));
  EXPECT_EQ(nullptr, other.impl);
  setenv("DATAMAP_FILE", path_.c_str(), 1);
  EXPECT_EQ(0, dm_open_map(&other));
  EXPECT_EQ(0, dm_close_map(&other));
}

TEST_F(DatamapReadTest, ReadOnlyFileStillReads) {
  ASSERT_EQ(0, chmod(path_.c_str(), 0444));
  DM_SYS_DATA_BLOK_USER other = {nullptr};
  ASSERT_EQ(0, dm_open_map(&other));
  unsigned int i = 0, size = 0, type = 0;
  ASSERT_EQ(0, dm_get_info(&other, "f64", &i, &size, &type));
  double d = 0;
  EXPECT_EQ(0, dm_read_flt64(&other, i, &d, 0, nullptr));
  EXPECT_EQ(-2.75, d);
  EXPECT_EQ(0, dm_close_map(&other));
}

TEST_F(DatamapReadTest, WaitSynchReturnsAtOnce) {
  unsigned int result = 9;
  EXPECT_EQ(0, dm_wait_synch(&dm_, 203, &result));
}

}  // namespace
