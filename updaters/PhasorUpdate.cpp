#include "updaters/PhasorUpdate.h"

#include <stdio.h>
#include <string.h>

#include "livedata/Globals.h"
#include "platform/common_api.h"
#include "updaters/HookupNames.h"

namespace {

// Unit divisors of the meter firmware: single-precision constants, widened to
// double where they divide a reading.
constexpr float kKilo = 1000.0f;
constexpr float kMega = 1000000.0f;


// dm_get_info order of the eight keys of each phase.
const char* const kPhaseKeys[3][8] = {
    {"reading.1sec.volt.an", "reading.1sec.volt.ab", "reading.1sec.current.a",
     "reading.1sec.power.watt.a", "reading.1sec.power.va.a", "reading.02sec.volt.an.phase",
     "reading.02sec.volt.ab.phase", "reading.02sec.current.a.phase"},
    {"reading.1sec.volt.bn", "reading.1sec.volt.bc", "reading.1sec.current.b",
     "reading.1sec.power.watt.b", "reading.1sec.power.va.b", "reading.02sec.volt.bn.phase",
     "reading.02sec.volt.bc.phase", "reading.02sec.current.b.phase"},
    {"reading.1sec.volt.cn", "reading.1sec.volt.ca", "reading.1sec.current.c",
     "reading.1sec.power.watt.c", "reading.1sec.power.va.c", "reading.02sec.volt.cn.phase",
     "reading.02sec.volt.ca.phase", "reading.02sec.current.c.phase"},
};

// Read error texts of one phase. All three magnitudes of a phase (Vln, Vll and
// the current) share the "volt" text.
struct PhaseMessages {
  const char* magnitude;
  const char* vlnAngle;
  const char* vllAngle;
  const char* watt;
  const char* va;
  const char* currentAngle;
};

const PhaseMessages kPhaseMessages[3] = {
    {"dm_read_flt64 error on data.phasea.volt with error code= ",
     "dm_read_flt64 error on data.phasea.vangle with error code= ",
     "dm_read_flt64 error on data.phasea.vangle_vpp with error code= ",
     "dm_read_flt64 error on data.phasea.watt with error code= ",
     "dm_read_flt64 error on data.phasea.va with error code= ",
     "dm_read_flt64 error on data.phasea.iangle with error code= "},
    {"dm_read_flt64 error on data.phaseb.volt with error code= ",
     "dm_read_flt64 error on data.phaseb.vangle with error code= ",
     "dm_read_flt64 error on data.phaseb.vangle_vpp with error code= ",
     "dm_read_flt64 error on data.phaseb.watt with error code= ",
     "dm_read_flt64 error on data.phaseb.va with error code= ",
     "dm_read_flt64 error on data.phaseb.iangle with error code= "},
    {"dm_read_flt64 error on data.phasec.volt with error code= ",
     "dm_read_flt64 error on data.phasec.vangle with error code= ",
     "dm_read_flt64 error on data.phasec.vangle_vpp with error code= ",
     "dm_read_flt64 error on data.phasec.watt with error code= ",
     "dm_read_flt64 error on data.phasec.va with error code= ",
     "dm_read_flt64 error on data.phasec.iangle with error code= "},
};

// An angle below 0 gets 360 added once; the record keeps the result.
void normaliseAngle(DmKey<double>& angle) {
  if (angle.value < 0.0) angle.value += 360.0;
}

// Voltage angle minus current angle, brought into -180..180.
double angleDifference(double voltageAngle, double currentAngle) {
  double difference = voltageAngle - currentAngle;
  if (difference > 180.0) difference -= 360.0;
  if (difference < -180.0) difference += 360.0;
  return difference;
}

// A failed lookup of a key whose message names another key.
void resolveReportingAs(const char* key, const char* reportedKey, unsigned int* index) {
  unsigned int size = 0;
  unsigned int type = 0;
  int status = dm_get_info(&dm, key, index, &size, &type);
  if (status < 0) {
    fprintf(stderr, "dm_get_info error on key \"%s\" with error code= %d\n", reportedKey, status);
  }
}

}  // namespace

PhasorUpdate::PhasorUpdate() {}

// Ends the updater thread before the members it uses go away.
PhasorUpdate::~PhasorUpdate() { stop(); }

int PhasorUpdate::init() {
  if (debugEnabled()) fputs("PhasorUpdate init...\n", stdout);
  return initDmIndex();
}

int PhasorUpdate::initDmIndex() {
  char key[128];  // each key goes through a local buffer, as the lookup prints it from there
  auto resolve = [&key](const char* text, unsigned int* index) {
    snprintf(key, sizeof key, "%s", text);
    resolve_dm_key(key, index);
  };
  resolve("reading.1sec.freq", &frequency_.index);
  for (int p = 0; p < 3; ++p) {
    Phase& phase = phase_[p];
    unsigned int* const indexes[8] = {&phase.vln.index,      &phase.vll.index,
                                      &phase.current.index,  &phase.watt.index,
                                      &phase.va.index,       &phase.vlnAngle.index,
                                      &phase.vllAngle.index, &phase.currentAngle.index};
    for (int k = 0; k < 8; ++k) resolve(kPhaseKeys[p][k], indexes[k]);
  }
  resolve("reading.1sec.volt.aux", &vaux_.index);
  resolve("reading.02sec.volt.aux.phase", &vauxAngle_.index);
  resolve("reading.1sec.current.x", &iaux_.index);
  resolve("reading.02sec.current.x.phase", &iauxAngle_.index);
  resolve("dev.designation", &designation_.index);
  resolve("reading.time.ltc", &time_.index);
  resolve("sys.ontime", &onTime_.index);
  resolve("dev.pt.pn.ratio", &ptRatio_.index);
  resolve("dev.ct.abc.ratio", &ctRatio_.index);
  resolve("dev.pt.aux.ratio", &ptAuxRatio_.index);
  // The auxiliary CT ratio's lookup failure names the phase CT ratio.
  snprintf(key, sizeof key, "%s", "dev.ct.aux.ratio");
  resolveReportingAs(key, "dev.ct.abc.ratio", &ctAuxRatio_.index);
  return 0;
}

void PhasorUpdate::readPhases() {
  for (int p = 0; p < 3; ++p) {
    read_dm_key(phase_[p].vln, kPhaseMessages[p].magnitude);
    read_dm_key(phase_[p].vlnAngle, kPhaseMessages[p].vlnAngle);
  }
  for (int p = 0; p < 3; ++p) {
    read_dm_key(phase_[p].vll, kPhaseMessages[p].magnitude);
    read_dm_key(phase_[p].vllAngle, kPhaseMessages[p].vllAngle);
  }
  for (int p = 0; p < 3; ++p) {
    read_dm_key(phase_[p].current, kPhaseMessages[p].magnitude);
    read_dm_key(phase_[p].watt, kPhaseMessages[p].watt);
    read_dm_key(phase_[p].va, kPhaseMessages[p].va);
    read_dm_key(phase_[p].currentAngle, kPhaseMessages[p].currentAngle);
  }
}

int PhasorUpdate::getData() {
  read_dm_key(frequency_, "dm_read_flt64 error on key \"reading.1sec.freq\" with error code= ");
  readPhases();
  read_dm_key(vaux_, "dm_read_flt64 error on data.vauxrms with error code= ");
  read_dm_key(vauxAngle_, "dm_read_flt64 error on data.vauxangle with error code= ");
  read_dm_key(iaux_, "dm_read_flt64 error on data.iauxrms with error code= ");
  read_dm_key(iauxAngle_, "dm_read_flt64 error on data.iauxangle with error code= ");
  read_dm_key(designation_, "dm_read_STRING error on \"dev.designation\" with error code= ");
  // The missing blank before "error" is the firmware's text.
  read_dm_key(time_, "dm_read_timestamp_b8error on \"reading.time.ltc\" with error code= ");
  read_dm_key(onTime_, "dm_read_timestamp_b8 error on \"sys.ontime\" with error code= ");
  read_dm_key(ptRatio_, "dm_read_uint32 error on dev.pt.pn.ratio with error code= ");
  read_dm_key(ctRatio_, "dm_read_uint32 error on dev.ct.abc.ratio with error code= ");
  read_dm_key(ptAuxRatio_, "dm_read_uint32 error on dev.pt.aux.ratio with error code= ");
  read_dm_key(ctAuxRatio_, "dm_read_uint32 error on dev.ct.aux.ratio with error code= ");
  return 0;
}

// "\"NAME\":[" and three voltages then three currents, each in its unit.
void PhasorUpdate::writeMagnitudes(const char* name, DmKey<double> Phase::*voltage,
                                   bool kiloVolts, bool kiloAmps) {
  const double voltDivisor = kiloVolts ? kKilo : 1.0;
  const double ampDivisor = kiloAmps ? kKilo : 1.0;
  const char* volts = kiloVolts ? "kV" : "V";
  const char* amps = kiloAmps ? "kA" : "A";
  // Division by 1.0 is exact, so one expression serves both units.
  document_.printf(
      "\"%s\":[\"%.3f %s\",\"%.3f %s\",\"%.3f %s\",\"%.3f %s\",\"%.3f %s\",\"%.3f %s\",", name,
      (phase_[0].*voltage).value / voltDivisor, volts, (phase_[1].*voltage).value / voltDivisor,
      volts, (phase_[2].*voltage).value / voltDivisor, volts,
      phase_[0].current.value / ampDivisor, amps, phase_[1].current.value / ampDivisor, amps,
      phase_[2].current.value / ampDivisor, amps);
}

// Watts a, b, c then VAs a, b, c: M when both ratios select kilo, k when one does.
void PhasorUpdate::writePowers(bool kiloVolts, bool kiloAmps) {
  double divisor = 1.0;
  const char* prefix = "";
  if (kiloVolts && kiloAmps) {
    divisor = kMega;
    prefix = " M";
  } else if (kiloVolts || kiloAmps) {
    divisor = kKilo;
    prefix = " k";
  }
  document_.printf("\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",\"%.3f%s\",",
                   phase_[0].watt.value / divisor, prefix, phase_[1].watt.value / divisor, prefix,
                   phase_[2].watt.value / divisor, prefix, phase_[0].va.value / divisor, prefix,
                   phase_[1].va.value / divisor, prefix, phase_[2].va.value / divisor, prefix);
}

// Normalises the three voltage and the three current angles (stored back), then
// writes them and the three voltage-minus-current differences.
void PhasorUpdate::writeAngles(DmKey<double> Phase::*voltageAngle) {
  for (Phase& phase : phase_) {
    normaliseAngle(phase.*voltageAngle);
    normaliseAngle(phase.currentAngle);
  }
  const double va = (phase_[0].*voltageAngle).value;
  const double vb = (phase_[1].*voltageAngle).value;
  const double vc = (phase_[2].*voltageAngle).value;
  const double ia = phase_[0].currentAngle.value;
  const double ib = phase_[1].currentAngle.value;
  const double ic = phase_[2].currentAngle.value;
  document_.printf(
      "\"%.3f Deg\",\"%.3f Deg\",\"%.3f Deg\",\"%.3f Deg\",\"%.3f Deg\",\"%.3f Deg\","
      "\"%.3f Deg\",\"%.3f Deg\",\"%.3f Deg\"],\n",
      va, vb, vc, ia, ib, ic, angleDifference(va, ia), angleDifference(vb, ib),
      angleDifference(vc, ic));
}

// Delta hookups have no per-phase powers. With CTs on two or three phases (1, 2)
// the meter measures no Vbc: its magnitude moves to Vca, whose angle becomes
// Vbc's plus 180 (0 when there is no voltage). The stored values change.
void PhasorUpdate::adjustForHookup(uint32_t wiring) {
  if (wiring == 0 || wiring == 3) return;
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
  if (ptAuxRatio_.value > 5) {
    document_.printf("\"vauxblock\":[\"%.3f kV\",\"%.3f Deg\"],\n", vaux_.value / kKilo,
                     vauxAngle_.value);
  } else {
    document_.printf("\"vauxblock\":[\"%.3f V\",\"%.3f Deg\"],\n", vaux_.value,
                     vauxAngle_.value);
  }
  if (ctAuxRatio_.value > 10) {
    document_.printf("\"iauxblock\":[\"%.3f kA\",\"%.3f Deg\"],\n", iaux_.value / kKilo,
                     iauxAngle_.value);
  } else {
    document_.printf("\"iauxblock\":[\"%.3f A\",\"%.3f Deg\"],\n", iaux_.value,
                     iauxAngle_.value);
  }
}


std::string PhasorUpdate::displayData() {
  if (debugEnabled()) fputs("PhasorUpdate displayData...\n", stdout);
  // A document that cannot be opened is skipped, and so are this cycle's
  // adjustments of the stored values.
  if (!document_.open(getJsonFile())) return std::string();
  const uint32_t wiring = hookup.load(std::memory_order_relaxed);
  const bool kiloVolts = ptRatio_.value > 5;
  const bool kiloAmps = ctRatio_.value > 10;

  document_.appendFrameStart();
  document_.printf("\"frequency\":\"%.3f Hz\",\n", frequency_.value);
  document_.printf("\"hookup\":\"%s\",\n", hookup_name(wiring));

  writeMagnitudes("phasetoneutral", &Phase::vln, kiloVolts, kiloAmps);
  writePowers(kiloVolts, kiloAmps);
  writeAngles(&Phase::vlnAngle);

  adjustForHookup(wiring);
  writeMagnitudes("phasetophase", &Phase::vll, kiloVolts, kiloAmps);
  writePowers(kiloVolts, kiloAmps);
  writeAngles(&Phase::vllAngle);

  writeAuxiliary();
  document_.append("\"earthblock\":[\"N/A\",\"N/A\",\"N/A\",\"N/A\"],\n");
  document_.appendFrameEnd(designation_.value, time_.value, onTime_.value);
  document_.close();
  return std::string();
}
