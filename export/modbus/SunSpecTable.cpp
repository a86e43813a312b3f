#include "export/modbus/SunSpecTable.h"

namespace modbus {
namespace {

using F = Fill;
using G = Group;
using S = Source;
constexpr PointType kU16 = PointType::kUint16, kI16 = PointType::kInt16, kAcc = PointType::kAcc32,
                    kF32 = PointType::kFloat32, kSsf = PointType::kSunssf,
                    kStr = PointType::kString, kPad = PointType::kPad,
                    kBits = PointType::kBitfield32;

constexpr PointRow point(uint16_t offset, const char* name, PointType type, uint8_t size,
                         const char* scaleFactor, Group group, Fill fill,
                         Source source = Source::kNone, double factor = 1.0, bool wyeOnly = false) {
  return PointRow{offset, name, type, size, scaleFactor, group, fill, source, factor, wyeOnly};
}

// Columns: offset, name, type, size, scale factor point, group, fill, then
// where given: source, factor, wye only. Power factors are served in percent.
constexpr PointRow kCommonRows[] = {
    point(0, "ID", kU16, 1, nullptr, G::kNone, F::kModelId),
    point(1, "L", kU16, 1, nullptr, G::kNone, F::kModelLength),
    point(2, "Mn", kStr, 16, nullptr, G::kNone, F::kManufacturer),
    point(18, "Md", kStr, 16, nullptr, G::kNone, F::kModelText),
    point(34, "Opt", kStr, 8, nullptr, G::kNone, F::kOption),
    point(42, "Vr", kStr, 8, nullptr, G::kNone, F::kVersion),
    point(50, "SN", kStr, 16, nullptr, G::kNone, F::kSerial),
    point(66, "DA", kU16, 1, nullptr, G::kNone, F::kUnitId),
    point(67, "Pad", kPad, 1, nullptr, G::kNone, F::kNotImplemented),
};

// Models 203 (wye) and 204 (delta).
constexpr PointRow kMeterIntRows[] = {
    point(0, "ID", kU16, 1, nullptr, G::kNone, F::kModelId),
    point(1, "L", kU16, 1, nullptr, G::kNone, F::kModelLength),
    point(2, "A", kI16, 1, "A_SF", G::kCurrent, F::kSum, S::kCurrentA),
    point(3, "AphA", kI16, 1, "A_SF", G::kCurrent, F::kOne, S::kCurrentA),
    point(4, "AphB", kI16, 1, "A_SF", G::kCurrent, F::kOne, S::kCurrentB),
    point(5, "AphC", kI16, 1, "A_SF", G::kCurrent, F::kOne, S::kCurrentC),
    point(6, "A_SF", kSsf, 1, nullptr, G::kCurrent, F::kScaleFactor),
    point(7, "PhV", kI16, 1, "V_SF", G::kVoltage, F::kAverage, S::kVoltAN, 1.0, true),
    point(8, "PhVphA", kI16, 1, "V_SF", G::kVoltage, F::kOne, S::kVoltAN, 1.0, true),
    point(9, "PhVphB", kI16, 1, "V_SF", G::kVoltage, F::kOne, S::kVoltBN, 1.0, true),
    point(10, "PhVphC", kI16, 1, "V_SF", G::kVoltage, F::kOne, S::kVoltCN, 1.0, true),
    point(11, "PPV", kI16, 1, "V_SF", G::kVoltage, F::kAverage, S::kVoltAB),
    point(12, "PhVphAB", kI16, 1, "V_SF", G::kVoltage, F::kOne, S::kVoltAB),
    point(13, "PhVphBC", kI16, 1, "V_SF", G::kVoltage, F::kOne, S::kVoltBC),
    point(14, "PhVphCA", kI16, 1, "V_SF", G::kVoltage, F::kOne, S::kVoltCA),
    point(15, "V_SF", kSsf, 1, nullptr, G::kVoltage, F::kScaleFactor),
    point(16, "Hz", kI16, 1, "Hz_SF", G::kFrequency, F::kOne, S::kFrequency),
    point(17, "Hz_SF", kSsf, 1, nullptr, G::kFrequency, F::kScaleFactor),
    point(18, "W", kI16, 1, "W_SF", G::kPower, F::kOne, S::kWattTotal),
    point(19, "WphA", kI16, 1, "W_SF", G::kPower, F::kOne, S::kWattA),
    point(20, "WphB", kI16, 1, "W_SF", G::kPower, F::kOne, S::kWattB),
    point(21, "WphC", kI16, 1, "W_SF", G::kPower, F::kOne, S::kWattC),
    point(22, "W_SF", kSsf, 1, nullptr, G::kPower, F::kScaleFactor),
    point(23, "VA", kI16, 1, "VA_SF", G::kApparentPower, F::kOne, S::kVaTotal),
    point(24, "VAphA", kI16, 1, "VA_SF", G::kApparentPower, F::kOne, S::kVaA),
    point(25, "VAphB", kI16, 1, "VA_SF", G::kApparentPower, F::kOne, S::kVaB),
    point(26, "VAphC", kI16, 1, "VA_SF", G::kApparentPower, F::kOne, S::kVaC),
    point(27, "VA_SF", kSsf, 1, nullptr, G::kApparentPower, F::kScaleFactor),
    point(28, "VAR", kI16, 1, "VAR_SF", G::kReactivePower, F::kOne, S::kVarTotal),
    point(29, "VARphA", kI16, 1, "VAR_SF", G::kReactivePower, F::kOne, S::kVarA),
    point(30, "VARphB", kI16, 1, "VAR_SF", G::kReactivePower, F::kOne, S::kVarB),
    point(31, "VARphC", kI16, 1, "VAR_SF", G::kReactivePower, F::kOne, S::kVarC),
    point(32, "VAR_SF", kSsf, 1, nullptr, G::kReactivePower, F::kScaleFactor),
    point(33, "PF", kI16, 1, "PF_SF", G::kPowerFactor, F::kOne, S::kPfTotal, 100.0),
    point(34, "PFphA", kI16, 1, "PF_SF", G::kPowerFactor, F::kOne, S::kPfA, 100.0),
    point(35, "PFphB", kI16, 1, "PF_SF", G::kPowerFactor, F::kOne, S::kPfB, 100.0),
    point(36, "PFphC", kI16, 1, "PF_SF", G::kPowerFactor, F::kOne, S::kPfC, 100.0),
    point(37, "PF_SF", kSsf, 1, nullptr, G::kPowerFactor, F::kScaleFactor),
    point(38, "TotWhExp", kAcc, 2, "TotWh_SF", G::kEnergy, F::kOne, S::kWhReceived),
    point(40, "TotWhExpPhA", kAcc, 2, "TotWh_SF", G::kEnergy, F::kNotImplemented),
    point(42, "TotWhExpPhB", kAcc, 2, "TotWh_SF", G::kEnergy, F::kNotImplemented),
    point(44, "TotWhExpPhC", kAcc, 2, "TotWh_SF", G::kEnergy, F::kNotImplemented),
    point(46, "TotWhImp", kAcc, 2, "TotWh_SF", G::kEnergy, F::kOne, S::kWhDelivered),
    point(48, "TotWhImpPhA", kAcc, 2, "TotWh_SF", G::kEnergy, F::kNotImplemented),
    point(50, "TotWhImpPhB", kAcc, 2, "TotWh_SF", G::kEnergy, F::kNotImplemented),
    point(52, "TotWhImpPhC", kAcc, 2, "TotWh_SF", G::kEnergy, F::kNotImplemented),
    point(54, "TotWh_SF", kSsf, 1, nullptr, G::kEnergy, F::kScaleFactor),
    point(55, "TotVAhExp", kAcc, 2, "TotVAh_SF", G::kApparentEnergy, F::kNotImplemented),
    point(57, "TotVAhExpPhA", kAcc, 2, "TotVAh_SF", G::kApparentEnergy, F::kNotImplemented),
    point(59, "TotVAhExpPhB", kAcc, 2, "TotVAh_SF", G::kApparentEnergy, F::kNotImplemented),
    point(61, "TotVAhExpPhC", kAcc, 2, "TotVAh_SF", G::kApparentEnergy, F::kNotImplemented),
    point(63, "TotVAhImp", kAcc, 2, "TotVAh_SF", G::kApparentEnergy, F::kNotImplemented),
    point(65, "TotVAhImpPhA", kAcc, 2, "TotVAh_SF", G::kApparentEnergy, F::kNotImplemented),
    point(67, "TotVAhImpPhB", kAcc, 2, "TotVAh_SF", G::kApparentEnergy, F::kNotImplemented),
    point(69, "TotVAhImpPhC", kAcc, 2, "TotVAh_SF", G::kApparentEnergy, F::kNotImplemented),
    point(71, "TotVAh_SF", kSsf, 1, nullptr, G::kApparentEnergy, F::kScaleFactor),
    point(72, "TotVArhImpQ1", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(74, "TotVArhImpQ1PhA", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(76, "TotVArhImpQ1PhB", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(78, "TotVArhImpQ1PhC", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(80, "TotVArhImpQ2", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(82, "TotVArhImpQ2PhA", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(84, "TotVArhImpQ2PhB", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(86, "TotVArhImpQ2PhC", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(88, "TotVArhExpQ3", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(90, "TotVArhExpQ3PhA", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(92, "TotVArhExpQ3PhB", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(94, "TotVArhExpQ3PhC", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(96, "TotVArhExpQ4", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(98, "TotVArhExpQ4PhA", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(100, "TotVArhExpQ4PhB", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(102, "TotVArhExpQ4PhC", kAcc, 2, "TotVArh_SF", G::kReactiveEnergy, F::kNotImplemented),
    point(104, "TotVArh_SF", kSsf, 1, nullptr, G::kReactiveEnergy, F::kScaleFactor),
    point(105, "Evt", kBits, 2, nullptr, G::kNone, F::kZero),
};

// Models 213 (wye) and 214 (delta).
constexpr PointRow kMeterFloatRows[] = {
    point(0, "ID", kU16, 1, nullptr, G::kNone, F::kModelId),
    point(1, "L", kU16, 1, nullptr, G::kNone, F::kModelLength),
    point(2, "A", kF32, 2, nullptr, G::kNone, F::kSum, S::kCurrentA),
    point(4, "AphA", kF32, 2, nullptr, G::kNone, F::kOne, S::kCurrentA),
    point(6, "AphB", kF32, 2, nullptr, G::kNone, F::kOne, S::kCurrentB),
    point(8, "AphC", kF32, 2, nullptr, G::kNone, F::kOne, S::kCurrentC),
    point(10, "PhV", kF32, 2, nullptr, G::kNone, F::kAverage, S::kVoltAN, 1.0, true),
    point(12, "PhVphA", kF32, 2, nullptr, G::kNone, F::kOne, S::kVoltAN, 1.0, true),
    point(14, "PhVphB", kF32, 2, nullptr, G::kNone, F::kOne, S::kVoltBN, 1.0, true),
    point(16, "PhVphC", kF32, 2, nullptr, G::kNone, F::kOne, S::kVoltCN, 1.0, true),
    point(18, "PPV", kF32, 2, nullptr, G::kNone, F::kAverage, S::kVoltAB),
    point(20, "PPVphAB", kF32, 2, nullptr, G::kNone, F::kOne, S::kVoltAB),
    point(22, "PPVphBC", kF32, 2, nullptr, G::kNone, F::kOne, S::kVoltBC),
    point(24, "PPVphCA", kF32, 2, nullptr, G::kNone, F::kOne, S::kVoltCA),
    point(26, "Hz", kF32, 2, nullptr, G::kNone, F::kOne, S::kFrequency),
    point(28, "W", kF32, 2, nullptr, G::kNone, F::kOne, S::kWattTotal),
    point(30, "WphA", kF32, 2, nullptr, G::kNone, F::kOne, S::kWattA),
    point(32, "WphB", kF32, 2, nullptr, G::kNone, F::kOne, S::kWattB),
    point(34, "WphC", kF32, 2, nullptr, G::kNone, F::kOne, S::kWattC),
    point(36, "VA", kF32, 2, nullptr, G::kNone, F::kOne, S::kVaTotal),
    point(38, "VAphA", kF32, 2, nullptr, G::kNone, F::kOne, S::kVaA),
    point(40, "VAphB", kF32, 2, nullptr, G::kNone, F::kOne, S::kVaB),
    point(42, "VAphC", kF32, 2, nullptr, G::kNone, F::kOne, S::kVaC),
    point(44, "VAR", kF32, 2, nullptr, G::kNone, F::kOne, S::kVarTotal),
    point(46, "VARphA", kF32, 2, nullptr, G::kNone, F::kOne, S::kVarA),
    point(48, "VARphB", kF32, 2, nullptr, G::kNone, F::kOne, S::kVarB),
    point(50, "VARphC", kF32, 2, nullptr, G::kNone, F::kOne, S::kVarC),
    point(52, "PF", kF32, 2, nullptr, G::kNone, F::kOne, S::kPfTotal, 100.0),
    point(54, "PFphA", kF32, 2, nullptr, G::kNone, F::kOne, S::kPfA, 100.0),
    point(56, "PFphB", kF32, 2, nullptr, G::kNone, F::kOne, S::kPfB, 100.0),
    point(58, "PFphC", kF32, 2, nullptr, G::kNone, F::kOne, S::kPfC, 100.0),
    point(60, "TotWhExp", kF32, 2, nullptr, G::kNone, F::kOne, S::kWhReceived),
    point(62, "TotWhExpPhA", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(64, "TotWhExpPhB", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(66, "TotWhExpPhC", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(68, "TotWhImp", kF32, 2, nullptr, G::kNone, F::kOne, S::kWhDelivered),
    point(70, "TotWhImpPhA", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(72, "TotWhImpPhB", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(74, "TotWhImpPhC", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(76, "TotVAhExp", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(78, "TotVAhExpPhA", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(80, "TotVAhExpPhB", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(82, "TotVAhExpPhC", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(84, "TotVAhImp", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(86, "TotVAhImpPhA", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(88, "TotVAhImpPhB", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(90, "TotVAhImpPhC", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(92, "TotVArhImpQ1", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(94, "TotVArhImpQ1phA", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(96, "TotVArhImpQ1phB", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(98, "TotVArhImpQ1phC", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(100, "TotVArhImpQ2", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(102, "TotVArhImpQ2phA", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(104, "TotVArhImpQ2phB", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(106, "TotVArhImpQ2phC", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(108, "TotVArhExpQ3", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(110, "TotVArhExpQ3phA", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(112, "TotVArhExpQ3phB", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(114, "TotVArhExpQ3phC", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(116, "TotVArhExpQ4", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(118, "TotVArhExpQ4phA", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(120, "TotVArhExpQ4phB", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(122, "TotVArhExpQ4phC", kF32, 2, nullptr, G::kNone, F::kNotImplemented),
    point(124, "Evt", kBits, 2, nullptr, G::kNone, F::kZero),
};

template <size_t N>
constexpr size_t countOf(const PointRow (&)[N]) {
  return N;
}

constexpr ModelLayout kLayouts[kModelCount] = {
    {1, 1, 66, 2, kCommonRows, countOf(kCommonRows)},
    {203, 204, 105, 70, kMeterIntRows, countOf(kMeterIntRows)},
    {213, 214, 124, 177, kMeterFloatRows, countOf(kMeterFloatRows)},
};

}  // namespace

const char kManufacturerText[] = "livedata";
const char kModelText[] = "three-phase power-quality meter";

const ModelLayout& modelLayout(size_t index) { return kLayouts[index < kModelCount ? index : 0]; }

}  // namespace modbus
