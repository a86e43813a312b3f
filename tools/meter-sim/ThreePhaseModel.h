// The electrical state of a simulated three-phase installation: phase and line
// voltages, currents, powers and frequency, all in primary units (the meter's
// input values times the PT and CT ratios).
//
// Phasors rotate in the ABC sequence: A near 0 degrees, B near 240, C near 120.
// Each current lags its voltage by the displacement angle acos(pf) (leads when
// pf is negative). Powers follow from the published phasors: P = V I cos(phi),
// Q = V I sin(phi), S = V I with phi = voltage angle - current angle.
//
// Thread-safety: one object per thread.
#ifndef TOOLS_METER_SIM_THREEPHASEMODEL_H_
#define TOOLS_METER_SIM_THREEPHASEMODEL_H_

#include <string>

#include "Phasor.h"
#include "SimOptions.h"
#include "SimRandom.h"

class ThreePhaseModel {
 public:
  ThreePhaseModel(const SimOptions& options, SimRandom& rng);

  // Moves the installation on by dtSeconds (0 only recomputes).
  void step(double dtSeconds, SimRandom& rng);

  double frequency() const { return frequency_; }
  const Phasor& phaseVoltage(int phase) const { return phaseVoltage_[phase]; }  // an, bn, cn
  const Phasor& lineVoltage(int phase) const { return lineVoltage_[phase]; }    // ab, bc, ca
  const Phasor& current(int phase) const { return current_[phase]; }            // a, b, c
  const Phasor& neutralCurrent() const { return neutral_; }
  const Phasor& auxVoltage() const { return auxVoltage_; }
  const Phasor& auxCurrent() const { return auxCurrent_; }

  // Per phase 0..2, and 3 for the total.
  double watt(int channel) const { return watt_[channel]; }
  double var(int channel) const { return var_[channel]; }
  double va(int channel) const { return va_[channel]; }
  // Power factor text as the meter shows it, e.g. "0.900 Lag".
  std::string powerFactorText(int channel) const;

  // Nominal values in primary units.
  double nominalPhaseVoltage() const { return nominalVoltage_; }
  double nominalCurrent() const { return nominalCurrent_; }
  double ratioProduct() const { return ratioProduct_; }

 private:
  void stepFrequency(double dt, SimRandom& rng);
  void stepLoad(double dt, SimRandom& rng);
  void computePhasors(SimRandom& rng);
  void computePowers();

  unsigned hookup_;
  double nominalFrequency_;
  double nominalVoltage_;
  double nominalCurrent_;
  double ratioProduct_;
  double displacement_;    // degrees, current behind voltage
  double unbalance_;       // fraction
  double phaseOffset_[3];  // fixed per-phase displacement offsets, degrees
  double frequency_;
  double loadFactor_ = 1.0;
  Phasor phaseVoltage_[3];
  Phasor lineVoltage_[3];
  Phasor current_[3];
  Phasor neutral_;
  Phasor auxVoltage_;
  Phasor auxCurrent_;
  double watt_[4] = {};
  double var_[4] = {};
  double va_[4] = {};
};

#endif  // TOOLS_METER_SIM_THREEPHASEMODEL_H_
