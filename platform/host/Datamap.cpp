// Host implementation of the datamap library calls (platform/datamap.h) over
// the shared map file. Reads check, in order: handle open and map intact (-1),
// index (-3, also for an index whose key moved in a replacement map), injected
// failure code, type conversion (-4), then copy the value under the entry's
// sequence lock (-6 when a writer stays inside too long). The type and size of
// an entry are the handle's private copies taken at open (MapView), so a
// damaged record can give a wrong value but never a wrong-sized copy.
//
// Thread-safety: any number of threads may use one open handle at once.
#include <string.h>

#include <memory>
#include <string>

#include "hoststore/EntrySeqLock.h"
#include "hoststore/HostDatamap.h"
#include "hoststore/MapHandle.h"
#include "hoststore/MappedMap.h"
#include "hoststore/NumericValue.h"
#include "platform/datamap.h"

using dmhost::EntrySeqLock;
using dmhost::MapHandle;
using dmhost::MappedMap;
using dmhost::MapRecord;
using dmhost::NumericValue;

namespace {

MapHandle* handleOf(const DM_SYS_DATA_BLOK_USER* dm) {
  if (dm == nullptr || dm->impl == nullptr) return nullptr;
  return static_cast<MapHandle*>(dm->impl);
}

// The handle's current map, or null when the handle is closed or its map broken.
const MappedMap* mapOf(const DM_SYS_DATA_BLOK_USER* dm) {
  MapHandle* handle = handleOf(dm);
  if (handle == nullptr) return nullptr;
  const MappedMap* map = handle->current();
  return map->broken() ? nullptr : map;
}

// Runs the common checks and hands the key's type and a consistent copy of its
// value to convert(type, storage), which writes the result and returns 0, or
// returns DM_ERR_TYPE without writing. accepts(type) is checked before copying.
template <typename Accepts, typename Convert>
int readEntry(const DM_SYS_DATA_BLOK_USER* dm, unsigned int index, Accepts accepts,
              Convert convert) {
  const MappedMap* map = mapOf(dm);
  if (map == nullptr) return DM_ERR_MAP;
  const dmhost::MapView& view = map->view();
  int usableType = view.usableType(index);
  if (usableType < 0) return DM_ERR_INDEX;
  const MapRecord& record = *view.record(index);
  uint32_t type = static_cast<uint32_t>(usableType);
  int injected = EntrySeqLock::failCode(record);
  if (injected < 0) return injected;  // a damaged positive code is no injection
  if (!accepts(type)) return DM_ERR_TYPE;
  uint32_t words[dmhost::kValueCapacity / 4];
  int status = EntrySeqLock::read(record, type, words);
  if (status != 0) return status;
  if (map->broken()) return DM_ERR_MAP;  // the copy touched a page lost to truncation
  return convert(type, words);
}

template <typename T>
int readNumber(const DM_SYS_DATA_BLOK_USER* dm, unsigned int index, T* value) {
  return readEntry(dm, index, NumericValue::isNumericType,
                   [value](uint32_t type, const uint32_t* storage) {
                     NumericValue number = NumericValue::fromUnsigned(0);
                     if (!NumericValue::decode(type, storage, &number)) return int{DM_ERR_TYPE};
                     if (value != nullptr) *value = number.template as<T>();
                     return 0;
                   });
}

bool isStringType(uint32_t type) {
  return type == DM_TYPE_STRING16 || type == DM_TYPE_STRING32 || type == DM_TYPE_STRING64;
}

bool isTimestampType(uint32_t type) { return type == DM_TYPE_TS8 || type == DM_TYPE_TS12; }

// Copies a timestamp key's value into out (length bytes), zero-extended.
int readTimestamp(const DM_SYS_DATA_BLOK_USER* dm, unsigned int index, void* out, size_t length) {
  return readEntry(dm, index, isTimestampType,
                   [out, length](uint32_t type, const uint32_t* storage) {
                     unsigned char bytes[12] = {};
                     memcpy(bytes, storage, dmhost::storageSize(type));
                     if (out != nullptr) memcpy(out, bytes, length);
                     return 0;
                   });
}

int mapBlock(DM_SYS_DATA_BLOK_USER* dm, int number, bool user, unsigned int* size, void** block,
             unsigned int* flags) {
  MapHandle* handle = handleOf(dm);
  if (handle == nullptr) return DM_ERR_MAP;
  bool allowed = user ? (number == 18 || number == 19) : (number == 1 || number == 2);
  unsigned char* start = allowed ? handle->block(number) : nullptr;
  if (start == nullptr) return DM_ERR_NO_BLOCK;
  if (size != nullptr) *size = static_cast<unsigned int>(dmhost::kBlockSize);
  if (block != nullptr) *block = start;
  if (flags != nullptr) *flags = 0;
  return 0;
}

}  // namespace

extern "C" {

int dm_open_map(DM_SYS_DATA_BLOK_USER* dm) {
  if (dm == nullptr) return DM_ERR_MAP;
  dm_close_map(dm);
  std::unique_ptr<MapHandle> handle(new MapHandle());
  if (!handle->open(dmhost::mapPath()).ok()) return DM_ERR_MAP;
  dm->impl = handle.release();  // owned by the handle until dm_close_map
  return 0;
}

int dm_close_map(DM_SYS_DATA_BLOK_USER* dm) {
  if (dm == nullptr || dm->impl == nullptr) return DM_ERR_MAP;
  delete static_cast<MapHandle*>(dm->impl);
  dm->impl = nullptr;
  return 0;
}

int dm_get_info(DM_SYS_DATA_BLOK_USER* dm, const char* key, unsigned int* index, unsigned int* size,
                unsigned int* type) {
  const MappedMap* map = mapOf(dm);
  if (map == nullptr) return DM_ERR_MAP;
  const dmhost::MapView& view = map->view();
  uint32_t found = view.find(key);
  if (found >= view.keyCount()) return DM_ERR_NO_KEY;
  view.markCurrent(found);
  if (index != nullptr) *index = found;
  if (size != nullptr) *size = dmhost::storageSize(view.type(found));
  if (type != nullptr) *type = view.type(found);
  return 0;
}

int dm_get_sys_data_handle(DM_SYS_DATA_BLOK_USER* dm, int block_number, unsigned int* size,
                           void** block, unsigned int* flags) {
  return mapBlock(dm, block_number, false, size, block, flags);
}

int dm_get_user_data_handle(DM_SYS_DATA_BLOK_USER* dm, int block_number, unsigned int* size,
                            void** block, unsigned int* flags) {
  return mapBlock(dm, block_number, true, size, block, flags);
}

// The host map has no producers to wait for.
int dm_wait_synch(DM_SYS_DATA_BLOK_USER*, int, unsigned int* result) {
  if (result != nullptr) *result = 0;
  return 0;
}

// Every typed read is the same checked read of the entry as its own type; the
// time-out and status arguments have no meaning on the host.
#define LDU_DM_READ(name, type)                                                            \
  int name(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, type* value, unsigned long long, \
           unsigned int*) {                                                                \
    return readNumber(dm, index, value);                                                   \
  }

LDU_DM_READ(dm_read_flt64, double)
LDU_DM_READ(dm_read_flt32, float)
LDU_DM_READ(dm_read_uint16, unsigned short)
LDU_DM_READ(dm_read_uint32, unsigned int)
LDU_DM_READ(dm_read_uint64, unsigned long long)
LDU_DM_READ(dm_read_sint16, short)
LDU_DM_READ(dm_read_sint32, int)
LDU_DM_READ(dm_read_sint64, long long)
LDU_DM_READ(dm_read_boolean, bool)

#undef LDU_DM_READ

int dm_read_STRING(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, char* value, unsigned long long,
                   unsigned int*) {
  return readEntry(dm, index, isStringType, [value](uint32_t type, const uint32_t* storage) {
    if (value == nullptr) return 0;
    size_t size = dmhost::storageSize(type);
    memcpy(value, storage, size);
    value[size - 1] = '\0';  // a damaged map may lack the terminator
    return 0;
  });
}

int dm_read_zul_timestamp_b8(DM_SYS_DATA_BLOK_USER* dm, unsigned int index,
                             ZUL_TIMESTAMP_8B_STRUCT* value, unsigned long long, unsigned int*) {
  return readTimestamp(dm, index, value, sizeof(*value));
}

int dm_read_zul_timestamp_b12(DM_SYS_DATA_BLOK_USER* dm, unsigned int index,
                              ZUL_TIMESTAMP_12B_STRUCT* value, unsigned long long, unsigned int*) {
  return readTimestamp(dm, index, value, sizeof(*value));
}

}  // extern "C"
