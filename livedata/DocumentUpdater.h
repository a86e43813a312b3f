// Base of the updaters that rewrite one JSON document per cycle, with the cycle
// shape they all share:
//  - init() prints the updater's init debug line and calls initDmIndex();
//  - displayData() prints the display debug line, opens the document, writes the
//    frame start, the updater's body (writeBody), the frame end from the three
//    frame keys, closes the document and then runs afterDocument().
// A document that cannot be opened skips the frame and the body (and so whatever
// writeBody does to stored values); afterDocument() runs in every cycle.
//
// The keys live in a DmKeyTable: the default initDmIndex() resolves it and the
// default getData() reads it. The frame keys are added with addFrameKeys().
//
// Thread-safety: as LiveData; everything belongs to the updater's thread.
#ifndef LIVEDATA_DOCUMENTUPDATER_H_
#define LIVEDATA_DOCUMENTUPDATER_H_

#include <stddef.h>
#include <stdint.h>

#include <string>

#include "livedata/DmKeyTable.h"
#include "livedata/DocumentFile.h"
#include "livedata/LiveData.h"

class DocumentUpdater : public LiveData {
 public:
  // The debug lines printed by init() and displayData() (with their line ends).
  struct DebugTexts {
    const char* init;
    const char* display;
  };
  // Read error formats of the frame keys (designation, meter time, power-on
  // time); the one "%s" of each takes the key.
  using FrameMessages = const char* const[3];
  // The messages most updaters print.
  static FrameMessages kCommonFrameMessages;

  int init() override;
  // Resolves the key table; returns 0.
  virtual int initDmIndex();
  // Reads the key table; returns 0.
  int getData() override;
  // Writes the document as described above; returns an empty text.
  std::string displayData() override;

 protected:
  DocumentUpdater(uint32_t debugBits, DebugTexts texts, size_t expectedSize = 4096);

  // The document's own lines between the frame start and the frame end.
  virtual void writeBody(DocumentFile& out) = 0;
  // What follows the document in every cycle (nothing by default).
  virtual void afterDocument() {}

  // Adds "dev.designation", "reading.time.ltc" and "sys.ontime" to the table.
  void addFrameKeys(FrameMessages messages);

  DmKeyTable& keys() { return keys_; }
  // The document being written (open only inside writeBody).
  DocumentFile& document() { return document_; }

 private:
  struct FrameKeys {
    DmTextKey designation;
    DmKey<ZUL_TIMESTAMP_8B_STRUCT> dateTime;
    DmKey<ZUL_TIMESTAMP_8B_STRUCT> powerOnTime;
  };

  DebugTexts debugTexts_;
  DmKeyTable keys_;
  FrameKeys frame_;
  DocumentFile document_;
};

#endif  // LIVEDATA_DOCUMENTUPDATER_H_
