// The units of the readings, chosen from the transformer ratios: a PT ratio above
// 5 shows voltages in kV, a CT ratio above 10 currents in kA; powers (the
// product) are in M when both hold and in k when one does. The divisors are
// single-precision constants widened to double, as the meter's firmware computes
// them. Division by 1.0 is exact, so a plain unit divides too.
//
// Thread-safety: a value type.
#ifndef UPDATERS_UNITSELECTION_H_
#define UPDATERS_UNITSELECTION_H_

class UnitSelection {
 public:
  // Text behind a number (with its leading blank, "" for plain powers) and the
  // divisor that brings a reading into the unit.
  struct Unit {
    const char* suffix;
    double divisor;
  };

  UnitSelection(unsigned ptRatio, unsigned ctRatio);

  static bool kiloVolts(unsigned ptRatio) { return ptRatio > 5; }
  static bool kiloAmps(unsigned ctRatio) { return ctRatio > 10; }
  static Unit voltsFor(unsigned ptRatio);
  static Unit ampsFor(unsigned ctRatio);

  const Unit& volts() const { return volts_; }
  const Unit& amps() const { return amps_; }
  const Unit& powers() const { return powers_; }

 private:
  Unit volts_;
  Unit amps_;
  Unit powers_;
};

#endif  // UPDATERS_UNITSELECTION_H_
