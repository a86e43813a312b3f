#include "updaters/HookupNames.h"

const char* const hookup_str[6] = {
    "Wye", "Delta 3 CTs", "Delta 2 CTs", "2.5 Element Wye", "4 Wire Delta", ""};

const char* hookup_name(uint32_t code) {
  return code < sizeof hookup_str / sizeof hookup_str[0] ? hookup_str[code] : "";
}
