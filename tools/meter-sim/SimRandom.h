// Seeded pseudo-random numbers for the simulator (SplitMix64). The sequence
// depends only on the seed, so a seeded run repeats exactly on one machine.
//
// Thread-safety: one object per thread.
#ifndef TOOLS_METER_SIM_SIMRANDOM_H_
#define TOOLS_METER_SIM_SIMRANDOM_H_

#include <stdint.h>

class SimRandom {
 public:
  explicit SimRandom(uint64_t seed) : state_(seed) {}

  uint64_t next();
  // Uniform in [0, 1).
  double uniform();
  // Uniform in [low, high).
  double uniform(double low, double high);
  // Standard normal (Box-Muller, one value per call).
  double gauss();
  // True with the given probability.
  bool chance(double probability);

 private:
  uint64_t state_;
};

#endif  // TOOLS_METER_SIM_SIMRANDOM_H_
