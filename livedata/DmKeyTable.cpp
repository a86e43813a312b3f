#include "livedata/DmKeyTable.h"

#include <stdarg.h>
#include <stdio.h>

void DmKeyTable::add(DmRecordRef record, const char* key, const char* readMessage,
                     const char* reportedKey) {
  addLookup(record, key, reportedKey);
  addRead(record, readMessage);
}

void DmKeyTable::addKeyed(DmRecordRef record, const char* key, const char* messageFormat,
                          const char* reportedKey) {
  add(record, key, keepf(messageFormat, key), reportedKey);
}

void DmKeyTable::addLookup(DmRecordRef record, const char* key, const char* reportedKey) {
  addLookup(*record.index(), key, reportedKey);
}

void DmKeyTable::addLookup(unsigned int& index, const char* key, const char* reportedKey) {
  lookups_.push_back(Lookup{&index, key, reportedKey != nullptr ? reportedKey : key, nullptr, 0});
}

void DmKeyTable::addLookupMarking(DmRecordRef record, const char* key, unsigned& failures,
                                  unsigned bit) {
  lookups_.push_back(Lookup{record.index(), key, key, &failures, bit});
}

void DmKeyTable::addRead(DmRecordRef record, const char* readMessage) {
  reads_.push_back(Read{record, readMessage, nullptr});
}

void DmKeyTable::addReadOfKey(DmRecordRef record, const char* messageFormat) {
  const char* key = "";
  for (const Lookup& row : lookups_) {
    if (row.index == record.index()) key = row.key;
  }
  addRead(record, keepf(messageFormat, key));
}

void DmKeyTable::addReadWhile(const bool& onlyWhile, DmRecordRef record, const char* readMessage) {
  reads_.push_back(Read{record, readMessage, &onlyWhile});
}

void DmKeyTable::resolve(size_t first, size_t last) const {
  for (size_t i = first; i < last && i < lookups_.size(); ++i) {
    const Lookup& row = lookups_[i];
    int status = resolve_dm_key_as(row.key, row.reportedKey, row.index);
    if (status < 0 && row.failures != nullptr) *row.failures |= row.failureBit;
  }
}

void DmKeyTable::read(size_t first, size_t last) const {
  for (size_t i = first; i < last && i < reads_.size(); ++i) {
    const Read& row = reads_[i];
    if (row.onlyWhile != nullptr && !*row.onlyWhile) continue;
    int status = row.record.read();
    if (status < 0) report_dm_error(row.message, status);
  }
}

const char* DmKeyTable::keepf(const char* format, ...) {
  char text[128];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  texts_.emplace_back(text);
  return texts_.back().c_str();
}
