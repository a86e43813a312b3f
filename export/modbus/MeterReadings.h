// The readings of one period that the Modbus map is made from: one value with
// its presence per source quantity, the hookup, and the texts of the common
// model. Filled by the reading loop, read by RegisterImageEncoder.
//
// The source quantities are listed once, with the datamap key each one comes
// from, in one table in MeterReadings.cpp; a power factor is the signed ratio
// of its published text (Lag positive, Lead negative).
//
// Thread-safety: a plain value; no internal synchronisation.
#ifndef EXPORT_MODBUS_METERREADINGS_H_
#define EXPORT_MODBUS_METERREADINGS_H_

#include <stddef.h>
#include <stdint.h>

namespace modbus {

enum class Source : uint8_t {
  kNone,  // the point has no source: not implemented
  kCurrentA,
  kCurrentB,
  kCurrentC,
  kVoltAN,
  kVoltBN,
  kVoltCN,
  kVoltAB,
  kVoltBC,
  kVoltCA,
  kFrequency,
  kWattA,
  kWattB,
  kWattC,
  kWattTotal,
  kVaA,
  kVaB,
  kVaC,
  kVaTotal,
  kVarA,
  kVarB,
  kVarC,
  kVarTotal,
  kPfA,
  kPfB,
  kPfC,
  kPfTotal,
  kWhDelivered,
  kWhReceived,
  kCount
};
constexpr size_t kSourceCount = static_cast<size_t>(Source::kCount);

// The meter's wiring, as the map reports it. kUnknown when the hookup cannot be
// read or has no name: served as the wye models with an empty option text.
enum class Hookup : uint8_t { kWye, kDelta3Ct, kDelta2Ct, kWye25Element, kFourWireDelta, kUnknown };

struct Reading {
  double value = 0.0;
  bool present = false;
};

struct MeterReadings {
  Reading values[kSourceCount];
  Hookup hookup = Hookup::kUnknown;
  // The factory record's serial number, or the designation when the record is
  // not valid; NUL-terminated, cut to the field's 32 bytes when served.
  char serial[65] = {};

  const Reading& operator[](Source source) const { return values[static_cast<size_t>(source)]; }
  Reading& operator[](Source source) { return values[static_cast<size_t>(source)]; }
  void set(Source source, double value) { (*this)[source] = Reading{value, true}; }
  // Marks every value missing and the hookup unknown; keeps nothing of before.
  void clear();
};

// The datamap key of a source (one row per source); "" for kNone.
const char* sourceKey(Source source);
// The hookup's name as the common model's option text ("Wye", "Delta 3 CTs", ...);
// "" for kUnknown.
const char* hookupName(Hookup hookup);
// The hookup for the meter's enumeration value (0 Wye, 1 Delta 3 CTs, 2 Delta 2
// CTs, 3 2.5 Element Wye, 4 4 Wire Delta); kUnknown for any other value.
Hookup hookupFromCode(unsigned code);
// True for the delta hookups, which are served as models 204 and 214.
bool isDelta(Hookup hookup);

}  // namespace modbus

#endif  // EXPORT_MODBUS_METERREADINGS_H_
