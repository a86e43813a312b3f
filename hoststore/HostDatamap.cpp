#include "hoststore/HostDatamap.h"

#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/InputFile.h"
#include "base/WriteAll.h"
#include "hoststore/CatalogParser.h"
#include "hoststore/EntrySeqLock.h"
#include "hoststore/MappedMap.h"
#include "hoststore/NumericValue.h"
#include "hoststore/ValueText.h"

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

// The map file now at path, opened to be marked superseded once replaced; -1
// when there is none (or it is no map). The file is never truncated.
int openPrevious(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) return -1;
  struct stat st;
  MapHeader header;
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) ||
      pread(fd, &header, sizeof(header), 0) != static_cast<ssize_t>(sizeof(header)) ||
      memcmp(header.magic, kMapMagic, sizeof(kMapMagic)) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

bool isAtPath(int fd, const std::string& path) {
  struct stat held;
  struct stat current;
  return fstat(fd, &held) == 0 && stat(path.c_str(), &current) == 0 &&
         held.st_dev == current.st_dev && held.st_ino == current.st_ino;
}

// The map now at path, opened and locked (flock) so that two writers replacing
// it at once each mark the file they really replaced. Waits at most about 2 s
// for another writer; then goes on without the lock. -1 when there is no map.
int lockPrevious(const std::string& path) {
  for (int attempt = 0; attempt < 2000; ++attempt) {
    int fd = openPrevious(path);
    if (fd < 0) return -1;
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
      if (attempt == 1999) return fd;
      ::close(fd);
      usleep(1000);
      continue;
    }
    if (isAtPath(fd, path)) return fd;
    ::close(fd);  // replaced while we waited: lock the newer one
  }
  return -1;
}

// Tells readers of the replaced file to follow the path. Only the low-order
// byte of the word changes, so no reader can see a torn value.
void markSuperseded(int fd) {
  if (fd < 0) return;
  uint32_t mark = 1;
  if (pwrite(fd, &mark, sizeof(mark), offsetof(MapHeader, superseded)) < 0) {
    // Readers then keep the old map; nothing else is lost.
  }
  ::close(fd);
}

// Writes the image to a temporary file beside path and renames it into place,
// so readers see either the old map or the complete new one; then marks the old
// file superseded so that running readers follow.
base::Status installImage(const std::string& path, const std::string& image, uint64_t totalSize) {
  std::string temp = path + ".tmpXXXXXX";
  int fd = mkstemp(&temp[0]);
  if (fd < 0)
    return base::Status::Error("", "cannot create a temporary file beside " + path, errno);
  bool ok = fchmod(fd, 0644) == 0 && ftruncate(fd, static_cast<off_t>(totalSize)) == 0 &&
            base::writeAll(fd, image).ok() && fsync(fd) == 0;
  int savedErrno = errno;
  ok = close(fd) == 0 && ok;
  int previous = ok ? lockPrevious(path) : -1;
  if (ok && rename(temp.c_str(), path.c_str()) != 0) {
    savedErrno = errno;
    ok = false;
  }
  if (!ok) {
    if (previous >= 0) ::close(previous);
    unlink(temp.c_str());
    return base::Status::Error("", "cannot write " + path, savedErrno);
  }
  markSuperseded(previous);
  return base::Status::Ok();
}

// Whether bytes offset .. offset + length - 1 of the block starting at start
// (null: no such block, or no map open) can be used; fails saying why not.
base::Status blockRangeUsable(bool open, const unsigned char* start, int number, size_t offset,
                              size_t length) {
  if (start == nullptr) {
    return base::Status::Error(
        "", open ? "no such block " + std::to_string(number) + " (1, 2, 18 or 19)"
                 : std::string("no map is open"));
  }
  if (offset > kBlockSize || length > kBlockSize - offset) {
    return base::Status::Error("", "offset " + std::to_string(offset) + " + length " +
                                       std::to_string(length) + " exceeds the block size " +
                                       std::to_string(kBlockSize));
  }
  return base::Status::Ok();
}

}  // namespace

std::string mapPath() {
  const char* path = getenv("DATAMAP_FILE");
  return path != nullptr && path[0] != '\0' ? path : "/dev/shm/datamap";
}

// Records are reached by index and typed by the private copies of the view,
// never by the type and size words of the shared record.
struct HostDatamap::Impl {
  MappedMap map;

  MapRecord* record(uint32_t index) const { return map.view().record(index); }
  uint32_t type(uint32_t index) const { return map.view().type(index); }
  // Index of key, or DM_INDEX_NONE.
  uint32_t indexOf(const std::string& key) const {
    uint32_t found = map.isOpen() ? map.view().find(key.c_str()) : DM_INDEX_NONE;
    return record(found) == nullptr ? DM_INDEX_NONE : found;
  }
  // Why key has no index.
  base::Status missing(const std::string& key) const {
    return base::Status::Error(
        "", map.isOpen() ? "unknown key \"" + key + "\"" : std::string("no map is open"));
  }
};

base::Status HostDatamap::createFromCatalogText(const std::string& path, const std::string& text,
                                                const std::string& origin) {
  std::vector<CatalogEntry> entries;
  base::Status parsed = CatalogParser::parse(text, origin, &entries);
  if (!parsed.ok()) return parsed;
  uint64_t totalSize = 0;
  std::string image = buildImage(entries, &totalSize);
  return installImage(path, image, totalSize);
}

base::Status HostDatamap::createFromCatalogFile(const std::string& path,
                                                const std::string& catalogPath) {
  std::string text;
  base::Status status = base::InputFile::read(catalogPath.c_str(), kMaxCatalogBytes, &text);
  if (!status.ok()) return base::Status::Error("", base::InputFile::describe(status));
  return createFromCatalogText(path, text, catalogPath);
}

HostDatamap::HostDatamap() : impl_(new Impl) {}

HostDatamap::~HostDatamap() = default;

base::Status HostDatamap::open(const std::string& path) {
  return impl_->map.open(path, MappedMap::kReadWrite);
}

void HostDatamap::close() { impl_->map.close(); }

bool HostDatamap::isOpen() const { return impl_->map.isOpen(); }

bool HostDatamap::broken() const { return impl_->map.isOpen() && impl_->map.broken(); }

bool HostDatamap::lookup(const std::string& key, KeyInfo* info) const {
  uint32_t index = impl_->indexOf(key);
  if (index == DM_INDEX_NONE) return false;
  info->index = index;
  info->type = impl_->type(index);
  info->size = storageSize(info->type);
  info->key = key;
  return true;
}

std::vector<KeyInfo> HostDatamap::list() const {
  std::vector<KeyInfo> keys;
  if (!isOpen()) return keys;
  const MapView& view = impl_->map.view();
  for (uint32_t i = 0; i < view.keyCount(); ++i) {
    KeyInfo info;
    info.index = i;
    info.type = view.type(i);
    info.size = storageSize(info.type);
    info.key = view.key(i);
    keys.push_back(info);
  }
  return keys;
}

base::Status HostDatamap::setText(const std::string& key, const std::string& value) {
  uint32_t index = impl_->indexOf(key);
  if (index == DM_INDEX_NONE) return impl_->missing(key);
  unsigned char storage[kValueCapacity];
  base::Status parsed = ValueText::parse(impl_->type(index), value, storage);
  if (!parsed.ok()) {
    return base::Status::Error(
        "", "bad value \"" + value + "\" for key \"" + key + "\": " + parsed.message());
  }
  EntrySeqLock::write(*impl_->record(index), storage, kValueCapacity);
  return base::Status::Ok();
}

base::Status HostDatamap::getText(const std::string& key, std::string* value) const {
  uint32_t index = impl_->indexOf(key);
  if (index == DM_INDEX_NONE) return impl_->missing(key);
  uint32_t words[kValueCapacity / 4];
  if (EntrySeqLock::read(*impl_->record(index), impl_->type(index), words) != 0) {
    return base::Status::Error("", "key \"" + key + "\" stays mid-write (a writer died?)");
  }
  *value = ValueText::format(impl_->type(index), reinterpret_cast<const unsigned char*>(words));
  return base::Status::Ok();
}

base::Status HostDatamap::setFail(const std::string& key, int code) {
  uint32_t index = impl_->indexOf(key);
  if (index == DM_INDEX_NONE) return impl_->missing(key);
  if (code > 0) return base::Status::Error("", "failure code must be negative (or 0 to clear)");
  EntrySeqLock::setFailCode(*impl_->record(index), code);
  return base::Status::Ok();
}

bool HostDatamap::setDouble(uint32_t index, double value) {
  MapRecord* record = impl_->record(index);
  unsigned char storage[kValueCapacity] = {};
  if (record == nullptr || !NumericValue::fromDouble(value).encode(impl_->type(index), storage)) {
    return false;
  }
  EntrySeqLock::write(*record, storage, kValueCapacity);
  return true;
}

bool HostDatamap::setSigned(uint32_t index, long long value) {
  MapRecord* record = impl_->record(index);
  unsigned char storage[kValueCapacity] = {};
  if (record == nullptr || !NumericValue::fromSigned(value).encode(impl_->type(index), storage)) {
    return false;
  }
  EntrySeqLock::write(*record, storage, kValueCapacity);
  return true;
}

bool HostDatamap::setUnsigned(uint32_t index, unsigned long long value) {
  MapRecord* record = impl_->record(index);
  unsigned char storage[kValueCapacity] = {};
  if (record == nullptr || !NumericValue::fromUnsigned(value).encode(impl_->type(index), storage)) {
    return false;
  }
  EntrySeqLock::write(*record, storage, kValueCapacity);
  return true;
}

bool HostDatamap::setString(uint32_t index, const std::string& value) {
  MapRecord* record = impl_->record(index);
  uint32_t type = impl_->type(index);
  if (record == nullptr || !isStringType(type)) return false;
  unsigned char storage[kValueCapacity] = {};
  size_t room = storageSize(type) - 1;
  memcpy(storage, value.data(), value.size() < room ? value.size() : room);
  EntrySeqLock::write(*record, storage, kValueCapacity);
  return true;
}

bool HostDatamap::setTimestamp(uint32_t index, const ZUL_TIMESTAMP_12B_STRUCT& value) {
  MapRecord* record = impl_->record(index);
  uint32_t type = impl_->type(index);
  if (record == nullptr || !isTimestampType(type)) return false;
  unsigned char storage[kValueCapacity] = {};
  memcpy(storage, &value, storageSize(type));
  EntrySeqLock::write(*record, storage, kValueCapacity);
  return true;
}

unsigned char* HostDatamap::block(int number) {
  return isOpen() ? impl_->map.view().block(number) : nullptr;
}

base::Status HostDatamap::writeBlock(int number, size_t offset, const void* data, size_t length) {
  unsigned char* start = block(number);
  base::Status usable = blockRangeUsable(isOpen(), start, number, offset, length);
  if (!usable.ok()) return usable;
  if (length > 0) memcpy(start + offset, data, length);
  return base::Status::Ok();
}

base::Status HostDatamap::readBlock(int number, size_t offset, size_t length,
                                    std::string* out) const {
  const unsigned char* start = isOpen() ? impl_->map.view().block(number) : nullptr;
  base::Status usable = blockRangeUsable(isOpen(), start, number, offset, length);
  if (!usable.ok()) return usable;
  out->assign(reinterpret_cast<const char*>(start + offset), length);
  return base::Status::Ok();
}

}  // namespace dmhost
