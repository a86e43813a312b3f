#include "profile/ProfileLabel.h"

#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "base/InputFile.h"
#include "livedata/DocumentFile.h"

#include "platform/common_api.h"
#include "platform/datamap.h"
#include "platform/meter_blocks.h"
#include "platform/settings_file.h"

namespace {

// Programmable settings file: the fields the document shows. Their offsets are
// in platform/settings_file.h.
using settings_file::kAccumulatorCount;
using settings_file::kAccumulatorFirst;
using settings_file::kAggregatorCount;
using settings_file::kAggregatorFirst;
using settings_file::kDigitalInputCount;
using settings_file::kDigitalInputFirst;
using settings_file::kDigitalInputName;
using settings_file::kDigitalInputOpen;
using settings_file::kDigitalInputShorted;
using settings_file::kDigitalInputStride;
using settings_file::kEnergyDirectionFlag;
using settings_file::kLabelSize;

// Datamap user blocks. Block 18 (power-quality status) describes the limits;
// block 19 receives the names of their log items.
// Their offsets are in platform/meter_blocks.h.
using meter_blocks::kLimitEnableWord;  // bit i (0 = most significant): limit i enabled
using meter_blocks::kLimitItemIds;
using meter_blocks::kLimitNameBlock;
using meter_blocks::kLimitNames;
using meter_blocks::kLimitSubIds;
constexpr int kPqStatusBlock = meter_blocks::kLimitTableBlock;
constexpr uint16_t kNoLogItem = 0xFFFF;

// Longest limit label printed.
constexpr size_t kMaxLimitLabel = 255;

// Opens of the settings file before giving up (errors other than ENOENT).
constexpr int kSettingsOpenAttempts = 5;

}  // namespace

bool ProfileLabel::print_profile_label_initialized = false;
LIMIT_ALARM_CONFIG_ITEM_INFO ProfileLabel::limit_alarm_config_item_info[LIMIT_ALARM_COUNT];

void ProfileLabel::resetLimitTableForTesting() {
  print_profile_label_initialized = false;
  memset(limit_alarm_config_item_info, 0, sizeof(limit_alarm_config_item_info));
}

int ProfileLabel::print_profile_label(const char* settingsPath, const char* outputPath) {
  int fd = -1;
  const base::Status status = openSettingsWithRetries(settingsPath, &fd);
  const base::InputFile::Refusal refusal = base::InputFile::refusal(status);
  if (refusal == base::InputFile::Refusal::kCannotOpen) {
    fprintf(stderr, "Cannot open file %s\n", settingsPath);
    return -1;
  }
  if (refusal == base::InputFile::Refusal::kTooLarge) {
    // Refused before anything could cut it: such a file is not a settings file.
    fprintf(stderr, "Settings file %s is larger than %zu bytes, not read\n", settingsPath,
            kMaxSettingsFileSize);
    return -2;
  }
  if (refusal == base::InputFile::Refusal::kNotRegular) {
    // A FIFO or a device offers no mapping of the settings.
    fprintf(stderr, "Failed to mmap\n");
    return -2;
  }
  // The mapping must cover every offset read below: a short file is extended
  // with zeros (its missing labels print empty), a longer one is cut. A failure
  // here shows in the mapping, which is checked.
  if (ftruncate(fd, static_cast<off_t>(kSettingsFileSize)) != 0) {
  }
  void* mapped = mmap(nullptr, kSettingsFileSize, PROT_READ, MAP_SHARED, fd, 0);
  close(fd);
  if (mapped == MAP_FAILED) {
    fprintf(stderr, "Failed to mmap\n");
    return -2;
  }
  // The whole text is formatted before the file is truncated (at close).
  DocumentFile out(8192);
  if (out.open(outputPath)) {
    writeDocument(out, static_cast<const unsigned char*>(mapped));
    out.close();
  }
  munmap(mapped, kSettingsFileSize);
  return 0;
}

// Another process may hold the settings file briefly (the meter rewrites it),
// so failed opens are retried once a second; a missing file is final. What
// stands at the path is checked without blocking: a FIFO, a device or an
// oversized file is refused at once.
base::Status ProfileLabel::openSettingsWithRetries(const char* settingsPath, int* fd) {
  for (int attempt = 1;; ++attempt) {
    base::Status status = base::InputFile::open(settingsPath, O_RDWR, kMaxSettingsFileSize, fd);
    if (base::InputFile::refusal(status) != base::InputFile::Refusal::kCannotOpen) return status;
    // A symbolic link at the path is refused for good: the file is cut below.
    const int error = status.errnum();
    if (error == ENOENT || error == ELOOP || attempt >= kSettingsOpenAttempts) return status;
    sleep(1);
  }
}

void ProfileLabel::writeDocument(DocumentFile& out, const unsigned char* settings) {
  out.append("{\n");
  out.append("\"version\":{\t\"major\":0,\t\"minor\":2,\t\"micro\":0},\n");
  if (settings[kEnergyDirectionFlag] != 0) {
    out.append("\"Q14_Whr_label\":\"Del Wh\",\"Q23_Whr_label\":\"Rec Wh\",\n");
  } else {
    out.append("\"Q14_Whr_label\":\"Rec Wh\",\"Q23_Whr_label\":\"Del Wh\",\n");
  }
  writeLabelList(out, "accumulators_label", settings, kAccumulatorFirst, kLabelSize,
                 kAccumulatorCount, "],\n");
  writeLabelList(out, "aggregators_label", settings, kAggregatorFirst, kLabelSize, kAggregatorCount,
                 "],\n");
  writeLabelList(out, "digital_input_name_label", settings, kDigitalInputFirst + kDigitalInputName,
                 kDigitalInputStride, kDigitalInputCount, "],\n");
  writeLabelList(out, "digital_input_open_label", settings, kDigitalInputFirst + kDigitalInputOpen,
                 kDigitalInputStride, kDigitalInputCount, "],\n");
  writeLabelList(out, "digital_input_shorted_label", settings,
                 kDigitalInputFirst + kDigitalInputShorted, kDigitalInputStride, kDigitalInputCount,
                 "],\n");
  if (!print_profile_label_initialized) print_profile_label_initialization();
  writeLimitLabels(out);
  out.append("}\n");
}

// "NAME":["l0","l1",...,"ln"END with each 16-byte label cleaned and escaped.
void ProfileLabel::writeLabelList(DocumentFile& out, const char* name,
                                  const unsigned char* settings, size_t firstOffset, size_t stride,
                                  int count, const char* end) {
  out.append("\"");
  out.append(name);
  out.append("\":[");
  std::string escaped;
  for (int i = 0; i < count; ++i) {
    cleanLabel(settings + firstOffset + stride * static_cast<size_t>(i), &escaped);
    appendLabel(out, escaped, i + 1 < count ? "," : end);
  }
}

// "LABEL" followed by separator; the label is already escaped.
void ProfileLabel::appendLabel(DocumentFile& out, const std::string& escaped,
                               const char* separator) {
  out.append("\"");
  out.append(escaped.data(), escaped.size());
  out.append("\"");
  out.append(separator);
}

// Limit labels are printed as the log exporter gave them: no blank trimming.
void ProfileLabel::writeLimitLabels(DocumentFile& out) {
  out.append("\"limit_label\":[");
  const char* table = reinterpret_cast<const char*>(limit_alarm_config_item_info);
  const size_t tableSize = sizeof(limit_alarm_config_item_info);
  std::string escaped;
  for (int i = 0; i < LIMIT_ALARM_COUNT; ++i) {
    size_t start = LIMIT_ALARM_RECORD_SIZE * static_cast<size_t>(i) + LIMIT_ALARM_LABEL_OFFSET;
    // At most 255 bytes, and never past the end of the table.
    size_t bound = tableSize - start < kMaxLimitLabel ? tableSize - start : kMaxLimitLabel;
    char label[kMaxLimitLabel + 1];
    size_t length = strnlen(table + start, bound);
    memcpy(label, table + start, length);
    label[length] = '\0';
    strJSON_normalize(escaped, label);
    appendLabel(out, escaped, i + 1 < LIMIT_ALARM_COUNT ? "," : "]\n");
  }
}

// The label in a terminated buffer, trailing blanks dropped from the 16th byte
// back to the 2nd (the first byte stays, so a blank label prints as one blank;
// the trim stops at the first byte that is not a blank, a zero included), then
// escaped for JSON.
void ProfileLabel::cleanLabel(const unsigned char* label16, std::string* escaped) {
  char text[kLabelSize + 1];
  memcpy(text, label16, kLabelSize);
  text[kLabelSize] = '\0';
  for (size_t i = kLabelSize - 1; i >= 1; --i) {
    if (text[i] != ' ') break;
    text[i] = '\0';
  }
  strJSON_normalize(*escaped, text);
}

int ProfileLabel::print_profile_label_initialization() {
  // A private handle: this runs before the daemon opens its own.
  DM_SYS_DATA_BLOK_USER handle{};
  int status = dm_open_map(&handle);
  if (status < 0) return status;
  unsigned int size = 0;
  unsigned int flags = 0;
  void* pq_status_user_data_ptr = nullptr;
  void* names = nullptr;
  status =
      dm_get_user_data_handle(&handle, kPqStatusBlock, &size, &pq_status_user_data_ptr, &flags);
  if (status >= 0) {
    status = dm_get_user_data_handle(&handle, kLimitNameBlock, &size, &names, &flags);
  }
  if (status < 0) {
    dm_close_map(&handle);
    return status;
  }
  fillLimitTable(static_cast<const unsigned char*>(pq_status_user_data_ptr),
                 static_cast<unsigned char*>(names));
  print_profile_label_initialized = true;
  return dm_close_map(&handle);
}

// For each limit: the name of its log item goes to the name block, and enabled
// limits take their label from there. Block words are in native byte order.
void ProfileLabel::fillLimitTable(const unsigned char* pqStatusBlock, unsigned char* nameBlock) {
  uint32_t enabled = 0;
  memcpy(&enabled, pqStatusBlock + kLimitEnableWord, sizeof(enabled));
  char* names = reinterpret_cast<char*>(nameBlock + kLimitNames);
  for (int i = 0; i < LIMIT_ALARM_COUNT; ++i) {
    uint16_t id = 0;
    memcpy(&id, pqStatusBlock + kLimitItemIds + 2 * static_cast<size_t>(i), sizeof(id));
    uint8_t subId = pqStatusBlock[kLimitSubIds + static_cast<size_t>(i)];
    if (id != kNoLogItem && !(id == 0 && subId == 0)) {
      LOG_ITEM_INFO info;
      if (getLogItemInfo_map(id, subId, &info) >= 0) {
        memcpy(names + LOG_ITEM_NAME_SIZE * static_cast<size_t>(i), info.name, LOG_ITEM_NAME_SIZE);
      }
    }
    if (enabled & (0x80000000u >> i)) {
      query_limit_alarm_item_info(i, names, &limit_alarm_config_item_info[i]);
    }
  }
}
