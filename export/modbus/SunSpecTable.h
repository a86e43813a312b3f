// The Modbus register map as data: one row per point of each model that the
// map serves (the common model 1, the integer meter model 203/204, the float
// meter model 213/214), with the point's offset from its model's ID register,
// type, size in registers, scale factor point, group and what fills it.
//
// The map, from register 40000: "SunS", model 1, model 203 or 204 (by the
// hookup), model 213 or 214, the end model (0xFFFF, length 0). 203/204 and
// 213/214 share one layout each, so every register's meaning is fixed and only
// the model ids change with the hookup.
//
// Thread-safety: constant data; safe from any thread.
#ifndef EXPORT_MODBUS_SUNSPECTABLE_H_
#define EXPORT_MODBUS_SUNSPECTABLE_H_

#include <stddef.h>
#include <stdint.h>

#include "export/modbus/MeterReadings.h"

namespace modbus {

enum class PointType : uint8_t {
  kUint16,
  kInt16,
  kAcc32,
  kFloat32,
  kSunssf,
  kString,
  kPad,
  kBitfield32
};

// The points that share one scale factor. kNone: a point without one.
enum class Group : uint8_t {
  kNone,
  kCurrent,
  kVoltage,
  kFrequency,
  kPower,
  kApparentPower,
  kReactivePower,
  kPowerFactor,
  kEnergy,
  kApparentEnergy,
  kReactiveEnergy,
  kCount
};
constexpr size_t kGroupCount = static_cast<size_t>(Group::kCount);

// What a point's registers hold.
enum class Fill : uint8_t {
  kModelId,         // the model's id (by the hookup where the model has two)
  kModelLength,     // the model's length
  kOne,             // source x factor
  kSum,             // source + the next two sources (phases a, b, c), x factor
  kAverage,         // the mean of source and the next two sources, x factor
  kScaleFactor,     // the scale factor of the row's group
  kZero,            // 0 (the event bits: no events reported)
  kNotImplemented,  // the type's "not implemented" value
  kManufacturer,    // the common model's texts and device address
  kModelText,
  kOption,  // the hookup's name
  kVersion,
  kSerial,
  kUnitId,
};

struct PointRow {
  uint16_t offset;  // registers from the model's ID register
  const char* name;
  PointType type;
  uint8_t size;             // registers
  const char* scaleFactor;  // name of the scale factor point, or nullptr
  Group group;              // the scale factor's group (int16 values and sunssf points)
  Fill fill;
  Source source;
  double factor;  // from the source's unit to the point's
  bool wyeOnly;   // not implemented under a delta hookup
};

struct ModelLayout {
  uint16_t wyeId;    // the id served for a wye (or unknown) hookup
  uint16_t deltaId;  // the id served for a delta hookup
  uint16_t length;   // registers after ID and L
  uint16_t start;    // register of ID, counted from the map's base
  const PointRow* rows;
  size_t rowCount;
};

constexpr uint16_t kBaseAddress = 40000;
// "SunS" (2) + model 1 (2 + 66) + model 203 (2 + 105) + model 213 (2 + 124) + end (2).
constexpr size_t kRegisterCount = 305;
constexpr uint16_t kEndModelId = 0xFFFF;

constexpr size_t kModelCount = 3;
// Model 1, model 203/204, model 213/214, in map order.
const ModelLayout& modelLayout(size_t index);
// The register (from the base) of the end model's ID.
constexpr size_t kEndModelStart = 303;

// The project's texts in the common model.
extern const char kManufacturerText[];
extern const char kModelText[];

}  // namespace modbus

#endif  // EXPORT_MODBUS_SUNSPECTABLE_H_
