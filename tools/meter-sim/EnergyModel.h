// Energy registers, demands, peak demands and pulse accumulators of the
// simulated meter. Energies integrate the model's total powers over time on the
// secondary side (primary divided by PT x CT ratio), in Wh, VARh and VAh; they
// never decrease. Compensated energies add a small transformer-loss share to the
// uncompensated ones. Demands follow the powers as a thermal (first-order)
// average; ".sec" demands are the secondary-side values.
//
// Thread-safety: one object per thread.
#ifndef TOOLS_METER_SIM_ENERGYMODEL_H_
#define TOOLS_METER_SIM_ENERGYMODEL_H_

#include <stdint.h>

#include "SimRandom.h"
#include "ThreePhaseModel.h"

class EnergyModel {
 public:
  // Energy registers in the order of the meter's keys: Wh Q1+Q4 (delivered),
  // Wh Q2+Q3 (received), VARh Q1+Q2, VARh Q3+Q4, VAh.
  enum Register { kWhQ14, kWhQ23, kVarhQ12, kVarhQ34, kVah, kRegisters };
  // Demand channels: watt Q14, watt Q23, var Q12, var Q34, VA.
  static constexpr int kAccumulators = 8;
  static constexpr int kAggregators = 4;

  struct Peak {
    double value = 0.0;
    bool valid = false;
    int64_t time = 0;
  };

  EnergyModel(double ratioProduct, SimRandom& rng);

  void step(double dtSeconds, const ThreePhaseModel& model, int64_t nowSeconds);

  double energy(int reg) const { return compensated_[reg]; }
  double uncompensatedEnergy(int reg) const { return uncompensated_[reg]; }
  double qhrPositive() const { return qhr_[0]; }  // millions of Qh, secondary
  double qhrNegative() const { return qhr_[1]; }
  double demand(int reg) const { return demand_[reg]; }  // primary
  double demandSecondary(int reg) const { return demand_[reg] / ratio_; }
  const Peak& positivePeak() const { return peak_[0]; }
  const Peak& negativePeak() const { return peak_[1]; }
  uint64_t accumulator(int n) const { return static_cast<uint64_t>(accumulator_[n]); }
  uint64_t aggregator(int n) const { return accumulator(2 * n) + accumulator(2 * n + 1); }

 private:
  void integrate(double dt, const ThreePhaseModel& model);
  void followDemand(double dt, const ThreePhaseModel& model);
  void trackPeaks(int64_t now);

  double ratio_;
  double compensated_[kRegisters];
  double uncompensated_[kRegisters];
  double qhr_[2];
  double demand_[kRegisters] = {};
  bool demandStarted_ = false;
  Peak peak_[2];
  double accumulator_[kAccumulators];
};

#endif  // TOOLS_METER_SIM_ENERGYMODEL_H_
