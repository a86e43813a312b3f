#include "livedata/Timestamp.h"

#include "livedata/DecimalDigits.h"

namespace {

// Writes "%02d" of one field followed by separator (none when it is 0).
char* field(char* out, unsigned char value, char separator) {
  out = DecimalDigits::writeTwoAtLeast(out, value);
  if (separator != 0) *out++ = separator;
  return out;
}

}  // namespace

// The layouts "%02d/%02d/%02d%02d %02d:%02d:%02d" (month first) and
// "%02d%02d-%02d-%02d %02d:%02d:%02d" (century first), written from digit pairs.
// The longest text (every field 255) is 26 bytes, so the 31 bytes always hold it.
int sprint_out_ZUL_8byte_timestamp(char* buffer, const ZUL_TIMESTAMP_8B_STRUCT* ts, int format) {
  char* next = buffer;
  if (format == 1) {
    next = field(next, ts->month, '/');
    next = field(next, ts->day, '/');
    next = field(next, ts->century, 0);
    next = field(next, ts->year, ' ');
  } else {
    next = field(next, ts->century, 0);
    next = field(next, ts->year, '-');
    next = field(next, ts->month, '-');
    next = field(next, ts->day, ' ');
  }
  next = field(next, ts->hour, ':');
  next = field(next, ts->minute, ':');
  next = field(next, ts->second, 0);
  *next = '\0';
  return static_cast<int>(next - buffer);
}

void print_out_ZUL_8byte_timestamp(FILE* stream, const ZUL_TIMESTAMP_8B_STRUCT* ts, int format) {
  char text[kTimestampTextSize];
  sprint_out_ZUL_8byte_timestamp(text, ts, format);
  fputs(text, stream);
}
