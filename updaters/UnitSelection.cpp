#include "updaters/UnitSelection.h"

namespace {

const double kKilo = static_cast<double>(1000.0f);
const double kMega = static_cast<double>(1000000.0f);

}  // namespace

UnitSelection::UnitSelection(unsigned ptRatio, unsigned ctRatio)
    : volts_(voltsFor(ptRatio)), amps_(ampsFor(ctRatio)) {
  const bool kv = kiloVolts(ptRatio);
  const bool ka = kiloAmps(ctRatio);
  if (kv && ka) {
    powers_ = Unit{" M", kMega};
  } else if (kv || ka) {
    powers_ = Unit{" k", kKilo};
  } else {
    powers_ = Unit{"", 1.0};
  }
}

UnitSelection::Unit UnitSelection::voltsFor(unsigned ptRatio) {
  return kiloVolts(ptRatio) ? Unit{" kV", kKilo} : Unit{" V", 1.0};
}

UnitSelection::Unit UnitSelection::ampsFor(unsigned ctRatio) {
  return kiloAmps(ctRatio) ? Unit{" kA", kKilo} : Unit{" A", 1.0};
}
