#include "updaters/SymmUpdate.h"

#include "livedata/Globals.h"
#include "updaters/HookupNames.h"
#include "updaters/PhaseAngles.h"

namespace {

// Sequence keys, voltage then current, zero/positive/negative with magnitude
// before angle; the read error texts name the key without quotes.
const char* const kSequenceKeys[2][3][2] = {
    {{"reading.3secs.symcomp.volt.zeroseq.mag", "reading.3secs.symcomp.volt.zeroseq.phase"},
     {"reading.3secs.symcomp.volt.posseq.mag", "reading.3secs.symcomp.volt.posseq.phase"},
     {"reading.3secs.symcomp.volt.negseq.mag", "reading.3secs.symcomp.volt.negseq.phase"}},
    {{"reading.3secs.symcomp.current.zeroseq.mag", "reading.3secs.symcomp.current.zeroseq.phase"},
     {"reading.3secs.symcomp.current.posseq.mag", "reading.3secs.symcomp.current.posseq.phase"},
     {"reading.3secs.symcomp.current.negseq.mag", "reading.3secs.symcomp.current.negseq.phase"}},
};
const char kSequenceMessage[] = "dm_read_flt64 error on %s with error code= ";

const char* const kSequenceNames[3] = {"zero_sequence", "positive_sequence", "negative_sequence"};

}  // namespace

// Lookups and reads share their order except for the phases (see PhaseKeys).
SymmUpdate::SymmUpdate()
    : DocumentUpdater(0, {"SymmUpdate init...\n", "PhasorUpdate displayData...\n"}) {
  DmKeyTable& k = keys();
  PhaseKeys::addFrequencyAndPhases(k, frequency_, phase_, false);
  Sequence* const quantities[2] = {voltage_, current_};
  for (int q = 0; q < 2; ++q) {
    for (int s = 0; s < 3; ++s) {
      k.addKeyed(quantities[q][s].magnitude, kSequenceKeys[q][s][0], kSequenceMessage);
      k.addKeyed(quantities[q][s].angle, kSequenceKeys[q][s][1], kSequenceMessage);
    }
  }
  addFrameKeys(PhaseKeys::kFrameMessages);
  ratios_.addTo(k);
}

// Ends the updater thread before the members it uses go away.
SymmUpdate::~SymmUpdate() { stop(); }

// Normalises the stored sequence angles and writes the zero, positive and
// negative sequence lines of one quantity ("voltage" or "current"). Each line
// repeats its magnitude three times; the positive sequence turns by +120/+240,
// the negative by +240/+120, the zero sequence not at all.
void SymmUpdate::writeSequences(const char* quantity, Sequence* sequences,
                                const UnitSelection::Unit& unit) {
  static const double kTurns[3][2] = {{0.0, 0.0}, {120.0, 240.0}, {240.0, 120.0}};
  for (int s = 0; s < 3; ++s)
    sequences[s].angle.value = PhaseAngles::normalised(sequences[s].angle.value);
  for (int s = 0; s < 3; ++s) {
    const double magnitude = sequences[s].magnitude.value / unit.divisor;
    const double angle = sequences[s].angle.value;
    const double second = s == kZero ? angle : PhaseAngles::rotated(angle, kTurns[s][0]);
    const double third = s == kZero ? angle : PhaseAngles::rotated(angle, kTurns[s][1]);
    document().printf(
        "\"%s_%s\":[\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",\"%.2f Deg\",\"%.2f Deg\",\"%.2f Deg\"],\n",
        quantity, kSequenceNames[s], magnitude, unit.suffix, magnitude, unit.suffix, magnitude,
        unit.suffix, angle, second, third);
  }
}

// Voltage sequences, then the phasors: phase-to-neutral for wye hookups (0, 3),
// phase-to-phase for all others, their angles normalised in a working copy.
void SymmUpdate::writeVoltages(uint32_t wiring) {
  const UnitSelection::Unit unit = ratios_.units().volts();
  writeSequences("voltage", voltage_, unit);
  const bool wye = hookup_is_wye(wiring);
  double magnitude[3];
  double angle[3];
  for (int p = 0; p < 3; ++p) {
    magnitude[p] = (wye ? phase_[p].vln.value : phase_[p].vll.value) / unit.divisor;
    angle[p] = PhaseAngles::normalised(wye ? phase_[p].vlnAngle.value : phase_[p].vllAngle.value);
  }
  const char* s = unit.suffix;
  document().printf(
      "\"voltage_phasor\":[\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",\"%.2f Deg\",\"%.2f Deg\","
      "\"%.2f Deg\"],\n",
      magnitude[0], s, magnitude[1], s, magnitude[2], s, angle[0], angle[1], angle[2]);
}

// Current sequences and phasors; the stored current angles are normalised.
void SymmUpdate::writeCurrents() {
  const UnitSelection::Unit unit = ratios_.units().amps();
  for (PhaseKeys::Phase& phase : phase_) {
    phase.currentAngle.value = PhaseAngles::normalised(phase.currentAngle.value);
  }
  writeSequences("current", current_, unit);
  const double d = unit.divisor;
  const char* s = unit.suffix;
  document().printf(
      "\"current_phasor\":[\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",\"%.2f Deg\",\"%.2f Deg\","
      "\"%.2f Deg\"],\n",
      phase_[0].current.value / d, s, phase_[1].current.value / d, s, phase_[2].current.value / d,
      s, phase_[0].currentAngle.value, phase_[1].currentAngle.value, phase_[2].currentAngle.value);
}

void SymmUpdate::writeBody(DocumentFile& out) {
  const uint32_t wiring = hookup.load(std::memory_order_relaxed);
  out.printf("\"frequency\":\"%.3f Hz\",\n", frequency_.value);
  out.printf("\"hookup\":\"%s\",\n", hookup_name(wiring));
  writeVoltages(wiring);
  writeCurrents();
}
