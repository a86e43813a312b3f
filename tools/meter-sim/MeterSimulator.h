// The simulated meter: creates the datamap, writes the fixed content (blocks,
// settings, ratios, designation) and then publishes the models' readings every
// period. Time comes from a simulated clock advanced by the period, and every
// random choice from one seeded generator, so a seeded run repeats exactly.
//
// Thread-safety: one object per thread.
#ifndef TOOLS_METER_SIM_METERSIMULATOR_H_
#define TOOLS_METER_SIM_METERSIMULATOR_H_

#include <stdint.h>

#include <string>
#include <vector>

#include "EnergyModel.h"
#include "FlickerModel.h"
#include "HarmonicModel.h"
#include "MapPublisher.h"
#include "MeterBlocks.h"
#include "SimClock.h"
#include "SimOptions.h"
#include "SimRandom.h"
#include "ThermalChannel.h"
#include "ThreePhaseModel.h"
#include "hoststore/HostDatamap.h"

class MeterSimulator {
 public:
  // Thermal channels in the order of the polling page.
  static constexpr int kVoltChannels = 7;     // an bn cn ab bc ca aux
  static constexpr int kCurrentChannels = 5;  // a b c n x
  static constexpr int kPowerChannels = 4;    // a b c total

  explicit MeterSimulator(const SimOptions& options);

  // Creates the map at mapPath from the catalogue file, writes the fixed content
  // and the initial readings. limits: the limit table to enable (may be empty).
  base::Status start(const std::string& mapPath, const std::string& catalogPath,
                     const std::vector<MeterBlocks::Limit>& limits);

  // Advances the clock by one period and publishes the new readings.
  base::Status advance();

  int64_t now() const { return clock_.seconds(); }
  int64_t startTime() const { return startTime_; }
  const ThreePhaseModel& model() const { return model_; }
  const HarmonicModel& harmonics() const { return harmonics_; }
  const EnergyModel& energy() const { return energy_; }
  const FlickerModel& flicker() const { return flicker_; }
  dmhost::HostDatamap& map() { return map_; }
  // Keys of the catalogue that could not be written (0 when all fit).
  int publishProblems() const { return publisher_.problems(); }

  // The clock start a set of options selects.
  static SimClock startClock(const SimOptions& options);

 private:
  void updateModels(double dtSeconds);
  void publishFixed();
  void publishReadings();
  void publishVoltages();
  void publishCurrents();
  void publishPowers();
  void publishThermal();
  void publishEnergy();
  void publishSequences();
  void publishHarmonics();
  void publishFlicker();
  void publishFlickerSeverity(const char* kind, const FlickerModel::Severity& severity);
  void publishExtremes(const std::string& family, const std::string& channel,
                       const ThermalChannel& thermal, bool signedQuantity);

  SimOptions options_;
  SimClock clock_;
  int64_t startTime_;
  SimRandom rng_;
  ThreePhaseModel model_;
  HarmonicModel harmonics_;
  EnergyModel energy_;
  FlickerModel flicker_;
  ThermalChannel volts_[kVoltChannels];
  ThermalChannel currents_[kCurrentChannels];
  ThermalChannel watts_[kPowerChannels];
  ThermalChannel vars_[kPowerChannels];
  ThermalChannel vas_[kPowerChannels];
  uint16_t digitalInputs_;
  dmhost::HostDatamap map_;
  MapPublisher publisher_;
  MeterBlocks blocks_;
};

#endif  // TOOLS_METER_SIM_METERSIMULATOR_H_
