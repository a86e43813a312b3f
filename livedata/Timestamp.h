// Text layouts of the meter's 8-byte timestamp.
//   format 1:        "MM/DD/CCYY hh:mm:ss"  (e.g. 10/05/2022 19:03:30)
//   any other value: "CCYY-MM-DD hh:mm:ss"  (e.g. 2022-10-05 19:03:30)
// Each field is printed with "%02d", so out-of-range bytes print as they are.
#ifndef LIVEDATA_TIMESTAMP_H_
#define LIVEDATA_TIMESTAMP_H_

#include <stdio.h>

#include "platform/datamap.h"

// Longest text a layout can produce, terminator included (every byte 255).
constexpr int kTimestampTextSize = 31;

void print_out_ZUL_8byte_timestamp(FILE* stream, const ZUL_TIMESTAMP_8B_STRUCT* ts, int format);
// Writes at most 31 bytes including the terminator (27 at most in fact); returns
// the length of the text, as snprintf would.
int sprint_out_ZUL_8byte_timestamp(char* buffer, const ZUL_TIMESTAMP_8B_STRUCT* ts, int format);

#endif  // LIVEDATA_TIMESTAMP_H_
