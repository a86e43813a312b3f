#include "platform/host/HostDatamap.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "platform/host/CatalogParser.h"
#include "platform/host/EntrySeqLock.h"
#include "platform/host/MappedMap.h"
#include "platform/host/NumericValue.h"
#include "platform/host/ValueText.h"
#include "platform/host/WriteAll.h"

namespace dmhost {

namespace {

bool isStringType(uint32_t type) {
  return type == DM_TYPE_STRING16 || type == DM_TYPE_STRING32 || type == DM_TYPE_STRING64;
}

bool isTimestampType(uint32_t type) { return type == DM_TYPE_TS8 || type == DM_TYPE_TS12; }

// The map image up to the data blocks (header, records, hash table); the
// blocks are the zero-filled tail that ftruncate provides.
std::string buildImage(const std::vector<CatalogEntry>& entries, uint64_t* totalSize) {
  MapHeader header;
  describeLayout(static_cast<uint32_t>(entries.size()), &header);
  std::string image(header.blocksOffset, '\0');
  memcpy(&image[0], &header, sizeof(header));
  MapRecord* records = reinterpret_cast<MapRecord*>(&image[header.recordsOffset]);
  uint32_t* hash = reinterpret_cast<uint32_t*>(&image[header.hashOffset]);
  uint32_t mask = header.hashSlots - 1;
  for (uint32_t i = 0; i < entries.size(); ++i) {
    MapRecord& record = records[i];
    record.type = entries[i].type;
    record.size = storageSize(record.type);
    memcpy(record.value, entries[i].value, kValueCapacity);
    memcpy(record.key, entries[i].key.data(), entries[i].key.size());
    uint32_t slot = keyHash(entries[i].key.data(), entries[i].key.size()) & mask;
    while (hash[slot] != 0) slot = (slot + 1) & mask;
    hash[slot] = i + 1;
  }
  *totalSize = header.totalSize;
  return image;
}

// Writes the image to a temporary file beside path and renames it into place,
// so readers see either the old map or the complete new one.
bool installImage(const std::string& path, const std::string& image, uint64_t totalSize,
                  std::string* error) {
  std::string temp = path + ".tmpXXXXXX";
  int fd = mkstemp(&temp[0]);
  if (fd < 0) {
    *error = "cannot create a temporary file beside " + path + ": " + strerror(errno);
    return false;
  }
  bool ok = fchmod(fd, 0644) == 0 && ftruncate(fd, static_cast<off_t>(totalSize)) == 0 &&
            writeAll(fd, image) && fsync(fd) == 0;
  int savedErrno = errno;
  ok = close(fd) == 0 && ok;
  if (ok && rename(temp.c_str(), path.c_str()) != 0) {
    savedErrno = errno;
    ok = false;
  }
  if (!ok) {
    unlink(temp.c_str());
    *error = "cannot write " + path + ": " + strerror(savedErrno);
  }
  return ok;
}

// Whether bytes offset .. offset + length - 1 of the block starting at start
// (null: no such block, or no map open) can be used; *error says why not.
bool blockRangeUsable(bool open, const unsigned char* start, int number, size_t offset,
                      size_t length, std::string* error) {
  if (start == nullptr) {
    *error = open ? "no such block " + std::to_string(number) + " (1, 2, 18 or 19)"
                  : std::string("no map is open");
    return false;
  }
  if (offset > kBlockSize || length > kBlockSize - offset) {
    *error = "offset " + std::to_string(offset) + " + length " + std::to_string(length) +
             " exceeds the block size " + std::to_string(kBlockSize);
    return false;
  }
  return true;
}

}  // namespace

std::string mapPath() {
  const char* path = getenv("DATAMAP_FILE");
  return path != nullptr && path[0] != '\0' ? path : "/dev/shm/datamap";
}

struct HostDatamap::Impl {
  MappedMap map;

  MapRecord* record(uint32_t index) const { return map.view().record(index); }
  MapRecord* recordOf(const std::string& key, std::string* error) const {
    MapRecord* found = map.isOpen() ? record(map.view().find(key.c_str())) : nullptr;
    if (found == nullptr) {
      *error = map.isOpen() ? "unknown key \"" + key + "\"" : std::string("no map is open");
    }
    return found;
  }
};

bool HostDatamap::createFromCatalogText(const std::string& path, const std::string& text,
                                        const std::string& origin, std::string* error) {
  std::vector<CatalogEntry> entries;
  if (!CatalogParser::parse(text, origin, &entries, error)) return false;
  uint64_t totalSize = 0;
  std::string image = buildImage(entries, &totalSize);
  return installImage(path, image, totalSize, error);
}

bool HostDatamap::createFromCatalogFile(const std::string& path, const std::string& catalogPath,
                                        std::string* error) {
  std::ifstream in(catalogPath, std::ios::binary);
  if (!in) {
    *error = catalogPath + ": " + strerror(errno);
    return false;
  }
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) {
    *error = catalogPath + ": read error";
    return false;
  }
  return createFromCatalogText(path, text.str(), catalogPath, error);
}

HostDatamap::HostDatamap() : impl_(new Impl) {}

HostDatamap::~HostDatamap() { delete impl_; }

bool HostDatamap::open(const std::string& path, std::string* error) {
  return impl_->map.open(path, MappedMap::kReadWrite, error);
}

void HostDatamap::close() { impl_->map.close(); }

bool HostDatamap::isOpen() const { return impl_->map.isOpen(); }

bool HostDatamap::lookup(const std::string& key, KeyInfo* info) const {
  std::string ignored;
  const MapRecord* record = impl_->recordOf(key, &ignored);
  if (record == nullptr) return false;
  info->index = static_cast<uint32_t>(record - impl_->record(0));
  info->type = record->type;
  info->size = record->size;
  info->key = key;
  return true;
}

std::vector<KeyInfo> HostDatamap::list() const {
  std::vector<KeyInfo> keys;
  if (!isOpen()) return keys;
  for (uint32_t i = 0; i < impl_->map.view().keyCount(); ++i) {
    const MapRecord* record = impl_->record(i);
    KeyInfo info;
    info.index = i;
    info.type = record->type;
    info.size = record->size;
    info.key = record->key;
    keys.push_back(info);
  }
  return keys;
}

bool HostDatamap::setText(const std::string& key, const std::string& value, std::string* error) {
  MapRecord* record = impl_->recordOf(key, error);
  if (record == nullptr) return false;
  unsigned char storage[kValueCapacity];
  std::string reason;
  if (!ValueText::parse(record->type, value, storage, &reason)) {
    *error = "bad value \"" + value + "\" for key \"" + key + "\": " + reason;
    return false;
  }
  EntrySeqLock::write(*record, storage, kValueCapacity);
  return true;
}

bool HostDatamap::getText(const std::string& key, std::string* value, std::string* error) const {
  const MapRecord* record = impl_->recordOf(key, error);
  if (record == nullptr) return false;
  uint32_t words[kValueCapacity / 4];
  if (EntrySeqLock::read(*record, words) != 0) {
    *error = "key \"" + key + "\" stays mid-write (a writer died?)";
    return false;
  }
  *value = ValueText::format(record->type, reinterpret_cast<const unsigned char*>(words));
  return true;
}

bool HostDatamap::setFail(const std::string& key, int code, std::string* error) {
  MapRecord* record = impl_->recordOf(key, error);
  if (record == nullptr) return false;
  if (code > 0) {
    *error = "failure code must be negative (or 0 to clear)";
    return false;
  }
  EntrySeqLock::setFailCode(*record, code);
  return true;
}

bool HostDatamap::setDouble(uint32_t index, double value) {
  MapRecord* record = impl_->record(index);
  unsigned char storage[kValueCapacity] = {};
  if (record == nullptr || !NumericValue::fromDouble(value).encode(record->type, storage)) {
    return false;
  }
  EntrySeqLock::write(*record, storage, kValueCapacity);
  return true;
}

bool HostDatamap::setSigned(uint32_t index, long long value) {
  MapRecord* record = impl_->record(index);
  unsigned char storage[kValueCapacity] = {};
  if (record == nullptr || !NumericValue::fromSigned(value).encode(record->type, storage)) {
    return false;
  }
  EntrySeqLock::write(*record, storage, kValueCapacity);
  return true;
}

bool HostDatamap::setUnsigned(uint32_t index, unsigned long long value) {
  MapRecord* record = impl_->record(index);
  unsigned char storage[kValueCapacity] = {};
  if (record == nullptr || !NumericValue::fromUnsigned(value).encode(record->type, storage)) {
    return false;
  }
  EntrySeqLock::write(*record, storage, kValueCapacity);
  return true;
}

bool HostDatamap::setString(uint32_t index, const std::string& value) {
  MapRecord* record = impl_->record(index);
  if (record == nullptr || !isStringType(record->type)) return false;
  unsigned char storage[kValueCapacity] = {};
  size_t keep = value.size() < record->size - 1 ? value.size() : record->size - 1;
  memcpy(storage, value.data(), keep);
  EntrySeqLock::write(*record, storage, kValueCapacity);
  return true;
}

bool HostDatamap::setTimestamp(uint32_t index, const ZUL_TIMESTAMP_12B_STRUCT& value) {
  MapRecord* record = impl_->record(index);
  if (record == nullptr || !isTimestampType(record->type)) return false;
  unsigned char storage[kValueCapacity] = {};
  memcpy(storage, &value, record->size);
  EntrySeqLock::write(*record, storage, kValueCapacity);
  return true;
}

unsigned char* HostDatamap::block(int number) {
  return isOpen() ? impl_->map.view().block(number) : nullptr;
}

bool HostDatamap::writeBlock(int number, size_t offset, const void* data, size_t length,
                             std::string* error) {
  unsigned char* start = block(number);
  if (!blockRangeUsable(isOpen(), start, number, offset, length, error)) return false;
  if (length > 0) memcpy(start + offset, data, length);
  return true;
}

bool HostDatamap::readBlock(int number, size_t offset, size_t length, std::string* out,
                            std::string* error) const {
  const unsigned char* start = isOpen() ? impl_->map.view().block(number) : nullptr;
  if (!blockRangeUsable(isOpen(), start, number, offset, length, error)) return false;
  out->assign(reinterpret_cast<const char*>(start + offset), length);
  return true;
}

}  // namespace dmhost
