// Small helpers shared by the phasor, symmetrical components, flicker and THD
// updater tests: the global hookup for one test, and the documents' first lines.
#ifndef TESTS_UPDATERS_PHASOR_TESTING_H_
#define TESTS_UPDATERS_PHASOR_TESTING_H_

#include <stdint.h>

#include <string>

#include "livedata/Globals.h"

namespace phasortest {

// Sets the global hookup (and timestamp layout) for one test; restores both after.
class GlobalsScope {
 public:
  explicit GlobalsScope(uint32_t wiring, int timestampFormat = 0)
      : savedHookup_(hookup.load(std::memory_order_relaxed)),
        savedFormat_(timestamp_print_out_format),
        savedDebug_(debug),
        savedMask_(debugMask) {
    hookup.store(wiring, std::memory_order_relaxed);
    timestamp_print_out_format = timestampFormat;
    debug = false;
  }
  ~GlobalsScope() {
    hookup.store(savedHookup_, std::memory_order_relaxed);
    timestamp_print_out_format = savedFormat_;
    debug = savedDebug_;
    debugMask = savedMask_;
  }
  GlobalsScope(const GlobalsScope&) = delete;
  GlobalsScope& operator=(const GlobalsScope&) = delete;

 private:
  uint32_t savedHookup_;
  int savedFormat_;
  bool savedDebug_;
  uint32_t savedMask_;
};

// The common first lines of every document.
inline std::string documentHead() {
  return "{\n\"version\":{\t\"major\":0,\t\"minor\":1,\t\"micro\":6},\n";
}

// What the phasor reads of the frequency and the voltages print when each
// fails with -6: the phasor and the symmetrical components documents read them
// alike.
const char kVoltageReadErrors[] =
    "dm_read_flt64 error on key \"reading.1sec.freq\" with error code= -6\n"
    "dm_read_flt64 error on data.phasea.volt with error code= -6\n"
    "dm_read_flt64 error on data.phasea.vangle with error code= -6\n"
    "dm_read_flt64 error on data.phaseb.volt with error code= -6\n"
    "dm_read_flt64 error on data.phaseb.vangle with error code= -6\n"
    "dm_read_flt64 error on data.phasec.volt with error code= -6\n"
    "dm_read_flt64 error on data.phasec.vangle with error code= -6\n"
    "dm_read_flt64 error on data.phasea.volt with error code= -6\n"
    "dm_read_flt64 error on data.phasea.vangle_vpp with error code= -6\n"
    "dm_read_flt64 error on data.phaseb.volt with error code= -6\n"
    "dm_read_flt64 error on data.phaseb.vangle_vpp with error code= -6\n"
    "dm_read_flt64 error on data.phasec.volt with error code= -6\n"
    "dm_read_flt64 error on data.phasec.vangle_vpp with error code= -6\n";

}  // namespace phasortest

#endif  // TESTS_UPDATERS_PHASOR_TESTING_H_
