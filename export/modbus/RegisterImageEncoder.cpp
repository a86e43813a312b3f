#include "export/modbus/RegisterImageEncoder.h"

#include <math.h>
#include <string.h>

namespace modbus {
namespace {

constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10};
constexpr long long kInt16Limit = 32767;

// Groups whose scale factor is fixed rather than chosen from the values: the
// energies, in whole Wh (VAh, varh).
bool hasFixedScaleFactor(Group group) {
  return group == Group::kEnergy || group == Group::kApparentEnergy ||
         group == Group::kReactiveEnergy;
}

// value x 10^-scaleFactor, rounded to the nearest integer (halves away from 0).
long long scaled(double value, int scaleFactor) {
  const double result =
      scaleFactor <= 0 ? value * kPowersOfTen[-scaleFactor] : value / kPowersOfTen[scaleFactor];
  return llround(result);
}

// The point's value in its own unit, or false when the readings do not give it.
bool pointValue(const PointRow& row, const MeterReadings& readings, double* value) {
  if (row.wyeOnly && isDelta(readings.hookup)) return false;
  const size_t first = static_cast<size_t>(row.source);
  const int count = row.fill == Fill::kOne ? 1 : 3;
  if (row.fill != Fill::kOne && row.fill != Fill::kSum && row.fill != Fill::kAverage) return false;
  if (row.source == Source::kNone || first + count > kSourceCount) return false;
  double sum = 0.0;
  for (int i = 0; i < count; ++i) {
    const Reading& reading = readings.values[first + i];
    if (!reading.present) return false;
    sum += reading.value;
  }
  if (row.fill == Fill::kAverage) sum /= count;
  const double result = sum * row.factor;
  if (!isfinite(result)) return false;
  *value = result;
  return true;
}

void putText(const char* text, size_t registers, uint16_t* out) {
  const size_t length = strnlen(text, registers * 2);
  for (size_t i = 0; i < registers; ++i) {
    const unsigned high = 2 * i < length ? static_cast<unsigned char>(text[2 * i]) : 0;
    const unsigned low = 2 * i + 1 < length ? static_cast<unsigned char>(text[2 * i + 1]) : 0;
    out[i] = static_cast<uint16_t>(high << 8 | low);
  }
}

void putUint32(uint32_t value, uint16_t* out) {
  out[0] = static_cast<uint16_t>(value >> 16);
  out[1] = static_cast<uint16_t>(value & 0xFFFF);
}

uint32_t floatBits(float value) {
  uint32_t bits;
  memcpy(&bits, &value, sizeof bits);
  return bits;
}

}  // namespace

RegisterImageEncoder::RegisterImageEncoder(uint8_t unitId, const char* version) : unitId_(unitId) {
  strncpy(version_, version, sizeof version_ - 1);
  version_[sizeof version_ - 1] = '\0';
}

int RegisterImageEncoder::scaleFactorFor(double largest) {
  for (int scaleFactor = kFinestScaleFactor; scaleFactor < kCoarsestScaleFactor; ++scaleFactor) {
    if (scaled(largest, scaleFactor) <= kInt16Limit) return scaleFactor;
  }
  return kCoarsestScaleFactor;
}

void RegisterImageEncoder::scaleGroups(const MeterReadings& readings, GroupScale* scales) const {
  double largest[kGroupCount] = {};
  for (size_t g = 0; g < kGroupCount; ++g) scales[g] = GroupScale{false, 0};
  const ModelLayout& layout = modelLayout(1);
  for (size_t i = 0; i < layout.rowCount; ++i) {
    const PointRow& row = layout.rows[i];
    double value;
    if (row.group == Group::kNone || row.fill == Fill::kScaleFactor) continue;
    if (!pointValue(row, readings, &value)) continue;
    const size_t g = static_cast<size_t>(row.group);
    scales[g].present = true;
    if (fabs(value) > largest[g]) largest[g] = fabs(value);
  }
  for (size_t g = 0; g < kGroupCount; ++g) {
    scales[g].scaleFactor =
        hasFixedScaleFactor(static_cast<Group>(g)) ? 0 : scaleFactorFor(largest[g]);
  }
}

void RegisterImageEncoder::encode(const MeterReadings& readings, RegisterImage* image) const {
  GroupScale scales[kGroupCount];
  scaleGroups(readings, scales);
  uint16_t* registers = image->registers;
  registers[0] = 0x5375;  // "Su"
  registers[1] = 0x6E53;  // "nS"
  for (size_t m = 0; m < kModelCount; ++m) {
    const ModelLayout& layout = modelLayout(m);
    encodeModel(layout, readings, scales, registers + layout.start);
  }
  registers[kEndModelStart] = kEndModelId;
  registers[kEndModelStart + 1] = 0;
}

void RegisterImageEncoder::encodeModel(const ModelLayout& layout, const MeterReadings& readings,
                                       const GroupScale* scales, uint16_t* out) const {
  for (size_t i = 0; i < layout.rowCount; ++i) {
    encodePoint(layout.rows[i], layout, readings, scales, out + layout.rows[i].offset);
  }
}

void RegisterImageEncoder::encodePoint(const PointRow& row, const ModelLayout& layout,
                                       const MeterReadings& readings, const GroupScale* scales,
                                       uint16_t* out) const {
  const GroupScale& scale = scales[static_cast<size_t>(row.group)];
  double value = 0.0;
  switch (row.fill) {
    case Fill::kModelId: out[0] = isDelta(readings.hookup) ? layout.deltaId : layout.wyeId; return;
    case Fill::kModelLength: out[0] = layout.length; return;
    case Fill::kScaleFactor:
      out[0] = scale.present ? static_cast<uint16_t>(static_cast<int16_t>(scale.scaleFactor))
                             : kNotImplementedInt16;
      return;
    case Fill::kZero:
      for (size_t i = 0; i < row.size; ++i) out[i] = 0;
      return;
    case Fill::kManufacturer: putText(kManufacturerText, row.size, out); return;
    case Fill::kModelText: putText(kModelText, row.size, out); return;
    case Fill::kOption: putText(hookupName(readings.hookup), row.size, out); return;
    case Fill::kVersion: putText(version_, row.size, out); return;
    case Fill::kSerial: putText(readings.serial, row.size, out); return;
    case Fill::kUnitId: out[0] = unitId_; return;
    case Fill::kOne:
    case Fill::kSum:
    case Fill::kAverage:
    case Fill::kNotImplemented: break;
  }
  const bool present = pointValue(row, readings, &value);
  switch (row.type) {
    case PointType::kInt16: {
      const long long count = present ? scaled(value, scale.scaleFactor) : 0;
      out[0] = present && count >= -kInt16Limit && count <= kInt16Limit
                   ? static_cast<uint16_t>(static_cast<int16_t>(count))
                   : kNotImplementedInt16;
      return;
    }
    case PointType::kAcc32:
      // Whole units (the energy groups' scale factor is 0), wrapping at 2^32.
      putUint32(
          present && value >= 0.0 ? static_cast<uint32_t>(fmod(floor(value), 4294967296.0)) : 0,
          out);
      return;
    case PointType::kFloat32:
      putUint32(present ? floatBits(static_cast<float>(value)) : kNotImplementedFloat32, out);
      return;
    case PointType::kUint16: out[0] = kNotImplementedUint16; return;
    case PointType::kSunssf:
    case PointType::kPad: out[0] = kNotImplementedInt16; return;
    case PointType::kBitfield32: putUint32(0xFFFFFFFFu, out); return;
    case PointType::kString:
      for (size_t i = 0; i < row.size; ++i) out[i] = 0;
      return;
  }
}

}  // namespace modbus
