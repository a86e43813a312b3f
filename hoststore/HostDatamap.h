// Host implementation of the datamap store: the writer's side.
//
// The map is one file (normally in /dev/shm) that every process maps shared: a
// header, the key records with their values, a hash table for lookups by key and
// the four data blocks (1, 2, 18, 19; 131072 bytes each). Readers use the
// platform calls of platform/datamap.h; writers (dmtool, meter-sim, tests) use
// this class. Each key record carries a sequence counter, so that a reader never
// sees a half-written value, and an injected failure code (`dmtool fail`).
//
// Thread-safety: a HostDatamap object is for one thread; any number of objects in
// any number of processes may write the same map at once (writes to one entry
// are serialised by the entry's sequence counter).
#ifndef HOSTSTORE_HOSTDATAMAP_H_
#define HOSTSTORE_HOSTDATAMAP_H_

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

#include "base/Status.h"
#include "platform/datamap.h"

namespace dmhost {

// Path of the map: $DATAMAP_FILE when set and non-empty, else "/dev/shm/datamap".
std::string mapPath();

// Size of each data block in bytes.
constexpr size_t kBlockSize = 131072;

struct KeyInfo {
  uint32_t index = DM_INDEX_NONE;
  uint32_t type = 0;  // type code as dm_get_info reports it
  uint32_t size = 0;  // storage size in bytes
  std::string key;
};

class HostDatamap {
 public:
  // Builds a new map at path from catalogue text and replaces any file there
  // atomically (a temporary file renamed into place). origin names the catalogue
  // in error messages ("FILE:LINE: ..."). On failure nothing is left at path
  // (an existing map stays as it was).
  static base::Status createFromCatalogText(const std::string& path, const std::string& text,
                                            const std::string& origin);
  static base::Status createFromCatalogFile(const std::string& path,
                                            const std::string& catalogPath);

  HostDatamap();
  ~HostDatamap();
  HostDatamap(const HostDatamap&) = delete;
  HostDatamap& operator=(const HostDatamap&) = delete;

  // Maps an existing map read-write. Fails when it is missing or invalid.
  base::Status open(const std::string& path);
  void close();
  bool isOpen() const;
  // True once the file was truncated under the mapping: writes then go to
  // zero pages of this process only (see MappingFaultGuard).
  bool broken() const;

  bool lookup(const std::string& key, KeyInfo* info) const;
  std::vector<KeyInfo> list() const;

  // Value text forms (those of the catalogue): integers decimal or 0x-hex, floating
  // as strtod, boolean 0/1/true/false, strings as given (cut to size - 1),
  // timestamps "CCYY-MM-DD hh:mm:ss".
  base::Status setText(const std::string& key, const std::string& value);
  base::Status getText(const std::string& key, std::string* value) const;
  // Every later dm_read_* of key returns code (negative); 0 clears.
  base::Status setFail(const std::string& key, int code);

  // Typed writes by index, converted to the key's type like a C cast; false when
  // the index names no key or the key's type does not take such a value
  // (numbers go to numeric and boolean keys, text to string keys, timestamps to
  // timestamp keys).
  bool setDouble(uint32_t index, double value);
  bool setSigned(uint32_t index, long long value);
  bool setUnsigned(uint32_t index, unsigned long long value);
  bool setString(uint32_t index, const std::string& value);
  bool setTimestamp(uint32_t index, const ZUL_TIMESTAMP_12B_STRUCT& value);

  // Data blocks 1, 2, 18 and 19: raw memory in native byte order.
  unsigned char* block(int number);  // null when no such block
  base::Status writeBlock(int number, size_t offset, const void* data, size_t length);
  base::Status readBlock(int number, size_t offset, size_t length, std::string* out) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace dmhost

#endif  // HOSTSTORE_HOSTDATAMAP_H_
