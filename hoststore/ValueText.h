// Text forms of datamap values, as the catalogue, `dmtool set` and `dmtool get`
// use them:
//   integers   decimal or 0x-hex (a leading '-' for signed types), range-checked;
//   floating   anything strtod takes whole (flt32 stores the float nearest);
//   boolean    0, 1, true or false (case ignored); printed as 0 or 1;
//   strings    as given, cut to size - 1 bytes and NUL-terminated;
//   timestamps "CCYY-MM-DD hh:mm:ss", any digits, read digit by digit into
//              century, year, month, day, hour, minute, second; the other bytes 0.
// Codes stored as flt64 (8-16, 21, 22) and codes without a reader take the
// floating form. Floating values print with the fewest digits (up to 17) that
// read back to the same value.
//
// Thread-safety: pure functions.
#ifndef HOSTSTORE_VALUETEXT_H_
#define HOSTSTORE_VALUETEXT_H_

#include <stdint.h>

#include <string>

#include "base/Status.h"

namespace dmhost {

class ValueText {
 public:
  // Type code of a catalogue type name or bare number 0..255; false if neither.
  static bool typeFromName(const std::string& name, uint32_t* type);
  // Name of a type code ("uint16"), or the number as text for other codes.
  static std::string typeName(uint32_t type);

  // Parses text for a key of type into storage (kValueCapacity bytes, zeroed
  // first). On bad text the status's message is the reason, without the key.
  static base::Status parse(uint32_t type, const std::string& text, unsigned char* storage);
  // Prints stored bytes of a key of type in the form parse() accepts.
  static std::string format(uint32_t type, const unsigned char* storage);

 private:
  static base::Status parseInteger(uint32_t type, const std::string& text, unsigned char* storage);
  static base::Status parseFloating(uint32_t type, const std::string& text, unsigned char* storage);
  static base::Status parseBoolean(const std::string& text, unsigned char* storage);
  static base::Status parseTimestamp(const std::string& text, unsigned char* storage);
  static void parseString(uint32_t type, const std::string& text, unsigned char* storage);
};

}  // namespace dmhost

#endif  // HOSTSTORE_VALUETEXT_H_
