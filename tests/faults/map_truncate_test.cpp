// A map file truncated while mapped does not kill its readers or writers with
// SIGBUS: the lost mapping reads as zeros, reads report -1 from the first access
// of a lost page on, and the handle
// follows once the file is replaced. A SIGBUS that is not about a map still
// ends the process as it would without the platform.
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "hoststore/HostDatamap.h"
#include "platform/datamap.h"
#include "tests/faults/map_fault_helpers.h"
#include "tests/support/StatusAssertions.h"
#include "tests/support/TempDir.h"

namespace {

class MapTruncateTest : public mapfault::OpenMapTest {
 protected:
  std::string catalog() const override {
    // Enough keys that the last records lie beyond the first page.
    std::string text = "a flt64 1\nb string64 text\n";
    for (int i = 0; i < 40; ++i) text += "k" + std::to_string(i) + " flt64 7\n";
    return text;
  }
};

TEST_F(MapTruncateTest, ReadsOfATruncatedMapGiveMinusOneThenFollowTheReplacement) {
  void* block = nullptr;
  ASSERT_EQ(0, dm_get_sys_data_handle(&dm_, 2, nullptr, &block, nullptr));
  ASSERT_EQ(0, truncate(path_.c_str(), 100));
  double value = -1;
  // Records still inside the file's first page read as before until an access
  // touches a lost page; from then on every read reports the broken map.
  EXPECT_EQ(DM_ERR_MAP, dm_read_flt64(&dm_, 41, &value, 0, nullptr));
  EXPECT_EQ(DM_ERR_MAP, dm_read_flt64(&dm_, 0, &value, 0, nullptr));
  EXPECT_EQ(-1, value);
  // The block pointer still points at readable memory (zeros).
  EXPECT_EQ(0, static_cast<volatile unsigned char*>(block)[5000]);
  char text[64];
  EXPECT_EQ(DM_ERR_MAP, dm_read_STRING(&dm_, 1, text, 0, nullptr));
  create("a flt64 2\n");
  EXPECT_TRUE(testsupport::waitFor(
      [&] { return dm_read_flt64(&dm_, 0, &value, 0, nullptr) == 0 && value == 2.0; },
      std::chrono::seconds(2)));
}

TEST_F(MapTruncateTest, WriterSurvivesTruncationAndReportsIt) {
  dmhost::HostDatamap writer;
  ASSERT_TRUE(testsupport::IsOk(writer.open(path_)));
  ASSERT_FALSE(writer.broken());
  ASSERT_EQ(0, truncate(path_.c_str(), 0));
  writer.setDouble(0, 3.0);
  EXPECT_TRUE(writer.broken());
}

TEST_F(MapTruncateTest, OtherSigbusStillEndsTheProcess) {
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    raise(SIGBUS);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  // Killed by the signal, or (in a sanitizer build) ended by the sanitizer's
  // own SIGBUS report, which the platform's handler passes the signal on to.
  bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGBUS;
  bool reported = WIFEXITED(status) && WEXITSTATUS(status) != 0;
  EXPECT_TRUE(killed || reported) << "status " << status;
}

}  // namespace
