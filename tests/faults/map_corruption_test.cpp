// A map damaged while it is in use gives error codes or wrong values, never a
// crash, an overrun or an endless loop: the fields of a record are checked or
// taken from the copies made at open, and random byte flips anywhere in a live
// map leave every reader running.
//
// LDU_FAULT_FLIPS sets the number of flips of the stress test (default 100000).
#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "hoststore/HostDatamap.h"
#include "hoststore/MapFormat.h"
#include "platform/datamap.h"
#include "tests/faults/map_fault_helpers.h"
#include "tests/support/StatusAssertions.h"
#include "tests/support/TempDir.h"

namespace {

const char kCatalog[] =
    "reading.1sec.freq flt64 60.01\n"
    "dev.designation string64 Main feeder\n"
    "sys.enumeration.hookup uint16 2\n"
    "reading.time.ltc ts8 2024-03-05 06:07:08\n"
    "dev.short string16 short\n";

class MapCorruptionTest : public mapfault::OpenMapTest {
 protected:
  std::string catalog() const override { return kCatalog; }
};

TEST_F(MapCorruptionTest, HugeStoredSizeOfAStringRecordCopiesOnlyTheDeclaredSize) {
  mapfault::pokeWord(path_, mapfault::sizeFieldOffset(1), 4096);
  struct {
    char text[64];
    char canary[64];
  } out;
  memset(&out, 'C', sizeof(out));
  ASSERT_EQ(0, dm_read_STRING(&dm_, 1, out.text, 0, nullptr));
  EXPECT_STREQ("Main feeder", out.text);
  EXPECT_EQ(std::string(64, 'C'), std::string(out.canary, 64));
}

TEST_F(MapCorruptionTest, ChangedTypeWordKeepsTheTypeSeenAtOpen) {
  mapfault::pokeWord(path_, mapfault::typeFieldOffset(4), DM_TYPE_STRING64);
  mapfault::pokeWord(path_, mapfault::sizeFieldOffset(4), 0);
  unsigned int index = 0, size = 0, type = 0;
  ASSERT_EQ(0, dm_get_info(&dm_, "dev.short", &index, &size, &type));
  EXPECT_EQ(4u, index);
  EXPECT_EQ(16u, size);
  EXPECT_EQ(static_cast<unsigned>(DM_TYPE_STRING16), type);
  char out[17];
  memset(out, 'C', sizeof(out));
  ASSERT_EQ(0, dm_read_STRING(&dm_, 4, out, 0, nullptr));
  EXPECT_STREQ("short", out);
  EXPECT_EQ('C', out[16]);
}

TEST_F(MapCorruptionTest, StringWithoutTerminatorIsCutAtItsDeclaredSize) {
  std::string noEnd(16, 'x');
  mapfault::poke(path_, mapfault::recordOffset(4) + offsetof(dmhost::MapRecord, value), noEnd.data(),
                 noEnd.size());
  char out[16];
  ASSERT_EQ(0, dm_read_STRING(&dm_, 4, out, 0, nullptr));
  EXPECT_EQ(std::string(15, 'x'), std::string(out));
}

TEST_F(MapCorruptionTest, DamagedKeyTextAndHashTableStillFindOrRefuseKeys) {
  std::string garbage(dmhost::kKeyCapacity, '\xff');
  mapfault::poke(path_, mapfault::recordOffset(0) + offsetof(dmhost::MapRecord, key), garbage.data(),
                 garbage.size());
  unsigned int index = 99;
  // The key text compared is the copy taken at open.
  EXPECT_EQ(0, dm_get_info(&dm_, "reading.1sec.freq", &index, nullptr, nullptr));
  EXPECT_EQ(0u, index);
  // Every hash slot full and pointing nowhere: the probe ends after one round.
  dmhost::MapHeader header;
  dmhost::describeLayout(5, &header);
  std::vector<uint32_t> slots(header.hashSlots, 0xFFFFFFF0u);
  mapfault::poke(path_, header.hashOffset, slots.data(), slots.size() * 4);
  EXPECT_EQ(DM_ERR_NO_KEY, dm_get_info(&dm_, "reading.1sec.freq", &index, nullptr, nullptr));
  EXPECT_EQ(DM_ERR_NO_KEY, dm_get_info(&dm_, "no.such.key", &index, nullptr, nullptr));
}

TEST_F(MapCorruptionTest, SequenceCounterStuckOddGivesBusyWithinTheReadPatience) {
  mapfault::pokeWord(path_, mapfault::seqFieldOffset(0), 7);
  double value = -1;
  long long start = mapfault::nowMs();
  EXPECT_EQ(DM_ERR_BUSY, dm_read_flt64(&dm_, 0, &value, 0, nullptr));
  EXPECT_LT(mapfault::nowMs() - start, 1000);
  EXPECT_EQ(-1, value);
}

TEST_F(MapCorruptionTest, PositiveFailureWordIsNoInjectedCode) {
  mapfault::pokeWord(path_, mapfault::recordOffset(0) + offsetof(dmhost::MapRecord, failCode), 5);
  double value = 0;
  EXPECT_EQ(0, dm_read_flt64(&dm_, 0, &value, 0, nullptr));
  EXPECT_DOUBLE_EQ(60.01, value);
}

TEST_F(MapCorruptionTest, InjectedFailureGivesItsCodeAndValuesReturnOnceCleared) {
  dmhost::HostDatamap writer;
  ASSERT_TRUE(testsupport::IsOk(writer.open(path_)));
  ASSERT_TRUE(testsupport::IsOk(writer.setFail("reading.1sec.freq", -5)));
  double value = -1;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(-5, dm_read_flt64(&dm_, 0, &value, 0, nullptr));
  EXPECT_EQ(-1, value);
  ASSERT_TRUE(testsupport::IsOk(writer.setFail("reading.1sec.freq", 0)));
  ASSERT_TRUE(testsupport::IsOk(writer.setText("reading.1sec.freq", "59.5")));
  EXPECT_EQ(0, dm_read_flt64(&dm_, 0, &value, 0, nullptr));
  EXPECT_DOUBLE_EQ(59.5, value);
}

// Reads every key with every reader and looks up every key, forever until stop.
void readEverything(DM_SYS_DATA_BLOK_USER* dm, const std::atomic<bool>* stop,
                    std::atomic<long>* calls, std::atomic<long>* slowest) {
  const char* keys[] = {"reading.1sec.freq", "dev.designation", "sys.enumeration.hookup",
                        "reading.time.ltc", "dev.short", "no.such.key"};
  while (!stop->load()) {
    for (unsigned index = 0; index < 7; ++index) {
      long long start = mapfault::nowMs();
      double d;
      unsigned short u16;
      char text[64];
      ZUL_TIMESTAMP_12B_STRUCT ts;
      dm_read_flt64(dm, index, &d, 0, nullptr);
      dm_read_uint16(dm, index, &u16, 0, nullptr);
      dm_read_STRING(dm, index, text, 0, nullptr);
      dm_read_zul_timestamp_b12(dm, index, &ts, 0, nullptr);
      unsigned int found, size, type;
      dm_get_info(dm, keys[index % 6], &found, &size, &type);
      long elapsed = static_cast<long>(mapfault::nowMs() - start);
      if (elapsed > slowest->load()) slowest->store(elapsed);
      calls->fetch_add(1);
    }
  }
}

TEST_F(MapCorruptionTest, RandomFlipsWhileReadersRunNeverCrashOrHang) {
  const long flips = mapfault::envCount("LDU_FAULT_FLIPS", 100000);
  std::string image = testsupport::readFile(path_);
  std::atomic<bool> stop{false};
  std::atomic<long> calls{0};
  std::atomic<long> slowest{0};
  std::vector<std::thread> readers;
  for (int i = 0; i < 2; ++i) readers.emplace_back(readEverything, &dm_, &stop, &calls, &slowest);
  std::mt19937 random(12345);
  std::uniform_int_distribution<size_t> anywhere(0, image.size() - 1);
  std::uniform_int_distribution<size_t> layout(0, 4095);  // header, records and hash table
  dmhost::HostDatamap writer;
  ASSERT_TRUE(testsupport::IsOk(writer.open(path_)));
  unsigned char* base = writer.block(1) - (image.size() - 4 * dmhost::kBlockSize);
  for (long i = 0; i < flips; ++i) {
    size_t offset = (i % 4 == 0) ? anywhere(random) : layout(random);
    unsigned char bit = static_cast<unsigned char>(1u << (random() % 8));
    __atomic_fetch_xor(base + offset, bit, __ATOMIC_RELAXED);
  }
  long long deadline = mapfault::nowMs() + 200;
  while (mapfault::nowMs() < deadline) std::this_thread::yield();
  stop.store(true);
  for (std::thread& reader : readers) reader.join();
  EXPECT_GT(calls.load(), 0);
  // A read waits at most the seqlock's 10 ms patience per call; four calls and
  // a lookup per round, with room for a loaded machine.
  EXPECT_LT(slowest.load(), 2000);
}

}  // namespace
