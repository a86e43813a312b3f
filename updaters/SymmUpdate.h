// Symmetrical components updater: writes "symmetrical_components.json", the zero,
// positive and negative sequence magnitude and angles of the voltages and of the
// currents, with the voltage and current phasors of the three phases.
//
// Writing the body normalises the stored sequence angles and current phasor
// angles (below 0: plus 360); the voltage phasor angles are normalised in a
// working copy only. Its display debug line is "PhasorUpdate displayData...",
// the firmware's text.
//
// Thread-safety: everything belongs to the updater's own thread; the global
// hookup is loaded once per document.
#ifndef UPDATERS_SYMMUPDATE_H_
#define UPDATERS_SYMMUPDATE_H_

#include <stdint.h>

#include "livedata/DocumentUpdater.h"
#include "updaters/PhaseKeys.h"
#include "updaters/TransformerRatios.h"

class SymmUpdate : public DocumentUpdater {
 public:
  SymmUpdate();
  ~SymmUpdate() override;

 private:
  // One sequence component: magnitude and angle.
  struct Sequence {
    DmKey<double> magnitude;
    DmKey<double> angle;
  };
  enum { kZero = 0, kPositive = 1, kNegative = 2 };

  void writeBody(DocumentFile& out) override;
  void writeSequences(const char* quantity, Sequence* sequences, const UnitSelection::Unit& unit);
  void writeVoltages(uint32_t wiring);
  void writeCurrents();

  DmKey<double> frequency_;
  PhaseKeys::Phase phase_[3];
  Sequence voltage_[3];  // zero, positive, negative
  Sequence current_[3];
  TransformerRatios ratios_;
};

#endif  // UPDATERS_SYMMUPDATE_H_
