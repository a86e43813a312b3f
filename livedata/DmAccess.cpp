#include "livedata/DmAccess.h"

#include <stdio.h>

#include "livedata/Globals.h"

void report_dm_error(const char* message, int code) { fprintf(stderr, "%s%d\n", message, code); }

int resolve_dm_key(const char* key, unsigned int* index) {
  return resolve_dm_key_as(key, key, index);
}

int resolve_dm_key_as(const char* key, const char* reportedKey, unsigned int* index) {
  unsigned int size = 0;
  unsigned int type = 0;
  int status = dm_get_info(&dm, key, index, &size, &type);
  if (status < 0) {
    fprintf(stderr, "dm_get_info error on key \"%s\" with error code= %d\n", reportedKey, status);
  }
  return status;
}

int map_sys_block(int number, const char* name, const unsigned char** block) {
  size_t size = 0;
  return map_sys_block(number, name, block, &size);
}

int map_sys_block(int number, const char* name, const unsigned char** block, size_t* blockSize) {
  *blockSize = 0;
  unsigned int size = 0;
  unsigned int flags = 0;
  void* start = nullptr;
  int status = dm_get_sys_data_handle(&dm, number, &size, &start, &flags);
  if (status < 0) {
    fprintf(stderr, "dm_get_sys_data_handle error on key \"%s\" with error code= %d\n", name,
            status);
    return status;
  }
  *block = static_cast<const unsigned char*>(start);
  *blockSize = size;
  return status;
}

#define DM_READ_RECORD(RecordType, Call)                  \
  int dm_read(RecordType& key) {                          \
    unsigned int scratch = 0;                             \
    return Call(&dm, key.index, &key.value, 0, &scratch); \
  }

DM_READ_RECORD(DmKey<double>, dm_read_flt64)
DM_READ_RECORD(DmKey<float>, dm_read_flt32)
DM_READ_RECORD(DmKey<unsigned short>, dm_read_uint16)
DM_READ_RECORD(DmKey<unsigned int>, dm_read_uint32)
DM_READ_RECORD(DmKey<unsigned long long>, dm_read_uint64)
DM_READ_RECORD(DmKey<bool>, dm_read_boolean)
DM_READ_RECORD(DmKey<ZUL_TIMESTAMP_8B_STRUCT>, dm_read_zul_timestamp_b8)

int dm_read(DmTextKey& key) {
  unsigned int scratch = 0;
  return dm_read_STRING(&dm, key.index, key.value, 0, &scratch);
}

int dm_key_read_uint16(DM_SYS_DATA_BLOK_USER* handle, const char* key, unsigned short* value,
                       unsigned int* index) {
  unsigned int size = 0;
  unsigned int type = 0;
  int status = dm_get_info(handle, key, index, &size, &type);
  if (status < 0) return status;
  unsigned int scratch = 0;
  return dm_read_uint16(handle, *index, value, 0, &scratch) < 0 ? -1 : 0;
}
