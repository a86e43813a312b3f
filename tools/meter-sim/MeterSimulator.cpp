#include "MeterSimulator.h"

#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <cmath>

#include "Fortescue.h"

namespace {

const char* const kVoltNames[MeterSimulator::kVoltChannels] = {"an", "bn", "cn", "ab",
                                                               "bc", "ca", "aux"};
const char* const kCurrentNames[MeterSimulator::kCurrentChannels] = {"a", "b", "c", "n", "x"};
const char* const kPowerNames[MeterSimulator::kPowerChannels] = {"a", "b", "c", "total"};
const char* const kPhaseNames[3] = {"a", "b", "c"};

constexpr int64_t kDay = 86400;

uint64_t seedOf(const SimOptions& options) {
  if (options.seedGiven) return options.seed;
  return static_cast<uint64_t>(time(nullptr)) * 1000003ULL ^ static_cast<uint64_t>(getpid());
}

// The designation carries quotes on purpose: pages must show them escaped.
const char kDesignation[] = "KV7720 Simulator \"Main Feeder\"";

}  // namespace

SimClock MeterSimulator::startClock(const SimOptions& options) {
  SimClock clock;
  if (!options.start.empty() && SimClock::fromText(options.start, &clock)) return clock;
  if (options.seedGiven) {
    SimClock::fromText("2025-01-01 00:00:00", &clock);
    return clock;
  }
  return SimClock::fromWallClock();
}

MeterSimulator::MeterSimulator(const SimOptions& options)
    : options_(options),
      clock_(startClock(options)),
      startTime_(clock_.seconds()),
      rng_(seedOf(options)),
      model_(options, rng_),
      harmonics_(options.harmonics, rng_),
      energy_(model_.ratioProduct(), rng_),
      flicker_(clock_.seconds(), rng_),
      digitalInputs_(static_cast<uint16_t>((rng_.next() & 0x0F0F) | 0x0100)),
      publisher_(map_),
      blocks_(map_) {}

base::Status MeterSimulator::start(const std::string& mapPath, const std::string& catalogPath,
                                   const std::vector<MeterBlocks::Limit>& limits) {
  base::Status status = dmhost::HostDatamap::createFromCatalogFile(mapPath, catalogPath);
  if (status.ok()) status = map_.open(mapPath);
  char serial[17];
  snprintf(serial, sizeof serial, "000000SIM%07u", static_cast<unsigned>(options_.seed % 10000000));
  if (status.ok()) status = blocks_.writeTextFields();
  if (status.ok()) status = blocks_.writeFactoryRecord(serial, "Korvo Meter Sim");
  if (status.ok()) status = blocks_.writeLimits(limits);
  if (!status.ok()) return status;
  publishFixed();
  updateModels(0.0);
  publishReadings();
  return blocks_.writeHarmonics(harmonics_);
}

base::Status MeterSimulator::advance() {
  clock_.advanceMs(options_.periodMs);
  updateModels(options_.periodMs / 1000.0);
  publishReadings();
  return blocks_.writeHarmonics(harmonics_);
}

void MeterSimulator::updateModels(double dt) {
  model_.step(dt, rng_);
  harmonics_.step(model_, rng_);
  energy_.step(dt, model_, now());
  if (dt > 0.0) flicker_.step(now(), rng_);
  for (int c = 0; c < 3; ++c) {
    volts_[c].update(model_.phaseVoltage(c).magnitude, dt);
    volts_[c + 3].update(model_.lineVoltage(c).magnitude, dt);
    currents_[c].update(model_.current(c).magnitude, dt);
  }
  volts_[6].update(model_.auxVoltage().magnitude, dt);
  currents_[3].update(model_.neutralCurrent().magnitude, dt);
  currents_[4].update(model_.auxCurrent().magnitude, dt);
  for (int c = 0; c < kPowerChannels; ++c) {
    watts_[c].update(model_.watt(c), dt);
    vars_[c].update(model_.var(c), dt);
    vas_[c].update(model_.va(c), dt);
  }
  // A digital input changes now and then.
  if (dt > 0.0 && rng_.chance(0.1))
    digitalInputs_ ^= static_cast<uint16_t>(1u << (rng_.next() % 16));
}

void MeterSimulator::publishFixed() {
  MapPublisher& p = publisher_;
  const bool wye = options_.hookup == 0 || options_.hookup == 3;
  p.setUnsigned("sys.enumeration.hookup", options_.hookup);
  p.setUnsigned("sys.enumeration.frequency_type", options_.frequency < 55.0 ? 0 : 1);
  p.setUnsigned("sys.enumeration.phase_type", 0);
  p.setUnsigned("reading.02sec.volt.phase_sequence", 0);
  p.setUnsigned("dev.pt.pn.ratio", options_.pt);
  p.setUnsigned("dev.ct.abc.ratio", options_.ct);
  p.setUnsigned("dev.pt.aux.ratio", options_.pt);
  p.setUnsigned("dev.ct.aux.ratio", options_.ct);
  p.setString("dev.designation", kDesignation);
  p.setString("dev.pf_displayment.setting.string", "IEEE");
  p.setDouble("setting.en50160.nominal_voltage",
              model_.nominalPhaseVoltage() * (wye ? 1.0 : std::sqrt(3.0)));
  p.setTimestamp("sys.ontime", startTime_);
  p.setTimestamp("sys.timestamp.reset_energy", startTime_ - 30 * kDay);
  p.setTimestamp("sys.timestamp.reset_hsi_accumulator", startTime_ - 30 * kDay);
  p.setTimestamp("sys.timestamp.reset_demand_peak", startTime_ - 7 * kDay);
  p.setTimestamp("sys.timestamp.reset_thermal_peak.max", startTime_ - kDay);
  p.setTimestamp("sys.timestamp.reset_flicker_peak", startTime_ - kDay);
}

void MeterSimulator::publishReadings() {
  publisher_.setTimestamp("reading.time.ltc", now());
  publisher_.setDouble("reading.1sec.freq", model_.frequency());
  publisher_.setUnsigned("reading.digin.flag", digitalInputs_);
  publishVoltages();
  publishCurrents();
  publishPowers();
  publishThermal();
  publishEnergy();
  publishSequences();
  publishHarmonics();
  publishFlicker();
}

void MeterSimulator::publishVoltages() {
  for (int c = 0; c < 3; ++c) {
    const Phasor& phase = model_.phaseVoltage(c);
    const Phasor& line = model_.lineVoltage(c);
    publisher_.setDouble(std::string("reading.1sec.volt.") + kVoltNames[c], phase.magnitude);
    publisher_.setDouble(std::string("reading.02sec.volt.") + kVoltNames[c] + ".phase",
                         phase.angle);
    publisher_.setDouble(std::string("reading.1sec.volt.") + kVoltNames[c + 3], line.magnitude);
    publisher_.setDouble(std::string("reading.02sec.volt.") + kVoltNames[c + 3] + ".phase",
                         line.angle);
  }
  publisher_.setDouble("reading.1sec.volt.aux", model_.auxVoltage().magnitude);
  publisher_.setDouble("reading.02sec.volt.aux.phase", model_.auxVoltage().angle);
}

void MeterSimulator::publishCurrents() {
  for (int c = 0; c < 3; ++c) {
    publisher_.setDouble(std::string("reading.1sec.current.") + kPhaseNames[c],
                         model_.current(c).magnitude);
    publisher_.setDouble(std::string("reading.02sec.current.") + kPhaseNames[c] + ".phase",
                         model_.current(c).angle);
  }
  publisher_.setDouble("reading.1sec.current.n", model_.neutralCurrent().magnitude);
  publisher_.setDouble("reading.1sec.current.x", model_.auxCurrent().magnitude);
  publisher_.setDouble("reading.02sec.current.x.phase", model_.auxCurrent().angle);
}

void MeterSimulator::publishPowers() {
  for (int c = 0; c < kPowerChannels; ++c) {
    const std::string channel = kPowerNames[c];
    publisher_.setDouble("reading.1sec.power.watt." + channel, model_.watt(c));
    publisher_.setDouble("reading.1sec.power.var." + channel, model_.var(c));
    publisher_.setDouble("reading.1sec.power.va." + channel, model_.va(c));
    publisher_.setString("reading.1sec.pf." + channel + ".string", model_.powerFactorText(c));
  }
}

void MeterSimulator::publishExtremes(const std::string& family, const std::string& channel,
                                     const ThermalChannel& thermal, bool signedQuantity) {
  const std::string tail = ".thermal." + family + "." + channel;
  publisher_.setDouble("reading" + tail, thermal.thermal());
  const ThermalExtreme* extremes[4] = {&thermal.positiveMax(), &thermal.positiveMin(),
                                       &thermal.negativeMax(), &thermal.negativeMin()};
  const char* const kinds[4] = {"posmax", "posmin", "negmax", "negmin"};
  for (int k = 0; k < (signedQuantity ? 4 : 2); ++k) {
    publisher_.setBool(std::string(kinds[k]) + ".valid" + tail, extremes[k]->valid);
    publisher_.setDouble(kinds[k] + tail, extremes[k]->value);
  }
}

void MeterSimulator::publishThermal() {
  publisher_.setBool("posmin.valid.thermal.freq", true);
  for (int c = 0; c < kVoltChannels; ++c) publishExtremes("volt", kVoltNames[c], volts_[c], false);
  for (int c = 0; c < kCurrentChannels; ++c)
    publishExtremes("current", kCurrentNames[c], currents_[c], false);
  for (int c = 0; c < kPowerChannels; ++c) {
    publishExtremes("power.watt", kPowerNames[c], watts_[c], true);
    publishExtremes("power.var", kPowerNames[c], vars_[c], true);
    publishExtremes("power.va", kPowerNames[c], vas_[c], false);
  }
}

void MeterSimulator::publishEnergy() {
  static const char* const kEnergyKeys[EnergyModel::kRegisters] = {
      "watthr.q14.total.sec", "watthr.q23.total.sec", "varhr.q12.total.sec", "varhr.q34.total.sec",
      "vahr.total.total.sec"};
  static const char* const kUncompKeys[EnergyModel::kRegisters] = {
      "uncomp_watthr.q14.total.sec", "uncomp_watthr.q23.total.sec", "uncomp_varhr.q12.total.sec",
      "uncomp_varhr.q34.total.sec", "uncomp_vahr.total.sec"};
  static const char* const kDemandKeys[EnergyModel::kRegisters] = {
      "watt.q14.total", "watt.q23.total", "var.q12.total", "var.q34.total", "va.total.total"};
  for (int r = 0; r < EnergyModel::kRegisters; ++r) {
    publisher_.setDouble(std::string("reading.1sec.energy.") + kEnergyKeys[r], energy_.energy(r));
    publisher_.setDouble(std::string("reading.1sec.energy.") + kUncompKeys[r],
                         energy_.uncompensatedEnergy(r));
    const std::string demand = std::string("reading.demand.current.") + kDemandKeys[r];
    publisher_.setDouble(demand, energy_.demand(r));
    publisher_.setDouble(demand + ".sec", energy_.demandSecondary(r));
  }
  publisher_.setDouble("reading.1sec.energy.qhr.pos.total.sec", energy_.qhrPositive());
  publisher_.setDouble("reading.1sec.energy.qhr.neg.total.sec", energy_.qhrNegative());
  for (int n = 0; n < EnergyModel::kAccumulators; ++n)
    publisher_.setUnsigned("reading.1sec.accum.hsi." + std::to_string(n + 1),
                           energy_.accumulator(n));
  for (int n = 0; n < EnergyModel::kAggregators; ++n)
    publisher_.setUnsigned("reading.1sec.accum.agg." + std::to_string(n + 1),
                           energy_.aggregator(n));
  const EnergyModel::Peak* peaks[2] = {&energy_.positivePeak(), &energy_.negativePeak()};
  const char* const kinds[2] = {"posmax", "negmax"};
  for (int k = 0; k < 2; ++k) {
    const std::string kind = kinds[k];
    publisher_.setDouble(kind + ".demand.current.watt.total", peaks[k]->value);
    publisher_.setBool(kind + ".valid.demand.current.watt.total", peaks[k]->valid);
    publisher_.setTimestamp(kind + ".timestamp.demand.current.watt.total",
                            peaks[k]->valid ? peaks[k]->time : startTime_ - 7 * kDay);
  }
}

void MeterSimulator::publishSequences() {
  const SequenceComponents volts =
      fortescue(model_.phaseVoltage(0), model_.phaseVoltage(1), model_.phaseVoltage(2));
  const SequenceComponents amps =
      fortescue(model_.current(0), model_.current(1), model_.current(2));
  const SequenceComponents* sets[2] = {&volts, &amps};
  const char* const families[2] = {"volt", "current"};
  for (int f = 0; f < 2; ++f) {
    const Phasor* parts[3] = {&sets[f]->zero, &sets[f]->positive, &sets[f]->negative};
    const char* const names[3] = {"zeroseq", "posseq", "negseq"};
    for (int s = 0; s < 3; ++s) {
      const std::string key = std::string("reading.3secs.symcomp.") + families[f] + "." + names[s];
      publisher_.setDouble(key + ".mag", parts[s]->magnitude);
      publisher_.setDouble(key + ".phase", parts[s]->angle);
    }
  }
}

void MeterSimulator::publishHarmonics() {
  for (int c = 0; c < 3; ++c) {
    const std::string v = std::string("v") + kVoltNames[c];
    const HarmonicModel::Harmonics& vs = harmonics_.harmonics(c);
    const double vThd = HarmonicModel::thd(vs);
    publisher_.setDouble("reading.1sec.thd." + v, vThd);
    publisher_.setDouble("reading.3sec.kfactor." + v + ".total", HarmonicModel::kFactor(vs));
    publisher_.setDouble("reading.1sec.tdd." + v,
                         vThd * model_.phaseVoltage(c).magnitude / model_.nominalPhaseVoltage());
    const std::string i = std::string("i") + kPhaseNames[c];
    const HarmonicModel::Harmonics& is = harmonics_.harmonics(c + 3);
    const double iThd = HarmonicModel::thd(is);
    // Demand distortion relates the harmonics to the full-load current.
    const double fullLoad = model_.nominalCurrent() * 1.25;
    publisher_.setDouble("reading.3sec.thd." + i + ".total", iThd);
    publisher_.setDouble("reading.3sec.kfactor." + i + ".total", HarmonicModel::kFactor(is));
    publisher_.setDouble("reading.3sec.tdd." + i + ".total",
                         fullLoad > 0.0 ? iThd * model_.current(c).magnitude / fullLoad : 0.0);
  }
}

void MeterSimulator::publishFlickerSeverity(const char* kind, const FlickerModel::Severity& s) {
  const std::string k = kind;
  for (int c = 0; c < 3; ++c) {
    const std::string phase = std::string(".") + kPhaseNames[c];
    publisher_.setDouble("reading.flicker." + k + phase, s.value[c]);
    const FlickerModel::Extreme* extremes[2] = {&s.max[c], &s.min[c]};
    const char* const names[2] = {"posmax", "posmin"};
    for (int e = 0; e < 2; ++e) {
      const std::string tail = ".flicker." + k + phase;
      publisher_.setDouble(names[e] + tail, extremes[e]->value);
      publisher_.setBool(std::string(names[e]) + ".valid" + tail, extremes[e]->valid);
      publisher_.setTimestamp(std::string(names[e]) + ".timestamp" + tail, extremes[e]->time);
    }
  }
  publisher_.setBool("reading.valid." + k, s.valid);
  publisher_.setTimestamp("reading.flicker.timestamp." + k, s.time);
}

void MeterSimulator::publishFlicker() {
  for (int c = 0; c < 3; ++c)
    publisher_.setDouble(std::string("reading.flicker.pinst.") + kPhaseNames[c], flicker_.pinst(c));
  publisher_.setUnsigned("reading.flicker.countdown_sec.pst", flicker_.pstCountdown());
  publisher_.setUnsigned("reading.flicker.countdown_sec.plt", flicker_.pltCountdown());
  publishFlickerSeverity("pst", flicker_.pst());
  publishFlickerSeverity("plt", flicker_.plt());
}
