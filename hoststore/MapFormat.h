// On-file layout of the host datamap and a validated view of one mapping.
//
// File layout (all words in the byte order of the machine that made the file):
//   MapHeader (64 bytes)
//   keyCount MapRecord entries (224 bytes each)
//   hash table: hashSlots 32-bit words (0 = empty, else record index + 1)
//   the four data blocks 1, 2, 18, 19 (kBlockSize bytes each, 4096-aligned start)
// The layout is fully determined by keyCount and hashSlots, so a view checks
// every offset and size against what they imply and against the file size.
//
// Any process that can write the file can damage it while it is mapped, so a
// view reads the layout, every record's type and key text once at attach()
// and keeps them privately; later accesses never trust those shared copies.
// What is read from shared memory on every access (values, sequence counters,
// failure codes, hash entries, the superseded mark) is checked before use.
//
// Thread-safety: a MapView is immutable after attach() apart from the per-index
// stale marks, which are relaxed atomics; it may be shared by threads. The
// value, sequence counter and failure code are accessed only atomically (see
// EntrySeqLock).
#ifndef HOSTSTORE_MAPFORMAT_H_
#define HOSTSTORE_MAPFORMAT_H_

#include <stddef.h>
#include <stdint.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace dmhost {

constexpr char kMapMagic[8] = {'L', 'D', 'U', 'D', 'M', 'A', 'P', '\0'};
constexpr uint32_t kMapFormatVersion = 1;
constexpr uint32_t kByteOrderMark = 0x01020304u;
constexpr size_t kKeyCapacity = 128;   // key text including its NUL
constexpr size_t kValueCapacity = 64;  // largest value (string64)
constexpr uint32_t kMaxKeys = 1u << 20;
constexpr int kBlockNumbers[4] = {1, 2, 18, 19};
constexpr size_t kBlockAlign = 4096;

struct MapHeader {
  char magic[8];
  uint32_t formatVersion;
  uint32_t byteOrder;
  uint32_t headerSize;
  uint32_t recordSize;
  uint32_t keyCount;
  uint32_t hashSlots;
  uint32_t recordsOffset;
  uint32_t hashOffset;
  uint32_t blocksOffset;
  uint32_t blockCount;
  uint32_t blockSize;
  uint32_t superseded;  // 0; set once a newer map has replaced this file at its path
  uint64_t totalSize;
};
static_assert(sizeof(MapHeader) == 64, "header layout");
static_assert(offsetof(MapHeader, superseded) == 52, "superseded mark position");

struct MapRecord {
  uint32_t seq;      // sequence counter: odd while a writer is inside
  int32_t failCode;  // injected read failure, 0 = none
  uint32_t type;     // type code as dm_get_info reports it
  uint32_t size;     // storage size in bytes (<= kValueCapacity)
  uint32_t reserved[4];
  uint32_t value[kValueCapacity / 4];  // accessed word by word, atomically
  char key[kKeyCapacity];
};
static_assert(sizeof(MapRecord) == 224, "record layout");

// Storage size of a type code; every code 0..255 has one.
uint32_t storageSize(uint32_t type);
// FNV-1a hash of a key text.
uint32_t keyHash(const char* key, size_t length);
// Number of hash slots for keyCount keys (a power of two, load <= 1/2).
uint32_t hashSlotsFor(uint32_t keyCount);
// Offset of data block number (1, 2, 18, 19) from the start of the first
// block, or -1 when there is no such block.
long blockOffset(int number);
// Fills a header with the layout implied by keyCount.
void describeLayout(uint32_t keyCount, MapHeader* header);

// A validated view of a mapped map file.
class MapView {
 public:
  MapView() = default;
  MapView(MapView&&) = default;
  MapView& operator=(MapView&&) = default;

  // Checks the header and every record of the mapping [base, base + size) and
  // copies the layout, types and keys. Returns false (and leaves the view
  // empty) when anything is inconsistent.
  bool attach(unsigned char* base, size_t size);

  uint32_t keyCount() const { return keyCount_; }
  // Record by index; null when the index names no key.
  MapRecord* record(uint32_t index) const { return index < keyCount_ ? records_ + index : nullptr; }
  // Type code of the key at index as validated at attach; 0 when none.
  uint32_t type(uint32_t index) const {
    return index < keyCount_ ? entries_[index].load(std::memory_order_relaxed) & kTypeMask : 0;
  }
  // True when index names a key and has not been marked stale.
  bool usable(uint32_t index) const { return usableType(index) >= 0; }
  // The type code as type() when usable(index), else -1 (one load).
  int usableType(uint32_t index) const {
    if (index >= keyCount_) return -1;
    uint16_t entry = entries_[index].load(std::memory_order_relaxed);
    return (entry & kStale) != 0 ? -1 : static_cast<int>(entry & kTypeMask);
  }
  // Key text at index as validated at attach; empty when none.
  std::string key(uint32_t index) const;
  // Index of key, or DM_INDEX_NONE. Hash entries are checked before use.
  uint32_t find(const char* key) const;
  // Start of data block number (1, 2, 18, 19), or null.
  unsigned char* block(int number) const;
  // File offset of the first data block.
  uint32_t blocksOffset() const { return blocksOffset_; }

  // True once a writer has marked this file replaced (one relaxed load).
  bool superseded() const {
    return superseded_ != nullptr && __atomic_load_n(superseded_, __ATOMIC_RELAXED) != 0;
  }
  // Marks every index whose key differs from the one older names at the same
  // index (or that is stale there) stale: reads through it must fail.
  void inheritStaleMarks(const MapView& older) const;
  // An index handed out again by a lookup names this view's key from now on.
  void markCurrent(uint32_t index) const;

 private:
  static constexpr uint16_t kTypeMask = 0xFF;
  static constexpr uint16_t kStale = 0x100;

  bool recordValid(const MapRecord& record) const;
  void copyEntries();

  unsigned char* base_ = nullptr;
  MapRecord* records_ = nullptr;
  uint32_t* hash_ = nullptr;
  unsigned char* blocks_ = nullptr;
  uint32_t* superseded_ = nullptr;
  uint32_t keyCount_ = 0;
  uint32_t hashSlots_ = 0;
  uint32_t blocksOffset_ = 0;
  std::unique_ptr<std::atomic<uint16_t>[]> entries_;  // type | kStale
  // Key texts back to back: key i is keyText_[keyStart_[i], keyStart_[i + 1]).
  std::string keyText_;
  std::vector<uint32_t> keyStart_;
};

}  // namespace dmhost

#endif  // HOSTSTORE_MAPFORMAT_H_
