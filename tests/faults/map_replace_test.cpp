// A map file replaced while a handle reads it is followed: the next access
// after the writer's superseded mark reads the new map, an index keeps working
// only when the new map holds the same key at that index (else -3 until it is
// looked up again), and block pointers handed out earlier show the new blocks.
// Following is safe while other threads read through the same handle.
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <atomic>
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

class MapReplaceTest : public mapfault::OpenMapTest {
 protected:
  std::string catalog() const override { return "a flt64 1\nb flt64 2\nc string16 three\n"; }
  double readDouble(unsigned index, int* status) {
    double value = -1;
    *status = dm_read_flt64(&dm_, index, &value, 0, nullptr);
    return value;
  }
};

TEST_F(MapReplaceTest, ReplacementMarksTheOldFileSupersededAndReadsFollowAtOnce) {
  std::string before = testsupport::readFile(path_);
  dmhost::MapHeader header;
  memcpy(&header, before.data(), sizeof(header));
  EXPECT_EQ(0u, header.superseded);
  int status = 0;
  EXPECT_DOUBLE_EQ(1.0, readDouble(0, &status));
  create("a flt64 10\nb flt64 20\nc string16 thirty\n");
  EXPECT_DOUBLE_EQ(10.0, readDouble(0, &status));
  EXPECT_EQ(0, status);
  char text[16];
  ASSERT_EQ(0, dm_read_STRING(&dm_, 2, text, 0, nullptr));
  EXPECT_STREQ("thirty", text);
}

TEST_F(MapReplaceTest, IndexKeepsItsMeaningOnlyWhereTheNewMapHasTheSameKey) {
  create("a flt64 10\nc string16 moved\nb flt64 20\nd flt64 40\n");
  int status = 0;
  EXPECT_DOUBLE_EQ(10.0, readDouble(0, &status));  // "a" stays at 0
  EXPECT_EQ(0, status);
  readDouble(1, &status);  // was "b", now "c"
  EXPECT_EQ(DM_ERR_INDEX, status);
  readDouble(2, &status);  // was "c", now "b"
  EXPECT_EQ(DM_ERR_INDEX, status);
  unsigned int index = 0;
  ASSERT_EQ(0, dm_get_info(&dm_, "b", &index, nullptr, nullptr));
  EXPECT_EQ(2u, index);
  EXPECT_DOUBLE_EQ(20.0, readDouble(2, &status));  // looked up again: the new meaning
  EXPECT_EQ(0, status);
  EXPECT_DOUBLE_EQ(40.0, readDouble(3, &status));  // beyond the old map: a new key
  EXPECT_EQ(0, status);
}

TEST_F(MapReplaceTest, BlockPointersGivenBeforeShowTheNewMapsBlocks) {
  void* block = nullptr;
  unsigned int size = 0, flags = 0;
  ASSERT_EQ(0, dm_get_sys_data_handle(&dm_, 2, &size, &block, &flags));
  create("a flt64 1\n");
  dmhost::HostDatamap writer;
  ASSERT_TRUE(testsupport::IsOk(writer.open(path_)));
  ASSERT_TRUE(testsupport::IsOk(writer.writeBlock(2, 100, "new", 3)));
  int status = 0;
  readDouble(0, &status);  // any access follows the replacement
  EXPECT_EQ(0, memcmp(static_cast<char*>(block) + 100, "new", 3));
  void* again = nullptr;
  ASSERT_EQ(0, dm_get_sys_data_handle(&dm_, 2, &size, &again, &flags));
  EXPECT_EQ(block, again);
}

TEST_F(MapReplaceTest, SupersededMarkOnTheSameFileKeepsReading) {
  mapfault::pokeWord(path_, offsetof(dmhost::MapHeader, superseded), 1);
  int status = 0;
  for (int i = 0; i < 3; ++i) EXPECT_DOUBLE_EQ(1.0, readDouble(0, &status));
  EXPECT_EQ(0, status);
}

TEST_F(MapReplaceTest, ReplacementByAnInvalidFileKeepsTheOldMapUntilAValidOne) {
  std::string temp = path_ + ".bad";
  testsupport::writeFile(temp, "not a map");
  mapfault::pokeWord(path_, offsetof(dmhost::MapHeader, superseded), 1);
  ASSERT_EQ(0, rename(temp.c_str(), path_.c_str()));
  int status = 0;
  EXPECT_DOUBLE_EQ(1.0, readDouble(0, &status));
  create("a flt64 5\n");
  // Following is paced (at most every 100 ms) after a failed attempt.
  EXPECT_TRUE(testsupport::waitFor([&] { return readDouble(0, &status) == 5.0; },
                                   std::chrono::seconds(2)));
}

TEST_F(MapReplaceTest, ThreadsReadThroughOneHandleWhileTheMapIsReplaced) {
  std::atomic<bool> stop{false};
  std::atomic<long> bad{0};
  std::atomic<long> reads{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      while (!stop.load(std::memory_order_relaxed)) {
        double value = 0;
        int status = dm_read_flt64(&dm_, 0, &value, 0, nullptr);
        if (status != 0 || value < 1.0 || value > 40.0) bad.fetch_add(1);
        void* block = nullptr;
        if (dm_get_sys_data_handle(&dm_, 1, nullptr, &block, nullptr) != 0) bad.fetch_add(1);
        reads.fetch_add(1, std::memory_order_relaxed);
      }
    });
  }
  for (int generation = 2; generation <= 20; ++generation) {
    create("a flt64 " + std::to_string(generation) + "\nb flt64 0\n");
    long seen = reads.load();
    testsupport::waitFor([&] { return reads.load() > seen + 100; }, std::chrono::seconds(5));
  }
  stop.store(true);
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(0, bad.load());
  int status = 0;
  EXPECT_TRUE(testsupport::waitFor([&] { return readDouble(0, &status) == 20.0; },
                                   std::chrono::seconds(10)));
}

}  // namespace

namespace {

TEST_F(MapReplaceTest, TwoWritersReplacingAtOnceLeaveReadersOnTheLastMap) {
  std::vector<std::thread> writers;
  for (int w = 0; w < 2; ++w) {
    writers.emplace_back([this, w] {
      for (int i = 0; i < 15; ++i) {
        dmhost::HostDatamap::createFromCatalogText(
            path_, "a flt64 " + std::to_string(100 * (w + 1) + i) + "\n", "catalog")
            .ignore();  // a replacement may lose the race; the last one counts
        int status = 0;
        readDouble(0, &status);  // follow now and then, between replacements
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  dmhost::HostDatamap latest;
  ASSERT_TRUE(testsupport::IsOk(latest.open(path_)));
  std::string text;
  ASSERT_TRUE(testsupport::IsOk(latest.getText("a", &text)));
  const double expected = atof(text.c_str());
  int status = 0;
  EXPECT_TRUE(testsupport::waitFor([&] { return readDouble(0, &status) == expected; },
                                   std::chrono::seconds(10)))
      << "expected " << expected;
}

}  // namespace
