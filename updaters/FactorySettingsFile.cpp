#include "updaters/FactorySettingsFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "livedata/DocumentFile.h"
#include "livedata/JsonDirectory.h"
#include "platform/common_api.h"
#include "platform/meter_blocks.h"

char sys_config_jsonfile[256];
char sys_config_jsonfile_dir[256];

namespace {

using meter_blocks::kFactoryFieldSize;
using meter_blocks::kFactoryOem;
using meter_blocks::kFactoryRecord;
using meter_blocks::kFactorySerial;

// The document is small and fixed in shape: two 16-byte texts plus the frame.
constexpr int kDocumentSize = 384;

}  // namespace

FactorySettingsFile::FactorySettingsFile() : document_(kDocumentSize) {}

void FactorySettingsFile::setPaths(const char* webRoot) {
  snprintf(sys_config_jsonfile, sizeof sys_config_jsonfile, "%s%smeter_factory_setting.json",
           webRoot, kJsonDirectory);
  // The directory without its trailing '/'.
  snprintf(sys_config_jsonfile_dir, sizeof sys_config_jsonfile_dir, "%s%.*s", webRoot,
           static_cast<int>(sizeof kJsonDirectory - 2), kJsonDirectory);
}

unsigned short FactorySettingsFile::storedChecksum(const unsigned char* block) {
  // The meter stores the word big-endian; read it so on every machine.
  return static_cast<unsigned short>((block[kFactoryRecord] << 8) | block[kFactoryRecord + 1]);
}

unsigned short FactorySettingsFile::computedChecksum(const unsigned char* block) {
  return CRC16_down(0xFFFF, meter_blocks::kFactoryChecksumLength,
                    block + meter_blocks::kFactoryRecordLastByte);
}

int FactorySettingsFile::format(const unsigned char* block, char* text, int size) {
  if (storedChecksum(block) != computedChecksum(block)) {
    return snprintf(text, static_cast<size_t>(size),
                    "{\n"
                    "\"version\":{\t\"major\":0,\t\"minor\":1,\t\"micro\":0},\n"
                    "\"_status\":\"invalid, checksum not match\",\n"
                    "\"serial_number\":null,\"oem_string\":null\n"
                    "}\n");
  }
  // Serial numbers stored with six leading zeros are published without them.
  const char* serial = reinterpret_cast<const char*>(block + kFactorySerial);
  int serialLength = kFactoryFieldSize;
  if (memcmp(serial, "000000", 6) == 0) {
    serial += 6;
    serialLength -= 6;
  }
  const char* oem = reinterpret_cast<const char*>(block + kFactoryOem);
  // "%.*s" stops at a NUL inside the field and never reads past it.
  return snprintf(text, static_cast<size_t>(size),
                  "{\n"
                  "\"version\":{\t\"major\":%u,\t\"minor\":%u,\t\"micro\":%u},\n"
                  "\"_status\":\"good\",\n"
                  "\"serial_number\":\"%.*s\",\n"
                  "\"oem_string\":\"%.*s\"\n"
                  "}\n",
                  0u, 1u, 6u, serialLength, serial, kFactoryFieldSize, oem);
}

void FactorySettingsFile::write(const unsigned char* block) {
  if (block == nullptr) return;
  // Written like the updater documents: formatted whole, then put over the old
  // text in one write (never truncated first), failures on the runtime log.
  // open() gives the file the owner and group of its directory
  // (sys_config_jsonfile_dir, found by its path in this very call).
  if (!document_.open(sys_config_jsonfile)) return;
  // A failure is ignored: the document is still written.
  if (fchmod(document_.fd(), 0774) != 0) {
  }
  char text[kDocumentSize];
  int length = format(block, text, sizeof text);
  if (length >= static_cast<int>(sizeof text)) length = static_cast<int>(sizeof text) - 1;
  if (length > 0) document_.append(text, static_cast<size_t>(length));
  document_.close();
}
