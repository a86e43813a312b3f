// Fills a register image from one period's readings: "SunS", the common model,
// the integer and float meter models (203/213 or, for a delta hookup, 204/214)
// and the end model, exactly as the rows of SunSpecTable say.
//
// Scale factors: each group of int16 points gets the finest power-of-ten step,
// from 0.001 up, that keeps every value of the group (after rounding) within
// -32767..32767; that step is never coarser than 1/1000 of the group's largest
// value. Energies are whole Wh (scale factor 0), wrapping at 2^32 as 32-bit
// accumulators do. A value the readings do not give (missing, not finite, a
// line-to-neutral voltage under a delta hookup, a point without a source) is
// the type's "not implemented" value: int16, sunssf and pad 0x8000, uint16
// 0xFFFF, acc32 0, float32 NaN 0x7FC00000, a group's scale factor
// 0x8000 when none of its values is there.
//
// Thread-safety: encode() is const and touches only its arguments; one
// encoder may be used from several threads. It allocates nothing.
#ifndef EXPORT_MODBUS_REGISTERIMAGEENCODER_H_
#define EXPORT_MODBUS_REGISTERIMAGEENCODER_H_

#include <stdint.h>

#include "export/modbus/MeterReadings.h"
#include "export/modbus/RegisterImage.h"
#include "export/modbus/SunSpecTable.h"

namespace modbus {

class RegisterImageEncoder {
 public:
  // unitId goes into the common model's DA point, version (cut to 16 bytes)
  // into its Vr point.
  RegisterImageEncoder(uint8_t unitId, const char* version);

  void encode(const MeterReadings& readings, RegisterImage* image) const;

  // The scale factor for a group whose largest magnitude is largest (>= 0,
  // finite): the smallest exponent from -3 up with |round(largest / 10^sf)| <=
  // 32767; 10 at most.
  static int scaleFactorFor(double largest);

  static constexpr uint16_t kNotImplementedInt16 = 0x8000;
  static constexpr uint16_t kNotImplementedUint16 = 0xFFFF;
  static constexpr uint32_t kNotImplementedFloat32 = 0x7FC00000;
  static constexpr int kFinestScaleFactor = -3;
  static constexpr int kCoarsestScaleFactor = 10;

 private:
  struct GroupScale {
    bool present;
    int scaleFactor;
  };

  void encodeModel(const ModelLayout& layout, const MeterReadings& readings,
                   const GroupScale* scales, uint16_t* out) const;
  void encodePoint(const PointRow& row, const ModelLayout& layout, const MeterReadings& readings,
                   const GroupScale* scales, uint16_t* out) const;
  void scaleGroups(const MeterReadings& readings, GroupScale* scales) const;

  uint8_t unitId_;
  char version_[17];
};

}  // namespace modbus

#endif  // EXPORT_MODBUS_REGISTERIMAGEENCODER_H_
