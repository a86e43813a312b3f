// Calls of the meter's log exporter library (libpqlogexporter) that this program
// uses: the description of a logged item and the label of a limit alarm.
//
// A log item is named by an item id (the measured quantity) and a sub id (the
// phase or channel of that quantity). The limit alarm configuration names, for
// each of the meter's 32 limits, the log item that the limit watches.
//
// Thread-safety: both calls may be used from any thread; each writes only the
// record it is given.
#ifndef PLATFORM_LOGEXPORTER_H_
#define PLATFORM_LOGEXPORTER_H_

#ifdef __cplusplus
extern "C" {
#endif

// Size of a log item's name text, terminator included.
#define LOG_ITEM_NAME_SIZE 80

// Number of limits of the meter, and size of one limit record.
#define LIMIT_ALARM_COUNT 32
#define LIMIT_ALARM_RECORD_SIZE 104
// Byte offset of the label text within a limit record.
#define LIMIT_ALARM_LABEL_OFFSET 24

// Description of one log item.
typedef struct LOG_ITEM_INFO {
  unsigned short item_id;
  unsigned char sub_id;
  unsigned char reserved;  // 0
  // NUL-terminated name, for example "Volts AN"; the bytes after the
  // terminator are zero.
  char name[LOG_ITEM_NAME_SIZE];
} LOG_ITEM_INFO;

// One limit alarm record: 104 bytes, the label starting at byte 24.
typedef struct LIMIT_ALARM_CONFIG_ITEM_INFO {
  unsigned char config[LIMIT_ALARM_LABEL_OFFSET];  // limit settings, owned by the platform
  char label[LIMIT_ALARM_RECORD_SIZE - LIMIT_ALARM_LABEL_OFFSET];  // NUL-terminated
} LIMIT_ALARM_CONFIG_ITEM_INFO;

// Looks up log item (item_id, sub_id). Returns a non-negative value and fills
// *info on success; returns a negative value and leaves *info untouched when the
// item is unknown (or the item catalogue cannot be read).
int getLogItemInfo_map(unsigned short item_id, unsigned char sub_id, LOG_ITEM_INFO* info);

// Fills the label of limit record *record for limit i (0..31) from a table of
// names of LOG_ITEM_NAME_SIZE bytes each: the NUL-terminated text at
// names + LOG_ITEM_NAME_SIZE * i, at most LOG_ITEM_NAME_SIZE - 1 bytes, is copied
// to byte LIMIT_ALARM_LABEL_OFFSET of the record and terminated. Returns 0;
// negative for i outside 0..31 or a null pointer (record untouched then).
int query_limit_alarm_item_info(int i, const char* names, void* record);

#ifdef __cplusplus
}
#endif

#endif  // PLATFORM_LOGEXPORTER_H_
