// Phasor updater: writes "phasor_data.json", the data of the web UI's phasor
// diagram (frequency, hookup name, phase-to-neutral and phase-to-phase voltage
// phasors with the phase currents, per-phase watts and VAs, voltage-to-current
// angle differences, the auxiliary voltage and current, designation and clock).
//
// displayData() does more than print: it normalises the stored angles (below 0:
// plus 360) and, for the delta hookups, rewrites stored magnitudes, angles and
// powers. A later cycle whose read fails keeps those rewritten values.
//
// Thread-safety: everything belongs to the updater's own thread; the global
// hookup is loaded once per document.
#ifndef UPDATERS_PHASORUPDATE_H_
#define UPDATERS_PHASORUPDATE_H_

#include <string>

#include "livedata/DmAccess.h"
#include "livedata/DocumentFile.h"
#include "livedata/LiveData.h"

class PhasorUpdate : public LiveData {
 public:
  PhasorUpdate();
  ~PhasorUpdate() override;

  int init() override;
  // Resolves every key once; failures are reported and skipped. Returns 0.
  int initDmIndex();
  // Reads every key; failures are reported and the old value stays. Returns 0.
  int getData() override;
  // Writes the document (and adjusts the stored values); returns an empty text.
  std::string displayData() override;

 private:
  // The readings of one phase (a, b or c).
  struct Phase {
    DmKey<double> vln;           // phase-to-neutral magnitude
    DmKey<double> vll;           // phase-to-phase magnitude (ab, bc, ca)
    DmKey<double> current;
    DmKey<double> watt;
    DmKey<double> va;
    DmKey<double> vlnAngle;
    DmKey<double> vllAngle;
    DmKey<double> currentAngle;
  };

  void readPhases();
  void writeMagnitudes(const char* name, DmKey<double> Phase::*voltage, bool kiloVolts,
                       bool kiloAmps);
  void writePowers(bool kiloVolts, bool kiloAmps);
  void writeAngles(DmKey<double> Phase::*voltageAngle);
  void adjustForHookup(uint32_t wiring);
  void writeAuxiliary();

  DmKey<double> frequency_;
  Phase phase_[3];
  DmKey<double> vaux_;
  DmKey<double> vauxAngle_;
  DmKey<double> iaux_;
  DmKey<double> iauxAngle_;
  DmTextKey designation_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> time_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> onTime_;
  DmKey<unsigned int> ptRatio_;
  DmKey<unsigned int> ctRatio_;
  DmKey<unsigned int> ptAuxRatio_;
  DmKey<unsigned int> ctAuxRatio_;

  DocumentFile document_;
};

#endif  // UPDATERS_PHASORUPDATE_H_
