#include "HarmonicModel.h"

#include <string.h>

#include <algorithm>
#include <cmath>

namespace {

// Highest harmonic order the model fills; higher bins stay zero.
constexpr int kHighestOrder = 63;

// Typical relative level of harmonic h: odd orders fall with 1/h, triplen orders
// are weaker in voltages, even orders are small.
double harmonicLevel(int h, bool current) {
  if (h % 2 == 0) return 0.03 / h;
  if (h % 3 == 0 && !current) return 0.3 / h;
  return 1.0 / h;
}

}  // namespace

HarmonicModel::HarmonicModel(double voltageThdPercent, SimRandom& rng) {
  memset(harmonics_, 0, sizeof harmonics_);
  for (int c = 0; c < kChannels; ++c) {
    const bool current = c >= 3;
    targetThd_[c] = current ? voltageThdPercent * 3.0 : voltageThdPercent;
    for (int h = 0; h < kBins; ++h)
      shape_[c][h] = (h >= 2 && h <= kHighestOrder) ? harmonicLevel(h, current) : 0.0;
  }
  for (double& offset : offset_) offset = rng.uniform(-180.0, 180.0);
}

void HarmonicModel::step(const ThreePhaseModel& model, SimRandom& rng) {
  for (int c = 0; c < 3; ++c) buildChannel(c, model.phaseVoltage(c).angle, rng);
  for (int c = 0; c < 3; ++c) buildChannel(c + 3, model.current(c).angle, rng);
}

void HarmonicModel::buildChannel(int channel, double fundamentalAngle, SimRandom& rng) {
  double levels[kBins];
  double sumSquares = 0.0;
  for (int h = 0; h < kBins; ++h) {
    levels[h] = shape_[channel][h] * (1.0 + 0.05 * rng.gauss());
    if (levels[h] < 0.0) levels[h] = 0.0;
    sumSquares += levels[h] * levels[h];
  }
  const double target = targetThd_[channel] * (1.0 + 0.02 * rng.gauss());
  const double scale = sumSquares > 0.0 ? target / std::sqrt(sumSquares) : 0.0;
  Harmonics& s = harmonics_[channel];
  for (int h = 0; h < kBins; ++h) {
    // Percent of the fundamental in 0.01 % units.
    double magnitude = h == 1 ? 10000.0 : levels[h] * scale * 100.0;
    s.magnitude[h] = static_cast<uint16_t>(std::clamp(std::lround(magnitude), 0L, 65535L));
    double angle =
        h == 0 ? 0.0 : wrapDegrees180(h * fundamentalAngle + (h == 1 ? 0.0 : offset_[h]));
    long hundredths = std::lround(angle * 100.0);
    if (hundredths >= 18000) hundredths -= 36000;
    s.phase[h] = static_cast<int16_t>(hundredths);
  }
}

double HarmonicModel::thd(const Harmonics& arrays) {
  const double fundamental = arrays.magnitude[1];
  if (fundamental <= 0.0) return 0.0;
  double sum = 0.0;
  for (int h = 2; h < kBins; ++h)
    sum += static_cast<double>(arrays.magnitude[h]) * arrays.magnitude[h];
  return std::sqrt(sum) / fundamental * 100.0;
}

double HarmonicModel::kFactor(const Harmonics& arrays) {
  double weighted = 0.0, sum = 0.0;
  for (int h = 1; h < kBins; ++h) {
    const double square = static_cast<double>(arrays.magnitude[h]) * arrays.magnitude[h];
    weighted += square * h * h;
    sum += square;
  }
  return sum > 0.0 ? weighted / sum : 1.0;
}
