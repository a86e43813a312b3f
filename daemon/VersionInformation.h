// The program's version block: nine "KEY=VALUE\n" records of 64 bytes each, kept
// in initialised writable data so that tools on the meter can find them in the
// executable. The build date, time and kind fill VER_FileDate and VER_FileVersion.
//
// Thread-safety: read-only after start-up.
#ifndef DAEMON_VERSIONINFORMATION_H_
#define DAEMON_VERSIONINFORMATION_H_

// Size of one record, zero padding included.
constexpr int kVersionRecordSize = 64;
constexpr int kVersionRecordCount = 9;

// Record positions.
enum VersionRecord {
  kVerVersionInformation = 0,
  kVerCompany = 1,
  kVerCopyright = 2,
  kVerProduct = 3,
  kVerProductVersion = 4,
  kVerFile = 5,
  kVerFileDate = 6,
  kVerFileVersion = 7,
  kVerFileDescription = 8
};

extern char version_information_resource[kVersionRecordCount][kVersionRecordSize];

// Copies at most 64 bytes of value (the text after a record's "=") into buffer
// and drops the last character (the record's line feed). buffer holds at least
// 64 bytes. Returns buffer.
char* VI_VALUE_RemoveTerminator(const char* value, char* buffer);

// Prints the whole VER_FileVersion and VER_FileDate records and an empty line.
void VI_print_FileVersion_FileDate();

// Value of record `record` (the text after its first "="), terminator removed,
// into buffer (at least 64 bytes). Returns buffer.
char* VI_record_value(int record, char* buffer);

#endif  // DAEMON_VERSIONINFORMATION_H_
