#include "Phasor.h"

#include <cmath>

namespace {
constexpr double kDegToRad = M_PI / 180.0;
}

std::complex<double> Phasor::toComplex() const { return std::polar(magnitude, angle * kDegToRad); }

Phasor Phasor::fromComplex(std::complex<double> value) {
  Phasor p;
  p.magnitude = std::abs(value);
  p.angle = std::arg(value) / kDegToRad;
  if (p.angle <= -180.0) p.angle += 360.0;
  return p;
}

double wrapDegrees360(double degrees) {
  double wrapped = std::fmod(degrees, 360.0);
  if (wrapped < 0.0) wrapped += 360.0;
  if (wrapped >= 360.0) wrapped -= 360.0;
  return wrapped;
}

double wrapDegrees180(double degrees) {
  double wrapped = wrapDegrees360(degrees + 180.0) - 180.0;
  return wrapped;
}
