// Command line of meter-sim: the simulated installation (hookup, nominal values,
// load, ratios) and how the simulator runs (period, seed, once, paths).
#ifndef TOOLS_METER_SIM_SIMOPTIONS_H_
#define TOOLS_METER_SIM_SIMOPTIONS_H_

#include <stdint.h>

#include <string>

#include "base/Status.h"

struct SimOptions {
  unsigned hookup = 0;       // sys.enumeration.hookup, 0..4
  double voltage = 120.0;    // nominal phase-to-neutral voltage at the meter's inputs
  double frequency = 60.0;   // nominal frequency, Hz
  double load = 5.0;         // load current at the meter's inputs, A
  double pf = 0.9;           // displacement power factor; negative = leading
  double unbalance = 2.0;    // voltage and current unbalance, percent
  double harmonics = 3.0;    // voltage THD, percent (currents carry three times as much)
  unsigned pt = 1;           // dev.pt.pn.ratio
  unsigned ct = 1;           // dev.ct.abc.ratio
  unsigned periodMs = 1000;  // update period
  uint64_t seed = 0;
  bool seedGiven = false;
  bool once = false;        // populate and exit
  unsigned long steps = 0;  // with --steps: advance this many periods without sleeping, then exit
  bool stepsGiven = false;
  std::string start;         // clock start "CCYY-MM-DD hh:mm:ss"; empty = default
  std::string mapPath;       // empty = $DATAMAP_FILE or its default
  std::string catalogPath;   // empty = the installed catalogue
  std::string logItemsPath;  // empty = $LOG_ITEM_CATALOG or the built-in catalogue
  bool help = false;         // --help or -h: print the usage and exit
};

// Parses argv into *options; fails with one line naming the problem. Parsing
// stops at --help (options->help).
base::Status parseSimOptions(int argc, char** argv, SimOptions* options);

// The usage text.
std::string simUsage(const char* program);

#endif  // TOOLS_METER_SIM_SIMOPTIONS_H_
