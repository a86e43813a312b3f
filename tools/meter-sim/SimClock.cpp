#include "SimClock.h"

#include <stdio.h>
#include <string.h>
#include <time.h>

namespace {

// Days since 1970-01-01 of a proleptic Gregorian date (H. Hinnant's algorithm).
int64_t daysFromCivil(int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

struct CivilDate {
  int64_t year;
  unsigned month, day;
};

CivilDate civilFromDays(int64_t z) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  CivilDate date;
  date.day = doy - (153 * mp + 2) / 5 + 1;
  date.month = mp < 10 ? mp + 3 : mp - 9;
  date.year = static_cast<int64_t>(yoe) + era * 400 + (date.month <= 2);
  return date;
}

int64_t floorDiv(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

}  // namespace

SimClock SimClock::fromWallClock() {
  time_t now = time(nullptr);
  struct tm local;
  localtime_r(&now, &local);
  int64_t days = daysFromCivil(local.tm_year + 1900, static_cast<unsigned>(local.tm_mon + 1),
                               static_cast<unsigned>(local.tm_mday));
  return SimClock(days * 86400 + local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec);
}

bool SimClock::fromText(const std::string& text, SimClock* clock) {
  unsigned year, month, day, hour, minute, second;
  char tail;
  if (sscanf(text.c_str(), "%4u-%2u-%2u %2u:%2u:%2u%c", &year, &month, &day, &hour, &minute,
             &second, &tail) != 6)
    return false;
  if (year < 1970 || year > 2199 || month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 ||
      minute > 59 || second > 59)
    return false;
  *clock = SimClock(daysFromCivil(year, month, day) * 86400 + hour * 3600 + minute * 60 + second);
  return true;
}

int64_t SimClock::seconds() const { return floorDiv(ms_, 1000); }

ZUL_TIMESTAMP_12B_STRUCT SimClock::timestamp(int64_t seconds) {
  ZUL_TIMESTAMP_12B_STRUCT ts;
  memset(&ts, 0, sizeof ts);
  const int64_t days = floorDiv(seconds, 86400);
  const int64_t rest = seconds - days * 86400;
  CivilDate date = civilFromDays(days);
  ts.century = static_cast<uint8_t>(date.year / 100);
  ts.year = static_cast<uint8_t>(date.year % 100);
  ts.month = static_cast<uint8_t>(date.month);
  ts.day = static_cast<uint8_t>(date.day);
  ts.hour = static_cast<uint8_t>(rest / 3600);
  ts.minute = static_cast<uint8_t>(rest / 60 % 60);
  ts.second = static_cast<uint8_t>(rest % 60);
  return ts;
}

std::string SimClock::text(int64_t seconds) {
  ZUL_TIMESTAMP_12B_STRUCT ts = timestamp(seconds);
  char buffer[32];
  snprintf(buffer, sizeof buffer, "%02u%02u-%02u-%02u %02u:%02u:%02u", ts.century, ts.year,
           ts.month, ts.day, ts.hour, ts.minute, ts.second);
  return buffer;
}
