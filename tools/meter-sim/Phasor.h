// A phasor as the meter publishes it: magnitude and angle in degrees.
#ifndef TOOLS_METER_SIM_PHASOR_H_
#define TOOLS_METER_SIM_PHASOR_H_

#include <complex>

struct Phasor {
  double magnitude = 0.0;
  double angle = 0.0;  // degrees

  std::complex<double> toComplex() const;
  // Angle of the result in (-180, 180].
  static Phasor fromComplex(std::complex<double> value);
};

// Brings an angle in degrees into [0, 360).
double wrapDegrees360(double degrees);
// Brings an angle in degrees into [-180, 180).
double wrapDegrees180(double degrees);

#endif  // TOOLS_METER_SIM_PHASOR_H_
