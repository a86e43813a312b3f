// Harmonic arrays of the three voltages and three currents as the meter keeps
// them in block 2: per channel 128 magnitudes in 0.01 % of the fundamental
// (uint16, element h = harmonic order h, element 1 the fundamental at 10000)
// and 128 phases in 0.01 degree (int16, -18000..17999). THD and K-factor are
// computed from these published (quantised) values, so they match what a reader
// of the block finds. Where the arrays lie is platform/meter_blocks.h's.
//
// Thread-safety: one object per thread.
#ifndef TOOLS_METER_SIM_HARMONICMODEL_H_
#define TOOLS_METER_SIM_HARMONICMODEL_H_

#include <stddef.h>
#include <stdint.h>

#include "SimRandom.h"
#include "ThreePhaseModel.h"
#include "platform/meter_blocks.h"

class HarmonicModel {
 public:
  static constexpr int kBins = meter_blocks::kHarmonicArrayLength;
  static constexpr int kChannels = meter_blocks::kHarmonicChannels;  // va, vb, vc, ia, ib, ic

  struct Harmonics {
    uint16_t magnitude[kBins];
    int16_t phase[kBins];
  };

  HarmonicModel(double voltageThdPercent, SimRandom& rng);

  // New harmonic arrays around the target distortion, phases locked to the model's phasors.
  void step(const ThreePhaseModel& model, SimRandom& rng);

  const Harmonics& harmonics(int channel) const { return harmonics_[channel]; }

  // THD in percent: sqrt(sum of squares of harmonics 2..127) / fundamental * 100.
  static double thd(const Harmonics& arrays);
  // K-factor: sum(h^2 Ih^2) / sum(Ih^2) over h = 1..127.
  static double kFactor(const Harmonics& arrays);

 private:
  void buildChannel(int channel, double fundamentalAngle, SimRandom& rng);

  double shape_[kChannels][kBins];  // unscaled relative harmonic levels
  double offset_[kBins];            // fixed harmonic phase offsets, degrees
  double targetThd_[kChannels];     // percent
  Harmonics harmonics_[kChannels];
};

#endif  // TOOLS_METER_SIM_HARMONICMODEL_H_
