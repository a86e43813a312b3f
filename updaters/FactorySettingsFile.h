// The meter factory settings document, "meter_factory_setting.json": the serial
// number and OEM text of the factory record in the shared_meter_readings block,
// published only when the record's stored checksum matches its contents.
//
// The record's layout is in platform/meter_blocks.h: a big-endian stored
// checksum, the serial number and the OEM text (16 bytes each, not necessarily
// NUL-terminated); the checksum walks down from the record's last byte.
//
// Each energy updater owns one: it fills the path buffers once in its
// initDmIndex and calls write() at the end of every displayData.
//
// Thread-safety: an object is used only by its energy updater's thread; the
// path buffers are written before the first write() and only read afterwards.
#ifndef UPDATERS_FACTORYSETTINGSFILE_H_
#define UPDATERS_FACTORYSETTINGSFILE_H_

#include "livedata/DocumentFile.h"

// Path of the document and of its directory (256 bytes each, process-wide).
extern char sys_config_jsonfile[256];
extern char sys_config_jsonfile_dir[256];

class FactorySettingsFile {
 public:
  FactorySettingsFile();

  // Fills sys_config_jsonfile and sys_config_jsonfile_dir below webRoot.
  static void setPaths(const char* webRoot);

  // Rewrites the document from the record in block (the mapped shared_meter_readings
  // block). A file that cannot be opened is skipped silently; so is a block that
  // was never mapped.
  void write(const unsigned char* block);

  // The checksum stored in the record and the one computed over it.
  static unsigned short storedChecksum(const unsigned char* block);
  static unsigned short computedChecksum(const unsigned char* block);

 private:
  // Formats the document into text (at most size bytes); returns its length.
  static int format(const unsigned char* block, char* text, int size);

  DocumentFile document_;
};

#endif  // UPDATERS_FACTORYSETTINGSFILE_H_
