#include "updaters/SymmUpdate.h"

#include <stdio.h>

#include "livedata/Globals.h"
#include "platform/common_api.h"
#include "updaters/HookupNames.h"

namespace {

// Unit divisor of the meter firmware: a single-precision constant widened to double.
constexpr float kKilo = 1000.0f;


// dm_get_info order of the six keys of each phase.
const char* const kPhaseKeys[3][6] = {
    {"reading.1sec.volt.an", "reading.1sec.volt.ab", "reading.1sec.current.a",
     "reading.02sec.volt.an.phase", "reading.02sec.volt.ab.phase",
     "reading.02sec.current.a.phase"},
    {"reading.1sec.volt.bn", "reading.1sec.volt.bc", "reading.1sec.current.b",
     "reading.02sec.volt.bn.phase", "reading.02sec.volt.bc.phase",
     "reading.02sec.current.b.phase"},
    {"reading.1sec.volt.cn", "reading.1sec.volt.ca", "reading.1sec.current.c",
     "reading.02sec.volt.cn.phase", "reading.02sec.volt.ca.phase",
     "reading.02sec.current.c.phase"},
};

// Sequence keys, zero/positive/negative with magnitude before angle; the read
// error texts name the key without quotes.
const char* const kVoltageSequenceKeys[3][2] = {
    {"reading.3secs.symcomp.volt.zeroseq.mag", "reading.3secs.symcomp.volt.zeroseq.phase"},
    {"reading.3secs.symcomp.volt.posseq.mag", "reading.3secs.symcomp.volt.posseq.phase"},
    {"reading.3secs.symcomp.volt.negseq.mag", "reading.3secs.symcomp.volt.negseq.phase"},
};
const char* const kCurrentSequenceKeys[3][2] = {
    {"reading.3secs.symcomp.current.zeroseq.mag", "reading.3secs.symcomp.current.zeroseq.phase"},
    {"reading.3secs.symcomp.current.posseq.mag", "reading.3secs.symcomp.current.posseq.phase"},
    {"reading.3secs.symcomp.current.negseq.mag", "reading.3secs.symcomp.current.negseq.phase"},
};
const char* const kVoltageSequenceMessages[3][2] = {
    {"dm_read_flt64 error on reading.3secs.symcomp.volt.zeroseq.mag with error code= ",
     "dm_read_flt64 error on reading.3secs.symcomp.volt.zeroseq.phase with error code= "},
    {"dm_read_flt64 error on reading.3secs.symcomp.volt.posseq.mag with error code= ",
     "dm_read_flt64 error on reading.3secs.symcomp.volt.posseq.phase with error code= "},
    {"dm_read_flt64 error on reading.3secs.symcomp.volt.negseq.mag with error code= ",
     "dm_read_flt64 error on reading.3secs.symcomp.volt.negseq.phase with error code= "},
};
const char* const kCurrentSequenceMessages[3][2] = {
    {"dm_read_flt64 error on reading.3secs.symcomp.current.zeroseq.mag with error code= ",
     "dm_read_flt64 error on reading.3secs.symcomp.current.zeroseq.phase with error code= "},
    {"dm_read_flt64 error on reading.3secs.symcomp.current.posseq.mag with error code= ",
     "dm_read_flt64 error on reading.3secs.symcomp.current.posseq.phase with error code= "},
    {"dm_read_flt64 error on reading.3secs.symcomp.current.negseq.mag with error code= ",
     "dm_read_flt64 error on reading.3secs.symcomp.current.negseq.phase with error code= "},
};

// Read error texts of one phase; the three magnitudes share the "volt" text.
struct PhaseMessages {
  const char* magnitude;
  const char* vlnAngle;
  const char* vllAngle;
  const char* currentAngle;
};
const PhaseMessages kPhaseMessages[3] = {
    {"dm_read_flt64 error on data.phasea.volt with error code= ",
     "dm_read_flt64 error on data.phasea.vangle with error code= ",
     "dm_read_flt64 error on data.phasea.vangle_vpp with error code= ",
     "dm_read_flt64 error on data.phasea.iangle with error code= "},
    {"dm_read_flt64 error on data.phaseb.volt with error code= ",
     "dm_read_flt64 error on data.phaseb.vangle with error code= ",
     "dm_read_flt64 error on data.phaseb.vangle_vpp with error code= ",
     "dm_read_flt64 error on data.phaseb.iangle with error code= "},
    {"dm_read_flt64 error on data.phasec.volt with error code= ",
     "dm_read_flt64 error on data.phasec.vangle with error code= ",
     "dm_read_flt64 error on data.phasec.vangle_vpp with error code= ",
     "dm_read_flt64 error on data.phasec.iangle with error code= "},
};

const char* const kSequenceNames[3] = {"zero_sequence", "positive_sequence",
                                       "negative_sequence"};

// An angle below 0 gets 360 added once.
double normalisedAngle(double angle) { return angle < 0.0 ? angle + 360.0 : angle; }

// angle + by, less 360 once when the sum is above 360 (exactly 360 stays).
double rotatedAngle(double angle, double by) {
  double sum = angle + by;
  if (sum > 360.0) sum -= 360.0;
  return sum;
}

}  // namespace

SymmUpdate::SymmUpdate() {}

// Ends the updater thread before the members it uses go away.
SymmUpdate::~SymmUpdate() { stop(); }

int SymmUpdate::init() {
  if (debugEnabled()) fputs("SymmUpdate init...\n", stdout);
  return initDmIndex();
}

int SymmUpdate::initDmIndex() {
  resolve_dm_key("reading.1sec.freq", &frequency_.index);
  char key[128];  // phasor keys go through a scratch buffer, as the lookup prints them from there
  for (int p = 0; p < 3; ++p) {
    Phase& phase = phase_[p];
    unsigned int* const indexes[6] = {&phase.vln.index,      &phase.vll.index,
                                      &phase.current.index,  &phase.vlnAngle.index,
                                      &phase.vllAngle.index, &phase.currentAngle.index};
    for (int k = 0; k < 6; ++k) {
      snprintf(key, sizeof key, "%s", kPhaseKeys[p][k]);
      resolve_dm_key(key, indexes[k]);
    }
  }
  for (int s = 0; s < 3; ++s) {
    resolve_dm_key(kVoltageSequenceKeys[s][0], &voltage_[s].magnitude.index);
    resolve_dm_key(kVoltageSequenceKeys[s][1], &voltage_[s].angle.index);
  }
  for (int s = 0; s < 3; ++s) {
    resolve_dm_key(kCurrentSequenceKeys[s][0], &current_[s].magnitude.index);
    resolve_dm_key(kCurrentSequenceKeys[s][1], &current_[s].angle.index);
  }
  resolve_dm_key("dev.designation", &designation_.index);
  resolve_dm_key("reading.time.ltc", &time_.index);
  resolve_dm_key("sys.ontime", &onTime_.index);
  resolve_dm_key("dev.pt.pn.ratio", &ptRatio_.index);
  resolve_dm_key("dev.ct.abc.ratio", &ctRatio_.index);
  return 0;
}

int SymmUpdate::getData() {
  read_dm_key(frequency_, "dm_read_flt64 error on key \"reading.1sec.freq\" with error code= ");
  // Both voltage sets are read whatever the hookup.
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
    read_dm_key(phase_[p].currentAngle, kPhaseMessages[p].currentAngle);
  }
  for (int s = 0; s < 3; ++s) {
    read_dm_key(voltage_[s].magnitude, kVoltageSequenceMessages[s][0]);
    read_dm_key(voltage_[s].angle, kVoltageSequenceMessages[s][1]);
  }
  for (int s = 0; s < 3; ++s) {
    read_dm_key(current_[s].magnitude, kCurrentSequenceMessages[s][0]);
    read_dm_key(current_[s].angle, kCurrentSequenceMessages[s][1]);
  }
  read_dm_key(designation_, "dm_read_STRING error on \"dev.designation\" with error code= ");
  // The missing blank before "error" is the firmware's text.
  read_dm_key(time_, "dm_read_timestamp_b8error on \"reading.time.ltc\" with error code= ");
  read_dm_key(onTime_, "dm_read_timestamp_b8 error on \"sys.ontime\" with error code= ");
  read_dm_key(ptRatio_, "dm_read_uint32 error on dev.pt.pn.ratio with error code= ");
  read_dm_key(ctRatio_, "dm_read_uint32 error on dev.ct.abc.ratio with error code= ");
  return 0;
}

// Normalises the stored sequence angles and writes the zero, positive and
// negative sequence lines of one quantity ("voltage" or "current"). Each line
// repeats its magnitude three times; the positive sequence turns by +120/+240,
// the negative by +240/+120, the zero sequence not at all.
void SymmUpdate::writeSequences(const char* quantity, Sequence* sequences, double divisor,
                                const char* unit) {
  static const double kTurns[3][2] = {{0.0, 0.0}, {120.0, 240.0}, {240.0, 120.0}};
  for (int s = 0; s < 3; ++s) sequences[s].angle.value = normalisedAngle(sequences[s].angle.value);
  for (int s = 0; s < 3; ++s) {
    const double magnitude = sequences[s].magnitude.value / divisor;
    const double angle = sequences[s].angle.value;
    const double second = s == kZero ? angle : rotatedAngle(angle, kTurns[s][0]);
    const double third = s == kZero ? angle : rotatedAngle(angle, kTurns[s][1]);
    document_.printf(
        "\"%s_%s\":[\"%.3f %s\",\"%.3f %s\",\"%.3f %s\",\"%.2f Deg\",\"%.2f Deg\",\"%.2f Deg\"],\n",
        quantity, kSequenceNames[s], magnitude, unit, magnitude, unit, magnitude, unit, angle,
        second, third);
  }
}

// Voltage sequences, then the phasors: phase-to-neutral for wye hookups (0, 3),
// phase-to-phase for all others, their angles normalised in a working copy.
void SymmUpdate::writeVoltages(uint32_t wiring) {
  const bool kiloVolts = ptRatio_.value > 5;
  const double divisor = kiloVolts ? kKilo : 1.0;  // division by 1.0 is exact
  const char* unit = kiloVolts ? "kV" : "V";
  writeSequences("voltage", voltage_, divisor, unit);
  const bool wye = wiring == 0 || wiring == 3;
  double magnitude[3];
  double angle[3];
  for (int p = 0; p < 3; ++p) {
    magnitude[p] = (wye ? phase_[p].vln.value : phase_[p].vll.value) / divisor;
    angle[p] = normalisedAngle(wye ? phase_[p].vlnAngle.value : phase_[p].vllAngle.value);
  }
  document_.printf(
      "\"voltage_phasor\":[\"%.3f %s\",\"%.3f %s\",\"%.3f %s\",\"%.2f Deg\",\"%.2f Deg\","
      "\"%.2f Deg\"],\n",
      magnitude[0], unit, magnitude[1], unit, magnitude[2], unit, angle[0], angle[1], angle[2]);
}

// Current sequences and phasors; the stored current angles are normalised.
void SymmUpdate::writeCurrents() {
  const bool kiloAmps = ctRatio_.value > 10;
  const double divisor = kiloAmps ? kKilo : 1.0;
  const char* unit = kiloAmps ? "kA" : "A";
  for (Phase& phase : phase_) phase.currentAngle.value = normalisedAngle(phase.currentAngle.value);
  writeSequences("current", current_, divisor, unit);
  document_.printf(
      "\"current_phasor\":[\"%.3f %s\",\"%.3f %s\",\"%.3f %s\",\"%.2f Deg\",\"%.2f Deg\","
      "\"%.2f Deg\"],\n",
      phase_[0].current.value / divisor, unit, phase_[1].current.value / divisor, unit,
      phase_[2].current.value / divisor, unit, phase_[0].currentAngle.value,
      phase_[1].currentAngle.value, phase_[2].currentAngle.value);
}


std::string SymmUpdate::displayData() {
  // This updater prints the phasor updater's debug text.
  if (debugEnabled()) fputs("PhasorUpdate displayData...\n", stdout);
  if (!document_.open(getJsonFile())) return std::string();
  const uint32_t wiring = hookup.load(std::memory_order_relaxed);
  document_.appendFrameStart();
  document_.printf("\"frequency\":\"%.3f Hz\",\n", frequency_.value);
  document_.printf("\"hookup\":\"%s\",\n", hookup_name(wiring));
  writeVoltages(wiring);
  writeCurrents();
  document_.appendFrameEnd(designation_.value, time_.value, onTime_.value);
  document_.close();
  return std::string();
}
