#include "export/SnapshotReader.h"

#include <string.h>

#include <cmath>

#include "export/PowerFactorText.h"
#include "platform/common_api.h"
#include "platform/meter_blocks.h"

namespace ldexport {

namespace {

constexpr const char* kDesignationKey = "dev.designation";
constexpr const char* kHookupKey = "sys.enumeration.hookup";

}  // namespace

SnapshotReader::SnapshotReader() {
  for (size_t i = 0; i < kReadingCount; ++i) {
    values_[i].name = kReadingTable[i].key;
    valid_[i].name = kReadingTable[i].validKey;
  }
  designation_.name = kDesignationKey;
  hookup_.name = kHookupKey;
}

SnapshotReader::~SnapshotReader() {
  if (open_) dm_close_map(&dm_);
}

bool SnapshotReader::ensureOpen() {
  if (open_) return true;
  if (dm_open_map(&dm_) < 0) return false;
  open_ = true;
  // The block window lasts as long as the handle, replacements included.
  void* block = nullptr;
  unsigned int size = 0;
  unsigned int flags = 0;
  if (dm_get_sys_data_handle(&dm_, meter_blocks::kReadingsBlock, &size, &block, &flags) >= 0 &&
      block != nullptr) {
    readingsBlock_ = static_cast<const unsigned char*>(block);
    readingsBlockSize_ = size;
  }
  return true;
}

bool SnapshotReader::resolve(Key* key) {
  if (key->resolved) return true;
  unsigned int index = DM_INDEX_NONE;
  unsigned int size = 0;
  unsigned int type = 0;
  if (dm_get_info(&dm_, key->name, &index, &size, &type) < 0) return false;
  key->index = index;
  key->resolved = true;
  return true;
}

void SnapshotReader::forgetOnIndexError(Key* key, int status) {
  if (status == DM_ERR_INDEX) key->resolved = false;
}

bool SnapshotReader::readNumber(Key* key, double* value) {
  if (!resolve(key)) return false;
  double read = 0;
  unsigned int scratch = 0;
  int status = dm_read_flt64(&dm_, key->index, &read, 0, &scratch);
  if (status < 0) {
    forgetOnIndexError(key, status);
    return false;
  }
  if (!std::isfinite(read)) return false;
  *value = read;
  return true;
}

bool SnapshotReader::readFlag(Key* key) {
  if (!resolve(key)) return false;
  bool flag = false;
  unsigned int scratch = 0;
  int status = dm_read_boolean(&dm_, key->index, &flag, 0, &scratch);
  if (status < 0) {
    forgetOnIndexError(key, status);
    return false;
  }
  return flag;
}

bool SnapshotReader::readPowerFactor(Key* key, double* value) {
  if (!resolve(key)) return false;
  char text[65] = {};  // the largest string key (64 bytes) and a guard NUL
  unsigned int scratch = 0;
  int status = dm_read_STRING(&dm_, key->index, text, 0, &scratch);
  if (status < 0) {
    forgetOnIndexError(key, status);
    return false;
  }
  return parsePowerFactorText(text, sizeof text - 1, value);
}

void SnapshotReader::readRow(size_t row, Snapshot* out) {
  out->present[row] = false;
  out->value[row] = 0;
  if (valid_[row].name != nullptr && !readFlag(&valid_[row])) return;
  double value = 0;
  bool ok = false;
  switch (kReadingTable[row].source) {
    case Source::kNumber: ok = readNumber(&values_[row], &value); break;
    case Source::kPowerFactorText: ok = readPowerFactor(&values_[row], &value); break;
  }
  if (!ok) return;
  out->value[row] = value;
  out->present[row] = true;
}

void SnapshotReader::readDesignation(Snapshot* out) {
  if (!resolve(&designation_)) return;
  char text[65] = {};
  unsigned int scratch = 0;
  int status = dm_read_STRING(&dm_, designation_.index, text, 0, &scratch);
  if (status < 0) {
    forgetOnIndexError(&designation_, status);
    return;
  }
  static_assert(Snapshot::kDesignationSize <= sizeof text, "designation buffer");
  memcpy(out->designation, text, Snapshot::kDesignationSize - 1);
  out->designation[Snapshot::kDesignationSize - 1] = '\0';
  out->designationPresent = true;
}

void SnapshotReader::readHookup(Snapshot* out) {
  if (!resolve(&hookup_)) return;
  unsigned int code = 0;
  unsigned int scratch = 0;
  int status = dm_read_uint32(&dm_, hookup_.index, &code, 0, &scratch);
  if (status < 0) {
    forgetOnIndexError(&hookup_, status);
    return;
  }
  out->hookup = code;
  out->hookupPresent = true;
}

void SnapshotReader::readFactoryRecord(Snapshot* out) {
  using namespace meter_blocks;
  if (readingsBlock_ == nullptr || readingsBlockSize_ < kFactoryRecord + kFactoryRecordSize) return;
  // Block memory is raw and may change under us: check and use one private copy.
  unsigned char record[kFactoryRecordSize];
  memcpy(record, readingsBlock_ + kFactoryRecord, sizeof record);
  unsigned short stored = static_cast<unsigned short>((record[0] << 8) | record[1]);
  unsigned short computed =
      CRC16_down(0xFFFF, kFactoryChecksumLength, record + kFactoryRecordSize - 1);
  if (stored != computed) return;
  const unsigned char* serial = record + (kFactorySerial - kFactoryRecord);
  size_t length = kFactoryFieldSize;
  if (memcmp(serial, "000000", 6) == 0) {
    serial += 6;
    length -= 6;
  }
  size_t n = 0;
  while (n < length && serial[n] != '\0') {
    out->serial[n] = static_cast<char>(serial[n]);
    ++n;
  }
  out->serial[n] = '\0';
  out->factoryRecordValid = true;
}

void SnapshotReader::read(int64_t unixMillis, Snapshot* out) {
  out->clearReadings();
  out->unixMillis = unixMillis;
  out->period = ++period_;
  if (!ensureOpen()) return;
  out->mapOpen = true;
  for (size_t row = 0; row < kReadingCount; ++row) readRow(row, out);
  readDesignation(out);
  readHookup(out);
  readFactoryRecord(out);
}

}  // namespace ldexport
