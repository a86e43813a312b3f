// Host implementation of the small text and checksum helpers of common_api.h.
//
// Thread-safety: pure functions.
#include <string>

#include "platform/common_api.h"

namespace {

// Length of the escaped form of one byte.
size_t escapedLength(unsigned char c) {
  switch (c) {
    case '"':
    case '\\':
    case '\b':
    case '\f':
    case '\n':
    case '\r':
    case '\t': return 2;
    default: return c < 0x20 ? 6 : 1;
  }
}

void appendEscaped(std::string& out, unsigned char c) {
  static const char kHex[] = "0123456789abcdef";
  switch (c) {
    case '"': out += "\\\""; return;
    case '\\': out += "\\\\"; return;
    case '\b': out += "\\b"; return;
    case '\f': out += "\\f"; return;
    case '\n': out += "\\n"; return;
    case '\r': out += "\\r"; return;
    case '\t': out += "\\t"; return;
    default:
      if (c < 0x20) {
        out += "\\u00";
        out += kHex[c >> 4];
        out += kHex[c & 0x0f];
      } else {
        out += static_cast<char>(c);
      }
  }
}

// The CRC-16 remainder of every byte value under the reflected polynomial 0xA001.
struct CrcTable {
  unsigned short step[256] = {};
  constexpr CrcTable() {
    for (unsigned int byte = 0; byte < 256; ++byte) {
      unsigned int crc = byte;
      for (int bit = 0; bit < 8; ++bit) crc = (crc & 1u) ? (crc >> 1) ^ 0xA001u : crc >> 1;
      step[byte] = static_cast<unsigned short>(crc);
    }
  }
};

}  // namespace

// Sizes the result first, so a string that already has the capacity is
// refilled without allocating.
void strJSON_normalize(std::string& out, const char* in) {
  out.clear();
  if (in == nullptr) return;
  size_t length = 0;
  for (const char* p = in; *p != '\0'; ++p) length += escapedLength(static_cast<unsigned char>(*p));
  out.reserve(length);
  for (const char* p = in; *p != '\0'; ++p) appendEscaped(out, static_cast<unsigned char>(*p));
}

// CRC-16 (reflected polynomial 0xA001) over the len bytes ending at p, read
// from the last byte down to the first, one table step per byte. The table is
// the eight shift-and-xor steps of every byte value, built at compile time.
unsigned short CRC16_down(unsigned short init, int len, const unsigned char* p) {
  static constexpr CrcTable kTable;
  unsigned int crc = init;
  for (int i = 0; i < len; ++i) crc = (crc >> 8) ^ kTable.step[(crc ^ *(p - i)) & 0xFFu];
  return static_cast<unsigned short>(crc);
}
