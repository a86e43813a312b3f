#include "tests/faults/map_fault_helpers.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>

#include "hoststore/HostDatamap.h"
#include "hoststore/MapFormat.h"
#include "tests/support/StatusAssertions.h"

namespace mapfault {

void OpenMapTest::SetUp() {
  path_ = dir_.file("datamap");
  ASSERT_NO_FATAL_FAILURE(create(catalog()));
  setenv("DATAMAP_FILE", path_.c_str(), 1);
  ASSERT_EQ(0, dm_open_map(&dm_));
}

void OpenMapTest::TearDown() {
  dm_close_map(&dm_);
  unsetenv("DATAMAP_FILE");
}

void OpenMapTest::create(const std::string& text) {
  ASSERT_TRUE(
      testsupport::IsOk(dmhost::HostDatamap::createFromCatalogText(path_, text, "catalog")));
}

void poke(const std::string& path, size_t offset, const void* data, size_t length) {
  int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) throw std::runtime_error("cannot open " + path);
  ssize_t written = pwrite(fd, data, length, static_cast<off_t>(offset));
  close(fd);
  if (written != static_cast<ssize_t>(length)) throw std::runtime_error("cannot write " + path);
}

void pokeWord(const std::string& path, size_t offset, uint32_t value) {
  poke(path, offset, &value, sizeof(value));
}

size_t recordOffset(uint32_t index) {
  return sizeof(dmhost::MapHeader) + index * sizeof(dmhost::MapRecord);
}

size_t sizeFieldOffset(uint32_t index) {
  return recordOffset(index) + offsetof(dmhost::MapRecord, size);
}

size_t typeFieldOffset(uint32_t index) {
  return recordOffset(index) + offsetof(dmhost::MapRecord, type);
}

size_t seqFieldOffset(uint32_t index) {
  return recordOffset(index) + offsetof(dmhost::MapRecord, seq);
}

long envCount(const char* name, long fallback) {
  const char* text = getenv(name);
  if (text == nullptr || *text == '\0') return fallback;
  char* end = nullptr;
  long value = strtol(text, &end, 10);
  return (*end == '\0' && value >= 0) ? value : fallback;
}

long long nowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace mapfault
