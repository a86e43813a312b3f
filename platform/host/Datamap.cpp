// Host implementation of the datamap library calls (platform/datamap.h) over
// the shared map file. Reads check, in order: handle open (-1), index (-3),
// injected failure code, type conversion (-4), then copy the value under the
// entry's sequence lock (-6 when a writer stays inside too long).
//
// Thread-safety: any number of threads may use one open handle at once.
#include <string.h>

#include <string>

#include "platform/datamap.h"
#include "platform/host/EntrySeqLock.h"
#include "platform/host/HostDatamap.h"
#include "platform/host/MappedMap.h"
#include "platform/host/NumericValue.h"

using dmhost::EntrySeqLock;
using dmhost::MappedMap;
using dmhost::MapRecord;
using dmhost::NumericValue;

namespace {

const MappedMap* mapOf(const DM_SYS_DATA_BLOK_USER* dm) {
  if (dm == nullptr || dm->impl == nullptr) return nullptr;
  return static_cast<const MappedMap*>(dm->impl);
}

// Runs the common checks and hands the record and a consistent copy of its
// value to convert(type, storage), which writes the result and returns 0, or
// returns DM_ERR_TYPE without writing. accepts(type) is checked before copying.
template <typename Accepts, typename Convert>
int readEntry(const DM_SYS_DATA_BLOK_USER* dm, unsigned int index, Accepts accepts,
              Convert convert) {
  const MappedMap* map = mapOf(dm);
  if (map == nullptr) return DM_ERR_MAP;
  const MapRecord* record = map->view().record(index);
  if (record == nullptr) return DM_ERR_INDEX;
  int injected = EntrySeqLock::failCode(*record);
  if (injected != 0) return injected;
  if (!accepts(record->type)) return DM_ERR_TYPE;
  uint32_t words[dmhost::kValueCapacity / 4];
  int status = EntrySeqLock::read(*record, words);
  if (status != 0) return status;
  return convert(*record, words);
}

template <typename T>
int readNumber(const DM_SYS_DATA_BLOK_USER* dm, unsigned int index, T* value) {
  return readEntry(
      dm, index, NumericValue::isNumericType,
      [value](const MapRecord& record, const uint32_t* storage) {
        NumericValue number = NumericValue::fromUnsigned(0);
        if (!NumericValue::decode(record.type, storage, &number)) return int{DM_ERR_TYPE};
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
                   [out, length](const MapRecord& record, const uint32_t* storage) {
                     unsigned char bytes[12] = {};
                     memcpy(bytes, storage, record.size < sizeof(bytes) ? record.size : 12);
                     if (out != nullptr) memcpy(out, bytes, length);
                     return 0;
                   });
}

int mapBlock(DM_SYS_DATA_BLOK_USER* dm, int number, bool user, unsigned int* size, void** block,
             unsigned int* flags) {
  const MappedMap* map = mapOf(dm);
  if (map == nullptr) return DM_ERR_MAP;
  bool allowed = user ? (number == 18 || number == 19) : (number == 1 || number == 2);
  unsigned char* start = allowed ? map->view().block(number) : nullptr;
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
  MappedMap* map = new MappedMap();
  std::string error;
  if (!map->open(dmhost::mapPath(), MappedMap::kReadWriteOrPrivate, &error)) {
    delete map;
    return DM_ERR_MAP;
  }
  dm->impl = map;
  return 0;
}

int dm_close_map(DM_SYS_DATA_BLOK_USER* dm) {
  if (dm == nullptr || dm->impl == nullptr) return DM_ERR_MAP;
  delete static_cast<MappedMap*>(dm->impl);
  dm->impl = nullptr;
  return 0;
}

int dm_get_info(DM_SYS_DATA_BLOK_USER* dm, const char* key, unsigned int* index,
                unsigned int* size, unsigned int* type) {
  const MappedMap* map = mapOf(dm);
  if (map == nullptr) return DM_ERR_MAP;
  uint32_t found = map->view().find(key);
  const MapRecord* record = map->view().record(found);
  if (record == nullptr) return DM_ERR_NO_KEY;
  if (index != nullptr) *index = found;
  if (size != nullptr) *size = record->size;
  if (type != nullptr) *type = record->type;
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

int dm_read_flt64(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, double* value,
                  unsigned long long, unsigned int*) {
  return readNumber(dm, index, value);
}

int dm_read_flt32(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, float* value,
                  unsigned long long, unsigned int*) {
  return readNumber(dm, index, value);
}

int dm_read_uint16(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, unsigned short* value,
                   unsigned long long, unsigned int*) {
  return readNumber(dm, index, value);
}

int dm_read_uint32(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, unsigned int* value,
                   unsigned long long, unsigned int*) {
  return readNumber(dm, index, value);
}

int dm_read_uint64(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, unsigned long long* value,
                   unsigned long long, unsigned int*) {
  return readNumber(dm, index, value);
}

int dm_read_sint16(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, short* value,
                   unsigned long long, unsigned int*) {
  return readNumber(dm, index, value);
}

int dm_read_sint32(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, int* value, unsigned long long,
                   unsigned int*) {
  return readNumber(dm, index, value);
}

int dm_read_sint64(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, long long* value,
                   unsigned long long, unsigned int*) {
  return readNumber(dm, index, value);
}

int dm_read_boolean(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, bool* value,
                    unsigned long long, unsigned int*) {
  return readNumber(dm, index, value);
}

int dm_read_STRING(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, char* value,
                   unsigned long long, unsigned int*) {
  return readEntry(dm, index, isStringType,
                   [value](const MapRecord& record, const uint32_t* storage) {
                     if (value != nullptr) memcpy(value, storage, record.size);
                     return 0;
                   });
}

int dm_read_zul_timestamp_b8(DM_SYS_DATA_BLOK_USER* dm, unsigned int index,
                             ZUL_TIMESTAMP_8B_STRUCT* value, unsigned long long, unsigned int*) {
  return readTimestamp(dm, index, value, sizeof(*value));
}

int dm_read_zul_timestamp_b12(DM_SYS_DATA_BLOK_USER* dm, unsigned int index,
                              ZUL_TIMESTAMP_12B_STRUCT* value, unsigned long long,
                              unsigned int*) {
  return readTimestamp(dm, index, value, sizeof(*value));
}

}  // extern "C"
