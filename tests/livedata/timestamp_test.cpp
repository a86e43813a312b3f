// The two text layouts of the meter's 8-byte timestamp.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "livedata/Timestamp.h"

namespace {

std::string layout(const ZUL_TIMESTAMP_8B_STRUCT& ts, int format) {
  char text[kTimestampTextSize];
  sprint_out_ZUL_8byte_timestamp(text, &ts, format);
  return text;
}

// Expects ts in the month-first layout (1) and the year-first layout (0).
void expectLayouts(const ZUL_TIMESTAMP_8B_STRUCT& ts, const char* monthFirst,
                   const char* yearFirst) {
  EXPECT_EQ(monthFirst, layout(ts, 1));
  EXPECT_EQ(yearFirst, layout(ts, 0));
}

std::string printed(const ZUL_TIMESTAMP_8B_STRUCT& ts, int format) {
  char* buffer = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&buffer, &size);
  print_out_ZUL_8byte_timestamp(stream, &ts, format);
  fclose(stream);
  std::string text(buffer, size);
  free(buffer);
  return text;
}

TEST(Timestamp, AllZero) {
  ZUL_TIMESTAMP_8B_STRUCT ts = {};
  expectLayouts(ts, "00/00/0000 00:00:00", "0000-00-00 00:00:00");
}

TEST(Timestamp, MonthFirstAndYearFirst) {
  ZUL_TIMESTAMP_8B_STRUCT ts = {20, 22, 10, 5, 19, 3, 30, 99};
  expectLayouts(ts, "10/05/2022 19:03:30", "2022-10-05 19:03:30");
  EXPECT_EQ("2022-10-05 19:03:30", layout(ts, 2));
  EXPECT_EQ("2022-10-05 19:03:30", layout(ts, -1));
}

TEST(Timestamp, SingleDigitFieldsArePadded) {
  ZUL_TIMESTAMP_8B_STRUCT ts = {20, 1, 2, 3, 4, 5, 6, 0};
  expectLayouts(ts, "02/03/2001 04:05:06", "2001-02-03 04:05:06");
}

TEST(Timestamp, OutOfRangeBytesPrintAsTheyAre) {
  ZUL_TIMESTAMP_8B_STRUCT ts = {255, 255, 255, 255, 255, 255, 255, 255};
  expectLayouts(ts, "255/255/255255 255:255:255", "255255-255-255 255:255:255");
}

TEST(Timestamp, MixedWidthsKeepTheirOrder) {
  ZUL_TIMESTAMP_8B_STRUCT ts = {100, 9, 10, 99, 0, 199, 5, 0};
  expectLayouts(ts, "10/99/10009 00:199:05", "10009-10-99 00:199:05");
  char text[kTimestampTextSize];
  EXPECT_EQ(21, sprint_out_ZUL_8byte_timestamp(text, &ts, 0));
}

TEST(Timestamp, ReturnsTheTextLength) {
  ZUL_TIMESTAMP_8B_STRUCT ts = {20, 22, 10, 5, 19, 3, 30, 0};
  char text[kTimestampTextSize];
  EXPECT_EQ(19, sprint_out_ZUL_8byte_timestamp(text, &ts, 0));
}

TEST(Timestamp, PrintWritesTheSameTextToTheStream) {
  ZUL_TIMESTAMP_8B_STRUCT ts = {19, 99, 12, 31, 23, 59, 58, 0};
  EXPECT_EQ("12/31/1999 23:59:58", printed(ts, 1));
  EXPECT_EQ("1999-12-31 23:59:58", printed(ts, 0));
}

}  // namespace
