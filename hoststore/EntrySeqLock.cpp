#include "hoststore/EntrySeqLock.h"

#include <sched.h>
#include <string.h>

#include <chrono>

#include "platform/datamap.h"

namespace dmhost {

namespace {

constexpr int kSpinRounds = 64;

long long nowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

size_t wordCount(uint32_t type) {
  size_t size = storageSize(type);
  return (size <= kValueCapacity ? size + 3 : kValueCapacity) / 4;
}

// Spins first, then yields the processor, so a preempted writer can finish.
void pause(int round) {
  if (round >= kSpinRounds) sched_yield();
}

}  // namespace

int EntrySeqLock::read(const MapRecord& record, uint32_t type, uint32_t* out) {
  const size_t words = wordCount(type);
  // All words zeroed first by a fixed-size memset, which the compiler writes
  // inline as a few wide stores (a loop over the words past the value cost more
  // than the copy itself); the copy below overwrites the value's words.
  memset(out, 0, kValueCapacity);
  long long deadline = 0;
  for (int round = 0;; ++round) {
    uint32_t before = __atomic_load_n(&record.seq, __ATOMIC_ACQUIRE);
    if ((before & 1u) == 0) {
      for (size_t i = 0; i < words; ++i)
        out[i] = __atomic_load_n(&record.value[i], __ATOMIC_ACQUIRE);
      uint32_t after = __atomic_load_n(&record.seq, __ATOMIC_ACQUIRE);
      if (after == before) return 0;
    }
    if (round >= kSpinRounds) {
      long long now = nowNs();
      if (deadline == 0) {
        deadline = now + kReadPatienceNs;
      } else if (now > deadline) {
        return DM_ERR_BUSY;
      }
    }
    pause(round);
  }
}

uint32_t EntrySeqLock::acquireForWrite(MapRecord& record) {
  uint32_t seen = __atomic_load_n(&record.seq, __ATOMIC_RELAXED);
  uint32_t stuckValue = 0;
  long long stuckSince = 0;
  for (int round = 0;; ++round) {
    if ((seen & 1u) == 0) {
      if (__atomic_compare_exchange_n(&record.seq, &seen, seen + 1, false, __ATOMIC_ACQ_REL,
                                      __ATOMIC_RELAXED)) {
        return seen + 1;
      }
      continue;  // seen now holds the current value
    }
    if (round >= kSpinRounds) {
      long long now = nowNs();
      if (stuckSince == 0 || stuckValue != seen) {
        stuckValue = seen;
        stuckSince = now;
      } else if (now - stuckSince > kTakeoverAfterNs) {
        if (__atomic_compare_exchange_n(&record.seq, &seen, seen + 2, false, __ATOMIC_ACQ_REL,
                                        __ATOMIC_RELAXED)) {
          return seen + 2;
        }
        continue;
      }
    }
    pause(round);
    seen = __atomic_load_n(&record.seq, __ATOMIC_RELAXED);
  }
}

void EntrySeqLock::write(MapRecord& record, const void* data, size_t size) {
  uint32_t words[kValueCapacity / 4] = {};
  memcpy(words, data, size <= kValueCapacity ? size : kValueCapacity);
  uint32_t owned = acquireForWrite(record);
  for (size_t i = 0; i < kValueCapacity / 4; ++i) {
    __atomic_store_n(&record.value[i], words[i], __ATOMIC_RELEASE);
  }
  // A compare-and-swap rather than a store: if another writer took the entry
  // over meanwhile (we were presumed dead), its counter must not be clobbered.
  __atomic_compare_exchange_n(&record.seq, &owned, owned + 1, false, __ATOMIC_RELEASE,
                              __ATOMIC_RELAXED);
}

int EntrySeqLock::failCode(const MapRecord& record) {
  return __atomic_load_n(&record.failCode, __ATOMIC_RELAXED);
}

void EntrySeqLock::setFailCode(MapRecord& record, int code) {
  __atomic_store_n(&record.failCode, code, __ATOMIC_RELAXED);
}

void EntrySeqLock::abandonMidWrite(MapRecord& record) { acquireForWrite(record); }

}  // namespace dmhost
