// Concurrent writers never let readers see a torn value, and a writer that died
// inside an entry makes readers fail with -6 in bounded time, never hang.
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "hoststore/EntrySeqLock.h"
#include "hoststore/HostDatamap.h"
#include "hoststore/MappedMap.h"
#include "livedata/Globals.h"
#include "platform/datamap.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StatusAssertions.h"
#include "tests/support/TempDir.h"

namespace {

using Clock = std::chrono::steady_clock;

// A map of four keys, read through the process handle the map fixture opened.
class SeqLockTest : public ::testing::Test {
 protected:
  unsigned int index(const char* key) {
    unsigned int i = 0, size = 0, type = 0;
    EXPECT_EQ(0, dm_get_info(&dm_, key, &i, &size, &type));
    return i;
  }

  testsupport::MapFixture map_{"text string64\nword uint64\nvalue flt64 1.5\nts ts12\n"};
  const std::string path_ = map_.mapPath();
  DM_SYS_DATA_BLOK_USER& dm_ = dm;
};

// Writes patterned values: 63 equal letters, and a 64-bit word whose halves match.
void hammer(const std::string& path, unsigned seed, const std::atomic<bool>* stop,
            Clock::time_point until) {
  dmhost::HostDatamap map;
  if (!map.open(path).ok()) return;
  dmhost::KeyInfo text, word;
  map.lookup("text", &text);
  map.lookup("word", &word);
  for (unsigned n = seed; (stop == nullptr || !stop->load(std::memory_order_relaxed)) &&
                          Clock::now() < until;
       ++n) {
    map.setString(text.index, std::string(63, static_cast<char>('a' + n % 26)));
    unsigned long long half = n * 2654435761u;
    map.setUnsigned(word.index, (half << 32) | (half & 0xFFFFFFFFu));
    if (n % 64 == 0) std::this_thread::yield();
  }
}

TEST_F(SeqLockTest, ReadersNeverSeeTornValues) {
  const auto until = Clock::now() + std::chrono::milliseconds(600);
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    hammer(path_, 1000, nullptr, until);
    _exit(0);
  }
  std::atomic<bool> stop{false};
  std::thread writer(hammer, path_, 7u, &stop, until);
  std::atomic<long> consistent{0};
  std::atomic<long> torn{0};
  auto reader = [&] {
    unsigned int textIndex = index("text");
    unsigned int wordIndex = index("word");
    while (Clock::now() < until) {
      char text[64];
      if (dm_read_STRING(&dm_, textIndex, text, 0, nullptr) == 0) {
        bool same = text[63] == '\0';
        for (int i = 1; i < 63; ++i) same = same && text[i] == text[0];
        (same ? consistent : torn).fetch_add(1, std::memory_order_relaxed);
      }
      unsigned long long word = 0;
      if (dm_read_uint64(&dm_, wordIndex, &word, 0, nullptr) == 0) {
        bool same = (word >> 32) == (word & 0xFFFFFFFFu);
        (same ? consistent : torn).fetch_add(1, std::memory_order_relaxed);
      }
    }
  };
  std::thread r1(reader);
  std::thread r2(reader);
  r1.join();
  r2.join();
  stop = true;
  writer.join();
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_EQ(0, torn.load());
  EXPECT_GT(consistent.load(), 100);
}

TEST_F(SeqLockTest, DeadWriterGivesBusyInBoundedTimeAndIsTakenOver) {
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {  // dies inside the entry of "value"
    dmhost::MappedMap map;
    if (!map.open(path_, dmhost::MappedMap::kReadWrite).ok()) _exit(1);
    dmhost::EntrySeqLock::abandonMidWrite(*map.view().record(map.view().find("value")));
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

  double value = 9.0;
  auto start = Clock::now();
  EXPECT_EQ(DM_ERR_BUSY, dm_read_flt64(&dm_, index("value"), &value, 0, nullptr));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(9.0, value);
  unsigned long long word = 1;
  EXPECT_EQ(0, dm_read_uint64(&dm_, index("word"), &word, 0, nullptr));  // others unaffected
  EXPECT_EQ(0u, word);

  dmhost::HostDatamap writer;
  ASSERT_TRUE(testsupport::IsOk(writer.open(path_)));
  start = Clock::now();
  EXPECT_TRUE(testsupport::IsOk(writer.setText("value", "2.5")));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
  EXPECT_EQ(0, dm_read_flt64(&dm_, index("value"), &value, 0, nullptr));
  EXPECT_EQ(2.5, value);
}

TEST_F(SeqLockTest, ConcurrentWritersOfOneEntryStayWhole) {
  dmhost::HostDatamap a, b;
  ASSERT_TRUE(testsupport::IsOk(a.open(path_)));
  ASSERT_TRUE(testsupport::IsOk(b.open(path_)));
  const auto until = Clock::now() + std::chrono::milliseconds(200);
  std::thread ta(hammer, path_, 3u, nullptr, until);
  std::thread tb(hammer, path_, 11u, nullptr, until);
  ta.join();
  tb.join();
  char text[64];
  ASSERT_EQ(0, dm_read_STRING(&dm_, index("text"), text, 0, nullptr));
  EXPECT_EQ(std::string(63, text[0]), std::string(text));
}

}  // namespace
