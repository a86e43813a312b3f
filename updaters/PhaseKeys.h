// The per-phase keys shared by the phasor and the symmetrical components
// updaters: magnitudes, powers and angles of phases a, b and c, with the order
// both updaters look them up in and read them in.
//
// Thread-safety: constant tables; the rows point into the caller's records.
#ifndef UPDATERS_PHASEKEYS_H_
#define UPDATERS_PHASEKEYS_H_

#include "livedata/DmAccess.h"
#include "livedata/DmKeyTable.h"

class PhaseKeys {
 public:
  // The readings of one phase.
  struct Phase {
    DmKey<double> vln;  // phase-to-neutral magnitude
    DmKey<double> vll;  // phase-to-phase magnitude (ab, bc, ca)
    DmKey<double> current;
    DmKey<double> watt;  // not used without powers
    DmKey<double> va;    // not used without powers
    DmKey<double> vlnAngle;
    DmKey<double> vllAngle;
    DmKey<double> currentAngle;
  };

  // Read error formats of the frame keys on both pages; the meter time's lacks the
  // blank before "error" (the firmware's text).
  static const char* const kFrameMessages[3];

  // The frequency row ("reading.1sec.freq") and the phases' rows, as both pages
  // begin their tables.
  static void addFrequencyAndPhases(DmKeyTable& table, DmKey<double>& frequency, Phase* phases,
                                    bool withPowers);
  // Lookup rows, phase by phase: vln, vll, current, [watt, va,] vlnAngle,
  // vllAngle, currentAngle.
  static void addLookups(DmKeyTable& table, Phase* phases, bool withPowers);
  // Read rows: vln and its angle of the three phases, then vll and its angle,
  // then current, [watt, va,] current angle. The read errors name firmware
  // fields; all three magnitudes of a phase share the "volt" text.
  static void addReads(DmKeyTable& table, Phase* phases, bool withPowers);
};

#endif  // UPDATERS_PHASEKEYS_H_
