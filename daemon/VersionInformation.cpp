#include "daemon/VersionInformation.h"

#include <stdio.h>
#include <string.h>

namespace {

// "Mmm" of __DATE__ as its month number 1..12.
constexpr int monthOf(const char* date) {
  const char* names = "JanFebMarAprMayJunJulAugSepOctNovDec";
  for (int month = 0; month < 12; ++month) {
    if (date[0] == names[month * 3] && date[1] == names[month * 3 + 1] &&
        date[2] == names[month * 3 + 2]) {
      return month + 1;
    }
  }
  return 0;
}

constexpr int kBuildMonth = monthOf(__DATE__);

}  // namespace

#ifdef NDEBUG
#define LDU_BUILD_KIND "Release"
#else
#define LDU_BUILD_KIND "Debug"
#endif

// __DATE__ is "Mmm dd yyyy" (blank before a one-digit day), __TIME__ "hh:mm:ss".
// VER_FileVersion spells the same moment as YYMMDD.hhmmss.
__attribute__((used)) char version_information_resource[kVersionRecordCount][kVersionRecordSize] = {
    "VER_VersionInformation=1.0\n",
    "VER_Company=Korvo Instruments\n",
    "VER_Copyright=Copyright (C) Korvo Instruments\n",
    "VER_Product=Korvo KV7720 Power Quality Meter\n",
    "VER_ProductVersion=1.0\n",
    "VER_File=livedata_update\n",
    "VER_FileDate=" __DATE__ " " __TIME__ " (" LDU_BUILD_KIND ")\n",
    {'V',
     'E',
     'R',
     '_',
     'F',
     'i',
     'l',
     'e',
     'V',
     'e',
     'r',
     's',
     'i',
     'o',
     'n',
     '=',
     '0',
     '0',
     '0',
     '5',
     '.',
     '0',
     '0',
     '0',
     '1',
     '.',
     __DATE__[9],
     __DATE__[10],
     static_cast<char>('0' + kBuildMonth / 10),
     static_cast<char>('0' + kBuildMonth % 10),
     __DATE__[4] == ' ' ? '0' : __DATE__[4],
     __DATE__[5],
     '.',
     __TIME__[0],
     __TIME__[1],
     __TIME__[3],
     __TIME__[4],
     __TIME__[6],
     __TIME__[7],
     '\n'},
    "VER_FileDescription=Web Data Updater Live Data Update\n",
};

char* VI_VALUE_RemoveTerminator(const char* value, char* buffer) {
  strncpy(buffer, value, kVersionRecordSize);
  size_t length = strnlen(buffer, kVersionRecordSize);
  if (length > 0) buffer[length - 1] = '\0';
  return buffer;
}

void VI_print_FileVersion_FileDate() {
  printf("%s%s\n", version_information_resource[kVerFileVersion],
         version_information_resource[kVerFileDate]);
}

char* VI_record_value(int record, char* buffer) {
  const char* text = version_information_resource[record];
  const char* equals = strchr(text, '=');
  return VI_VALUE_RemoveTerminator(equals != nullptr ? equals + 1 : text, buffer);
}
