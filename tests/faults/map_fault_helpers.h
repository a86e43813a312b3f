// Helpers of the map fault tests: raw damage to a map file behind the
// platform's back, and the environment knobs of the longer runs.
#ifndef TESTS_FAULTS_MAP_FAULT_HELPERS_H_
#define TESTS_FAULTS_MAP_FAULT_HELPERS_H_

#include <stddef.h>
#include <stdint.h>

#include <string>

#include <gtest/gtest.h>

#include "platform/datamap.h"
#include "tests/support/TempDir.h"

namespace mapfault {

// A map made from catalog() in a temporary directory, DATAMAP_FILE pointing at
// it and the handle dm_ open on it for the test.
class OpenMapTest : public ::testing::Test {
 protected:
  virtual std::string catalog() const = 0;
  void SetUp() override;
  void TearDown() override;
  // Replaces the map at path_ as `dmtool create` does.
  void create(const std::string& text);

  testsupport::TempDir dir_;
  std::string path_;
  DM_SYS_DATA_BLOK_USER dm_ = {nullptr};
};

// Writes length bytes at offset of the file (as another process would, so
// every mapping of the file sees them at once).
void poke(const std::string& path, size_t offset, const void* data, size_t length);
void pokeWord(const std::string& path, size_t offset, uint32_t value);

// File offset of record index and of one of its fields.
size_t recordOffset(uint32_t index);
size_t sizeFieldOffset(uint32_t index);
size_t typeFieldOffset(uint32_t index);
size_t seqFieldOffset(uint32_t index);

// Value of a non-negative integer environment variable, or fallback.
long envCount(const char* name, long fallback);

// Milliseconds since an arbitrary start (steady clock).
long long nowMs();

}  // namespace mapfault

#endif  // TESTS_FAULTS_MAP_FAULT_HELPERS_H_
