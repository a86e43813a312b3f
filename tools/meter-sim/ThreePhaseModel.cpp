#include "ThreePhaseModel.h"

#include <stdio.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr double kDegToRad = M_PI / 180.0;
// Nominal angles of the phase voltages (ABC rotation).
constexpr double kPhaseAngle[3] = {0.0, 240.0, 120.0};

// Mean-reverting random walk: pulls value towards target, adds noise.
double revert(double value, double target, double pull, double noise, SimRandom& rng) {
  return value + pull * (target - value) + noise * rng.gauss();
}

}  // namespace

ThreePhaseModel::ThreePhaseModel(const SimOptions& options, SimRandom& rng)
    : hookup_(options.hookup),
      nominalFrequency_(options.frequency),
      nominalVoltage_(options.voltage * options.pt),
      nominalCurrent_(options.load * options.ct),
      ratioProduct_(static_cast<double>(options.pt) * options.ct),
      displacement_(std::acos(std::fabs(options.pf)) / kDegToRad * (options.pf < 0 ? -1.0 : 1.0)),
      unbalance_(options.unbalance / 100.0),
      frequency_(options.frequency) {
  for (double& offset : phaseOffset_) offset = rng.uniform(-2.0, 2.0);
  loadFactor_ = rng.uniform(0.9, 1.1);
}

void ThreePhaseModel::step(double dtSeconds, SimRandom& rng) {
  stepFrequency(dtSeconds, rng);
  stepLoad(dtSeconds, rng);
  computePhasors(rng);
  computePowers();
}

void ThreePhaseModel::stepFrequency(double dt, SimRandom& rng) {
  if (dt <= 0.0) return;
  frequency_ = revert(frequency_, nominalFrequency_, 0.2, 0.004, rng);
  frequency_ = std::clamp(frequency_, nominalFrequency_ - 0.1, nominalFrequency_ + 0.1);
}

void ThreePhaseModel::stepLoad(double dt, SimRandom& rng) {
  if (dt <= 0.0) return;
  loadFactor_ = std::clamp(revert(loadFactor_, 1.0, 0.05, 0.02, rng), 0.5, 1.3);
}

void ThreePhaseModel::computePhasors(SimRandom& rng) {
  // Phase A carries more, phase B less, phase C the nominal share.
  const double share[3] = {1.0 + unbalance_ / 2.0, 1.0 - unbalance_ / 2.0, 1.0};
  std::complex<double> sum = 0.0;
  for (int p = 0; p < 3; ++p) {
    Phasor& v = phaseVoltage_[p];
    v.magnitude = nominalVoltage_ * share[p] * (1.0 + 0.001 * rng.gauss());
    v.angle =
        wrapDegrees360(kPhaseAngle[p] + (p == 0 ? 0.0 : unbalance_ * 20.0 * (p == 1 ? 1 : -1)) +
                       0.02 * rng.gauss());
    Phasor& i = current_[p];
    i.magnitude = nominalCurrent_ * loadFactor_ * share[p] * (1.0 + 0.003 * rng.gauss());
    i.angle = wrapDegrees360(v.angle - displacement_ -
                             phaseOffset_[p] * (1.0 - std::fabs(displacement_) / 90.0));
    sum += i.toComplex();
  }
  for (int p = 0; p < 3; ++p)
    lineVoltage_[p] =
        Phasor::fromComplex(phaseVoltage_[p].toComplex() - phaseVoltage_[(p + 1) % 3].toComplex());
  for (Phasor& line : lineVoltage_) line.angle = wrapDegrees360(line.angle);
  // Delta hookups have no neutral conductor to measure.
  const bool wye = hookup_ == 0 || hookup_ == 3;
  neutral_ = wye ? Phasor::fromComplex(sum) : Phasor();
  neutral_.angle = wrapDegrees360(neutral_.angle);
  auxVoltage_.magnitude = nominalVoltage_ * (0.995 + 0.001 * rng.gauss());
  auxVoltage_.angle = wrapDegrees360(phaseVoltage_[0].angle + 0.5);
  auxCurrent_.magnitude = current_[0].magnitude * 0.02;
  auxCurrent_.angle = current_[0].angle;
}

void ThreePhaseModel::computePowers() {
  watt_[3] = var_[3] = va_[3] = 0.0;
  for (int p = 0; p < 3; ++p) {
    const double vi = phaseVoltage_[p].magnitude * current_[p].magnitude;
    const double phi = (phaseVoltage_[p].angle - current_[p].angle) * kDegToRad;
    watt_[p] = vi * std::cos(phi);
    var_[p] = vi * std::sin(phi);
    va_[p] = vi;
    watt_[3] += watt_[p];
    var_[3] += var_[p];
    va_[3] += va_[p];
  }
}

std::string ThreePhaseModel::powerFactorText(int channel) const {
  const double s = va_[channel];
  const double pf = s > 0.0 ? std::fabs(watt_[channel]) / s : 1.0;
  char text[24];
  snprintf(text, sizeof text, "%.3f %s", pf, var_[channel] >= 0.0 ? "Lag" : "Lead");
  return text;
}
