// Symmetrical components (Fortescue transform) of three phase phasors A, B, C:
//   zero     = (A + B + C) / 3
//   positive = (A + a B + a^2 C) / 3
//   negative = (A + a^2 B + a C) / 3,   a = 1 at 120 degrees.
#ifndef TOOLS_METER_SIM_FORTESCUE_H_
#define TOOLS_METER_SIM_FORTESCUE_H_

#include "Phasor.h"

struct SequenceComponents {
  Phasor zero;
  Phasor positive;
  Phasor negative;
};

SequenceComponents fortescue(const Phasor& a, const Phasor& b, const Phasor& c);

#endif  // TOOLS_METER_SIM_FORTESCUE_H_
