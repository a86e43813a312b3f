// Process-wide state of the daemon, shared by the start-up thread and the updater
// threads. The daemon frame writes these; updaters only read them.
//
// Thread-safety: hookup, frequency_type and phase_type are refreshed by the main
// loop while updater threads read them, so they are relaxed atomics (one aligned
// 32-bit word each). Everything else is written only before the first thread starts.
#ifndef LIVEDATA_GLOBALS_H_
#define LIVEDATA_GLOBALS_H_

#include <stdint.h>

#include <atomic>

#include "platform/datamap.h"

// Debug mask bits, as the usage text names them.
enum : uint32_t {
  kDebugLivedata = 0x0001,
  kDebugEnergy = 0x0002,
  kDebugFlicker = 0x0004,
  kDebugPhasor = 0x0008,
  kDebugPolling = 0x0010,
  kDebugThd = 0x0020,
  kDebugDemand = 0x0040,
  kDebugMaskDefault = 0x3e
};

// Set by "-d": debug messages on, process stays in the foreground.
extern bool debug;
// Per-updater debug bits; an updater prints debug text only when debug is set and
// debugMask shares a bit with the updater's own bits.
extern uint32_t debugMask;

// System enumerations read from the datamap ("sys.enumeration.hookup",
// "sys.enumeration.frequency_type", "sys.enumeration.phase_type").
extern std::atomic<uint32_t> hookup;
extern std::atomic<uint32_t> frequency_type;
extern std::atomic<uint32_t> phase_type;

// Bit 0: hookup could not be read at start-up; bit 1: frequency type; bit 2: phase type.
extern uint32_t profile_status;

// Text layout of timestamps: 1 = "MM/DD/CCYY hh:mm:ss", anything else "CCYY-MM-DD hh:mm:ss".
extern int timestamp_print_out_format;

// Program version and build time, taken from the version record at start-up.
extern char version[36];
extern char buildtime[36];

// The process's one datamap handle, opened at start-up and shared by all threads.
extern DM_SYS_DATA_BLOK_USER dm;

#endif  // LIVEDATA_GLOBALS_H_
