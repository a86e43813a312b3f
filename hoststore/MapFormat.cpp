#include "hoststore/MapFormat.h"

#include <string.h>

#include "hoststore/HostDatamap.h"
#include "platform/datamap.h"

namespace dmhost {

uint32_t storageSize(uint32_t type) {
  switch (type) {
    case DM_TYPE_SINT16:
    case DM_TYPE_UINT16: return 2;
    case DM_TYPE_SINT32:
    case DM_TYPE_UINT32:
    case DM_TYPE_FLT32: return 4;
    case DM_TYPE_STRING16: return 16;
    case DM_TYPE_STRING32: return 32;
    case DM_TYPE_STRING64: return 64;
    case DM_TYPE_TS12: return 12;
    case DM_TYPE_BOOLEAN: return 1;
    default:  // 64-bit integers, ts8, flt64, the flt64 aliases and codes without a reader
      return 8;
  }
}

uint32_t keyHash(const char* key, size_t length) {
  uint32_t hash = 2166136261u;
  for (size_t i = 0; i < length; ++i) {
    hash ^= static_cast<unsigned char>(key[i]);
    hash *= 16777619u;
  }
  return hash;
}

uint32_t hashSlotsFor(uint32_t keyCount) {
  uint32_t slots = 8;
  while (slots < 2 * keyCount) slots *= 2;
  return slots;
}

long blockOffset(int number) {
  for (size_t i = 0; i < 4; ++i) {
    if (kBlockNumbers[i] == number) return static_cast<long>(i * kBlockSize);
  }
  return -1;
}

void describeLayout(uint32_t keyCount, MapHeader* header) {
  memset(header, 0, sizeof(*header));
  memcpy(header->magic, kMapMagic, sizeof(kMapMagic));
  header->formatVersion = kMapFormatVersion;
  header->byteOrder = kByteOrderMark;
  header->headerSize = sizeof(MapHeader);
  header->recordSize = sizeof(MapRecord);
  header->keyCount = keyCount;
  header->hashSlots = hashSlotsFor(keyCount);
  header->recordsOffset = sizeof(MapHeader);
  header->hashOffset = header->recordsOffset + keyCount * static_cast<uint32_t>(sizeof(MapRecord));
  uint64_t hashEnd = header->hashOffset + uint64_t{header->hashSlots} * 4;
  header->blocksOffset =
      static_cast<uint32_t>((hashEnd + kBlockAlign - 1) / kBlockAlign * kBlockAlign);
  header->blockCount = 4;
  header->blockSize = kBlockSize;
  header->totalSize = header->blocksOffset + uint64_t{4} * kBlockSize;
}

bool MapView::recordValid(const MapRecord& record) const {
  if (record.type > 255 || record.size != storageSize(record.type)) return false;
  size_t length = strnlen(record.key, kKeyCapacity);
  return length > 0 && length < kKeyCapacity;
}

bool MapView::attach(unsigned char* base, size_t size) {
  *this = MapView();
  if (base == nullptr || size < sizeof(MapHeader)) return false;
  MapHeader header;
  memcpy(&header, base, sizeof(header));
  if (memcmp(header.magic, kMapMagic, sizeof(kMapMagic)) != 0) return false;
  if (header.formatVersion != kMapFormatVersion || header.byteOrder != kByteOrderMark) return false;
  if (header.keyCount > kMaxKeys) return false;
  MapHeader expected;
  describeLayout(header.keyCount, &expected);
  expected.superseded = header.superseded;  // the only header word that may change
  if (memcmp(&header, &expected, sizeof(header)) != 0) return false;
  if (header.totalSize > size) return false;
  MapRecord* records = reinterpret_cast<MapRecord*>(base + header.recordsOffset);
  for (uint32_t i = 0; i < header.keyCount; ++i) {
    if (!recordValid(records[i])) return false;
  }
  base_ = base;
  records_ = records;
  hash_ = reinterpret_cast<uint32_t*>(base + header.hashOffset);
  blocks_ = base + header.blocksOffset;
  superseded_ = &reinterpret_cast<MapHeader*>(base)->superseded;
  keyCount_ = header.keyCount;
  hashSlots_ = header.hashSlots;
  blocksOffset_ = header.blocksOffset;
  copyEntries();
  return true;
}

// The record was checked just before; another process may change it at any
// time, so the copies are taken once and used from then on.
void MapView::copyEntries() {
  entries_.reset(new std::atomic<uint16_t>[keyCount_ == 0 ? 1 : keyCount_]);
  keyStart_.assign(1, 0);
  keyStart_.reserve(keyCount_ + 1);
  for (uint32_t i = 0; i < keyCount_; ++i) {
    uint32_t type = records_[i].type;
    entries_[i].store(static_cast<uint16_t>(type & kTypeMask), std::memory_order_relaxed);
    keyText_.append(records_[i].key, strnlen(records_[i].key, kKeyCapacity - 1));
    keyStart_.push_back(static_cast<uint32_t>(keyText_.size()));
  }
}

std::string MapView::key(uint32_t index) const {
  if (index >= keyCount_) return std::string();
  return keyText_.substr(keyStart_[index], keyStart_[index + 1] - keyStart_[index]);
}

uint32_t MapView::find(const char* key) const {
  if (key == nullptr || hashSlots_ == 0) return DM_INDEX_NONE;
  size_t length = strnlen(key, kKeyCapacity);
  if (length == 0 || length >= kKeyCapacity) return DM_INDEX_NONE;
  uint32_t mask = hashSlots_ - 1;
  uint32_t slot = keyHash(key, length) & mask;
  for (uint32_t probe = 0; probe < hashSlots_; ++probe, slot = (slot + 1) & mask) {
    uint32_t entry = __atomic_load_n(&hash_[slot], __ATOMIC_RELAXED);
    if (entry == 0) return DM_INDEX_NONE;
    if (entry > keyCount_) continue;  // damaged entry: ignore it
    uint32_t start = keyStart_[entry - 1];
    if (keyStart_[entry] - start == length && memcmp(&keyText_[start], key, length) == 0) {
      return entry - 1;
    }
  }
  return DM_INDEX_NONE;
}

unsigned char* MapView::block(int number) const {
  long offset = blockOffset(number);
  return blocks_ == nullptr || offset < 0 ? nullptr : blocks_ + offset;
}

void MapView::inheritStaleMarks(const MapView& older) const {
  uint32_t common = keyCount_ < older.keyCount_ ? keyCount_ : older.keyCount_;
  for (uint32_t i = 0; i < common; ++i) {
    if (!older.usable(i) || key(i) != older.key(i)) {
      entries_[i].fetch_or(kStale, std::memory_order_relaxed);
    }
  }
}

void MapView::markCurrent(uint32_t index) const {
  if (index < keyCount_ && !usable(index)) {
    entries_[index].fetch_and(static_cast<uint16_t>(~kStale), std::memory_order_relaxed);
  }
}

}  // namespace dmhost
