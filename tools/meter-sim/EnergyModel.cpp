#include "EnergyModel.h"

#include <algorithm>
#include <cmath>

namespace {

// Transformer-loss share added to the compensated registers.
constexpr double kLossShare = 0.0015;
// Time constant of the thermal demand, seconds.
constexpr double kDemandTau = 120.0;
// Q-hours: V I cos(phi - 60 degrees).
constexpr double kQhrShift = M_PI / 3.0;

// Instantaneous register rates (per hour) of the model's totals, primary side.
void registerRates(const ThreePhaseModel& m, double rates[EnergyModel::kRegisters]) {
  rates[EnergyModel::kWhQ14] = std::max(m.watt(3), 0.0);
  rates[EnergyModel::kWhQ23] = std::max(-m.watt(3), 0.0);
  rates[EnergyModel::kVarhQ12] = std::max(m.var(3), 0.0);
  rates[EnergyModel::kVarhQ34] = std::max(-m.var(3), 0.0);
  rates[EnergyModel::kVah] = m.va(3);
}

}  // namespace

EnergyModel::EnergyModel(double ratioProduct, SimRandom& rng) : ratio_(ratioProduct) {
  // A meter that has been in service for a while.
  const double base = rng.uniform(1.0e5, 1.0e6);
  const double start[kRegisters] = {base, base * 0.01, base * 0.45, base * 0.02, base * 1.12};
  for (int r = 0; r < kRegisters; ++r) {
    uncompensated_[r] = std::floor(start[r] * 1000.0) / 1000.0;
    compensated_[r] = uncompensated_[r] * (1.0 + kLossShare);
  }
  qhr_[0] = std::floor(base * 0.9) / 1.0e6;
  qhr_[1] = std::floor(base * 0.001) / 1.0e6;
  for (int n = 0; n < kAccumulators; ++n) accumulator_[n] = std::floor(rng.uniform(1.0e4, 1.0e6));
}

void EnergyModel::step(double dtSeconds, const ThreePhaseModel& model, int64_t nowSeconds) {
  integrate(dtSeconds, model);
  followDemand(dtSeconds, model);
  trackPeaks(nowSeconds);
}

void EnergyModel::integrate(double dt, const ThreePhaseModel& model) {
  if (dt <= 0.0) return;
  const double hours = dt / 3600.0;
  double rates[kRegisters];
  registerRates(model, rates);
  for (int r = 0; r < kRegisters; ++r) {
    const double increment = rates[r] / ratio_ * hours;
    uncompensated_[r] += increment;
    compensated_[r] += increment * (1.0 + kLossShare);
  }
  double qh = 0.0;
  for (int p = 0; p < 3; ++p) {
    const double phi = (model.phaseVoltage(p).angle - model.current(p).angle) * M_PI / 180.0;
    qh += model.phaseVoltage(p).magnitude * model.current(p).magnitude * std::cos(phi - kQhrShift);
  }
  qhr_[qh >= 0.0 ? 0 : 1] += std::fabs(qh) / ratio_ * hours / 1.0e6;
  // Pulse accumulators: one pulse per Wh (primary) of each register, then per
  // phase of delivered energy.
  for (int r = 0; r < kRegisters; ++r) accumulator_[r] += rates[r] * hours;
  for (int p = 0; p < 3; ++p) accumulator_[kRegisters + p] += std::max(model.watt(p), 0.0) * hours;
}

void EnergyModel::followDemand(double dt, const ThreePhaseModel& model) {
  double rates[kRegisters];
  registerRates(model, rates);
  const double pull = demandStarted_ ? 1.0 - std::exp(-dt / kDemandTau) : 1.0;
  for (int r = 0; r < kRegisters; ++r) demand_[r] += pull * (rates[r] - demand_[r]);
  demandStarted_ = true;
}

void EnergyModel::trackPeaks(int64_t now) {
  const double values[2] = {demand_[kWhQ14], demand_[kWhQ23]};
  for (int k = 0; k < 2; ++k) {
    if (values[k] <= 0.0) continue;
    if (!peak_[k].valid || values[k] > peak_[k].value) peak_[k] = {values[k], true, now};
  }
}
