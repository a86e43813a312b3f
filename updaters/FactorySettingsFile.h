// The meter factory settings document, "meter_factory_setting.json": the serial
// number and OEM text of the factory record in the shared_meter_readings block,
// published only when the record's stored checksum matches its contents.
//
// Record layout (byte offsets in block 2):
//   59904  16-bit stored checksum, big-endian on every machine
//   60352  serial number, 16 bytes, not necessarily NUL-terminated
//   60368  OEM text, 16 bytes, not necessarily NUL-terminated
//   60415  last byte of the record; the checksum walks down from here over 510 bytes
//
// The energy updater fills the path buffers once in its initDmIndex and calls
// write() at the end of every displayData.
//
// Thread-safety: used only by the energy updater's thread; the path buffers are
// written before the first write() and only read afterwards.
#ifndef UPDATERS_FACTORYSETTINGSFILE_H_
#define UPDATERS_FACTORYSETTINGSFILE_H_

// Path of the document and of its directory (256 bytes each, process-wide).
extern char sys_config_jsonfile[256];
extern char sys_config_jsonfile_dir[256];

class FactorySettingsFile {
 public:
  // Byte positions of the record in the shared_meter_readings block.
  static constexpr unsigned kChecksumOffset = 59904;
  static constexpr unsigned kSerialOffset = 60352;
  static constexpr unsigned kOemOffset = 60368;
  static constexpr unsigned kRecordLastByte = 60415;
  static constexpr int kChecksumLength = 510;
  static constexpr int kFieldSize = 16;

  // Fills sys_config_jsonfile and sys_config_jsonfile_dir below webRoot.
  static void setPaths(const char* webRoot);

  // Rewrites the document from the record in block (the mapped shared_meter_readings
  // block). A file that cannot be opened is skipped silently; so is a block that
  // was never mapped.
  static void write(const unsigned char* block);

  // The checksum stored in the record and the one computed over it.
  static unsigned short storedChecksum(const unsigned char* block);
  static unsigned short computedChecksum(const unsigned char* block);

 private:
  // Formats the document into text (at most size bytes); returns its length.
  static int format(const unsigned char* block, char* text, int size);
};

#endif  // UPDATERS_FACTORYSETTINGSFILE_H_
