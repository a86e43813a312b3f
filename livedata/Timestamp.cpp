#include "livedata/Timestamp.h"

namespace {
const char kMonthFirst[] = "%02d/%02d/%02d%02d %02d:%02d:%02d";
const char kYearFirst[] = "%02d%02d-%02d-%02d %02d:%02d:%02d";
}  // namespace

int sprint_out_ZUL_8byte_timestamp(char* buffer, const ZUL_TIMESTAMP_8B_STRUCT* ts, int format) {
  if (format == 1) {
    return snprintf(buffer, kTimestampTextSize, kMonthFirst, ts->month, ts->day, ts->century,
                    ts->year, ts->hour, ts->minute, ts->second);
  }
  return snprintf(buffer, kTimestampTextSize, kYearFirst, ts->century, ts->year, ts->month,
                  ts->day, ts->hour, ts->minute, ts->second);
}

void print_out_ZUL_8byte_timestamp(FILE* stream, const ZUL_TIMESTAMP_8B_STRUCT* ts, int format) {
  char text[kTimestampTextSize];
  sprint_out_ZUL_8byte_timestamp(text, ts, format);
  fputs(text, stream);
}
