#include "updaters/PhasorUpdate.h"

#include "livedata/Globals.h"
#include "updaters/HookupNames.h"
#include "updaters/PhaseAngles.h"

// Lookups and reads share their order except for the phases (see PhaseKeys).
PhasorUpdate::PhasorUpdate()
    : DocumentUpdater(0, {"PhasorUpdate init...\n", "PhasorUpdate displayData...\n"}) {
  DmKeyTable& k = keys();
  PhaseKeys::addFrequencyAndPhases(k, frequency_, phase_, true);
  k.add(vaux_, "reading.1sec.volt.aux", "dm_read_flt64 error on data.vauxrms with error code= ");
  k.add(vauxAngle_, "reading.02sec.volt.aux.phase",
        "dm_read_flt64 error on data.vauxangle with error code= ");
  k.add(iaux_, "reading.1sec.current.x", "dm_read_flt64 error on data.iauxrms with error code= ");
  k.add(iauxAngle_, "reading.02sec.current.x.phase",
        "dm_read_flt64 error on data.iauxangle with error code= ");
  addFrameKeys(PhaseKeys::kFrameMessages);
  ratios_.addTo(k);
  k.addKeyed(ptAuxRatio_, "dev.pt.aux.ratio", "dm_read_uint32 error on %s with error code= ");
  // The auxiliary CT ratio's lookup failure names the phase CT ratio.
  k.addKeyed(ctAuxRatio_, "dev.ct.aux.ratio",
             "dm_read_uint32 error on %s with error code= ", "dev.ct.abc.ratio");
}

// Ends the updater thread before the members it uses go away.
PhasorUpdate::~PhasorUpdate() { stop(); }

// "\"NAME\":[" and three voltages then three currents, each in its unit.
void PhasorUpdate::writeMagnitudes(const char* name, DmKey<double> Phase::*voltage,
                                   const UnitSelection& units) {
  const UnitSelection::Unit& v = units.volts();
  const UnitSelection::Unit& a = units.amps();
  document().printf(
      "\"%s\":[\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",", name,
      (phase_[0].*voltage).value / v.divisor, v.suffix, (phase_[1].*voltage).value / v.divisor,
      v.suffix, (phase_[2].*voltage).value / v.divisor, v.suffix,
      phase_[0].current.value / a.divisor, a.suffix, phase_[1].current.value / a.divisor, a.suffix,
      phase_[2].current.value / a.divisor, a.suffix);
}

// Watts a, b, c then VAs a, b, c in the power unit.
void PhasorUpdate::writePowers(const UnitSelection::Unit& unit) {
  const double d = unit.divisor;
  const char* s = unit.suffix;
  document().printf("\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",",
                    phase_[0].watt.value / d, s, phase_[1].watt.value / d, s,
                    phase_[2].watt.value / d, s, phase_[0].va.value / d, s, phase_[1].va.value / d,
                    s, phase_[2].va.value / d, s);
}

// Normalises the three voltage and the three current angles (stored back), then
// writes them and the three voltage-minus-current differences.
void PhasorUpdate::writeAngles(DmKey<double> Phase::*voltageAngle) {
  for (Phase& phase : phase_) {
    (phase.*voltageAngle).value = PhaseAngles::normalised((phase.*voltageAngle).value);
    phase.currentAngle.value = PhaseAngles::normalised(phase.currentAngle.value);
  }
  const double va = (phase_[0].*voltageAngle).value;
  const double vb = (phase_[1].*voltageAngle).value;
  const double vc = (phase_[2].*voltageAngle).value;
  const double ia = phase_[0].currentAngle.value;
  const double ib = phase_[1].currentAngle.value;
  const double ic = phase_[2].currentAngle.value;
  document().printf(
      "\"%.3f Deg\",\"%.3f Deg\",\"%.3f Deg\",\"%.3f Deg\",\"%.3f Deg\",\"%.3f Deg\","
      "\"%.3f Deg\",\"%.3f Deg\",\"%.3f Deg\"],\n",
      va, vb, vc, ia, ib, ic, PhaseAngles::difference(va, ia), PhaseAngles::difference(vb, ib),
      PhaseAngles::difference(vc, ic));
}

// Delta hookups have no per-phase powers. With CTs on two or three phases (1, 2)
// the meter measures no Vbc: its magnitude moves to Vca, whose angle becomes
// Vbc's plus 180 (0 when there is no voltage). The stored values change.
void PhasorUpdate::adjustForHookup(uint32_t wiring) {
  if (hookup_is_wye(wiring)) return;
  if (wiring == 1 || wiring == 2) {
    Phase& b = phase_[1];
    Phase& c = phase_[2];
    c.vllAngle.value = b.vllAngle.value + 180.0;
    if (c.vllAngle.value > 360.0) c.vllAngle.value -= 360.0;
    c.vll.value = b.vll.value;
    if (c.vll.value == 0.0) c.vllAngle.value = 0.0;
    b.vll.value = 0.0;
    b.vllAngle.value = 0.0;
  }
  for (Phase& phase : phase_) {
    phase.watt.value = 0.0;
    phase.va.value = 0.0;
  }
}

void PhasorUpdate::writeAuxiliary() {
  const UnitSelection::Unit v = UnitSelection::voltsFor(ptAuxRatio_.value);
  const UnitSelection::Unit a = UnitSelection::ampsFor(ctAuxRatio_.value);
  document().printf("\"vauxblock\":[\"%.3f%s\",\"%.3f Deg\"],\n", vaux_.value / v.divisor, v.suffix,
                    vauxAngle_.value);
  document().printf("\"iauxblock\":[\"%.3f%s\",\"%.3f Deg\"],\n", iaux_.value / a.divisor, a.suffix,
                    iauxAngle_.value);
}

void PhasorUpdate::writeBody(DocumentFile& out) {
  const uint32_t wiring = hookup.load(std::memory_order_relaxed);
  const UnitSelection units = ratios_.units();
  out.printf("\"frequency\":\"%.3f Hz\",\n", frequency_.value);
  out.printf("\"hookup\":\"%s\",\n", hookup_name(wiring));

  writeMagnitudes("phasetoneutral", &Phase::vln, units);
  writePowers(units.powers());
  writeAngles(&Phase::vlnAngle);

  adjustForHookup(wiring);
  writeMagnitudes("phasetophase", &Phase::vll, units);
  writePowers(units.powers());
  writeAngles(&Phase::vllAngle);

  writeAuxiliary();
  out.append("\"earthblock\":[\"N/A\",\"N/A\",\"N/A\",\"N/A\"],\n");
}
