#include "Fortescue.h"

#include <cmath>

SequenceComponents fortescue(const Phasor& a, const Phasor& b, const Phasor& c) {
  const std::complex<double> op = std::polar(1.0, 2.0 * M_PI / 3.0);
  const std::complex<double> op2 = op * op;
  const std::complex<double> va = a.toComplex(), vb = b.toComplex(), vc = c.toComplex();
  SequenceComponents s;
  s.zero = Phasor::fromComplex((va + vb + vc) / 3.0);
  s.positive = Phasor::fromComplex((va + op * vb + op2 * vc) / 3.0);
  s.negative = Phasor::fromComplex((va + op2 * vb + op * vc) / 3.0);
  return s;
}
