// A real host datamap in a private temporary directory, built from catalogue text.
// It points DATAMAP_FILE at the map and opens the process handle `dm` on it, so
// that code under test reads it exactly as the daemon does; writes go through
// the host writer API. The destructor closes `dm` and removes everything.
#ifndef TESTS_SUPPORT_MAPFIXTURE_H_
#define TESTS_SUPPORT_MAPFIXTURE_H_

#include <initializer_list>
#include <string>

#include "hoststore/HostDatamap.h"
#include "tests/support/TempDir.h"

namespace testsupport {

// The catalogue text without the lines of the named keys; throws
// std::runtime_error unless every named key had exactly one line.
std::string catalogWithout(const std::string& catalog, std::initializer_list<const char*> keys);

// Throws std::runtime_error with prefix and the status's message when it failed.
void throwIfFailed(const base::Status& status, const std::string& prefix = "");

class MapFixture {
 public:
  explicit MapFixture(const std::string& catalogText);
  ~MapFixture();
  MapFixture(const MapFixture&) = delete;
  MapFixture& operator=(const MapFixture&) = delete;

  const TempDir& dir() const { return dir_; }
  const std::string& mapPath() const { return mapPath_; }
  dmhost::HostDatamap& writer() { return writer_; }

  // Each throws std::runtime_error with the writer's message on failure.
  void set(const std::string& key, const std::string& value);
  void fail(const std::string& key, int code);
  void writeBlock(int block, size_t offset, const std::string& bytes);
  void writeBlock(int block, size_t offset, const void* data, size_t length);

 private:
  TempDir dir_;
  std::string mapPath_;
  dmhost::HostDatamap writer_;
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_MAPFIXTURE_H_
