// How updaters use the datamap: each key gets a record (index plus storage of the
// key's type), resolved once by key text and then read by index every cycle.
// Failures are reported on standard error as one line: a fixed message, the
// status and a line end; the record keeps its previous value.
//
// Thread-safety: a record belongs to one updater thread; the helpers themselves
// keep no state and use the shared handle `dm`.
#ifndef LIVEDATA_DMACCESS_H_
#define LIVEDATA_DMACCESS_H_

#include <stddef.h>

#include "platform/datamap.h"

// Storage size of text records: the longest string a datamap key holds.
constexpr int kDmTextSize = 64;

template <typename T>
struct DmKey {
  unsigned int index = DM_INDEX_NONE;
  T value{};
};

struct DmTextKey {
  unsigned int index = DM_INDEX_NONE;
  char value[kDmTextSize] = {};
};

// Writes message, code and a line end to standard error, as one write.
void report_dm_error(const char* message, int code);

// dm_get_info of key on `dm` into *index. On failure prints
// "dm_get_info error on key \"KEY\" with error code= CODE" and leaves *index.
int resolve_dm_key(const char* key, unsigned int* index);
// The same, but a failure names reportedKey (some firmware texts name another key).
int resolve_dm_key_as(const char* key, const char* reportedKey, unsigned int* index);

// Maps system block 1 or 2 on `dm`; on failure prints
// "dm_get_sys_data_handle error on key \"NAME\" with error code= CODE".
int map_sys_block(int number, const char* name, const unsigned char** block);
// The same, also giving the block's length in bytes in *size (0 on failure).
int map_sys_block(int number, const char* name, const unsigned char** block, size_t* size);

// Typed reads of a record from `dm`; return the read's status.
int dm_read(DmKey<double>& key);
int dm_read(DmKey<float>& key);
int dm_read(DmKey<unsigned short>& key);
int dm_read(DmKey<unsigned int>& key);
int dm_read(DmKey<unsigned long long>& key);
int dm_read(DmKey<bool>& key);
int dm_read(DmKey<ZUL_TIMESTAMP_8B_STRUCT>& key);
int dm_read(DmTextKey& key);

// Reads the record and reports a failure with message; returns the status.
template <typename Record>
int read_dm_key(Record& key, const char* message) {
  int status = dm_read(key);
  if (status < 0) report_dm_error(message, status);
  return status;
}

// Resolves key with dm_get_info into *index, then reads it as uint16. Returns the
// lookup's negative status, -1 when the read failed, 0 on success.
int dm_key_read_uint16(DM_SYS_DATA_BLOK_USER* handle, const char* key, unsigned short* value,
                       unsigned int* index);

#endif  // LIVEDATA_DMACCESS_H_
