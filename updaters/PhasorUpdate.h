// Phasor updater: writes "phasor_data.json", the data of the web UI's phasor
// diagram (frequency, hookup name, phase-to-neutral and phase-to-phase voltage
// phasors with the phase currents, per-phase watts and VAs, voltage-to-current
// angle differences, the auxiliary voltage and current, designation and clock).
//
// Writing the body does more than print: it normalises the stored angles (below
// 0: plus 360) and, for the delta hookups, rewrites stored magnitudes, angles and
// powers. A later cycle whose read fails keeps those rewritten values.
//
// Thread-safety: everything belongs to the updater's own thread; the global
// hookup is loaded once per document.
#ifndef UPDATERS_PHASORUPDATE_H_
#define UPDATERS_PHASORUPDATE_H_

#include <stdint.h>

#include "livedata/DocumentUpdater.h"
#include "updaters/PhaseKeys.h"
#include "updaters/TransformerRatios.h"

class PhasorUpdate : public DocumentUpdater {
 public:
  PhasorUpdate();
  ~PhasorUpdate() override;

 private:
  using Phase = PhaseKeys::Phase;

  void writeBody(DocumentFile& out) override;
  void writeMagnitudes(const char* name, DmKey<double> Phase::*voltage, const UnitSelection& units);
  void writePowers(const UnitSelection::Unit& unit);
  void writeAngles(DmKey<double> Phase::*voltageAngle);
  void adjustForHookup(uint32_t wiring);
  void writeAuxiliary();

  DmKey<double> frequency_;
  Phase phase_[3];
  DmKey<double> vaux_;
  DmKey<double> vauxAngle_;
  DmKey<double> iaux_;
  DmKey<double> iauxAngle_;
  TransformerRatios ratios_;
  DmKey<unsigned int> ptAuxRatio_;
  DmKey<unsigned int> ctAuxRatio_;
};

#endif  // UPDATERS_PHASORUPDATE_H_
