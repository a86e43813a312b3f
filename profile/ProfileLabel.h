// The device profile label document: the user-editable names of the meter's
// programmable settings file (accumulators, aggregators, digital inputs and
// their states), the energy direction and the names of the 32 limits, written
// once at start-up as JSON for the web UI.
//
// The limit names come from the meter's log item catalogue: the first document
// fills the limit table through a private datamap handle (user data blocks 18
// and 19) and the log exporter; later documents reuse the table.
//
// Thread-safety: none. Everything here is meant for the start-up thread, before
// any updater thread runs; the static state is unguarded.
#ifndef PROFILE_PROFILELABEL_H_
#define PROFILE_PROFILELABEL_H_

#include <stddef.h>

#include <string>

#include "base/Status.h"
#include "livedata/DocumentFile.h"
#include "platform/logexporter.h"
#include "platform/settings_file.h"

class ProfileLabel {
 public:
  // Length the settings file is given (ftruncate) and mapped with.
  static constexpr size_t kSettingsFileSize = settings_file::kSize;
  // Largest settings file accepted; a larger one is refused untouched.
  static constexpr size_t kMaxSettingsFileSize = 1024 * 1024;

  // Writes the label document at outputPath from the programmable settings file
  // at settingsPath. Returns 0 once the settings file was mapped (also when the
  // document could not be created: it is skipped silently), -1 when the settings
  // file cannot be opened ("Cannot open file PATH" on standard error), -2 when
  // it cannot be mapped ("Failed to mmap" on standard error; also for a FIFO or
  // a device at the path) or is larger than kMaxSettingsFileSize ("Settings file
  // PATH is larger than N bytes, not read"). Opening never blocks. The document
  // is formatted whole before its file is truncated.
  static int print_profile_label(const char* settingsPath, const char* outputPath);

  // Fills limit_alarm_config_item_info from the datamap's user data blocks 18 and
  // 19 and the log item catalogue, through a private datamap handle. Returns the
  // status of closing that handle, the failing dm_open_map's status, or the
  // failing dm_get_user_data_handle's status (the table stays unfilled then).
  static int print_profile_label_initialization();

  // True once the limit table was filled.
  static bool print_profile_label_initialized;
  // One record per limit; its label starts at byte 24. Zero (empty labels) until
  // filled; limits that are disabled or whose item is unknown keep their label.
  static LIMIT_ALARM_CONFIG_ITEM_INFO limit_alarm_config_item_info[LIMIT_ALARM_COUNT];

  // For tests only: forgets the limit table, so that the next document fills it
  // again from the datamap as a fresh process would.
  static void resetLimitTableForTesting();

 private:
  static base::Status openSettingsWithRetries(const char* settingsPath, int* fd);
  static void writeDocument(DocumentFile& out, const unsigned char* settings);
  static void writeLabelList(DocumentFile& out, const char* name, const unsigned char* settings,
                             size_t firstOffset, size_t stride, int count, const char* end);
  static void writeLimitLabels(DocumentFile& out);
  static void appendLabel(DocumentFile& out, const std::string& escaped, const char* separator);
  static void cleanLabel(const unsigned char* label16, std::string* escaped);
  static void fillLimitTable(const unsigned char* pqStatusBlock, unsigned char* nameBlock);
};

#endif  // PROFILE_PROFILELABEL_H_
