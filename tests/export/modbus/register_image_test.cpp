// The register image, register by register, for hand-worked readings. Register
// numbers below count from 40000: "SunS" 0-1, model 1 at 2, the integer meter
// model at 70, the float meter model at 177, the end model at 303.
#include "export/modbus/RegisterImageEncoder.h"

#include <math.h>

#include <gtest/gtest.h>

namespace {

using modbus::Hookup;
using modbus::MeterReadings;
using modbus::RegisterImage;
using modbus::RegisterImageEncoder;
using modbus::Source;

// Registers of the integer meter model (ID at 70).
constexpr int kIntId = 70, kIntA = 72, kIntAphA = 73, kIntAphB = 74, kIntAphC = 75, kIntASf = 76;
constexpr int kIntPhV = 77, kIntPhVphA = 78, kIntPhVphC = 80, kIntPPV = 81, kIntPhVphAB = 82;
constexpr int kIntVSf = 85, kIntHz = 86, kIntHzSf = 87, kIntW = 88, kIntWphA = 89, kIntWSf = 92;
constexpr int kIntPF = 103, kIntPFphA = 104, kIntPFSf = 107;
constexpr int kIntTotWhExp = 108, kIntTotWhImp = 116, kIntTotWhSf = 124;
constexpr int kIntTotVAhExp = 125, kIntTotVAhSf = 141, kIntTotVArhSf = 174, kIntEvt = 175;
// Registers of the float meter model (ID at 177).
constexpr int kFltId = 177, kFltL = 178, kFltA = 179, kFltPhV = 187, kFltPhVphA = 189;
constexpr int kFltPPVphAB = 197, kFltHz = 203, kFltPF = 229, kFltTotWhImp = 245, kFltEvt = 301;

uint32_t pair(const RegisterImage& image, int at) {
  return static_cast<uint32_t>(image.registers[at]) << 16 | image.registers[at + 1];
}

// A wye meter at 230 V / 398.4 V, 5 A per phase, 60 Hz, 1 kW per phase at
// 0.900 Lag, 1234.9 Wh delivered and 5e9 Wh received.
MeterReadings wyeReadings() {
  MeterReadings readings;
  readings.hookup = Hookup::kWye;
  snprintf(readings.serial, sizeof readings.serial, "%s", "SN-0042");
  for (Source s : {Source::kCurrentA, Source::kCurrentB, Source::kCurrentC}) readings.set(s, 5.0);
  for (Source s : {Source::kVoltAN, Source::kVoltBN, Source::kVoltCN}) readings.set(s, 230.0);
  for (Source s : {Source::kVoltAB, Source::kVoltBC, Source::kVoltCA}) readings.set(s, 398.4);
  readings.set(Source::kFrequency, 60.0);
  for (Source s : {Source::kWattA, Source::kWattB, Source::kWattC}) readings.set(s, 1000.0);
  readings.set(Source::kWattTotal, 3000.0);
  for (Source s : {Source::kPfA, Source::kPfB, Source::kPfC, Source::kPfTotal}) {
    readings.set(s, 0.9);
  }
  readings.set(Source::kWhDelivered, 1234.9);
  readings.set(Source::kWhReceived, 5e9);
  return readings;
}

RegisterImage encode(const MeterReadings& readings, uint8_t unit = 1) {
  RegisterImage image;
  RegisterImageEncoder(unit, "5.1").encode(readings, &image);
  return image;
}

TEST(RegisterImage, SunSHeaderAndEndModel) {
  const RegisterImage image = encode(wyeReadings());
  EXPECT_EQ(image.registers[0], 0x5375);  // "Su"
  EXPECT_EQ(image.registers[1], 0x6E53);  // "nS"
  EXPECT_EQ(image.registers[303], 0xFFFF);
  EXPECT_EQ(image.registers[304], 0);
}

TEST(RegisterImage, CommonModelTexts) {
  const RegisterImage image = encode(wyeReadings(), 7);
  EXPECT_EQ(image.registers[2], 1);
  EXPECT_EQ(image.registers[3], 66);
  // Mn "livedata", NUL padded over 16 registers.
  const uint16_t mn[] = {0x6C69, 0x7665, 0x6461, 0x7461, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  for (int i = 0; i < 16; ++i) EXPECT_EQ(image.registers[4 + i], mn[i]) << i;
  EXPECT_EQ(image.registers[36], 0x5779);  // Opt "Wye"
  EXPECT_EQ(image.registers[37], 0x6500);
  EXPECT_EQ(image.registers[44], 0x352E);  // Vr "5.1"
  EXPECT_EQ(image.registers[45], 0x3100);
  const uint16_t sn[] = {0x534E, 0x2D30, 0x3034, 0x3200, 0};  // SN "SN-0042"
  for (int i = 0; i < 5; ++i) EXPECT_EQ(image.registers[52 + i], sn[i]) << i;
  EXPECT_EQ(image.registers[68], 7);       // DA, the unit id
  EXPECT_EQ(image.registers[69], 0x8000);  // pad
}

TEST(RegisterImage, SerialCutToThirtyTwoBytes) {
  MeterReadings readings = wyeReadings();
  snprintf(readings.serial, sizeof readings.serial, "%s",
           "0123456789abcdef0123456789ABCDEF-cut");
  const RegisterImage image = encode(readings);
  EXPECT_EQ(image.registers[52], 0x3031);
  EXPECT_EQ(image.registers[67], 0x4546);  // "EF", the last register of SN
  EXPECT_EQ(image.registers[68], 1);       // DA untouched
}

TEST(RegisterImage, WyeIntegerModel) {
  const RegisterImage image = encode(wyeReadings());
  EXPECT_EQ(image.registers[kIntId], 203);
  EXPECT_EQ(image.registers[kIntId + 1], 105);
  // Currents: largest 15 A (the sum) -> step 0.001 A.
  EXPECT_EQ(image.registers[kIntA], 15000);
  EXPECT_EQ(image.registers[kIntAphA], 5000);
  EXPECT_EQ(image.registers[kIntASf], 0xFFFD);  // -3
  // Voltages: largest 398.4 V -> step 0.1 V.
  EXPECT_EQ(image.registers[kIntPhV], 2300);
  EXPECT_EQ(image.registers[kIntPhVphA], 2300);
  EXPECT_EQ(image.registers[kIntPPV], 3984);
  EXPECT_EQ(image.registers[kIntPhVphAB], 3984);
  EXPECT_EQ(image.registers[kIntVSf], 0xFFFF);  // -1
  EXPECT_EQ(image.registers[kIntHz], 6000);
  EXPECT_EQ(image.registers[kIntHzSf], 0xFFFE);  // -2
  EXPECT_EQ(image.registers[kIntW], 30000);
  EXPECT_EQ(image.registers[kIntWphA], 10000);
  EXPECT_EQ(image.registers[kIntWSf], 0xFFFF);  // -1
  EXPECT_EQ(image.registers[kIntPF], 9000);      // 90.00 %
  EXPECT_EQ(image.registers[kIntPFSf], 0xFFFE);
  EXPECT_EQ(image.registers[kIntEvt], 0);
  EXPECT_EQ(image.registers[kIntEvt + 1], 0);
}

TEST(RegisterImage, LineToNeutralOnlyGivesHundredthsOfAVolt) {
  MeterReadings readings = wyeReadings();
  for (Source s : {Source::kVoltAB, Source::kVoltBC, Source::kVoltCA}) readings[s] = {};
  const RegisterImage image = encode(readings);
  EXPECT_EQ(image.registers[kIntPhVphA], 23000);
  EXPECT_EQ(image.registers[kIntVSf], 0xFFFE);  // -2
  EXPECT_EQ(image.registers[kIntPPV], 0x8000);
  EXPECT_EQ(image.registers[kIntPhVphAB], 0x8000);
}

TEST(RegisterImage, EnergiesInWholeWattHoursWrapping) {
  const RegisterImage image = encode(wyeReadings());
  EXPECT_EQ(pair(image, kIntTotWhImp), 1234u);
  // 5e9 - 2^32 = 705032704
  EXPECT_EQ(pair(image, kIntTotWhExp), 705032704u);
  EXPECT_EQ(image.registers[kIntTotWhSf], 0);
  // No source for the VAh and varh points: 0 and their factors not implemented.
  EXPECT_EQ(pair(image, kIntTotVAhExp), 0u);
  EXPECT_EQ(image.registers[kIntTotVAhSf], 0x8000);
  EXPECT_EQ(image.registers[kIntTotVArhSf], 0x8000);
}

TEST(RegisterImage, MediumVoltage) {
  MeterReadings readings = wyeReadings();
  for (Source s : {Source::kVoltAN, Source::kVoltBN, Source::kVoltCN}) readings.set(s, 13800.0);
  for (Source s : {Source::kVoltAB, Source::kVoltBC, Source::kVoltCA}) readings.set(s, 23900.0);
  for (Source s : {Source::kCurrentA, Source::kCurrentB, Source::kCurrentC}) {
    readings.set(s, 1203.5);
  }
  const RegisterImage image = encode(readings);
  EXPECT_EQ(image.registers[kIntPhVphAB], 23900);
  EXPECT_EQ(image.registers[kIntPhVphA], 13800);
  EXPECT_EQ(image.registers[kIntVSf], 0);
  // The sum, 3610.5 A, needs a step of 1 A; 1203.5 rounds away from zero.
  EXPECT_EQ(image.registers[kIntA], 3611);
  EXPECT_EQ(image.registers[kIntAphA], 1204);
  EXPECT_EQ(image.registers[kIntASf], 0);
  EXPECT_EQ(pair(image, kFltPPVphAB), 0x46BAB800u);  // 23900.0f
}

TEST(RegisterImage, SmallCurrentsInThousandths) {
  MeterReadings readings = wyeReadings();
  for (Source s : {Source::kCurrentA, Source::kCurrentB, Source::kCurrentC}) readings.set(s, 1.25);
  const RegisterImage image = encode(readings);
  EXPECT_EQ(image.registers[kIntAphA], 1250);
  EXPECT_EQ(image.registers[kIntA], 3750);
  EXPECT_EQ(image.registers[kIntASf], 0xFFFD);
}

TEST(RegisterImage, ScaleFactorChosenAfterRounding) {
  // 3276.76 x 10 rounds to 32768, past int16: the step is 1.
  EXPECT_EQ(RegisterImageEncoder::scaleFactorFor(3276.76), 0);
  EXPECT_EQ(RegisterImageEncoder::scaleFactorFor(3276.74), -1);
  EXPECT_EQ(RegisterImageEncoder::scaleFactorFor(32.767), -3);
  EXPECT_EQ(RegisterImageEncoder::scaleFactorFor(32.768), -2);
  EXPECT_EQ(RegisterImageEncoder::scaleFactorFor(0.0), -3);
  EXPECT_EQ(RegisterImageEncoder::scaleFactorFor(1e12), 8);
}

TEST(RegisterImage, NegativePowerAndLeadingPowerFactor) {
  MeterReadings readings = wyeReadings();
  readings.set(Source::kWattTotal, -1620.0);
  for (Source s : {Source::kWattA, Source::kWattB, Source::kWattC}) readings.set(s, -540.0);
  readings.set(Source::kPfTotal, -0.9);
  const RegisterImage image = encode(readings);
  EXPECT_EQ(image.registers[kIntW], 0xC0B8);  // -16200
  EXPECT_EQ(image.registers[kIntWSf], 0xFFFF);
  EXPECT_EQ(image.registers[kIntPF], 0xDCD8);  // -9000
  EXPECT_EQ(image.registers[kIntPFphA], 9000);
  EXPECT_EQ(pair(image, kFltPF), 0xC2B40000u);  // -90.0f
}

TEST(RegisterImage, MissingReadingIsNotImplementedAndTheRestStays) {
  MeterReadings readings = wyeReadings();
  readings[Source::kCurrentB] = {};
  const RegisterImage image = encode(readings);
  EXPECT_EQ(image.registers[kIntAphB], 0x8000);
  EXPECT_EQ(image.registers[kIntA], 0x8000);  // the sum needs all three phases
  EXPECT_EQ(image.registers[kIntAphA], 5000);
  EXPECT_EQ(image.registers[kIntAphC], 5000);
  EXPECT_EQ(image.registers[kIntASf], 0xFFFD);
  EXPECT_EQ(pair(image, kFltA), 0x7FC00000u);
  EXPECT_EQ(pair(image, kFltA + 2), 0x40A00000u);  // AphA 5.0f
  EXPECT_EQ(pair(image, kFltA + 4), 0x7FC00000u);  // AphB
}

TEST(RegisterImage, WholeGroupMissing) {
  MeterReadings readings = wyeReadings();
  for (Source s : {Source::kPfA, Source::kPfB, Source::kPfC, Source::kPfTotal}) readings[s] = {};
  readings[Source::kWhDelivered] = {};
  readings[Source::kWhReceived] = {};
  const RegisterImage image = encode(readings);
  for (int r = kIntPF; r < kIntPFSf; ++r) EXPECT_EQ(image.registers[r], 0x8000) << r;
  EXPECT_EQ(image.registers[kIntPFSf], 0x8000);
  EXPECT_EQ(pair(image, kIntTotWhImp), 0u);
  EXPECT_EQ(image.registers[kIntTotWhSf], 0x8000);
  EXPECT_EQ(pair(image, kFltPF), 0x7FC00000u);
}

TEST(RegisterImage, NotFiniteReadingIsNotImplemented) {
  MeterReadings readings = wyeReadings();
  readings.set(Source::kFrequency, NAN);
  const RegisterImage image = encode(readings);
  EXPECT_EQ(image.registers[kIntHz], 0x8000);
  EXPECT_EQ(image.registers[kIntHzSf], 0x8000);
  EXPECT_EQ(pair(image, kFltHz), 0x7FC00000u);
}

TEST(RegisterImage, WyeFloatModel) {
  const RegisterImage image = encode(wyeReadings());
  EXPECT_EQ(image.registers[kFltId], 213);
  EXPECT_EQ(image.registers[kFltL], 124);
  EXPECT_EQ(pair(image, kFltA), 0x41700000u);       // 15.0f
  EXPECT_EQ(pair(image, kFltPhV), 0x43660000u);     // 230.0f
  EXPECT_EQ(pair(image, kFltPhVphA), 0x43660000u);
  EXPECT_EQ(pair(image, kFltHz), 0x42700000u);      // 60.0f
  EXPECT_EQ(pair(image, kFltPF), 0x42B40000u);      // 90.0f
  EXPECT_EQ(pair(image, kFltTotWhImp), 0x449A5CCDu);  // 1234.9f
  EXPECT_EQ(pair(image, kFltEvt), 0u);
}

TEST(RegisterImage, DeltaHookup) {
  MeterReadings readings = wyeReadings();
  readings.hookup = Hookup::kDelta3Ct;
  const RegisterImage image = encode(readings);
  EXPECT_EQ(image.registers[kIntId], 204);
  EXPECT_EQ(image.registers[kFltId], 214);
  EXPECT_EQ(image.registers[36], 0x4465);  // Opt "Delta 3 CTs"
  EXPECT_EQ(image.registers[41], 0x7300);
  for (int r = kIntPhV; r <= kIntPhVphC; ++r) EXPECT_EQ(image.registers[r], 0x8000) << r;
  EXPECT_EQ(image.registers[kIntPPV], 3984);
  EXPECT_EQ(image.registers[kIntVSf], 0xFFFF);
  for (int r = kFltPhV; r < kFltPhV + 8; r += 2) EXPECT_EQ(pair(image, r), 0x7FC00000u) << r;
}

TEST(RegisterImage, HookupNamesAndModels) {
  struct Case {
    unsigned code;
    const char* name;
    uint16_t intId;
  } const cases[] = {{0, "Wye", 203},         {1, "Delta 3 CTs", 204}, {2, "Delta 2 CTs", 204},
                     {3, "2.5 Element Wye", 203}, {4, "4 Wire Delta", 203}, {9, "", 203}};
  for (const Case& c : cases) {
    MeterReadings readings = wyeReadings();
    readings.hookup = modbus::hookupFromCode(c.code);
    EXPECT_STREQ(modbus::hookupName(readings.hookup), c.name);
    const RegisterImage image = encode(readings);
    EXPECT_EQ(image.registers[kIntId], c.intId) << c.code;
    EXPECT_EQ(image.registers[kFltId], c.intId + 10) << c.code;
  }
}

}  // namespace
