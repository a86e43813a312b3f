// The datamap keys of one updater as rows: the record a key fills, the key text,
// the key a failed lookup names and the read error message. resolve() looks the
// rows up in lookup order and read() reads them in read order; both orders are
// the order the rows were added in, so where an updater reads its keys in an
// order other than the one it looks them up in, it adds the lookup rows and the
// read rows separately (addLookup, addRead) and each list states its order.
//
// A lookup row may also mark its failure in a set of flags, and a read row may
// depend on a flag: it is read only while the flag is true (a value behind its
// validity flag, readings that exist only while another key says so).
//
// Failures print the messages of DmAccess.h; the record keeps its old value.
//
// Thread-safety: one table per updater thread; the rows point into the updater.
#ifndef LIVEDATA_DMKEYTABLE_H_
#define LIVEDATA_DMKEYTABLE_H_

#include <stddef.h>

#include <deque>
#include <string>
#include <vector>

#include "livedata/DmAccess.h"

// A record of any type, as a row sees it: where its index goes and how it is read.
class DmRecordRef {
 public:
  template <typename T>
  DmRecordRef(DmKey<T>& key) : index_(&key.index), record_(&key), read_(&readRecord<DmKey<T>>) {}
  DmRecordRef(DmTextKey& key) : index_(&key.index), record_(&key), read_(&readRecord<DmTextKey>) {}

  unsigned int* index() const { return index_; }
  int read() const { return read_(record_); }

 private:
  template <typename Record>
  static int readRecord(void* record) {
    return dm_read(*static_cast<Record*>(record));
  }

  unsigned int* index_;
  void* record_;
  int (*read_)(void*);
};

class DmKeyTable {
 public:
  // A key that is looked up and read in the same place of both orders.
  // reportedKey (nullptr: key) is what a failed lookup names.
  void add(DmRecordRef record, const char* key, const char* readMessage,
           const char* reportedKey = nullptr);
  void addLookup(DmRecordRef record, const char* key, const char* reportedKey = nullptr);
  // add() with the read message made from messageFormat, whose one "%s" takes the key.
  void addKeyed(DmRecordRef record, const char* key, const char* messageFormat,
                const char* reportedKey = nullptr);
  // A lookup into a bare index (a key read through another record).
  void addLookup(unsigned int& index, const char* key, const char* reportedKey = nullptr);
  // A lookup that also sets bit in failures when it fails.
  void addLookupMarking(DmRecordRef record, const char* key, unsigned& failures, unsigned bit);
  void addRead(DmRecordRef record, const char* readMessage);
  // A read whose message is made from messageFormat, whose one "%s" takes the
  // key the record was looked up with (an earlier lookup row of the record).
  void addReadOfKey(DmRecordRef record, const char* messageFormat);
  // A read done only while onlyWhile is true when the row's turn comes.
  void addReadWhile(const bool& onlyWhile, DmRecordRef record, const char* readMessage);

  // dm_get_info of every lookup row; failures print the reported key.
  void resolve() const { resolve(0, lookups_.size()); }
  // Resolves rows first .. last - 1: for updaters that look up something between rows.
  void resolve(size_t first, size_t last) const;
  size_t lookupCount() const { return lookups_.size(); }
  // dm_read of every read row; failures print the row's message and the status.
  void read() const { read(0, reads_.size()); }
  // Reads rows first .. last - 1: for updaters that read something between rows.
  void read(size_t first, size_t last) const;
  // Number of read rows so far: where the next addRead lands.
  size_t readCount() const { return reads_.size(); }

  // A key or message built from its parts (printf format) when the rows are
  // added: the table keeps the text and returns a pointer that lives as long as
  // the table does.
  const char* keepf(const char* format, ...) __attribute__((format(printf, 2, 3)));

 private:
  struct Lookup {
    unsigned int* index;
    const char* key;
    const char* reportedKey;
    unsigned* failures;  // null: failures are only printed
    unsigned failureBit;
  };
  struct Read {
    DmRecordRef record;
    const char* message;
    const bool* onlyWhile;  // null: always read
  };

  std::vector<Lookup> lookups_;
  std::vector<Read> reads_;
  std::deque<std::string> texts_;  // a deque never moves its elements
};

#endif  // LIVEDATA_DMKEYTABLE_H_
