#include "livedata/DmKeyTable.h"

#include <stdarg.h>
#include <stdio.h>

void DmKeyTable::add(DmRecordRef record, const char* key, const char* readMessage,
                     const char* reportedKey) {
  addLookup(record, key, reportedKey);
  addRead(record, readMessage);
}

void DmKeyTable::addLookup(DmRecordRef record, const char* key, const char* reportedKey) {
  addLookup(*record.index(), key, reportedKey);
}

void DmKeyTable::addLookup(unsigned int& index, const char* key, const char* reportedKey) {
  lookups_.push_back(Lookup{&index, key, reportedKey != nullptr ? reportedKey : key});
}

void DmKeyTable::addRead(DmRecordRef record, const char* readMessage) {
  reads_.push_back(Read{record, readMessage});
}

void DmKeyTable::resolve(size_t first, size_t last) const {
  for (size_t i = first; i < last && i < lookups_.size(); ++i) {
    resolve_dm_key_as(lookups_[i].key, lookups_[i].reportedKey, lookups_[i].index);
  }
}

void DmKeyTable::read(size_t first, size_t last) const {
  for (size_t i = first; i < last && i < reads_.size(); ++i) {
    const Read& row = reads_[i];
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
