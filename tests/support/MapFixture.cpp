#include "tests/support/MapFixture.h"

#include <stdlib.h>
#include <string.h>

#include <sstream>
#include <stdexcept>

#include "livedata/Globals.h"

namespace testsupport {

std::string catalogWithout(const std::string& catalog, std::initializer_list<const char*> keys) {
  std::istringstream in(catalog);
  std::string out;
  std::string line;
  size_t dropped = 0;
  while (std::getline(in, line)) {
    bool drop = false;
    for (const char* key : keys) {
      if (line.compare(0, strlen(key) + 1, std::string(key) + " ") == 0) drop = true;
    }
    if (drop) {
      ++dropped;
    } else {
      out += line + "\n";
    }
  }
  // A key that is not in the catalogue would make the caller's test vacuous.
  if (dropped != keys.size()) throw std::runtime_error("catalogWithout: a named key is missing");
  return out;
}

void throwIfFailed(const base::Status& status, const std::string& prefix) {
  if (!status.ok()) throw std::runtime_error(prefix + status.message());
}

MapFixture::MapFixture(const std::string& catalogText) : mapPath_(dir_.file("datamap")) {
  throwIfFailed(dmhost::HostDatamap::createFromCatalogText(mapPath_, catalogText, "test catalogue"),
                "cannot create map: ");
  throwIfFailed(writer_.open(mapPath_), "cannot open map: ");
  setenv("DATAMAP_FILE", mapPath_.c_str(), 1);
  dm_close_map(&dm);
  if (dm_open_map(&dm) != 0) throw std::runtime_error("dm_open_map failed on " + mapPath_);
}

MapFixture::~MapFixture() {
  dm_close_map(&dm);
  writer_.close();
  unsetenv("DATAMAP_FILE");
}

void MapFixture::set(const std::string& key, const std::string& value) {
  throwIfFailed(writer_.setText(key, value));
}

void MapFixture::fail(const std::string& key, int code) {
  throwIfFailed(writer_.setFail(key, code));
}

void MapFixture::writeBlock(int block, size_t offset, const std::string& bytes) {
  writeBlock(block, offset, bytes.data(), bytes.size());
}

void MapFixture::writeBlock(int block, size_t offset, const void* data, size_t length) {
  throwIfFailed(writer_.writeBlock(block, offset, data, length));
}

}  // namespace testsupport
