#include "livedata/Globals.h"

bool debug = false;
uint32_t debugMask = kDebugMaskDefault;
std::atomic<uint32_t> hookup{0};
std::atomic<uint32_t> frequency_type{0};
std::atomic<uint32_t> phase_type{0};
uint32_t profile_status = 0;
int timestamp_print_out_format = 0;
char version[36] = "";
char buildtime[36] = "";
DM_SYS_DATA_BLOK_USER dm = {nullptr};
