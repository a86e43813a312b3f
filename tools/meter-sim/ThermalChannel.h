// One measured channel's thermal (first-order averaged) reading with the
// extremes the meter keeps of it: the maximum and minimum of positive thermal
// values and, for signed quantities, the largest and smallest magnitude of
// negative ones. Each extreme has its own validity flag, set once it holds a value.
//
// Thread-safety: one object per thread.
#ifndef TOOLS_METER_SIM_THERMALCHANNEL_H_
#define TOOLS_METER_SIM_THERMALCHANNEL_H_

struct ThermalExtreme {
  double value = 0.0;
  bool valid = false;
};

class ThermalChannel {
 public:
  // Time constant of the thermal average, seconds.
  static constexpr double kTau = 30.0;

  // Feeds the one-second reading of the step (dt 0 starts the average).
  void update(double reading, double dtSeconds);

  double thermal() const { return thermal_; }
  const ThermalExtreme& positiveMax() const { return posMax_; }
  const ThermalExtreme& positiveMin() const { return posMin_; }
  const ThermalExtreme& negativeMax() const { return negMax_; }  // most negative
  const ThermalExtreme& negativeMin() const { return negMin_; }  // closest to zero

 private:
  double thermal_ = 0.0;
  bool started_ = false;
  ThermalExtreme posMax_, posMin_, negMax_, negMin_;
};

#endif  // TOOLS_METER_SIM_THERMALCHANNEL_H_
