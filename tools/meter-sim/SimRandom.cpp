#include "SimRandom.h"

#include <cmath>

uint64_t SimRandom::next() {
  uint64_t z = (state_ += 0x9E3779B97F4A7C15ULL);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}

double SimRandom::uniform() {
  return static_cast<double>(next() >> 11) * (1.0 / 9007199254740992.0);
}

double SimRandom::uniform(double low, double high) { return low + (high - low) * uniform(); }

double SimRandom::gauss() {
  // 1 - uniform() lies in (0, 1], so the logarithm is finite.
  double u1 = 1.0 - uniform();
  double u2 = uniform();
  return std::sqrt(-2.0 * std::log(u1)) * std::cos(2.0 * M_PI * u2);
}

bool SimRandom::chance(double probability) { return uniform() < probability; }
