#include "bench/DatamapReadCounter.h"

#include <atomic>

#include "platform/datamap.h"

namespace {
std::atomic<long long> reads{0};
}  // namespace

long long datamap_read_count() { return reads.load(std::memory_order_relaxed); }

// One wrapper per read function: count, then call the real one.
#define LDU_COUNTED_READ(name, type)                                                           \
  extern "C" int __real_##name(DM_SYS_DATA_BLOK_USER*, unsigned int, type*, unsigned long long, \
                               unsigned int*);                                                 \
  extern "C" int __wrap_##name(DM_SYS_DATA_BLOK_USER* dm, unsigned int index, type* value,      \
                               unsigned long long option, unsigned int* scratch) {             \
    reads.fetch_add(1, std::memory_order_relaxed);                                             \
    return __real_##name(dm, index, value, option, scratch);                                   \
  }

LDU_COUNTED_READ(dm_read_flt64, double)
LDU_COUNTED_READ(dm_read_flt32, float)
LDU_COUNTED_READ(dm_read_uint16, unsigned short)
LDU_COUNTED_READ(dm_read_uint32, unsigned int)
LDU_COUNTED_READ(dm_read_uint64, unsigned long long)
LDU_COUNTED_READ(dm_read_sint16, short)
LDU_COUNTED_READ(dm_read_sint32, int)
LDU_COUNTED_READ(dm_read_sint64, long long)
LDU_COUNTED_READ(dm_read_boolean, bool)
LDU_COUNTED_READ(dm_read_STRING, char)
LDU_COUNTED_READ(dm_read_zul_timestamp_b8, ZUL_TIMESTAMP_8B_STRUCT)
LDU_COUNTED_READ(dm_read_zul_timestamp_b12, ZUL_TIMESTAMP_12B_STRUCT)
