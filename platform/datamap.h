// Calls of the meter's datamap library (libdatamap) that this program uses.
//
// The datamap is a keyed store of typed values in shared memory. A key is resolved
// once to an index with dm_get_info; every read then names the value by index.
// All calls return a signed status: negative is an error code, zero or positive
// is success. A failed call leaves its out-parameters untouched.
//
// Thread-safety: one handle may be used by many threads at once for lookups and
// reads; opening and closing a handle must not race with its use.
#ifndef PLATFORM_DATAMAP_H_
#define PLATFORM_DATAMAP_H_

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Type codes reported by dm_get_info.
enum {
  DM_TYPE_SINT16 = 1,
  DM_TYPE_UINT16 = 2,
  DM_TYPE_SINT32 = 3,
  DM_TYPE_UINT32 = 4,
  DM_TYPE_SINT64 = 5,
  DM_TYPE_UINT64 = 6,
  DM_TYPE_TS8 = 7,
  DM_TYPE_FLT32 = 17,
  DM_TYPE_FLT64 = 18,
  DM_TYPE_STRING16 = 19,
  DM_TYPE_STRING64 = 20,
  DM_TYPE_TS12 = 23,
  DM_TYPE_BOOLEAN = 24,
  DM_TYPE_STRING32 = 25
};

// Error codes.
enum {
  DM_ERR_MAP = -1,       // map file missing or invalid, or handle not open
  DM_ERR_NO_KEY = -2,    // unknown key (dm_get_info)
  DM_ERR_INDEX = -3,     // index names no key
  DM_ERR_TYPE = -4,      // the key's type cannot be converted to the one asked for
  DM_ERR_NO_BLOCK = -5,  // no such data block
  DM_ERR_BUSY = -6       // the entry stayed mid-write (a writer died); retry later
};

// Index value that names no key; key records start with it.
#define DM_INDEX_NONE 0xFFFFFFFFu

// The meter's 8-byte timestamp: one unsigned byte per field.
typedef struct ZUL_TIMESTAMP_8B_STRUCT {
  uint8_t century;  // e.g. 20
  uint8_t year;     // year within the century, e.g. 22
  uint8_t month;    // 1-12
  uint8_t day;      // 1-31
  uint8_t hour;     // 0-23
  uint8_t minute;
  uint8_t second;
  uint8_t reserved;  // not printed by any layout
} ZUL_TIMESTAMP_8B_STRUCT;

// The meter's 12-byte timestamp: the 8-byte form followed by four more bytes
// (sub-second and zone information on the meter; zero on the host).
typedef struct ZUL_TIMESTAMP_12B_STRUCT {
  uint8_t century;
  uint8_t year;
  uint8_t month;
  uint8_t day;
  uint8_t hour;
  uint8_t minute;
  uint8_t second;
  uint8_t reserved;
  uint8_t extra[4];
} ZUL_TIMESTAMP_12B_STRUCT;

// A datamap handle. Zero-initialise before dm_open_map. The same type also
// names the shared data blocks that the block-mapping calls hand out.
typedef struct DM_SYS_DATA_BLOK_USER {
  void* impl;  // platform state; null while the handle is closed
} DM_SYS_DATA_BLOK_USER;

int dm_open_map(DM_SYS_DATA_BLOK_USER* dm);
int dm_close_map(DM_SYS_DATA_BLOK_USER* dm);

// Resolves a key. size receives the value's storage size in bytes, type its type code.
int dm_get_info(DM_SYS_DATA_BLOK_USER* dm, const char* key, unsigned int* index, unsigned int* size,
                unsigned int* type);

// Maps system data block 1 or 2 into the process. block receives the start of the
// block; size its length in bytes; flags is reserved (set to 0).
int dm_get_sys_data_handle(DM_SYS_DATA_BLOK_USER* dm, int block_number, unsigned int* size,
                           void** block, unsigned int* flags);
// Maps a user data block (18 and 19 on this meter) into the process.
int dm_get_user_data_handle(DM_SYS_DATA_BLOK_USER* dm, int block_number, unsigned int* size,
                            void** block, unsigned int* flags);

// Waits until the datamap's producers are in step (what = 203: the live readings).
int dm_wait_synch(DM_SYS_DATA_BLOK_USER* dm, int what, unsigned int* result);

// Typed reads by index. option is reserved and always 0; scratch receives a
// platform word of no meaning to callers.
int dm_read_flt64(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, double* value,
                  unsigned long long option, unsigned int* scratch);
int dm_read_flt32(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, float* value,
                  unsigned long long option, unsigned int* scratch);
int dm_read_uint16(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, unsigned short* value,
                   unsigned long long option, unsigned int* scratch);
int dm_read_uint32(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, unsigned int* value,
                   unsigned long long option, unsigned int* scratch);
int dm_read_uint64(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, unsigned long long* value,
                   unsigned long long option, unsigned int* scratch);
int dm_read_sint16(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, short* value,
                   unsigned long long option, unsigned int* scratch);
int dm_read_sint32(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, int* value,
                   unsigned long long option, unsigned int* scratch);
int dm_read_sint64(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, long long* value,
                   unsigned long long option, unsigned int* scratch);
int dm_read_boolean(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, bool* value,
                    unsigned long long option, unsigned int* scratch);
// Copies the key's whole declared size (16, 32 or 64 bytes, NUL-terminated) into value.
int dm_read_STRING(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, char* value,
                   unsigned long long option, unsigned int* scratch);
int dm_read_zul_timestamp_b8(DM_SYS_DATA_BLOK_USER* dm, unsigned int index,
                             ZUL_TIMESTAMP_8B_STRUCT* value, unsigned long long option,
                             unsigned int* scratch);
int dm_read_zul_timestamp_b12(DM_SYS_DATA_BLOK_USER* dm, unsigned int index,
                              ZUL_TIMESTAMP_12B_STRUCT* value, unsigned long long option,
                              unsigned int* scratch);

#ifdef __cplusplus
}
#endif

#endif  // PLATFORM_DATAMAP_H_
