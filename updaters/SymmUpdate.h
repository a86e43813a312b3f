// Symmetrical components updater: writes "symmetrical_components.json", the zero,
// positive and negative sequence magnitude and angles of the voltages and of the
// currents, with the voltage and current phasors of the three phases.
//
// displayData() normalises the stored sequence angles and current phasor angles
// (below 0: plus 360); the voltage phasor angles are normalised in a working copy
// only. Its debug line is "PhasorUpdate displayData...", the firmware's text.
//
// Thread-safety: everything belongs to the updater's own thread; the global
// hookup is loaded once per document.
#ifndef UPDATERS_SYMMUPDATE_H_
#define UPDATERS_SYMMUPDATE_H_

#include <string>

#include "livedata/DmAccess.h"
#include "livedata/DocumentFile.h"
#include "livedata/LiveData.h"

class SymmUpdate : public LiveData {
 public:
  SymmUpdate();
  ~SymmUpdate() override;

  int init() override;
  // Resolves every key once; failures are reported and skipped. Returns 0.
  int initDmIndex();
  // Reads every key; failures are reported and the old value stays. Returns 0.
  int getData() override;
  // Writes the document (and normalises stored angles); returns an empty text.
  std::string displayData() override;

 private:
  // Phasors of one phase.
  struct Phase {
    DmKey<double> vln;
    DmKey<double> vll;
    DmKey<double> current;
    DmKey<double> vlnAngle;
    DmKey<double> vllAngle;
    DmKey<double> currentAngle;
  };
  // One sequence component: magnitude and angle.
  struct Sequence {
    DmKey<double> magnitude;
    DmKey<double> angle;
  };
  enum { kZero = 0, kPositive = 1, kNegative = 2 };

  void writeSequences(const char* quantity, Sequence* sequences, double divisor,
                      const char* unit);
  void writeVoltages(uint32_t wiring);
  void writeCurrents();

  DmKey<double> frequency_;
  Phase phase_[3];
  Sequence voltage_[3];  // zero, positive, negative
  Sequence current_[3];
  DmTextKey designation_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> time_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> onTime_;
  DmKey<unsigned int> ptRatio_;
  DmKey<unsigned int> ctRatio_;

  DocumentFile document_;
};

#endif  // UPDATERS_SYMMUPDATE_H_
