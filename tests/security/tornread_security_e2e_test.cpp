// A reader opening and reading polling_data.json as fast as it can, while the
// daemon replaces it every 10 ms, never finds it empty, cut or mixed: every
// read parses. A writer changes the designation's length every millisecond, so
// that consecutive documents differ in length (the case where a rewrite in
// place leaves the old tail behind). LDU_TORN_READS sets the least number of
// reads (default 100000); reading goes on until 50 new documents were seen.
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "hoststore/HostDatamap.h"
#include "tests/faults/daemon_fault_helpers.h"
#include "tests/support/Process.h"

using faulttest::FaultDaemon;
using testsupport::ChildProcess;

namespace {

constexpr long kReplacements = 50;

// The whole file as one reader sees it: open, read to the end, close.
bool readOnce(const std::string& path, std::string* text) {
  text->clear();
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  char buffer[16384];
  ssize_t got;
  while ((got = read(fd, buffer, sizeof buffer)) > 0) text->append(buffer, static_cast<size_t>(got));
  close(fd);
  return got == 0;
}

TEST(TornRead, EveryDirectReadAtTenMillisecondPeriodsParses) {
  const long reads = faulttest::envOr("LDU_TORN_READS", 100000);
  FaultDaemon daemon;
  daemon.writeRuntime(10);
  ChildProcess child;
  ASSERT_TRUE(daemon.start(child)) << child.err();
  ASSERT_TRUE(daemon.waitForDocuments()) << child.err();
  const std::string path = daemon.documentPath("polling_data.json");
  std::atomic<bool> writing{true};
  std::thread writer([&] {
    dmhost::HostDatamap map;
    if (!map.open(daemon.dir().file("datamap")).ok()) return;
    const std::string names[2] = {"short", std::string(60, 'L')};
    for (unsigned i = 0; writing.load(); ++i) {
      map.setText("dev.designation", names[i % 2]).ignore();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  long failed = 0;
  std::string first;
  std::string text;
  readOnce(path, &first);
  long changed = 0;
  const auto start = std::chrono::steady_clock::now();
  // At least `reads` reads, and on through at least kReplacements new documents
  // (a fast reader does its reads within a few periods); a deadline bounds it.
  const auto deadline = start + std::chrono::seconds(60);
  long done = 0;
  for (; done < reads || (changed < kReplacements && std::chrono::steady_clock::now() < deadline);
       ++done) {
    if (!readOnce(path, &text) || !faulttest::parsesAsJson(text)) {
      ++failed;
      continue;
    }
    if (text != first) {
      ++changed;
      first.swap(text);
    }
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  writing = false;
  writer.join();
  ASSERT_TRUE(child.running()) << child.err();
  child.stop(SIGTERM, std::chrono::seconds(10));
  RecordProperty("reads", std::to_string(done));
  RecordProperty("failed", std::to_string(failed));
  printf("%ld reads in %.1f s, %ld saw a new document, %ld did not parse\n", done, seconds,
         changed, failed);
  EXPECT_EQ(0, failed) << "of " << done << " reads";
  // The reads ran while the document was being replaced, not against one copy.
  EXPECT_GE(changed, kReplacements);
}

}  // namespace
